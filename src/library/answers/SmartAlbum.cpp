#include "library/answers/SmartAlbum.h"

#include <unordered_set>
#include <utility>

#include "library/FolderPhotos.h"
#include "library/answers/RuleExpression.h"
#include "library/answers/SortedPhotoReader.h"
#include "library/database/LibraryDatabases.h"

namespace moxtel {

namespace {

constexpr SqlText kAlbum =
    "SELECT uuid,name,queryData,queryFolderUuid,sortKeyPath,sortAscending FROM RKAlbum WHERE uuid = '%@' AND "
    "albumType = 1 AND albumSubclass = 2 AND queryData IS NOT NULL";
// The columns of photo_column. The whole table in the order of its rows; the plus signs keep SQLite, which
// has no statistics here, from reading it along an index.
constexpr SqlText kShownPhotos =
    "SELECT modelId,uuid,imageDate,mainRating,name,projectUuid,isFlagged,fileName,isHidden FROM RKVersion "
    "WHERE +showInLibrary = 1 AND +isInTrash = %d ORDER BY modelId";

std::variant<RuleNode, RuleError> ruleIn(const Query& row, int column) {
  const auto bytes = row.storedBytes(column);
  if (!bytes) return RuleError{"it is no data"};
  return decodeAlbumRule(*bytes);
}

// What limits the candidates; nothing when everything is admitted.
std::optional<RuleExpression> scopeOf(LibraryDatabases& databases, const std::string& folder,
                                      std::vector<std::string>& notUnderstood) {
  if (folder.empty() || folder == "LibraryFolder") return std::nullopt;
  auto photos = photosOfFolder(databases, folder, HiddenMembers::Included);
  if (photos) return RuleExpression(isOneOf(std::move(*photos)));
  notUnderstood.emplace_back("it is limited to a folder that does not exist");
  return RuleExpression(std::nullopt);
}

// Puts the photos that an expression admits into `members`. False when not all could be read.
bool scan(LibraryDatabases& databases, const SmartAlbum& album, const RuleExpression& expression,
          bool hidesHidden, RuleMembers& members) {
  const bool ofTrash = album.uuid.string() == "trashAlbum";
  const auto trashed = ofTrash ? std::unordered_set<std::string>() : foldersInTrash(databases);
  const SortedPhotoReader reader(databases, album.order, album.uuid);
  Query row = databases.runUnlogged(DatabaseFile::Library, kShownPhotos, {ofTrash ? 1 : 0});
  while (row.step()) {
    if (hidesHidden && row.integerColumn(photo_column::kHidden) != 0) continue;
    if (!trashed.empty() && trashed.contains(std::string(row.stringColumn(photo_column::kProject).string())))
      continue;
    const Truth truth = expression.of(row);
    if (truth == Truth::Perhaps) members.perhaps.push_back(row.integer64Column(photo_column::kModelId));
    if (truth != Truth::True) continue;
    SortedPhoto photo = reader.photoOf(row);
    // A photo without a uuid could never be asked for.
    if (!photo.uuid.empty()) members.certain.push_back(std::move(photo));
  }
  return !row.failed();
}

}  // namespace

std::optional<SmartAlbum> readSmartAlbum(LibraryDatabases& databases, const Value& uuid) {
  Query row = databases.runUnlogged(DatabaseFile::Library, kAlbum, {uuid});
  if (!row.step()) return std::nullopt;
  return SmartAlbum{row.stringColumn(0), row.stringColumn(1), ruleIn(row, 2),
                    std::string(row.stringColumn(3).string()),
                    PhotoOrder(row.stringColumn(4).string(), row.integerColumn(5) != 0)};
}

RuleMembers evaluateRule(LibraryDatabases& databases, const SmartAlbum& album, Date now, bool hidesHidden) {
  RuleMembers members;
  if (const auto* error = std::get_if<RuleError>(&album.rule)) {
    members.notUnderstood.push_back("its rule: " + error->reason);
    return members;
  }
  RuleTests tests(databases, now);
  RuleExpression expression(std::get<RuleNode>(album.rule), tests, members.notUnderstood);
  members.followsTheDay = tests.followsTheDay();
  if (!tests.readTexts()) {
    members.notUnderstood.emplace_back("the texts of Properties.apdb cannot be read");
    return members;
  }
  if (auto scope = scopeOf(databases, album.scope, members.notUnderstood))
    expression = RuleExpression(std::move(*scope), std::move(expression));
  members.wasEvaluated = scan(databases, album, expression, hidesHidden, members);
  album.order.sort(members.certain);
  return members;
}

}  // namespace moxtel
