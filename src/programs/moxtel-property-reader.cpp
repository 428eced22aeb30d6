// moxtel-property-reader FILE: prints the properties of a picture file as a keyed archive, for a server that
// does not want to read it itself. Exit status 0 means that there are some and they are whole.
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

constexpr std::uint64_t kMemory = std::uint64_t{1} << 30;  // bytes of addresses, the file not counted
constexpr std::uint64_t kProcessorSeconds = 10;

bool run(const char* path) {
  const OpenFile file = openRegularFile(path);
  confineThisProcess({kMemory + file.size, kProcessorSeconds, 0});
  // What libraries say of a file is nothing to anybody.
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
  // The answer is out; no library's end shall spoil it.
  std::_Exit(done ? EXIT_SUCCESS : EXIT_FAILURE);
}
