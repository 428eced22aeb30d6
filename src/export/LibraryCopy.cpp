#include "export/LibraryCopy.h"

#include <algorithm>

#include "export/FactsText.h"
#include "export/JsonText.h"
#include "export/LibraryPlan.h"
#include "export/NameAllotment.h"
#include "export/SidecarText.h"
#include "export/SidecarWriter.h"
#include "export/UnknownFiles.h"
#include "library/answers/OpenLibrary.h"
#include "library/facts/PhotoFactsReader.h"
#include "library/facts/PhotoNotes.h"
#include "platform/files/Files.h"
#include "platform/files/LegalNames.h"

namespace moxtel {

namespace {

using Outcome = FileWriter::Outcome;

// From one file of the target to another: "../../Events/2009/a.jpg".
std::string relativePath(const std::string& from, const std::string& to) {
  std::size_t common = 0;
  for (std::size_t i = 0; i < from.size() && i < to.size() && from[i] == to[i]; ++i)
    if (from[i] == '/') common = i + 1;
  std::string path;
  for (std::size_t i = common; i < from.size(); ++i)
    if (from[i] == '/') path += "../";
  return path + to.substr(common);
}

const char* wordOf(FileRole role) {
  switch (role) {
    case FileRole::Edited:
      return "edited";
    case FileRole::Alternate:
      return "alternate";
    case FileRole::LiveMovie:
      return "liveMovie";
    default:
      return "original";
  }
}

bool isJpeg(const SourceFile& source) {
  const Bytes start = readStart(source.file, 3);
  return start == Bytes{0xFF, 0xD8, 0xFF};
}

}  // namespace

LibraryCopy::LibraryCopy(ExportContext& context, FileWriter& writer, const ExportedLibrary& exported,
                         OpenLibrary& library, ImagePropertyReader& properties, const ExportFolders& folders)
    : context_(context),
      writer_(writer),
      exported_(exported),
      library_(library),
      sources_(context, exported, library, properties),
      folders_(folders) {}

void LibraryCopy::report(Finding finding, const std::string& file, const std::string& reason) {
  context_.report.add(finding, exported_.name, file, reason);
}

void LibraryCopy::copyPhotos(bool isLast) {
  constexpr std::int64_t kRange = PhotoFactsReader::kWidestRange;
  for (auto next = context_.scratch.nextTodo(exported_.id, 0); next;
       next = context_.scratch.nextTodo(exported_.id, *next + kRange)) {
    library_.beginTask();
    std::vector<PhotoFacts> photos;
    const bool isWhole = library_.facts().read(*next, *next + kRange - 1, [&](PhotoFacts photo) {
      if (context_.scratch.todo(exported_.id, photo.modelId)) photos.push_back(std::move(photo));
      return true;
    });
    // Copying may take long, and a photo application may want to write.
    library_.releaseLocks();
    if (!isWhole || library_.failed()) repeatUnread(*next, *next + kRange, photos, isLast);
    for (const PhotoFacts& photo : photos) copyPhoto(photo, isLast);
  }
}

// Those that were read may lack facts, so all planned photos of the range follow at the end.
void LibraryCopy::repeatUnread(std::int64_t first, std::int64_t end, std::vector<PhotoFacts>& read,
                               bool isLast) {
  library_.facts().dropCaches();
  if (isLast) return report(Finding::FactsNotRead, exported_.path, "a database could not be read to its end");
  read.clear();
  for (auto next = context_.scratch.nextTodo(exported_.id, first); next && *next < end;
       next = context_.scratch.nextTodo(exported_.id, *next + 1))
    context_.scratch.addRetry(exported_.id, *next, *context_.scratch.todo(exported_.id, *next));
}

void LibraryCopy::copyPhoto(const PhotoFacts& photo, bool isLast) {
  context_.checkCanceled();
  PhotoSources sources = sources_.find(photo);
  leaveSharedOriginal(context_, exported_, photo, sources);
  std::int64_t planned = context_.scratch.todo(exported_.id, photo.modelId).value_or(0);
  for (const SourceFile& source : sources.files) {
    planned &= ~bitOf(source.role);
    const Outcome outcome = copyFile(photo, source);
    if (outcome == Outcome::Unreadable) {
      if (isLast) {
        report(Finding::Unreadable, source.file.path, writer_.reason());
      } else {
        context_.scratch.addRetry(exported_.id, photo.modelId, bitOf(source.role));
      }
    }
    if (outcome == Outcome::Done || outcome == Outcome::Kept) writeSidecar(photo, source);
  }
  if (planned == 0) return;
  if (!isLast) return context_.scratch.addRetry(exported_.id, photo.modelId, planned);
  report(Finding::Unreadable, originalName(photo), "it was there when the export began");
}

FileWriter::Outcome LibraryCopy::copyFile(const PhotoFacts& photo, const SourceFile& source) {
  const FileKey key{exported_.id, photo.uuid, source.role};
  const auto row = context_.state.find(key);
  if (!row) return Outcome::Refused;  // too large, or new since the plan
  const bool isSame =
      row->isDone && row->sourceSize == source.file.size && row->sourceModified == source.modified;
  const TargetEntry there = row->isDone ? context_.target.look(row->path) : TargetEntry();
  const bool isThere = there.kind != TargetEntry::Kind::Missing;
  // What somebody changed in the target stays; the plan has reported it.
  if (isThere && (isSame || there.size != row->size)) return Outcome::Kept;
  return writer_.copy(key, *row, source, photo.imageDate, embedding(photo, source));
}

FileWriter::Change LibraryCopy::embedding(const PhotoFacts& photo, const SourceFile& source) {
  if (!context_.options.embed || !context_.sidecars) return {};
  const auto remark = [this, &photo, role = source.role](const std::vector<std::string>& why) {
    context_.state.setRemarks({exported_.id, photo.uuid, role}, why);
  };
  if (!isJpeg(source)) {
    remark({"only JPEG files hold the facts; they are in the sidecar"});
    return {};
  }
  return [this, &photo, &source, remark](Bytes contents) {
    const auto albums = albumsOf(context_, folders_, photo.modelId);
    std::string why;
    auto changed = context_.sidecars->embed({photo, albums, source.role, source.width, source.height},
                                            std::move(contents), why);
    remark(changed ? std::vector<std::string>() : std::vector{why});
    return changed;
  };
}

void LibraryCopy::writeSidecar(const PhotoFacts& photo, const SourceFile& source) {
  if (!context_.sidecars || !hasSidecar(source.role, context_.options)) return;
  const FileKey key{exported_.id, photo.uuid, sidecarOf(source.role)};
  const auto row = context_.state.find(key);
  if (!row) return;
  const auto albums = albumsOf(context_, folders_, photo.modelId);
  const std::string hash = hashOfFacts(context_, photo, albums);
  if (row->isDone && row->facts == hash && context_.target.look(row->path).kind != TargetEntry::Kind::Missing)
    return;
  std::vector<std::string> lacks;
  const std::string text =
      context_.sidecars->encode({photo, albums, source.role, source.width, source.height}, lacks);
  context_.state.setRemarks(key, lacks);
  if (!text.empty() && writer_.writeText(key, *row, text, hash) == Outcome::Done)
    ++context_.report.counts.sidecars;
}

void LibraryCopy::writeAlbums() {
  const auto& containers = library_.lists().containers();
  for (std::size_t i = 0; i < containers.size(); ++i) {
    context_.checkCanceled();
    if (!folders_.isAlbum(i)) continue;
    if (context_.options.albumLists) writeList(i);
    if (context_.options.albumLinks) writeLinks(i);
  }
}

std::vector<StateFile> LibraryCopy::filesOf(std::int64_t modelId, std::string& uuid) {
  std::vector<StateFile> files;
  const auto photo = context_.scratch.photo(exported_.id, modelId);
  if (!photo) return files;
  uuid = photo->uuid;
  if (auto edited = context_.state.find({exported_.id, photo->uuid, FileRole::Edited});
      edited && edited->isDone)
    files.push_back(*edited);
  if (auto original = context_.state.find({exported_.id, photo->originalUuid, FileRole::Original});
      original && original->isDone)
    files.push_back(*original);
  return files;
}

// A list of what was not copied yet would change with each run; files that are missing are in the report.
void LibraryCopy::writeList(std::size_t album) {
  const std::string path = exported_.folder + folders_.albumPath(album) + ".m3u8";
  std::string text = "#EXTM3U\n";
  context_.scratch.forEachMember(static_cast<std::int64_t>(album), [&](std::int64_t photo) {
    std::string uuid;
    const std::vector<StateFile> files = filesOf(photo, uuid);
    if (!files.empty()) text += relativePath(path, files.front().path) + "\n";
  });
  const FileKey key{exported_.id, library_.lists().containers()[album].uuid, FileRole::AlbumList};
  auto row = context_.state.find(key);
  const std::string hash = sha256Of(text).substr(0, 32);
  if (!row) {
    // Albums of which nothing was asked for have no list.
    if (text.size() < 9 && context_.options.isPartial()) return;
    row.emplace();
    row->path = path;
    row->wasThere = !context_.isFresh && context_.target.look(path).kind != TargetEntry::Kind::Missing;
  }
  writer_.writeText(key, *row, text, hash);
}

// A heading for each, with what it belongs to.
std::string LibraryCopy::notesText() {
  std::string text;
  const auto add = [&](const std::string& heading, std::string_view note) {
    const std::string body = xmlText(note);
    if (!body.empty()) text += (text.empty() ? "" : "\n") + heading + "\n" + body + "\n";
  };
  for (std::size_t i = 0; i < library_.lists().containers().size(); ++i) {
    const LibraryContainer& each = library_.lists().containers()[i];
    if (each.kind == LibraryContainer::Kind::Event || each.isAmongEvents)
      add(folders_.eventPath(i).empty() ? hierarchicalTag(folders_.albumNames(i), '/')
                                        : folders_.eventPath(i),
          each.note);
    else
      add(folders_.albumPath(i), each.note);
  }
  readPhotoNotes(library_.databases(), [&](const std::string& uuid, const std::string& note) {
    for (const FileRole role : {FileRole::Original, FileRole::Edited}) {
      const auto row = context_.state.find({exported_.id, uuid, role});
      if (!row) continue;
      add(row->path.substr(exported_.folder.size()), note);
      break;
    }
  });
  return text;
}

void LibraryCopy::writeNotes() {
  const std::string text = notesText();
  const FileKey key{exported_.id, "", FileRole::Notes};
  auto row = context_.state.find(key);
  if (!row) {
    if (text.empty()) return;
    row.emplace();
    row->path = exported_.folder + "Notes.txt";
    row->wasThere = !context_.isFresh && context_.target.look(row->path).kind != TargetEntry::Kind::Missing;
  }
  writer_.writeText(key, *row, text, sha256Of(text).substr(0, 32));
}

void LibraryCopy::writeLinks(std::size_t album) {
  const std::string folder = exported_.folder + folders_.albumPath(album) + "/";
  const std::string uuid = library_.lists().containers()[album].uuid;
  context_.scratch.forEachMember(static_cast<std::int64_t>(album), [&](std::int64_t member) {
    context_.checkCanceled();
    std::string photo;
    const std::vector<StateFile> files = filesOf(member, photo);
    if (files.empty()) return;
    const std::string& file = files.front().path;
    const std::string id = uuid + "/" + photo;
    const FileKey key{exported_.id, id, FileRole::AlbumLink};
    auto row = context_.state.find(key);
    if (!row) {
      const NameParts parts = partsOf(file.substr(file.rfind('/') + 1));
      row.emplace();
      for (int number = 1;; ++number) {
        row->path = folder + numbered(parts.stem, number, 220) + parts.extension;
        if (context_.target.look(row->path).kind == TargetEntry::Kind::Missing &&
            context_.state.claim(row->path))
          break;
      }
    }
    writer_.link(key, *row, relativePath(row->path, file));
    const std::string sidecar = pathOfSidecar(file, context_.options.sidecarName);
    if (!context_.sidecars || context_.target.look(sidecar).kind == TargetEntry::Kind::Missing) return;
    const std::string sidecarId = id + "/sidecar";
    StateFile link;
    link.path = pathOfSidecar(row->path, context_.options.sidecarName);
    writer_.link({exported_.id, sidecarId, FileRole::AlbumLink}, link, relativePath(link.path, sidecar));
  });
}

void LibraryCopy::describePhotos(const std::function<void(std::string_view)>& take) {
  library_.facts().read(1, library_.facts().lastModelId(), [&](const PhotoFacts& photo) {
    context_.checkCanceled();
    const auto planned = context_.scratch.photo(exported_.id, photo.modelId);
    if (!planned || !planned->isWanted) return true;
    JsonObject line;
    line.add("library", exported_.path);
    std::string files;
    PhotoSources sources = sources_.find(photo);
    leaveSharedOriginal(context_, exported_, photo, sources);
    for (const SourceFile& source : sources.files) {
      const auto row = context_.state.find({exported_.id, photo.uuid, source.role});
      if (!row) continue;
      JsonObject file;
      file.add("role", wordOf(source.role)).add("source", source.file.path).add("bytes", source.file.size);
      files += (files.empty() ? "" : ",") + file.add("path", row->path).text();
    }
    line.addRaw("files", "[" + files + "]");
    take(line.addRaw("facts", factsAsJson(photo, albumsOf(context_, folders_, photo.modelId))).text());
    return true;
  });
}

// Two names may be equal without case, or when they are legal.
std::string LibraryCopy::claimedPath(const std::string& path) {
  const std::size_t slash = path.rfind('/') + 1;
  const NameParts parts = partsOf(path.substr(slash));
  for (int number = 1;; ++number) {
    const std::string stem = numbered(parts.stem, number, kLongestName - parts.extension.size());
    std::string claimed = path.substr(0, slash) + stem + parts.extension;
    if (context_.state.claim(claimed)) return claimed;
  }
}

void LibraryCopy::copyUnknownFiles() {
  UnknownFiles unknown(library_, context_.scratch);
  const auto takeFailure = [&](const UnknownFiles::Failure& failure) {
    report(Finding::Unreadable, failure.path, failure.reason);
  };
  const auto take = [&](const std::string& path, OpenFile file, bool isNotShown) {
    context_.checkCanceled();
    SourceFile source;
    source.role = FileRole::NotInLibrary;
    source.modified = stampOf(file.descriptor.get()).modified;
    source.file = std::move(file);
    report(Finding::NotInLibrary, source.file.path,
           isNotShown ? "the library does not show it, like the other frames of a burst" : "");
    const FileKey key{exported_.id, path, FileRole::NotInLibrary};
    auto row = context_.state.find(key);
    if (!row) {
      row.emplace();
      row->path = claimedPath(exported_.folder + "Not in the library/" + legalPath(path));
      row->wasThere = context_.target.look(row->path).kind != TargetEntry::Kind::Missing;
      context_.state.plan(key, row->path, row->wasThere);
    }
    ++context_.report.counts.files;
    const TargetEntry there = row->isDone ? context_.target.look(row->path) : TargetEntry();
    if (row->isDone && there.kind != TargetEntry::Kind::Missing) {
      ++context_.report.counts.unchanged;
      return;
    }
    if (context_.options.dryRun) {
      ++context_.report.counts.copied;
      context_.report.counts.copiedBytes += source.file.size;
    } else if (writer_.copy(key, *row, source, std::nullopt) == Outcome::Unreadable) {
      report(Finding::Unreadable, source.file.path, writer_.reason());
    }
  };
  unknown.forEach(take, takeFailure);
}

}  // namespace moxtel
