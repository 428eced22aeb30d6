#include "export/FileWriter.h"

#include <algorithm>
#include <cmath>

#include "export/ExportProgress.h"
#include "platform/files/LegalNames.h"
#include "support/Localization.h"

namespace moxtel {

namespace {

using Kind = WriteProblem::Kind;

constexpr std::size_t kChunk = 1 << 20;
// A file that is changed on the way is held in memory.
constexpr std::uint64_t kLargestChanged = std::uint64_t{256} << 20;

std::int64_t difference(std::int64_t a, std::int64_t b) { return a > b ? a - b : b - a; }

// FAT keeps even seconds.
constexpr std::int64_t kSameTime = 2'000'000'000;

}  // namespace

void FileWriter::end(const WriteProblem& problem) {
  const std::string what = problem.kind == Kind::Full ? UserText::tr("the target is full: ")
                                                      : UserText::tr("the target cannot be written: ");
  throw ExportFailure(what + localizedString(problem.reason));
}

FileWriter::Outcome FileWriter::failed(const WriteProblem& problem, const std::string& path) {
  reason_ = problem.reason;
  switch (problem.kind) {
    case Kind::Source:
      return Outcome::Unreadable;
    case Kind::Canceled:
      throw ExportCanceled();
    case Kind::Full:
    case Kind::Broken:
      end(problem);
    default:
      context_.report.add(problem.kind == Kind::TooLarge ? Finding::TooLarge : Finding::NotWritten, {}, path,
                          problem.reason);
      return Outcome::Refused;
  }
}

bool FileWriter::hasContentsOf(const StateFile& row, const OpenFile& source) {
  const OpenFile file = context_.target.open(row.path);
  if (file.state != FileState::Open || file.size != source.size) return false;
  Bytes a(kChunk), b(kChunk);
  for (std::uint64_t at = 0; at < file.size;) {
    const std::size_t count = readAt(file, at, a);
    if (count == 0 || readAt(source, at, b) < count || !std::equal(a.begin(), a.begin() + count, b.begin()))
      return false;
    at += count;
  }
  return true;
}

// Another name beside a file that is not this photo's.
bool FileWriter::moveAside(const FileKey& key, StateFile& row) {
  const std::size_t slash = row.path.rfind('/') + 1;
  const NameParts parts = partsOf(row.path.substr(slash));
  for (int number = 2;; ++number) {
    const std::string name = numbered(parts.stem, number, kLongestName - parts.extension.size());
    const std::string path = row.path.substr(0, slash) + name + parts.extension;
    if (context_.target.look(path).kind != TargetEntry::Kind::Missing || !context_.state.claim(path))
      continue;
    row.path = path;
    row.wasThere = false;
    context_.state.plan(key, path, false);
    return true;
  }
}

WriteProblem FileWriter::fill(TargetFile& file, const SourceFile& source, const Change& change,
                              StateFile& row) {
  if (change && source.file.size <= kLargestChanged) {
    FileContents contents = readAll(source.file, kLargestChanged);
    if (contents.state != FileState::Open) return {Kind::Source, "it could not be read to its end"};
    if (auto changed = change(std::move(contents.bytes))) {
      hash_.add(*changed);
      row.sha256 = hash_.finish();
      context_.progress.addBytes(source.file.size);
      return file.write({reinterpret_cast<const char*>(changed->data()), changed->size()});
    }
  }
  TargetFile::Part each;
  if (context_.options.checksums)
    each = [&](std::span<const std::uint8_t> bytes) {
      hash_.add(bytes);
      context_.progress.addBytes(bytes.size());
      return true;
    };
  WriteProblem problem = file.copy(source.file, each, context_.isCanceled);
  if (each)
    row.sha256 = hash_.finish();
  else
    context_.progress.addBytes(source.file.size);
  return problem;
}

FileWriter::Outcome FileWriter::copy(const FileKey& key, StateFile row, const SourceFile& source,
                                     std::optional<double> date, const Change& change) {
  if (context_.options.link == ExportOptions::Link::Symbolic) {
    row.sourceSize = source.file.size;
    row.sourceModified = source.modified;
    return link(key, row, source.file.path);
  }
  row.sourceSize = source.file.size;
  row.sourceModified = source.modified;
  if (row.wasThere && !row.isDone) {
    const TargetEntry entry = context_.target.look(row.path);
    if (entry.isFile() && hasContentsOf(row, source.file)) {
      row.size = entry.size;
      row.modified = entry.modified;
      if (context_.options.checksums) row.sha256 = checksumOf(source.file);
      record(key, row, 0);
      ++context_.report.counts.unchanged;
      return Outcome::Kept;
    }
    if (entry.kind != TargetEntry::Kind::Missing) moveAside(key, row);
  }
  TargetFile file(context_.target);
  TargetEntry entry;
  const double time = date.value_or(static_cast<double>(source.modified) / 1e9);
  WriteProblem problem = fill(file, source, change, row);
  if (!problem) problem = file.publish(row.path, time, entry);
  if (problem) return failed(problem, row.path);
  checkTime(time, entry, row.path);
  row.size = entry.size;
  row.modified = entry.modified;
  record(key, row, source.file.size);
  ++context_.report.counts.copied;
  context_.report.counts.copiedBytes += source.file.size;
  context_.progress.addFile();
  return Outcome::Done;
}

void FileWriter::checkTime(double wanted, const TargetEntry& entry, const std::string& path) {
  if (std::abs(wanted - static_cast<double>(entry.modified) / 1e9) <= kSameTime / 1e9) return;
  if (++otherTimes_ == 1) firstOtherTime_ = path;
}

void FileWriter::reportTimes() const {
  if (otherTimes_ == 0) return;
  context_.report.add(
      Finding::OtherTime, {}, firstOtherTime_,
      otherTimes_ == 1 ? "the only file" : "the first of " + std::to_string(otherTimes_) + " files");
}

// Whether the file is as it was written. FAT and network disks may show another time.
bool FileWriter::isUnchanged(const StateFile& row, const TargetEntry& entry) {
  if (!entry.isFile() || entry.size != row.size) return false;
  if (difference(entry.modified, row.modified) <= kSameTime) return true;
  const OpenFile file = context_.target.open(row.path);
  return file.state == FileState::Open && checksumOf(file) == row.sha256;
}

FileWriter::Outcome FileWriter::writeText(const FileKey& key, StateFile row, std::string_view text,
                                          const std::string& facts) {
  const TargetEntry there = context_.target.look(row.path);
  const bool exists = there.kind != TargetEntry::Kind::Missing;
  const std::string checksum = sha256Of(text);
  if (row.isDone && exists && row.facts == facts) return Outcome::Kept;
  if (exists && (row.isDone ? !isUnchanged(row, there) : row.wasThere)) {
    const OpenFile file = context_.target.open(row.path);
    if (file.state != FileState::Open || checksumOf(file) != checksum) {
      context_.report.add(Finding::SidecarKept, {}, row.path);
      return Outcome::Kept;
    }
  }
  TargetFile file(context_.target);
  TargetEntry entry;
  WriteProblem problem = file.write(text);
  if (!problem) problem = file.publish(row.path, std::nullopt, entry);
  if (problem) return failed(problem, row.path);
  row.size = entry.size;
  row.modified = entry.modified;
  row.sha256 = checksum;
  row.facts = facts;
  record(key, row, text.size());
  return Outcome::Done;
}

FileWriter::Outcome FileWriter::link(const FileKey& key, StateFile row, const std::string& leadsTo) {
  const bool exists = context_.target.look(row.path).kind != TargetEntry::Kind::Missing;
  if (!exists) {
    const WriteProblem problem = context_.target.link(leadsTo, row.path);
    if (problem.kind == Kind::Target) {
      reason_ = problem.reason;
      context_.report.add(isPicture(key.role) ? Finding::NotWritten : Finding::LinkRefused, {}, row.path,
                          problem.reason);
      return Outcome::Refused;
    }
    if (problem) return failed(problem, row.path);
    if (isPicture(key.role)) ++context_.report.counts.copied;
  } else if (isPicture(key.role)) {
    ++context_.report.counts.unchanged;
  }
  record(key, row, 0);
  return exists ? Outcome::Kept : Outcome::Done;
}

void FileWriter::record(const FileKey& key, const StateFile& row, std::uint64_t bytes) {
  context_.state.finish(key, row);
  batchBytes_ += bytes;
  if (++batchFiles_ >= kBatchFiles || batchBytes_ >= kBatchBytes) finishBatch();
}

void FileWriter::finishBatch() {
  if (batchFiles_ > 0) {
    if (const WriteProblem problem = context_.target.sync()) end(problem);
  }
  context_.state.commit();
  context_.state.begin();
  batchFiles_ = 0;
  batchBytes_ = 0;
}

}  // namespace moxtel
