// The legacy album file: an XML property list of the albums, rolls, faces and photos.
#pragma once

#include <filesystem>

namespace moxtel::makelibrary {

class SamplePlan;

// Throws WriteError.
void writeAlbumData(const SamplePlan& plan, const std::filesystem::path& file);

// The shorter one for other programs: the lists of members of the albums. Throws WriteError.
void writeAlbumListings(const SamplePlan& plan, const std::filesystem::path& file);

}  // namespace moxtel::makelibrary
