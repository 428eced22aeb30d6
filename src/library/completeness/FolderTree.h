// Kept for completeness, no request reaches it: the library's folders as a tree built from their stored
// paths, which the daemon logs for diagnosis, and plain records of the library's tables. Core thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "value/Value.h"

namespace moxtel {

class LibraryDatabases;

// One node of the folder tree, with its children. Texts are nil where nothing was stored.
class MXSFolder final {
 public:
  // Paths come from a file. Below this level the rest of a path is one component, which limits the depth of
  // the tree and the width of its outline for a damaged file.
  static constexpr std::int32_t kDeepestLevel = 256;

  std::vector<std::unique_ptr<MXSFolder>> children;
  std::string pathId;  // names this node below its parent
  Value uuid;
  Value folderName;
  std::int32_t level = 0;  // 0 at the root
  std::int32_t orderNumber = 0;

  // Adds the missing nodes of a "/"-separated path, and gives the last one the name and uuid. An empty path
  // is this node.
  void addChildrenWithPath(std::string_view path, const Value& name, const Value& folderUuid);
  // Appends this node's children as a block, then each child's descendants likewise.
  void addAllChildrenTo(std::vector<MXSFolder*>& list);
  // An indented outline, one line a node.
  std::string description() const;

 private:
  MXSFolder& childWithPathId(std::string_view head);
};

class RKBase {};

class RKFolder final : public RKBase {
 public:
  Value name;
  Value uuid;
  Value parentUuid;
  std::int32_t folderType = 0;
  Value folderPath;
  std::vector<Value> versions;

  std::string description() const;
};

class RKAlbum final : public RKBase {
 public:
  Value name;
  Value uuid;
  Value folderUuid;
  std::int32_t albumSubclass = 0;
  std::int32_t modelId = 0;
  std::int32_t versionCount = 0;

  std::string description() const;
};

class RKVersion final : public RKBase {
 public:
  Value name;
  Value fileName;
  Value uuid;
  Value projectUuid;
  std::int32_t modelId = 0;
  std::int32_t masterId = 0;
  std::int32_t versionNumber = 0;
  bool hasAdjustments = false;
};

// What obsoletesZeug builds.
struct FolderTree {
  std::unique_ptr<MXSFolder> root;
  std::vector<RKFolder> folders;                        // those that have a name
  std::unordered_map<std::string, std::size_t> byUuid;  // positions in folders
};

// Builds the tree, puts every node's children into the user's order, and logs it before and after. Without a
// root when the library database cannot be opened.
FolderTree obsoletesZeug(LibraryDatabases& databases);

// Logs the names of a container's "children", each followed by its own.
void printChildrenOf(const Dictionary& container);

}  // namespace moxtel
