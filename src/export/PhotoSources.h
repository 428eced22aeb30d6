// Finds the files of a photo that belong in the target, and what is missing. One thread, the library's.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "export/ExportContext.h"
#include "export/ExportState.h"
#include "export/Report.h"
#include "library/LibraryFileFinder.h"
#include "library/facts/PhotoFacts.h"
#include "platform/files/FileReader.h"

namespace moxtel {

class ImagePropertyReader;
class OpenLibrary;

struct SourceFile {
  FileRole role = FileRole::Original;
  OpenFile file;              // open
  std::int64_t modified = 0;  // nanoseconds since 1970 UTC
  std::string extension;      // legal, with its dot; may be empty
  std::int32_t width = 0;     // pixels; 0 unknown
  std::int32_t height = 0;
};

struct SourceProblem {
  Finding finding = Finding::MissingOriginal;
  std::string file;
  std::string reason;
};

struct PhotoSources {
  std::string stem;  // the user's name of the original, legal, cut so that every suffix fits
  std::vector<SourceFile> files;
  std::vector<SourceProblem> problems;
  bool hadReadError = false;  // opening one of the files failed, which it may not the next time
};

class PhotoSourceFinder final {
 public:
  // Borrows everything.
  PhotoSourceFinder(ExportContext& context, const ExportedLibrary& exported, OpenLibrary& library,
                    ImagePropertyReader& properties)
      : context_(context),
        exported_(exported),
        library_(library),
        properties_(properties),
        options_(context.options) {}

  PhotoSources find(const PhotoFacts& photo);

 private:
  OpenFile openFirst(const std::vector<std::string>& paths);
  OpenFile unreadable(FoundFile found, const std::string& path);
  ExportState::Picture pictureOf(const PhotoFacts& photo, FileRole role, const OpenFile& file);
  OpenFile openOriginal(const PhotoFacts& photo);
  bool isEdited(const PhotoFacts& photo, const OpenFile& original);
  void addEdited(const PhotoFacts& photo, OpenFile edited, PhotoSources& found);
  void addInPlaceOfOriginal(const PhotoFacts& photo, OpenFile edited, const OpenFile& original,
                            PhotoSources& found);
  void addCompanions(const PhotoFacts& photo, PhotoSources& found);
  SourceProblem problemOf(const PhotoFacts& photo, const OpenFile& original);
  void addAll(const PhotoFacts& photo, PhotoSources& found);

  ExportContext& context_;
  const ExportedLibrary& exported_;
  OpenLibrary& library_;
  ImagePropertyReader& properties_;
  const ExportOptions& options_;
  bool hadReadError_ = false;
};

// The user's name for a photo's original, with an extension where the file has one.
std::string originalName(const PhotoFacts& photo);

}  // namespace moxtel
