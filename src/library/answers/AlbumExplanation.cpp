#include "library/answers/AlbumExplanation.h"

#include <unordered_set>

#include "library/answers/RuleText.h"
#include "library/answers/SmartAlbums.h"
#include "value/Format.h"

namespace moxtel {

namespace {

constexpr std::size_t kMostDifferences = 20;
constexpr SqlText kFileName = "SELECT fileName FROM RKVersion WHERE uuid = '%@'";

std::string photos(std::size_t count) { return std::to_string(count) + (count == 1 ? " photo" : " photos"); }

std::string ruleText(const SmartAlbum& album) {
  if (const auto* error = std::get_if<RuleError>(&album.rule))
    return "The rule cannot be read: " + error->reason + ".\n";
  std::string text = "The rule:\n" + describeRule(std::get<RuleNode>(album.rule));
  if (!album.scope.empty() && album.scope != "LibraryFolder")
    text += format("limited to the folder or project '%@'\n", album.scope);
  return text;
}

std::string answerText(const SmartAlbumMembers& members, const char* file) {
  const std::string count = photos(members.photos.size());
  switch (members.source) {
    case SmartAlbumMembers::Source::SavedList:
      return format("%@, from the list in %s, which is up to date.\n", count, file);
    case SmartAlbumMembers::Source::Rule:
      return count + ", by the rule.\n";
    case SmartAlbumMembers::Source::OldSavedList:
      return format("%@, from the list in %s. It is not up to date, but the rule is not understood.\n", count,
                    file);
    case SmartAlbumMembers::Source::CertainPart:
      return format("Certain by the rule: %@. Undecided: %@.\n", count, photos(members.perhaps));
  }
  return {};
}

std::string missing(LibraryDatabases& databases, const std::vector<Text>& from,
                    const std::vector<Text>& others) {
  std::unordered_set<std::string_view> known;
  for (const Text& uuid : others) known.insert(uuid.view());
  std::string text;
  std::size_t count = 0;
  for (const Text& uuid : from) {
    if (known.contains(uuid.view()) || ++count > kMostDifferences) continue;
    Query row = databases.runUnlogged(DatabaseFile::Library, kFileName, {uuid});
    text += format("  %@  %@\n", uuid, row.step() ? row.stringColumn(0) : Value(""));
  }
  if (count > kMostDifferences) text += format("  and %lu more\n", count - kMostDifferences);
  return text;
}

std::string differences(LibraryDatabases& databases, const std::vector<Text>& list, const RuleMembers& rule) {
  std::vector<Text> certain;
  for (const SortedPhoto& photo : rule.certain) certain.push_back(photo.uuid);
  const std::string listOnly = missing(databases, list, certain);
  const std::string ruleOnly = missing(databases, certain, list);
  if (listOnly.empty() && ruleOnly.empty()) return "The saved list and the rule have the same photos.\n";
  return (listOnly.empty() ? "" : "Only in the saved list:\n" + listOnly) +
         (ruleOnly.empty() ? "" : "Only by the rule:\n" + ruleOnly);
}

}  // namespace

std::optional<std::string> explainAlbum(LibraryDatabases& databases, SavedLists& savedLists,
                                        SmartAlbums& smartAlbums, const Value& uuid) {
  const auto album = readSmartAlbum(databases, uuid);
  if (!album) return std::nullopt;
  savedLists.refresh();
  const SmartAlbumMembers members = smartAlbums.find(*album);
  const RuleMembers rule = smartAlbums.evaluate(*album);
  std::string text = format("The smart album '%@' (%@)\n\n", album->name, album->uuid) + ruleText(*album);
  for (const std::string& clause : rule.notUnderstood) text += "Not understood: " + clause + "\n";
  text += "\n" + answerText(members, savedLists.fileName());
  if (const SavedPhotoList* list = savedLists.listOf(album->uuid.string()))
    text += differences(databases, smartAlbums.livePhotosOf(*list), rule);
  return text;
}

}  // namespace moxtel
