#include "library/ReferencedFolders.h"

#include <algorithm>
#include <optional>

#include "library/FileNameForms.h"

namespace moxtel {

namespace {

std::optional<ReferencedFolder> entryOf(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) return std::nullopt;
  if (text.starts_with('/')) return ReferencedFolder{{}, std::string(text)};
  // The name of a volume may contain an equals sign.
  const std::size_t end = text.find("=/");
  if (end == std::string_view::npos || end == 0) return std::nullopt;
  return ReferencedFolder{std::string(text.substr(0, end)), std::string(text.substr(end + 1))};
}

}  // namespace

ReferencedFolders::ReferencedFolders(std::string_view setting) {
  while (!setting.empty()) {
    const std::size_t end = std::min(setting.find(':'), setting.size());
    const std::string_view text = setting.substr(0, end);
    setting.remove_prefix(std::min(end + 1, setting.size()));
    if (text.empty()) continue;
    if (auto entry = entryOf(text)) {
      entries_.push_back(*std::move(entry));
    } else {
      rejected_.emplace_back(text);
    }
  }
}

std::vector<std::string> ReferencedFolders::foldersOf(std::string_view volume) const {
  std::vector<std::string> folders;
  const std::string folded = foldedFileName(volume);
  for (const ReferencedFolder& entry : entries_)
    if (!entry.volume.empty() && foldedFileName(entry.volume) == folded) folders.push_back(entry.folder);
  for (const ReferencedFolder& entry : entries_)
    if (entry.volume.empty()) folders.push_back(entry.folder);
  return folders;
}

}  // namespace moxtel
