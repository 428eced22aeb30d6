// Writes one library after the options.
#pragma once

namespace moxtel::makelibrary {

struct MakeLibraryOptions;

// Throws WriteError; what was written until then stays.
void makeLibrary(const MakeLibraryOptions& options);

}  // namespace moxtel::makelibrary
