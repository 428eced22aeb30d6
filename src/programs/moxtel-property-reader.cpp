// moxtel-property-reader < FILE: prints the properties of a picture file as a keyed archive. It is a process
// of its own with limits (Confinement.h), so that a file that crashes a library or needs too much memory or
// time does not end the server. Exit status 0 means that the file has properties and the output is complete.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "pictures/properties/reader/WholeFile.h"
#include "platform/files/FileReader.h"
#include "platform/process/Confinement.h"
#include "plist/KeyedArchive.h"

namespace moxtel::properties {
namespace {

constexpr std::uint64_t kMemory = std::uint64_t{1} << 30;  // bytes of address space besides the file
constexpr std::uint64_t kProcessorSeconds = 10;

bool run() {
  const OpenFile file = standardInputFile();
  // Discards library warnings.
  if (!std::freopen("/dev/null", "w", stderr)) std::fclose(stderr);
  confineThisProcess({kMemory + file.size, kProcessorSeconds, 0}, {sharedLibraryFolders(), {}});
  const auto found = wholeFileProperties(mappedUntilExit(file));
  return found && writeToStandardOutput(archivedData(*found));
}

}  // namespace
}  // namespace moxtel::properties

int main() {
  bool done = false;
  try {
    done = moxtel::properties::run();
  } catch (const std::exception&) {
  }
  // Skips library destructors: they may crash after the output is written.
  std::_Exit(done ? EXIT_SUCCESS : EXIT_FAILURE);
}
