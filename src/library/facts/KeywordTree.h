// The keywords of a library with their hierarchy. On the thread of the databases; the value itself: any
// thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace moxtel {

class LibraryDatabases;
struct PhotoColumns;

struct Keyword {
  static constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);
  std::int64_t modelId = 0;
  std::string name;
  std::size_t parent = kNoParent;  // index of an earlier keyword
  std::size_t depth = 0;
  std::size_t count = 0;  // shown photos that have it or a keyword below it; see count()
};

class KeywordTree final {
 public:
  static constexpr std::size_t kMostKeywords = 100'000;
  static constexpr std::size_t kDeepest = 32;

  KeywordTree() = default;
  // Without counts. Keywords whose parents lead in a circle, or too deep, are at the top.
  explicit KeywordTree(LibraryDatabases& databases);

  // Parents before their children; children by name.
  const std::vector<Keyword>& all() const { return all_; }
  const Keyword* find(std::int64_t modelId) const;
  // The names from the root down; empty for an unknown keyword.
  std::vector<std::string> pathOf(std::int64_t modelId) const;
  // The model ids of a keyword and of all below it; empty for an unknown one.
  std::vector<std::int64_t> withThoseBelow(std::int64_t modelId) const;
  // Fills in the counts: reads which photo has which keyword once.
  void count(LibraryDatabases& databases, const PhotoColumns& photos);

 private:
  std::vector<Keyword> all_;
  std::unordered_map<std::int64_t, std::size_t> byId_;
};

}  // namespace moxtel
