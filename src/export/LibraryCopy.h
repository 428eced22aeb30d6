// Copies what LibraryPlan found of one library, and writes its sidecars, albums and what no photo names. On
// the library's thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "export/ExportContext.h"
#include "export/ExportFolders.h"
#include "export/FileWriter.h"
#include "export/PhotoSources.h"

namespace moxtel {

class ImagePropertyReader;
class OpenLibrary;

class LibraryCopy final {
 public:
  // Borrows everything. The scratch has the plan of this library.
  LibraryCopy(ExportContext& context, FileWriter& writer, const ExportedLibrary& exported,
              OpenLibrary& library, ImagePropertyReader& properties, const ExportFolders& folders);

  // The photos to do. A file that cannot be read is tried again in a later run of this, or reported if it is
  // the last.
  void copyPhotos(bool isLast);
  // Lists and folders of links; unchanged ones stay.
  void writeAlbums();
  // The notes of events, albums and photos, as one text file; an unchanged one stays.
  void writeNotes();
  // A line of JSON for each photo of the plan, with all facts and the files that it gets.
  void describePhotos(const std::function<void(std::string_view)>& take);
  // Files among the originals that no row of the library names.
  void copyUnknownFiles();

 private:
  void repeatUnread(std::int64_t first, std::int64_t end, std::vector<PhotoFacts>& read, bool isLast);
  void copyPhoto(const PhotoFacts& photo, bool isLast);
  FileWriter::Outcome copyFile(const PhotoFacts& photo, const SourceFile& source);
  void writeSidecar(const PhotoFacts& photo, const SourceFile& source);
  FileWriter::Change embedding(const PhotoFacts& photo, const SourceFile& source);
  void writeList(std::size_t album);
  std::string notesText();
  void writeLinks(std::size_t album);
  // The paths of the files of a member, the best one first.
  std::vector<StateFile> filesOf(std::int64_t modelId, std::string& uuid);
  std::string claimedPath(const std::string& path);
  void report(Finding finding, const std::string& file, const std::string& reason = {});

  ExportContext& context_;
  FileWriter& writer_;
  const ExportedLibrary& exported_;
  OpenLibrary& library_;
  PhotoSourceFinder sources_;
  const ExportFolders& folders_;
};

}  // namespace moxtel
