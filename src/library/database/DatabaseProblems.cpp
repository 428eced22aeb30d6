#include "library/database/DatabaseProblems.h"

#include <cerrno>
#include <utility>

#include "library/Messages.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

using Kind = DatabaseProblem::Kind;

std::string sentence(const std::string& path, const DatabaseProblem& problem) {
  switch (problem.kind) {
    case Kind::Missing:
      return formatRuntime(UserText::tr("The database '%@' is not there: is the disk connected? Lists that "
                                        "are read from it are empty or "
                                        "incomplete until it is there again."),
                           path);
    case Kind::NotPermitted:
      return formatRuntime(
          UserText::tr("This user is not permitted to read the database '%@'. Lists from it are empty."),
          path);
    case Kind::NoFile:
      return formatRuntime(UserText::tr("The database '%@' is not a file. Lists from it are empty."), path);
    case Kind::Damaged:
      return formatRuntime(UserText::tr("The database '%@' is damaged: %@. Lists from it are empty or "
                                        "incomplete. Copy the library again, "
                                        "or let the photo application repair it."),
                           path, problem.detail);
    case Kind::WithoutTables:
      return formatRuntime(UserText::tr("The database '%@' has none of the tables that iPhoto 9 and Aperture "
                                        "3 write. Lists from it are "
                                        "empty."),
                           path);
    case Kind::Incomplete:
      return formatRuntime(
          UserText::tr("The database '%@' lacks what the server reads: %@. Lists from there are empty."),
          path, problem.detail);
    case Kind::NotServed:
      return formatRuntime(
          UserText::tr(
              "The database '%@' is one of %@, whose libraries are not served. Open the library once with a "
              "later version, which converts it."),
          path, problem.detail);
    case Kind::None:
      break;
  }
  return formatRuntime(UserText::tr("The database '%@' can be read again."), path);
}

}  // namespace

DatabaseProblem problemOfAbsentFile(const std::string& path) {
  const FileStamp stamp = stampOf(path);
  if (stamp.kind == FileStamp::Kind::Missing) {
    return {stamp.error == EACCES ? Kind::NotPermitted : Kind::Missing, {}};
  }
  if (!stamp.isRegular()) return {Kind::NoFile, {}};
  return {isReadable(path) ? Kind::None : Kind::NotPermitted, {}};
}

// A main database that was never there is reported when the library is loaded. Without it, the others are
// missing for the same reason.
bool DatabaseProblems::isSaidElsewhere(std::size_t number, const DatabaseProblem& now) const {
  if (!now.isAway()) return false;
  return number == 0 ? !files_[0].wasUsed : files_[0].problem.isAway();
}

void DatabaseProblems::note(std::size_t number, const std::string& path, DatabaseProblem now,
                            const FileStamp& stamp) {
  File& file = files_[number];
  const bool isFine = now.kind == Kind::None;
  if (isFine) file.wasUsed = true;
  const bool mayBeUnread = isFine && !file.problem.isAway() && stamp == file.stamp;
  if (now == file.problem || mayBeUnread) return;
  const bool wasMissed = file.isSaid || (number == 0 && file.problem.isAway());
  const bool isNews = isFine ? wasMissed : !isSaidElsewhere(number, now);
  file.problem = std::move(now);
  file.stamp = stamp;
  file.isSaid = isNews && !isFine;
  if (isNews) messages_.showTitle(isFine ? "Info" : "Error", sentence(path, file.problem));
}

}  // namespace moxtel
