// Writes the four databases of a sample library, one function for each. Any thread. Throw WriteError.
#pragma once

#include <filesystem>

namespace moxtel::makelibrary {

class SamplePlan;

void writeLibraryDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writeImageProxiesDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writePropertiesDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writeFacesDatabase(const SamplePlan& plan, const std::filesystem::path& file);

}  // namespace moxtel::makelibrary
