// The files among a library's originals that no photo of it has: leftovers of failed imports and lost
// databases, and photos that Photos does not show. On the library's thread.
#pragma once

#include <functional>
#include <set>
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
  // isNotShown: the library has a photo for it, and shows it nowhere, like most frames of a burst.
  using Take = std::function<void(const std::string& path, OpenFile file, bool isNotShown)>;
  // Each with its path below the library, by path, then the failures. Links are not followed; hidden files
  // and those of the file manager are left out.
  void forEach(const Take& take, const std::function<void(const Failure& failure)>& takeFailure);

 private:
  struct Found {
    std::vector<std::string> files;
    std::vector<Failure> failures;
  };
  void list(const std::string& folder, int depth, Found& found);
  void addRows();
  using Has = std::function<bool(const std::string& path)>;
  // Whether it is one of these files, or another file of the same photo.
  bool belongsToOne(const std::string& path, const Has& has) const;

  OpenLibrary& library_;
  ExportScratch& scratch_;
  std::set<std::string> notShown_;
};

// Each name of a path made legal.
std::string legalPath(const std::string& path);

}  // namespace moxtel
