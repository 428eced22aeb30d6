// The legacy album file: a property list in XML with albums, rolls, faces and every photo.
#pragma once

#include <filesystem>

namespace moxtel::makelibrary {

class SamplePlan;

// Throws WriteError.
void writeAlbumData(const SamplePlan& plan, const std::filesystem::path& file);

}  // namespace moxtel::makelibrary
