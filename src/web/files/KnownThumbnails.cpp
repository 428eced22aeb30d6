#include "web/files/KnownThumbnails.h"

#include <fcntl.h>

#include "web/WebLibrary.h"
#include "web/files/FileReplies.h"

namespace moxtel {
namespace {

std::string keyOf(const WebLibrary& library, const std::string& version, std::int64_t modelId, bool mini) {
  return library.id() + "-" + version + (mini ? "-square-" : "-") + std::to_string(modelId);
}

}  // namespace

std::optional<KnownThumbnails::Found> KnownThumbnails::open(const WebLibrary& library, std::int64_t modelId,
                                                            bool mini) const {
  const auto version = library.recentVersion();
  if (!version) return std::nullopt;
  Known known;
  {
    const std::lock_guard lock(mutex_);
    const auto found = known_.find(keyOf(library, *version, modelId, mini));
    if (found == known_.end()) return std::nullopt;
    known = found->second;
  }
  // O_NONBLOCK: opening a FIFO does not wait for a writer.
  FileDescriptor file(::open(known.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));  // NOLINT
  if (!file || stampOf(file.get()) != known.stamp) return std::nullopt;
  return Found{{std::move(file), 0, known.stamp.size}, std::move(known.etag)};
}

void KnownThumbnails::keep(const WebLibrary& library, const std::string& version, std::int64_t modelId,
                           bool mini, const OpenFile& file) {
  Known known{file.path, stampOf(file.descriptor.get()), stampText(file)};
  const std::lock_guard lock(mutex_);
  if (known_.size() >= kMost) known_.clear();
  known_[keyOf(library, version, modelId, mini)] = std::move(known);
}

std::size_t KnownThumbnails::size() const {
  const std::lock_guard lock(mutex_);
  return known_.size();
}

}  // namespace moxtel
