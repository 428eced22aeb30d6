// Writes the files of an export into the target and records them, a batch at a time: a file is recorded only
// when it is on the disk. One thread.
//
// Throws ExportFailure when nothing more can be written, and ExportCanceled.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "export/ExportContext.h"
#include "export/PhotoSources.h"
#include "export/Sha256.h"

namespace moxtel {

class FileWriter final {
 public:
  static constexpr std::uint64_t kBatchFiles = 1000;
  static constexpr std::uint64_t kBatchBytes = std::uint64_t{1} << 30;

  enum class Outcome : std::uint8_t {
    Done,
    Kept,        // what is there stays
    Unreadable,  // the source; reason() says why
    Refused,     // the target; it is reported
  };
  // Changes a file's contents on the way; nothing leaves them.
  using Change = std::function<std::optional<Bytes>(Bytes contents)>;

  // Borrows the context.
  explicit FileWriter(ExportContext& context) : context_(context) {}

  // Copies a photo's file to the path of its row, with the time of the photo (seconds since 1970 UTC), or
  // links to it.
  Outcome copy(const FileKey& key, StateFile row, const SourceFile& source, std::optional<double> date,
               const Change& change = {});
  // Writes a text that the export makes. facts: a hash of what it was made of. A file that somebody changed
  // is kept.
  Outcome writeText(const FileKey& key, StateFile row, std::string_view text, const std::string& facts);
  // Puts a link, relative or not, at the path of the row; notes it.
  Outcome link(const FileKey& key, StateFile row, const std::string& leadsTo);

  // Reports the files that did not get their time.
  void reportTimes() const;
  // Writes the batch to the disk and records it.
  void finishBatch();
  const std::string& reason() const { return reason_; }

 private:
  [[noreturn]] static void end(const WriteProblem& problem);
  Outcome failed(const WriteProblem& problem, const std::string& path);
  WriteProblem fill(TargetFile& file, const SourceFile& source, const Change& change, StateFile& row);
  bool isUnchanged(const StateFile& row, const TargetEntry& entry);
  bool hasContentsOf(const StateFile& row, const OpenFile& source);
  void checkTime(double wanted, const TargetEntry& entry, const std::string& path);
  bool moveAside(const FileKey& key, StateFile& row);
  void record(const FileKey& key, const StateFile& row, std::uint64_t bytes);

  ExportContext& context_;
  Sha256 hash_;
  std::string reason_;
  std::uint64_t batchFiles_ = 0;
  std::uint64_t batchBytes_ = 0;
  std::uint64_t otherTimes_ = 0;
  std::string firstOtherTime_;  // path
};

}  // namespace moxtel
