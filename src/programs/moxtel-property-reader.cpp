// moxtel-property-reader FILE: prints the properties of a picture file as a keyed archive, confined, so that
// a malicious file cannot harm the server. Exit status 0 means that the file has properties and the output is
// complete.
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

bool run(const char* path) {
  const OpenFile file = openRegularFile(path);
  confineThisProcess({kMemory + file.size, kProcessorSeconds, 0});
  // Discards library warnings.
  if (!std::freopen("/dev/null", "w", stderr)) std::fclose(stderr);
  const auto found = wholeFileProperties(mappedForEver(file));
  return found && writeToStandardOutput(archivedData(*found));
}

}  // namespace
}  // namespace moxtel::properties

int main(int count, char** words) {
  bool done = false;
  try {
    done = count == 2 && moxtel::properties::run(words[1]);
  } catch (const std::exception&) {
  }
  // Skips library destructors: they may crash after the output is written.
  std::_Exit(done ? EXIT_SUCCESS : EXIT_FAILURE);
}
