#include "app/FolderOutline.h"

#include <set>

#include "library/ContainerTree.h"
#include "library/RecordKeys.h"
#include "platform/system/LineLimiter.h"
#include "platform/system/LogText.h"

namespace moxtel {

namespace {

// Draws the tree below one folder after the other. A damaged library may have circles, and names that a
// terminal would interpret.
class Outline final {
 public:
  explicit Outline(ContainerTree& tree) : tree_(tree) {}

  void draw(const Value& containers, const std::string& indent) {
    const Array& all = containers.array();
    for (std::size_t i = 0; i < all.size(); ++i) {
      const bool isLast = i + 1 == all.size();
      text_ += indent + (isLast ? "└── " : "├── ") + described(all[i]) + "\n";
      drawBelow(all[i], indent + (isLast ? "    " : "│   "));
    }
  }
  std::string take() { return std::move(text_); }

 private:
  static std::string described(const Value& container) {
    const Value& name = container[record::kAlbumName];
    std::string text = name.string().empty() ? "(no name)" : printableText(loggedText(name.string()));
    if (container[record::kIPAlbumType] == Value(record::kSmart)) text += ", smart album";
    if (container[record::kAlbumType] == Value(record::kFolder)) return text + "/";
    const std::int64_t photos = std::max<std::int64_t>(container[record::kPhotoCount].integerValue(), 0);
    return text + " (" + withCommas(static_cast<std::uint64_t>(photos)) +
           (photos == 1 ? " photo)" : " photos)");
  }

  void drawBelow(const Value& container, const std::string& indent) {
    if (container[record::kAlbumType] != Value(record::kFolder)) return;
    const Value& uuid = container[record::kAlbumId];
    if (seen_.insert(std::string(uuid.string())).second) draw(tree_.containersInParentUuid(uuid), indent);
  }

  ContainerTree& tree_;
  std::set<std::string> seen_;
  std::string text_;
};

std::string section(ContainerTree& tree, const char* title, const Value& containers) {
  Outline outline(tree);
  outline.draw(containers, "");
  const std::string below = outline.take();
  return "\n" + std::string(title) + "\n" + (below.empty() ? "└── (none)\n" : below);
}

}  // namespace

std::string folderOutline(const std::string& path, ContainerTree& tree) {
  const Value events = tree.getTopLevelProjects();
  const Value albums = tree.getTopLevelAlbums();
  if (!events.isArray() || !albums.isArray()) return {};
  return printableText(path) + "\n" + section(tree, "Events", events) + section(tree, "Albums", albums);
}

}  // namespace moxtel
