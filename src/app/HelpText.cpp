#include "app/HelpText.h"

#include "platform/files/FileReader.h"
#include "platform/process/ThisProcess.h"

namespace moxtel {

namespace {

constexpr std::uint64_t kLargestText = 1 << 20;  // bytes

std::optional<std::string> contentsOf(const std::string& path) {
  const FileContents contents = readWholeFile(path, kLargestText);
  if (contents.state != FileState::Open) return std::nullopt;
  return std::string(contents.bytes.begin(), contents.bytes.end());
}

}  // namespace

std::optional<std::string> helpText(std::string_view name, std::string_view language) {
  const std::string base = programFolder() + "/../share/moxtelserver/" + std::string(name);
  while (!language.empty()) {
    if (auto text = contentsOf(base + "." + std::string(language) + ".html")) return text;
    const auto country = language.rfind('_');
    language = language.substr(0, country == std::string_view::npos ? 0 : country);
  }
  return contentsOf(base + ".html");
}

}  // namespace moxtel
