#include "web/files/KnownThumbnails.h"

#include "web/WebLibrary.h"

namespace moxtel {
namespace {

std::string keyOf(const WebLibrary& library, const std::string& version, std::int64_t modelId, bool mini) {
  return library.id() + "-" + version + (mini ? "-square-" : "-") + std::to_string(modelId);
}

}  // namespace

OpenFile KnownThumbnails::open(const WebLibrary& library, std::int64_t modelId, bool mini) const {
  const auto version = library.recentVersion();
  if (!version) return {};
  Known known;
  {
    const std::lock_guard lock(mutex_);
    const auto found = known_.find(keyOf(library, *version, modelId, mini));
    if (found == known_.end()) return {};
    known = found->second;
  }
  OpenFile file = openRegularFile(known.path);
  if (file.state != FileState::Open || stampOf(file.descriptor.get()) != known.stamp) return {};
  return file;
}

void KnownThumbnails::keep(const WebLibrary& library, const std::string& version, std::int64_t modelId,
                           bool mini, const OpenFile& file) {
  Known known{file.path, stampOf(file.descriptor.get())};
  const std::lock_guard lock(mutex_);
  if (known_.size() >= kMost) known_.clear();
  known_[keyOf(library, version, modelId, mini)] = std::move(known);
}

std::size_t KnownThumbnails::size() const {
  const std::lock_guard lock(mutex_);
  return known_.size();
}

}  // namespace moxtel
