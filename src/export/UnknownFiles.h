// The files among a library's originals that no photo of it has: leftovers of failed imports and lost
// databases. On the library's thread.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "export/ExportScratch.h"
#include "platform/files/FileReader.h"

namespace moxtel {

class OpenLibrary;

class UnknownFiles final {
 public:
  // Borrows both. The scratch has the known files.
  UnknownFiles(OpenLibrary& library, ExportScratch& scratch) : library_(library), scratch_(scratch) {}

  // A file that could not be opened, or a folder that could not be listed.
  struct Failure {
    std::string path;
    std::string reason;
  };
  // Each with its path below the library, by path, then the failures. Links are not followed; hidden files
  // and those of the file manager are left out.
  void forEach(const std::function<void(const std::string& path, OpenFile file)>& take,
               const std::function<void(const Failure& failure)>& takeFailure);

 private:
  struct Found {
    std::vector<std::string> files;
    std::vector<Failure> failures;
  };
  void list(const std::string& folder, int depth, Found& found);
  void addRows();
  bool isKnown(const std::string& path);

  OpenLibrary& library_;
  ExportScratch& scratch_;
};

// Each name of a path made legal.
std::string legalPath(const std::string& path);

}  // namespace moxtel
