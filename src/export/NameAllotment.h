// Gives the files of new photos their names in the target. One thread.
//
// The files of one photo have one stem. Of photos with equal names in one folder, the second gets " (2)", in
// the order of their dates and uuids. Names are remembered from then on.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "export/ExportContext.h"
#include "export/PhotoSources.h"

namespace moxtel {

// Notes a photo with files that have no names yet.
void notePending(ExportContext& context, const ExportedLibrary& library, const PhotoFacts& photo,
                 const std::string& folder, const PhotoSources& sources);

class NameAllotment final {
 public:
  // Borrows the context.
  explicit NameAllotment(ExportContext& context) : context_(context) {}

  // Names all pending photos.
  void run();

 private:
  struct File {
    FileRole role = FileRole::Original;
    std::string extension;
    std::uint64_t size = 0;
  };
  struct Claim {
    FileRole role = FileRole::Original;
    std::string path;
    bool wasThere = false;
    bool isFixed = false;  // a sidecar beside a file that has its name already
  };
  static std::vector<File> filesOf(const PendingPhoto& photo);
  std::string stemOf(const PendingPhoto& photo, const std::vector<File>& files);
  std::vector<Claim> claimsOf(const PendingPhoto& photo, const std::vector<File>& files,
                              const std::string& stem);
  bool areFree(std::vector<Claim>& claims, const std::vector<File>& files);
  void name(const PendingPhoto& photo);

  ExportContext& context_;
  std::string folder_;
  std::unordered_map<std::string, int> next_;  // by stem: the first number that may be free in the folder
};

// The name of a photo's file in its folder.
std::string nameOfFile(const std::string& stem, FileRole role, const std::string& extension);
// Reports a file whose name is not the library's.
void reportRenamed(Report& report, const std::string& name, const std::string& path);

// Whether files of this role have a sidecar of their own.
bool hasSidecar(FileRole role, const ExportOptions& options);
// The path of a file's sidecar.
std::string pathOfSidecar(const std::string& path, ExportOptions::SidecarName form);

}  // namespace moxtel
