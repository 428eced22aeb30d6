#include "client/KnownIds.h"

#include <algorithm>
#include <array>
#include <deque>
#include <set>

namespace moxtel {

namespace {

constexpr std::size_t kMostFolders = 10'000;
// Ids with a meaning of their own, which are in no list.
constexpr std::array<std::string_view, 3> kSpecial{"allPhotosAlbum", "TopLevelAlbums", "AllProjectsItem"};

class IdSearch final {
 public:
  IdSearch(ServerSession& session, Value id) : session_(session), id_(std::move(id)) {}

  // Nothing if a request fails: the id is then not called unknown.
  bool isInLists(std::initializer_list<const char*> lists) {
    for (const char* list : lists) {
      if (isIn(Dictionary{{"command", list}})) return true;
    }
    for (std::size_t asked = 0; !folders_.empty() && asked < kMostFolders; ++asked) {
      const Value folder = folders_.front();
      folders_.pop_front();
      if (isIn(Dictionary{{"command", "Folders of Album"}, {"id", folder}})) return true;
    }
    return failed_ || !folders_.empty();
  }

 private:
  bool isIn(const Dictionary& command) {
    const auto answer = session_.ask(command);
    const Value* containers = std::get_if<Value>(&answer);
    if (!containers) {
      failed_ = true;
      return false;
    }
    for (const Value& container : containers->array()) {
      const Value& id = container["AlbumId"];
      if (id == id_) return true;
      if (container["AlbumType"] != Value("Folder") || !id.isString()) continue;
      if (known_.size() < kMostFolders && known_.insert(std::string(id.string())).second)
        folders_.push_back(id);
    }
    return false;
  }

  ServerSession& session_;
  const Value id_;
  std::set<std::string> known_;
  std::deque<Value> folders_;  // not asked for yet
  bool failed_ = false;
};

bool isSpecial(const Value& id) {
  return std::find(kSpecial.begin(), kSpecial.end(), id.string()) != kSpecial.end();
}

}  // namespace

std::optional<std::string> whyIdIsUnknown(ServerSession& session, const Dictionary& command) {
  const std::string_view name = command["command"].string();
  const Value& id = command["id"];
  const std::string text(id.string());
  if (name == "Photos of Face") {
    if (IdSearch(session, id).isInLists({"Get Faces"})) return std::nullopt;
    return "no person has the id " + text;
  }
  const bool isEdit = name == "Reveal Album" || name == "Reveal Event";
  if (!isEdit && name != "Photos of Album" && name != "Folders of Album") return std::nullopt;
  if (isSpecial(id) || IdSearch(session, id).isInLists({"Get Albums", "Get Events"})) return std::nullopt;
  return "no album, event or folder has the id " + text;
}

}  // namespace moxtel
