// Reads a property list of a library, XML or binary, as far as it makes sense. XML is read as a stream:
// memory is bounded by what the sink keeps. Any thread.
//
// Many such files have a few characters that XML does not allow, or values that make no sense: these are
// mended or left out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <istream>
#include <string>

#include "plist/PropertyListSink.h"

namespace moxtel {

struct LenientReading {
  std::string error;    // for the user: why the file was not read to its end; empty if it was
  std::string mended;   // for the user: what was mended or left out; empty for nothing
  bool wasRead = true;  // false: the file system failed, and another try may succeed
};

// Makes a new sink, and drops what the one before has taken. A file that must be mended is read twice.
using FreshSink = std::function<PropertyListSink&()>;

// mostBinaryBytes: the binary form is read in one piece. Throws std::bad_alloc.
LenientReading readLenientPropertyListFile(const std::string& path, std::size_t mostBinaryBytes,
                                           const FreshSink& freshSink);
// The same from an open file of that many bytes.
LenientReading readLenientPropertyList(std::istream& file, std::uint64_t size, std::size_t mostBinaryBytes,
                                       const FreshSink& freshSink);

}  // namespace moxtel
