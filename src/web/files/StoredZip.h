// A zip archive of stored (uncompressed) files, written while it is sent (PKWARE APPNOTE 6.3.10). Its size is
// known before: stored files have the size of their data, and the checksums come in data descriptors after
// them. Our own writer because libarchive's does not tell the size.
//
// Sizes and offsets beyond 4 GiB, and more than 65,534 files, use zip64. Names are UTF-8. Memory: what
// ZipEntry holds, and one open file.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/FileReader.h"
#include "web/http/HttpBody.h"

namespace moxtel {

struct ZipEntry {
  std::string name;  // UTF-8, of ZipNames; at most 65,535 bytes
  std::string path;  // for the opener, as the next
  std::string folder;
  std::uint64_t size = 0;  // bytes
  std::int64_t date = 0;   // seconds since 1970 by the photo's own clock; MS-DOS knows the years 1980 to 2107
};

// Legal and different names for the files of an archive, on every system: without characters and names that
// Windows forbids, different also where letter case and accents do not count, at most kLongest bytes long.
class ZipNames final {
 public:
  static constexpr std::size_t kLongest = 200;

  // A name with this stem and this extension (with its point, or empty); "Name (2).jpg" for the second one.
  std::string unique(std::string_view stem, std::string_view extension);

 private:
  std::map<std::string, int> taken_;  // folded names, and how many were asked for
};

class StoredZip final : public HttpBody {
 public:
  // Opens an entry's file; called on the thread that reads.
  using Opener = std::function<OpenFile(const ZipEntry&)>;

  StoredZip(std::vector<ZipEntry> entries, Opener open);
  ~StoredZip() override;

  std::optional<std::uint64_t> size() const override { return size_; }
  // From the start to the end only.
  bool offersRanges() const override { return false; }
  // With small blocks, waking the client and the server takes most of the time.
  std::size_t blockSize() const override { return 512 * 1024; }
  // Fails when a file cannot be opened or read, or is shorter than its entry says. Of a longer one, the first
  // bytes are sent.
  std::optional<std::size_t> read(std::uint64_t offset, std::span<char> buffer) override;

 private:
  enum class Part : std::uint8_t { Start, Header, Data, Descriptor, Directory, End, Nothing };

  bool prepareNext();
  bool openEntry();
  std::optional<std::size_t> readData(std::span<char> buffer);

  const std::vector<ZipEntry> entries_;
  const Opener open_;
  std::vector<std::uint32_t> checksums_;
  std::uint64_t size_ = 0;
  std::uint64_t sent_ = 0;
  Part part_ = Part::Start;
  std::size_t index_ = 0;          // of the entry
  std::uint64_t entryOffset_ = 0;  // of the entry, in the archive
  std::uint64_t directory_ = 0;    // where the central directory begins
  std::string text_;               // of any part but the data
  std::size_t textSent_ = 0;
  OpenFile file_;
  std::uint64_t fileSent_ = 0;
};

// The size of an archive of these files.
std::uint64_t storedZipSize(const std::vector<ZipEntry>& entries);

}  // namespace moxtel
