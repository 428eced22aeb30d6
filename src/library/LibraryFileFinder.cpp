#include "library/LibraryFileFinder.h"

#include <algorithm>
#include <deque>
#include <vector>

namespace moxtel {
namespace {

// No library nests folders nearly as deeply. Each folder on the way keeps a descriptor open.
constexpr int kMaximumFolders = 200;
// As the system allows.
constexpr int kMaximumLinks = 40;
// How many names are followed, and how many folders searched, for one file: links, and names that match the
// same name, can multiply the ways.
constexpr int kMaximumSteps = 1'000;
constexpr int kMaximumLooks = 500;

using Components = std::vector<std::string_view>;

Components componentsOf(std::string_view path) {
  Components components;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    const std::string_view component = path.substr(0, end);
    if (!component.empty() && component != ".") components.push_back(component);
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return components;
}

// Whether the path never goes above its start, and ends below its first `own` components.
bool staysBelow(const Components& path, std::size_t own) {
  Components end;
  for (const std::string_view component : path) {
    if (component != "..") {
      end.push_back(component);
    } else if (end.empty()) {
      return false;
    } else {
      end.pop_back();
    }
  }
  return end.size() >= own &&
         std::equal(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(own), end.begin());
}

// The path's components below the library's folder; nothing when it does not lie there, or leaves the folder
// of the library that it begins with.
std::optional<Components> componentsBelow(std::string_view library, std::string_view path) {
  while (library.size() > 1 && library.ends_with('/')) library.remove_suffix(1);
  if (library.empty() || !path.starts_with(library) || path.find('\0') != std::string_view::npos)
    return std::nullopt;
  const std::string_view rest = path.substr(library.size());
  if (library != "/" && !rest.starts_with('/')) return std::nullopt;
  Components components = componentsOf(rest);
  if (components.empty() || !staysBelow(components, 1)) return std::nullopt;
  return components;
}

// Follows one path.
class Walk final {
 public:
  enum class Purpose : std::uint8_t { Open, Find };
  Walk(const ReferencedFolders& allowed, FolderNames& names, Purpose purpose)
      : allowed_(allowed), names_(names), purpose_(purpose) {}

  FoundFile run(const std::string& start, const Components& components) {
    const Frame root{OpenFolder::at(start), nullptr, {}, start, true};
    const auto identity = root.folder ? root.folder.identity() : std::nullopt;
    if (!identity) return {};
    if (purpose_ == Purpose::Open && openDirectly(root.folder, start, components)) return std::move(found_);
    roots_.push_back(*identity);
    const Step* steps = nullptr;
    for (auto each = components.rbegin(); each != components.rend(); ++each) {
      steps = &steps_.emplace_back(Step{*each, nullptr, steps});
    }
    go(root, steps);
    return std::move(found_);
  }

 private:
  // A name to follow next, or the end of a link's target.
  struct Step {
    std::string_view name;
    const std::string* endOfLink;  // the link's path
    const Step* next;
  };
  // An open folder on the way.
  struct Frame {
    OpenFolder folder;
    const Frame* parent;    // null for the folder where the walk, or an absolute link, began
    std::string_view name;  // in the parent
    std::string start;      // the path when there is no parent
    bool isAllowed;         // in the library, or in a folder that the user named
  };

  // What nearly every path is: all its names as they are on the disk, and none of them a link.
  bool openDirectly(const OpenFolder& root, const std::string& start, const Components& components);
  // All of these return true when found_ is the answer, and false to try another name.
  bool go(const Frame& at, const Step* rest);
  bool enter(const Frame& folder, const Step* rest);
  bool goUp(const Frame& at, const Step* rest);
  bool goTo(const Frame& at, std::string_view name, const Step* rest);
  bool goToSimilar(const Frame& at, const Step* rest);
  bool finish(const Frame& at, std::string_view name, const Step* rest);
  bool follow(const Frame& at, std::string_view name, const Step* rest);
  bool leave(const Frame& at, const Step* rest);
  bool end(FileState state) {
    found_.file.state = state;
    return true;
  }
  bool refuse(std::string path) {
    found_.refused = std::move(path);
    return end(FileState::Unreadable);
  }

  static std::string pathOf(const Frame& frame) {
    return frame.parent ? joined(pathOf(*frame.parent), frame.name) : frame.start;
  }
  static std::string joined(std::string folder, std::string_view name) {
    if (!folder.ends_with('/')) folder += '/';
    return folder.append(name);
  }
  static bool isLast(const Step* rest) {
    while (rest && rest->endOfLink) rest = rest->next;
    return rest == nullptr;
  }
  bool isRoot(const OpenFolder& folder);
  bool isBelowRoot(const OpenFolder& folder);

  const ReferencedFolders& allowed_;
  FolderNames& names_;
  const Purpose purpose_;
  std::vector<FolderIdentity> roots_;
  bool knowsAllRoots_ = false;
  std::deque<Step> steps_;
  std::deque<std::string> texts_;  // what the steps refer to
  int stepsLeft_ = kMaximumSteps;
  int looksLeft_ = kMaximumLooks;
  int linksLeft_ = kMaximumLinks;
  int foldersLeft_ = kMaximumFolders;
  FoundFile found_;
};

bool Walk::openDirectly(const OpenFolder& root, const std::string& start, const Components& components) {
  std::string path;
  for (const std::string_view name : components) {
    if (name == "..") return false;
    if (!path.empty()) path += '/';
    path += name;
  }
  if (!root.openDirectly(path, found_.file)) return false;
  found_.file.path = joined(start, path);
  return true;
}

bool Walk::isRoot(const OpenFolder& folder) {
  if (!knowsAllRoots_) {
    knowsAllRoots_ = true;
    for (const ReferencedFolder& entry : allowed_.entries()) {
      const OpenFolder named = OpenFolder::at(entry.folder);
      if (const auto identity = named ? named.identity() : std::nullopt) roots_.push_back(*identity);
    }
  }
  const auto identity = folder.identity();
  return identity && std::find(roots_.begin(), roots_.end(), *identity) != roots_.end();
}

bool Walk::isBelowRoot(const OpenFolder& folder) {
  if (isRoot(folder)) return true;
  OpenFolder above;
  NameState state = folder.enter("..", above);
  auto below = folder.identity();
  for (int climbed = 0; climbed < kMaximumFolders && state == NameState::Found; ++climbed) {
    if (isRoot(above)) return true;
    if (above.identity() == below) return false;  // the root of the file system
    below = above.identity();
    OpenFolder next;
    state = above.enter("..", next);
    above = std::move(next);
  }
  return false;
}

bool Walk::go(const Frame& at, const Step* rest) {
  while (rest && rest->endOfLink) {
    if (!at.isAllowed) return leave(at, rest);
    rest = rest->next;
  }
  if (!rest) return end(FileState::Unreadable);  // a folder
  if (stepsLeft_-- <= 0) return end(FileState::Missing);
  if (rest->name == "..") return goUp(at, rest->next);
  return goTo(at, rest->name, rest->next) || (at.isAllowed && goToSimilar(at, rest));
}

bool Walk::enter(const Frame& folder, const Step* rest) {
  if (foldersLeft_ <= 0) return end(FileState::Missing);
  --foldersLeft_;
  const bool ended = go(folder, rest);
  ++foldersLeft_;
  return ended;
}

bool Walk::goUp(const Frame& at, const Step* rest) {
  if (at.parent) return go(*at.parent, rest);
  Frame above{{}, nullptr, {}, joined(at.start, ".."), false};
  if (at.folder.enter("..", above.folder) != NameState::Found) return false;
  above.isAllowed = isBelowRoot(above.folder);
  return enter(above, rest);
}

bool Walk::goTo(const Frame& at, std::string_view name, const Step* rest) {
  if (isLast(rest)) return finish(at, name, rest);
  Frame below{{}, &at, name, {}, at.isAllowed};
  switch (at.folder.enter(std::string(name), below.folder)) {
    case NameState::Found:
      break;
    case NameState::Link:
      return follow(at, name, rest);
    case NameState::Missing:
      return false;
    case NameState::Refused:
      return refuse(pathOf(at));
    case NameState::Failed:
      return end(FileState::Unreadable);
  }
  if (!below.isAllowed) below.isAllowed = isRoot(below.folder);
  return enter(below, rest);
}

// A folder may contain both "Été" and its decomposed form, with the file in either, so every name is tried.
// Two names with a slash between them may be one name with a colon.
bool Walk::goToSimilar(const Frame& at, const Step* rest) {
  std::string name;
  for (const Step* step = rest; step && !step->endOfLink && step->name != ".."; step = step->next) {
    if (!name.empty()) name += '/';
    name += step->name;
    if (looksLeft_-- <= 0) return end(FileState::Missing);
    for (const std::string& similar : names_.like(at.folder, name))
      if (goTo(at, similar, step->next)) return true;
  }
  return false;
}

bool Walk::finish(const Frame& at, std::string_view name, const Step* rest) {
  const std::string text(name);
  // Nothing that is not allowed is opened.
  const bool opens = purpose_ == Purpose::Open && at.isAllowed;
  switch (opens ? at.folder.open(text, found_.file) : at.folder.look(text)) {
    case NameState::Found:
      break;
    case NameState::Link:
      return follow(at, name, rest);
    case NameState::Missing:
      return false;
    case NameState::Refused:
      return refuse(at.folder.look(text) == NameState::Refused ? pathOf(at) : joined(pathOf(at), name));
    case NameState::Failed:
      return at.isAllowed ? end(FileState::Unreadable) : leave(at, rest);
  }
  if (!at.isAllowed) return leave(at, rest);
  found_.file.path = joined(pathOf(at), name);
  return end(FileState::Open);
}

bool Walk::follow(const Frame& at, std::string_view name, const Step* rest) {
  if (linksLeft_-- <= 0) return end(FileState::Unreadable);
  auto target = at.folder.linkTarget(std::string(name));
  if (!target) return false;
  // Only the first link out of the library is of interest: it is the one that the user can allow.
  if (at.isAllowed) {
    const std::string& link = texts_.emplace_back(joined(pathOf(at), name));
    rest = &steps_.emplace_back(Step{{}, &link, rest});
  }
  const std::string& text = texts_.emplace_back(*std::move(target));
  const Components components = componentsOf(text);
  for (auto each = components.rbegin(); each != components.rend(); ++each) {
    rest = &steps_.emplace_back(Step{*each, nullptr, rest});
  }
  if (!text.starts_with('/')) return go(at, rest);
  Frame root{OpenFolder::at("/"), nullptr, {}, "/", false};
  if (!root.folder) return end(FileState::Unreadable);
  root.isAllowed = isRoot(root.folder);
  return enter(root, rest);
}

bool Walk::leave(const Frame& at, const Step* rest) {
  while (rest && !rest->endOfLink) rest = rest->next;
  if (rest) found_.linkOut = LinkOut{*rest->endOfLink, pathOf(at)};
  found_.file = OpenFile{};
  return true;
}

}  // namespace

FoundFile LibraryFileFinder::open(std::string_view libraryPath, std::string_view path) {
  const auto components = componentsBelow(libraryPath, path);
  if (!components) return {};
  return Walk(allowed_, names_, Walk::Purpose::Open).run(std::string(libraryPath), *components);
}

FoundFile LibraryFileFinder::find(std::string_view libraryPath, std::string_view path) {
  const auto components = componentsBelow(libraryPath, path);
  if (!components) return {};
  return Walk(allowed_, names_, Walk::Purpose::Find).run(std::string(libraryPath), *components);
}

FoundFile LibraryFileFinder::openBelow(const std::string& folder, std::string_view path) {
  const Components components = componentsOf(path);
  if (components.empty() || path.find('\0') != std::string_view::npos || !staysBelow(components, 0))
    return {};
  return Walk(allowed_, names_, Walk::Purpose::Open).run(folder, components);
}

}  // namespace moxtel
