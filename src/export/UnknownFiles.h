// The files among a library's originals that no photo of it has: leftovers of failed imports and lost
// databases. On the library's thread.
#pragma once

#include <functional>
#include <string>

#include "export/ExportScratch.h"
#include "platform/files/FileReader.h"

namespace moxtel {

class OpenLibrary;

class UnknownFiles final {
 public:
  // Borrows both. The scratch has the known files.
  UnknownFiles(OpenLibrary& library, ExportScratch& scratch) : library_(library), scratch_(scratch) {}

  // Each with its path below the library, by path. Links are not followed; hidden files and those of the file
  // manager are left out.
  void forEach(const std::function<void(const std::string& path, OpenFile file)>& take);

 private:
  void addRows();
  bool isKnown(const std::string& path);

  OpenLibrary& library_;
  ExportScratch& scratch_;
};

// Each name of a path made legal.
std::string legalPath(const std::string& path);

}  // namespace moxtel
