// Any bytes as a keyed archive, binary or XML.
#include "fuzz/ArchiveCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  moxtel::fuzz::checkArchive({data, size});
  return 0;
}
