// The picture files of a sample library: masters, previews, thumbnails, minis and face tiles.
#pragma once

namespace moxtel::makelibrary {

class LibraryFolder;
class SamplePlan;

// Uses as many threads as the machine has. Throws WriteError.
void writePictures(const SamplePlan& plan, const LibraryFolder& folder);

}  // namespace moxtel::makelibrary
