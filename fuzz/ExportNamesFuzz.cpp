// Names from a library: what is made of them is a name in its folder that every file system allows, however
// long the text is and whatever follows the stem. Legal names stay as they are.
#include <cstdint>
#include <string>
#include <string_view>

#include "export/UnknownFiles.h"
#include "fuzz/FuzzInput.h"
#include "platform/files/LegalNames.h"
#include "value/Utf.h"

namespace {

using moxtel::fuzz::require;

void requireLegal(std::string_view name) {
  require(name.size() <= moxtel::kLongestName);
  require(moxtel::isValidUtf8(name));
  require(name != "." && name != "..");
  require(name.find_first_of("/\\:*?\"<>|") == std::string_view::npos);
  for (const char c : name) require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F);
  if (!name.empty()) require(name.back() != '.' && name.back() != ' ');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string name = moxtel::legalName(text);
  requireLegal(name);
  require(moxtel::legalName(name) == name);
  for (const std::size_t longest : {1u, 5u, 60u}) require(moxtel::legalName(text, longest).size() <= longest);
  const moxtel::NameParts parts = moxtel::legalParts(text, 40);
  require(!parts.stem.empty());
  requireLegal(parts.stem + "_edited" + parts.extension + ".xmp");
  requireLegal(moxtel::numbered(parts.stem, 99999, 255 - 40) + parts.extension);
  const std::string path = "/" + moxtel::legalPath(text) + "/";
  require(path.find("/../") == std::string::npos && path.find("/./") == std::string::npos);
  require(path.find("//") == std::string::npos);
  return 0;
}
