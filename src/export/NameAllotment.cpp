#include "export/NameAllotment.h"

#include <algorithm>
#include <cstdlib>

#include "library/FileNameForms.h"
#include "platform/files/LegalNames.h"

namespace moxtel {

namespace {

// What a name may have at most without " (99999)", "_edited", ".xmp" and the extension: see kReserved.
constexpr std::size_t kLongestStem = kLongestName - 7 - 4 - 16;

}  // namespace

std::string nameOfFile(const std::string& stem, FileRole role, const std::string& extension) {
  return stem + (role == FileRole::Edited ? "_edited" : "") + extension;
}

void reportRenamed(Report& report, const std::string& name, const std::string& path) {
  const std::string stem = partsOf(name).stem;
  const std::string given = partsOf(path.substr(path.rfind('/') + 1)).stem;
  if (given != composed(stem) && given != composed(stem) + "_edited")
    report.add(Finding::Renamed, {}, path, "'" + name + "' in the library");
}

bool hasSidecar(FileRole role, const ExportOptions& options) {
  if (options.sidecars == ExportOptions::Sidecars::None) return false;
  // The other files of a photo have the same stem.
  return role == FileRole::Original || role == FileRole::Edited ||
         options.sidecarName == ExportOptions::SidecarName::WholeName;
}

std::string pathOfSidecar(const std::string& path, ExportOptions::SidecarName form) {
  if (form == ExportOptions::SidecarName::WholeName) return path + ".xmp";
  const std::size_t name = path.rfind('/') + 1;
  return path.substr(0, name) + partsOf(path.substr(name)).stem + ".xmp";
}

void notePending(ExportContext& context, const ExportedLibrary& library, const PhotoFacts& photo,
                 const std::string& folder, const PhotoSources& sources) {
  PendingPhoto pending;
  pending.library = library.id;
  pending.modelId = photo.modelId;
  pending.uuid = photo.uuid;
  pending.folder = folder;
  pending.date = photo.imageDate.value_or(0);
  pending.stem = sources.stem;
  pending.name = originalName(photo);
  for (const SourceFile& file : sources.files) {
    pending.files += std::to_string(static_cast<int>(file.role)) + ":" + file.extension + ":" +
                     std::to_string(file.file.size) + "\n";
  }
  context.scratch.addPending(pending);
}

std::vector<NameAllotment::File> NameAllotment::filesOf(const PendingPhoto& photo) {
  std::vector<File> files;
  for (std::size_t at = 0; at < photo.files.size();) {
    const std::size_t first = photo.files.find(':', at), second = photo.files.find(':', first + 1);
    const std::size_t end = photo.files.find('\n', second);
    File file;
    file.role = static_cast<FileRole>(std::atoi(photo.files.c_str() + at));
    file.extension = photo.files.substr(first + 1, second - first - 1);
    file.size = std::strtoull(photo.files.c_str() + second + 1, nullptr, 10);
    files.push_back(std::move(file));
    at = end + 1;
  }
  return files;
}

void NameAllotment::run() {
  context_.scratch.forEachPending([&](const PendingPhoto& photo) {
    context_.checkCanceled();
    name(photo);
  });
  context_.scratch.clearPending();
}

// A photo that has files already keeps its stem.
std::string NameAllotment::stemOf(const PendingPhoto& photo, const std::vector<File>& files) {
  for (const File& file : files) {
    const auto known = context_.state.find({photo.library, photo.uuid, file.role});
    if (!known || file.role == FileRole::Edited) continue;
    return partsOf(known->path.substr(known->path.rfind('/') + 1)).stem;
  }
  return photo.stem;
}

// What is not named yet.
std::vector<NameAllotment::Claim> NameAllotment::claimsOf(const PendingPhoto& photo,
                                                          const std::vector<File>& files,
                                                          const std::string& stem) {
  std::vector<Claim> claims;
  for (const File& file : files) {
    const auto known = context_.state.find({photo.library, photo.uuid, file.role});
    const std::string path =
        known ? known->path : photo.folder + "/" + nameOfFile(stem, file.role, file.extension);
    if (!known) claims.push_back({file.role, path, false, false});
    if (!hasSidecar(file.role, context_.options)) continue;
    if (context_.state.find({photo.library, photo.uuid, sidecarOf(file.role)})) continue;
    claims.push_back(
        {sidecarOf(file.role), pathOfSidecar(path, context_.options.sidecarName), false, known.has_value()});
  }
  return claims;
}

// A file of the same size may be the photo's, from a target whose state was lost; copying compares it.
bool NameAllotment::areFree(std::vector<Claim>& claims, const std::vector<File>& files) {
  for (Claim& claim : claims) {
    if (!claim.isFixed && context_.state.isClaimed(claim.path)) return false;
    if (context_.isFresh) continue;
    const TargetEntry entry = context_.target.look(claim.path);
    if (entry.kind == TargetEntry::Kind::Missing) continue;
    const auto file =
        std::find_if(files.begin(), files.end(), [&](const File& each) { return each.role == claim.role; });
    if (!claim.isFixed && (!entry.isFile() || (file != files.end() && file->size != entry.size)))
      return false;
    claim.wasThere = true;
  }
  return true;
}

void NameAllotment::name(const PendingPhoto& photo) {
  if (photo.folder != folder_) {
    folder_ = photo.folder;
    next_.clear();
  }
  const std::vector<File> files = filesOf(photo);
  const std::string stem = stemOf(photo, files);
  std::string key = stem;
  for (const File& file : files) key += "\n" + file.extension;
  key = foldedFileName(key);
  const auto first = next_.find(key);
  for (int number = first == next_.end() ? 1 : first->second;; ++number) {
    std::vector<Claim> claims = claimsOf(photo, files, numbered(stem, number, kLongestStem));
    if (!areFree(claims, files)) continue;
    for (const Claim& claim : claims) {
      context_.state.claim(claim.path);
      context_.state.plan({photo.library, photo.uuid, claim.role}, claim.path, claim.wasThere);
      if (isPicture(claim.role)) reportRenamed(context_.report, photo.name, claim.path);
    }
    // Only names that occur twice are remembered.
    if (number > 1) next_[key] = number + 1;
    return;
  }
}

}  // namespace moxtel
