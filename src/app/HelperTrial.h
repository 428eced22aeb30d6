// Runs the helper programs on a picture of one pixel, to see whether they start here. Any thread; blocks for
// the time that they take.
#pragma once

#include <string>

namespace moxtel {

class ProcessRunner;

struct HelperTrial {
  bool decodes = false;          // moxtel-picture-decoder
  bool readsProperties = false;  // moxtel-property-reader
  bool hasFfmpeg = false;        // which moxtel-movie-converter becomes
};

// The picture is written into a private folder in the temporary folder for that time.
HelperTrial tryHelpers(ProcessRunner& processes);

}  // namespace moxtel
