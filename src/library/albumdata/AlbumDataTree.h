// What the readers of the album file's two forms have in common: which values are kept, the collections under
// construction, and the bounds. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "library/albumdata/AlbumDataFile.h"

namespace moxtel {

class AlbumDataTree final {
 public:
  explicit AlbumDataTree(const AlbumDataLimits& limits) : limits_(limits) {}

  // Where the reader stands: whether the value that comes next belongs to what is kept. The first value, the
  // top, always does.
  bool wantsNext() const;
  bool inDictionary() const { return !open_.empty() && open_.back().isDictionary; }
  bool keyIsMissing() const { return inDictionary() && !open_.back().key; }
  bool isComplete() const { return open_.empty() && seenTop_; }
  std::size_t openCollections() const { return open_.size(); }

  // Each is false when a bound is reached or the value has no place here; failure() tells which.
  // Before a value of that many bytes is added.
  [[nodiscard]] bool spend(std::size_t bytes);
  [[nodiscard]] bool key(std::string_view key);
  [[nodiscard]] bool value(Value value);
  [[nodiscard]] bool begin(bool dictionary);
  [[nodiscard]] bool end();
  // Instead of a value that is not wanted.
  [[nodiscard]] bool skipped();

  const std::string& failure() const { return failure_; }
  // The top value, when complete; a top that is no dictionary holds no lists.
  Value take();

 private:
  struct Open {
    bool isDictionary = false;
    std::optional<Text> key;  // of the value that comes next
    Dictionary dictionary{Mutability::Mutable};
    Array array{Mutability::Mutable};
  };
  bool fail(const char* reason);
  bool place(Value value);

  const AlbumDataLimits limits_;
  std::vector<Open> open_;
  std::size_t kept_ = 0;
  bool seenTop_ = false;
  Value top_;
  std::string failure_;
};

}  // namespace moxtel
