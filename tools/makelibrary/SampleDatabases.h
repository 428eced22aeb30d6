// Writes the databases of a sample library, one function for each: the four of iPhoto and Aperture, those of
// Photos 5 and later and of Photos 4, and what Photos 5 leaves of the latter. Any thread. Throw WriteError.
#pragma once

#include <filesystem>

namespace moxtel::makelibrary {

class SamplePlan;

void writeLibraryDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writeImageProxiesDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writePropertiesDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writeFacesDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writePhotosDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writePhotos4Database(const SamplePlan& plan, const std::filesystem::path& file);
void writePhotosStub(const std::filesystem::path& file);

}  // namespace moxtel::makelibrary
