#include "library/facts/RawNames.h"

#include <algorithm>
#include <array>
#include <string>

namespace moxtel {

bool isRawName(std::string_view fileName) {
  static constexpr std::array<std::string_view, 27> kExtensions = {
      "3fr", "arw", "cr2", "cr3", "crw", "dcr", "dng", "erf", "fff", "iiq", "k25", "kdc", "mef", "mos",
      "mrw", "nef", "nrw", "orf", "pef", "raf", "raw", "rw2", "rwl", "sr2", "srf", "srw", "x3f"};
  const std::size_t point = fileName.rfind('.');
  if (point == std::string_view::npos || fileName.size() - point != 4) return false;
  std::array<char, 3> extension{};
  std::transform(fileName.begin() + static_cast<std::ptrdiff_t>(point) + 1, fileName.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return std::binary_search(kExtensions.begin(), kExtensions.end(),
                            std::string_view(extension.data(), extension.size()));
}

}  // namespace moxtel
