// Writes one library.
#pragma once

namespace moxtel::makelibrary {

struct MakeLibraryOptions;

// Throws WriteError and leaves the files written so far.
void makeLibrary(MakeLibraryOptions options);

}  // namespace moxtel::makelibrary
