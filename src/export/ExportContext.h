// What the parts of one run share. Borrowed by all of them; one thread.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

#include "export/ExportOptions.h"
#include "export/ExportScratch.h"
#include "export/ExportState.h"
#include "export/Report.h"
#include "platform/files/TargetFolder.h"

namespace moxtel {

class ExportProgress;
class SidecarWriter;

// Ends a run: nothing more can be written. What was written is kept.
class ExportFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
// The user ended the run.
class ExportCanceled : public std::exception {};

struct ExportContext {
  const ExportOptions& options;
  TargetFolder& target;
  ExportState& state;
  ExportScratch& scratch;
  Report& report;
  ExportProgress& progress;
  SidecarWriter* sidecars;  // null: none are written
  std::function<bool()> isCanceled;
  bool isFresh = false;         // the target held nothing before
  bool isOneOfSeveral = false;  // there are several libraries

  void checkCanceled() const {
    if (isCanceled()) throw ExportCanceled();
  }
};

// One of the libraries of a run.
struct ExportedLibrary {
  std::string path;
  std::string kind;            // for people
  std::string name;            // of its folder
  std::int64_t id = 0;         // in the state
  std::string folder;          // in the target, with a slash at the end; empty: the target itself
  bool fromAlbumData = false;  // its databases are damaged
  bool onlyFiles = false;      // nothing of it can be read: its files are copied without their facts
};

}  // namespace moxtel
