#include "library/FolderNames.h"

#include <algorithm>
#include <chrono>

#include "library/FileNameForms.h"

namespace moxtel {

namespace {

// A change within the resolution of the folder's time would go unnoticed.
bool isSettled(std::int64_t modified) {
  constexpr std::chrono::nanoseconds kResolution = std::chrono::seconds(2);
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count() - modified > kResolution.count();
}

}  // namespace

std::vector<std::string> FolderNames::like(const OpenFolder& folder, std::string_view name) {
  std::vector<std::string> found;
  const Folder* holds = current(folder);
  if (!holds) return found;
  for (const std::string& meaning : fileNameMeanings(name)) {
    const auto names = holds->names.find(meaning);
    if (names != holds->names.end()) found.insert(found.end(), names->second.begin(), names->second.end());
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  std::erase(found, name);
  return found;
}

const FolderNames::Folder* FolderNames::current(const OpenFolder& folder) {
  const auto identity = folder.identity();
  const auto modified = folder.modified();
  if (!identity || !modified) return nullptr;
  const auto known = byIdentity_.find(*identity);
  if (known != byIdentity_.end()) {
    const auto kept = known->second;
    if (kept->settled && kept->modified == *modified) {
      folders_.splice(folders_.begin(), folders_, kept);
      return &*kept;
    }
    forget(kept);
  }
  return read(folder, *identity, *modified);
}

const FolderNames::Folder* FolderNames::read(const OpenFolder& folder, const FolderIdentity& identity,
                                             std::int64_t modified) {
  Folder kept{identity, modified, isSettled(modified), {}};
  auto names = folder.names();
  if (!names) return nullptr;
  for (std::string& name : *names) {
    for (std::string& meaning : fileNameMeanings(name)) kept.names[std::move(meaning)].push_back(name);
  }
  kept.size += names->size();
  ++foldersRead_;
  names_ += kept.size;
  folders_.push_front(std::move(kept));
  byIdentity_[identity] = folders_.begin();
  while (names_ > kMaximumNames && folders_.size() > 1) forget(std::prev(folders_.end()));
  return &folders_.front();
}

void FolderNames::forget(Folders::iterator folder) {
  names_ -= folder->size;
  byIdentity_.erase(folder->identity);
  folders_.erase(folder);
}

}  // namespace moxtel
