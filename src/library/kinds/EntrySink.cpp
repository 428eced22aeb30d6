#include "library/kinds/EntrySink.h"

#include <algorithm>

namespace moxtel {

bool EntrySink::wantsNext() const {
  return depth_ != 1 || std::find(lists_.begin(), lists_.end(), list_) != lists_.end();
}

const char* EntrySink::begin(bool isDictionary) {
  if (depth_++ < kListDepth) {
    key_.clear();
    return nullptr;
  }
  if (!entry_) entry_.emplace(limits_, Mutability::Immutable);
  return entry_->begin(isDictionary);
}

const char* EntrySink::end() {
  if (--depth_ < kListDepth) return nullptr;
  const char* problem = entry_->end();
  if (depth_ == kListDepth && !problem) handOn(entry_->take());
  return problem;
}

void EntrySink::handOn(const Value& entry) {
  take_(list_, key_, entry);
  entry_.reset();
}

const char* EntrySink::key(std::string_view key) {
  if (depth_ > kListDepth) return entry_->key(key);
  (depth_ == 1 ? list_ : key_) = key;
  return nullptr;
}

const char* EntrySink::leaf(Value value) {
  if (depth_ > kListDepth) return entry_->leaf(std::move(value));
  if (depth_ == 1) key_.clear();
  take_(list_, key_, value);
  return nullptr;
}

}  // namespace moxtel
