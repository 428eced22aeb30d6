#include "app/HelpText.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/process/ThisProcess.h"

namespace moxtel {

namespace {

std::optional<std::string> contentsOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) return std::nullopt;
  return text;
}

}  // namespace

std::optional<std::string> helpText(std::string_view name, std::string_view language) {
  const std::filesystem::path folder =
      std::filesystem::path(programFolder()).parent_path() / "share/moxtelserver";
  if (!language.empty()) {
    auto text = contentsOf(folder / (std::string(name) + "." + std::string(language) + ".html"));
    if (text) return text;
  }
  return contentsOf(folder / (std::string(name) + ".html"));
}

}  // namespace moxtel
