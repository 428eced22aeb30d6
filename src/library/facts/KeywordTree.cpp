#include "library/facts/KeywordTree.h"

#include <algorithm>
#include <numeric>

#include "library/database/LibraryDatabases.h"
#include "library/facts/FactColumns.h"
#include "library/facts/PhotoColumns.h"

namespace moxtel {

namespace {

constexpr SqlText kKeywords = "SELECT modelId,name,parentId FROM RKKeyword";
constexpr SqlText kKeywordsOfPhotos = "SELECT versionId,keywordId FROM RKKeywordForVersion";

struct Row {
  std::int64_t id = 0;
  std::string name;
  std::int64_t parent = 0;
};

std::vector<Row> readRows(LibraryDatabases& databases) {
  std::vector<Row> rows;
  Query query = databases.runUnlogged(DatabaseFile::Library, kKeywords, {});
  while (rows.size() < KeywordTree::kMostKeywords && query.step()) {
    Row row{query.integer64Column(0), textOf(query, 1), query.integer64Column(2)};
    if (!row.name.empty()) rows.push_back(std::move(row));
  }
  std::sort(rows.begin(), rows.end(),
            [](const Row& a, const Row& b) { return a.name != b.name ? a.name < b.name : a.id < b.id; });
  return rows;
}

}  // namespace

// From the roots down. What no root leads to is in a circle, or too deep: its first keyword becomes a root.
KeywordTree::KeywordTree(LibraryDatabases& databases) {
  const std::vector<Row> rows = readRows(databases);
  std::unordered_map<std::int64_t, std::size_t> rowOf;
  for (std::size_t i = 0; i < rows.size(); ++i) rowOf.try_emplace(rows[i].id, i);
  std::unordered_map<std::int64_t, std::vector<std::size_t>> children;
  std::vector<std::size_t> roots;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rowOf.contains(rows[i].parent) && rows[i].parent != rows[i].id)
      children[rows[i].parent].push_back(i);
    else
      roots.push_back(i);
  }
  for (std::size_t i = 0; i < rows.size(); ++i) roots.push_back(i);

  struct Waiting {
    std::size_t row;
    std::size_t parent;
    std::size_t depth;
  };
  std::vector<Waiting> stack;
  for (const std::size_t root : roots) {
    stack.push_back({root, Keyword::kNoParent, 0});
    while (!stack.empty()) {
      const Waiting next = stack.back();
      stack.pop_back();
      const Row& row = rows[next.row];
      if (next.depth > kDeepest || !byId_.try_emplace(row.id, all_.size()).second) continue;
      const std::size_t place = all_.size();
      all_.push_back({row.id, row.name, next.parent, next.depth, 0});
      const auto found = children.find(row.id);
      if (found == children.end()) continue;
      for (auto child = found->second.rbegin(); child != found->second.rend(); ++child)
        stack.push_back({*child, place, all_[place].depth + 1});
    }
  }
}

const Keyword* KeywordTree::find(std::int64_t modelId) const {
  const auto found = byId_.find(modelId);
  return found == byId_.end() ? nullptr : &all_[found->second];
}

std::vector<std::string> KeywordTree::pathOf(std::int64_t modelId) const {
  std::vector<std::string> path;
  const auto found = byId_.find(modelId);
  std::size_t place = found == byId_.end() ? Keyword::kNoParent : found->second;
  for (; place != Keyword::kNoParent; place = all_[place].parent) path.push_back(all_[place].name);
  std::reverse(path.begin(), path.end());
  return path;
}

// Children follow their parents directly, with a greater depth.
std::vector<std::int64_t> KeywordTree::withThoseBelow(std::int64_t modelId) const {
  std::vector<std::int64_t> ids;
  const auto found = byId_.find(modelId);
  if (found == byId_.end()) return ids;
  const std::size_t depth = all_[found->second].depth;
  for (std::size_t i = found->second; i < all_.size(); ++i) {
    if (i > found->second && all_[i].depth <= depth) break;
    ids.push_back(all_[i].modelId);
  }
  return ids;
}

void KeywordTree::count(LibraryDatabases& databases, const PhotoColumns& photos) {
  std::vector<std::vector<std::uint32_t>> photosOf(all_.size());
  Query query = databases.runUnlogged(DatabaseFile::Library, kKeywordsOfPhotos, {});
  while (query.step()) {
    const auto keyword = byId_.find(query.integer64Column(1));
    const auto photo = photos.find(query.integer64Column(0));
    if (keyword == byId_.end() || !photo || !photos.isShown(*photo) ||
        photos.has(*photo, PhotoColumns::kOnlyInAlbums))
      continue;
    photosOf[keyword->second].push_back(static_cast<std::uint32_t>(*photo));
  }
  // From the last one on, so that a keyword has those of its children before it gives them to its parent.
  for (std::size_t i = all_.size(); i-- > 0;) {
    std::vector<std::uint32_t>& own = photosOf[i];
    std::sort(own.begin(), own.end());
    own.erase(std::unique(own.begin(), own.end()), own.end());
    all_[i].count = own.size();
    if (all_[i].parent != Keyword::kNoParent) {
      std::vector<std::uint32_t>& above = photosOf[all_[i].parent];
      above.insert(above.end(), own.begin(), own.end());
    }
    own = {};
  }
}

}  // namespace moxtel
