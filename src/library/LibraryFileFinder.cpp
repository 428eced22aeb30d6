#include "library/LibraryFileFinder.h"

#include <QtCore/QString>
#include <QtCore/QStringDecoder>
#include <algorithm>
#include <chrono>
#include <system_error>

namespace moxtel {
namespace {

namespace fs = std::filesystem;

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string lowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

// The path's components below the library's folder; nothing when it does not lie there, or leaves it.
std::optional<std::vector<std::string_view>> componentsBelow(std::string_view library,
                                                             std::string_view path) {
  while (library.size() > 1 && library.ends_with('/')) library.remove_suffix(1);
  if (library.empty() || !path.starts_with(library)) return std::nullopt;
  std::string_view rest = path.substr(library.size());
  if (library != "/" && !rest.starts_with('/')) return std::nullopt;
  std::vector<std::string_view> components;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('/'), rest.size());
    const std::string_view component = rest.substr(0, end);
    if (component == ".." || component.find('\0') != std::string_view::npos) return std::nullopt;
    if (!component.empty() && component != ".") components.push_back(component);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return components;
}

std::string joined(const std::string& folder, std::string_view name) {
  std::string path = folder;
  if (!path.ends_with('/')) path += '/';
  return path.append(name);
}

bool exists(const std::string& path) {
  std::error_code error;
  return fs::exists(path, error) && !error;
}

}  // namespace

std::string foldedFileName(std::string_view name) {
  if (isAscii(name)) return lowerAscii(name);
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  const QString text = decoder(QByteArrayView(name.data(), static_cast<qsizetype>(name.size())));
  if (decoder.hasError()) return std::string(name);
  // Case folding can undo a normal form and needs one: hence normalized before and after.
  return text.normalized(QString::NormalizationForm_D)
      .toCaseFolded()
      .normalized(QString::NormalizationForm_D)
      .toUtf8()
      .toStdString();
}

std::optional<std::string> LibraryFileFinder::find(std::string_view libraryPath, const std::string& path) {
  const auto components = componentsBelow(libraryPath, path);
  if (!components || components->empty()) return std::nullopt;
  if (exists(path)) return path;
  int looks = kMaximumLooks;
  return walk(std::string(libraryPath), *components, looks);
}

OpenFile LibraryFileFinder::open(std::string_view libraryPath, const std::string& path) {
  const auto components = componentsBelow(libraryPath, path);
  if (!components || components->empty()) return {};
  OpenFile file = openRegularFile(path);
  if (file.state != FileState::Missing) return file;
  int looks = kMaximumLooks;
  const auto found = walk(std::string(libraryPath), *components, looks);
  return found ? openRegularFile(*found) : OpenFile{};
}

// A folder may contain both "Été" and its decomposed form, with the file in either, so every candidate is
// tried. The number of folders is limited, because links can multiply the ways.
std::optional<std::string> LibraryFileFinder::walk(const std::string& folder,
                                                   std::span<const std::string_view> components, int& looks) {
  if (looks-- <= 0) return std::nullopt;
  for (const std::string& name : candidates(folder, components.front())) {
    const std::string path = joined(folder, name);
    if (components.size() == 1) {
      if (exists(path)) return path;
    } else if (auto found = walk(path, components.subspan(1), looks)) {
      return found;
    }
  }
  return std::nullopt;
}

std::vector<std::string> LibraryFileFinder::candidates(const std::string& folder, std::string_view name) {
  const Folder* holds = folderAt(folder);
  if (!holds) return {};
  const auto found = holds->names.find(foldedFileName(name));
  if (found == holds->names.end()) return {};
  std::vector<std::string> names = found->second;
  std::stable_partition(names.begin(), names.end(), [&](const std::string& each) { return each == name; });
  return names;
}

LibraryFileFinder::Folder* LibraryFileFinder::folderAt(const std::string& path) {
  std::error_code error;
  const fs::file_time_type modified = fs::last_write_time(path, error);
  const auto known = byPath_.find(path);
  if (known != byPath_.end()) {
    const auto folder = known->second;
    if (!error && folder->settled && folder->modified == modified) {
      folders_.splice(folders_.begin(), folders_, folder);
      return &*folder;
    }
    forget(folder);
  }
  return error ? nullptr : readFolder(path, modified);
}

LibraryFileFinder::Folder* LibraryFileFinder::readFolder(const std::string& path,
                                                         fs::file_time_type modified) {
  // A change within the resolution of the folder's time would go unnoticed.
  constexpr std::chrono::seconds kResolution{2};
  Folder folder{path, modified, fs::file_time_type::clock::now() - modified > kResolution, {}};
  std::error_code error;
  for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
    std::string name = entry->path().filename().native();
    folder.names[foldedFileName(name)].push_back(std::move(name));
    ++folder.size;
  }
  if (error) return nullptr;
  for (auto& [folded, names] : folder.names) std::sort(names.begin(), names.end());
  ++foldersRead_;
  names_ += folder.size;
  folders_.push_front(std::move(folder));
  byPath_[folders_.front().path] = folders_.begin();
  while (names_ > kMaximumNames && folders_.size() > 1) forget(std::prev(folders_.end()));
  return &folders_.front();
}

void LibraryFileFinder::forget(Folders::iterator folder) {
  names_ -= folder->size;
  byPath_.erase(folder->path);
  folders_.erase(folder);
}

}  // namespace moxtel
