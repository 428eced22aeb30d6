// The picture files of a sample library: masters, previews, thumbnails, minis and face tiles.
#pragma once

namespace moxtel::makelibrary {

class LibraryFolder;
class SamplePlan;

// Uses one thread per processor. Throws WriteError.
void writePictures(const SamplePlan& plan, const LibraryFolder& folder);

}  // namespace moxtel::makelibrary
