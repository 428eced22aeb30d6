// The four databases of a sample library, each written by a function of its own that may run on a thread of
// its own. They throw WriteError.
#pragma once

#include <filesystem>

namespace moxtel::makelibrary {

class SamplePlan;

void writeLibraryDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writeImageProxiesDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writePropertiesDatabase(const SamplePlan& plan, const std::filesystem::path& file);
void writeFacesDatabase(const SamplePlan& plan, const std::filesystem::path& file);

}  // namespace moxtel::makelibrary
