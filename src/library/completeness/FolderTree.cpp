#include "library/completeness/FolderTree.h"

#include <algorithm>
#include <utility>

#include "library/DayName.h"
#include "library/RecordKeys.h"
#include "library/database/DatabaseUse.h"
#include "library/database/LibraryDatabases.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

void MXSFolder::addChildrenWithPath(std::string_view path, const Value& name, const Value& folderUuid) {
  MXSFolder* node = this;
  while (!path.empty()) {
    const std::size_t slash = node->level < kDeepestLevel ? path.find('/') : std::string_view::npos;
    node = &node->childWithPathId(path.substr(0, slash));
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
  }
  node->folderName = name;
  node->uuid = folderUuid;
}

MXSFolder& MXSFolder::childWithPathId(std::string_view head) {
  for (const auto& child : children) {
    if (child->pathId == head) return *child;
  }
  auto child = std::make_unique<MXSFolder>();
  child->pathId = head;
  child->level = level + 1;
  return *children.emplace_back(std::move(child));
}

void MXSFolder::addAllChildrenTo(std::vector<MXSFolder*>& list) {
  for (const auto& child : children) list.push_back(child.get());
  for (const auto& child : children) child->addAllChildrenTo(list);
}

std::string MXSFolder::description() const {
  std::string outline;
  for (std::int32_t i = 0; i < level; ++i) outline += "---";
  // The root has no path component.
  outline += format(" '%@' (%@)\n", folderName, level == 0 ? Value() : Value(pathId));
  for (const auto& child : children) outline += child->description();
  return outline;
}

std::string RKFolder::description() const {
  return format("RKFolder(T%d, %03lu Vs) '%@', uuid '%@', path '%@'", folderType, versions.size(), name, uuid,
                folderPath);
}

std::string RKAlbum::description() const {
  return format("RKAlbum(%d) '%@', uuid '%@', %d versions", albumSubclass, name, uuid, versionCount);
}

namespace {

RKFolder folderOf(const Query& row) {
  RKFolder folder;
  folder.uuid = row.stringColumn(0);
  folder.name = row.stringColumn(1);
  folder.folderType = row.integerColumn(2);
  folder.parentUuid = row.stringColumn(3);
  folder.folderPath = row.stringColumn(5);
  if (folder.folderPath.string().ends_with('/')) {
    const std::string_view path = folder.folderPath.string();
    folder.folderPath = Value(path.substr(0, path.size() - 1));
  }
  return folder;
}

// Only the record is named after the day; the node keeps the empty name.
void nameAfterDay(RKFolder& folder, Date minImageDate) {
  folder.name = Value(dayName(minImageDate));
  NSLog("CREATED FOLDERNAME '%@'", folder.name);
}

void addFolder(FolderTree& tree, const Query& row) {
  RKFolder folder = folderOf(row);
  if (folder.name.string().empty()) NSLog("no name, but uuid '%@'", folder.uuid);
  tree.root->addChildrenWithPath(folder.folderPath.string(), folder.name, folder.uuid);
  if (folder.name.isNil()) return;
  if (folder.name.string().empty()) nameAfterDay(folder, Date{row.realColumn(4)});
  tree.byUuid.insert_or_assign(std::string(folder.uuid.string()), tree.folders.size());
  tree.folders.push_back(std::move(folder));
}

void readFolders(LibraryDatabases& databases, FolderTree& tree) {
  Query query = databases.run(DatabaseFile::Library,
                              "SELECT "
                              "uuid,name,folderType,parentFolderUuid,minImageDate,folderPath,"
                              "isHiddenWhenEmpty FROM RKFolder",
                              {});
  while (query.step()) addFolder(tree, query);
}

void readOrderNumbers(LibraryDatabases& databases, MXSFolder& node) {
  std::unordered_map<std::string_view, MXSFolder*> childByUuid;
  for (const auto& child : node.children) {
    if (!child->uuid.isNil()) childByUuid.emplace(child->uuid.string(), child.get());
  }
  Query query = databases.run(
      DatabaseFile::Library,
      "SELECT objectUuid,orderNumber FROM RKCustomSortOrder WHERE containerUuid = '%@'", {node.uuid});
  while (query.step()) {
    const Value uuid = query.stringColumn(0);
    if (uuid.isNil()) continue;
    const auto child = childByUuid.find(uuid.string());
    if (child != childByUuid.end()) child->second->orderNumber = query.integerColumn(1);
  }
}

void putInOrder(LibraryDatabases& databases, MXSFolder& node) {
  NSLog("MXSFolder '%@' (%@)", node.folderName, node.uuid);
  readOrderNumbers(databases, node);
  std::stable_sort(node.children.begin(), node.children.end(),
                   [](const auto& a, const auto& b) { return a->orderNumber < b->orderNumber; });
}

void logOutline(const MXSFolder& root) {
  writeSystemLog(format("Root Folder: %@", loggedLines(root.description())));
}

}  // namespace

FolderTree obsoletesZeug(LibraryDatabases& databases) {
  FolderTree tree;
  DatabaseUse library(databases, DatabaseFile::Library);
  if (!library.isOpen()) return tree;
  tree.root = std::make_unique<MXSFolder>();
  tree.root->folderName = "ROOT";
  readFolders(databases, tree);
  logOutline(*tree.root);
  std::vector<MXSFolder*> nodes{tree.root.get()};
  tree.root->addAllChildrenTo(nodes);
  for (MXSFolder* node : nodes) putInOrder(databases, *node);
  logOutline(*tree.root);
  return tree;
}

void printChildrenOf(const Dictionary& container) {
  for (const Value& child : container["children"].array()) {
    NSLog("child: '%@'", child[record::kAlbumName]);
    printChildrenOf(child.dictionary());
  }
}

}  // namespace moxtel
