// Measures how long the properties of a picture file take, compared with Exiv2 alone, which only parses the
// metadata blocks and makes no dictionary.
//
//     PropertiesBench [options of Google Benchmark] [FILE …]      without files, some of the tests' fixtures
//
// Each round opens the file again. The files stay in the page cache, so the disk is not measured. Times are
// processor times, those of the helper program included, so that other load on the machine matters little.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <time.h>

#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <string>
#include <vector>

#include "pictures/properties/ImageProperties.h"
#include "platform/files/FileReader.h"
#include "platform/process/ChildProcess.h"
#include "plist/KeyedArchive.h"

namespace {

using namespace moxtel;

// Processor seconds of this process and of all its children that have ended.
double processorSeconds() {
  timespec own{};
  rusage others{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
  ::getrusage(RUSAGE_CHILDREN, &others);
  return static_cast<double>(own.tv_sec + others.ru_utime.tv_sec + others.ru_stime.tv_sec) +
         static_cast<double>(own.tv_nsec) * 1e-9 +
         static_cast<double>(others.ru_utime.tv_usec + others.ru_stime.tv_usec) * 1e-6;
}

template <class Work>
void measure(benchmark::State& state, const Work& work) {
  for (auto _ : state) {
    const double before = processorSeconds();
    work();
    state.SetIterationTime(processorSeconds() - before);
  }
}

std::vector<std::string> files(int count, char** words) {
  std::vector<std::string> all(words + 1, words + count);
  if (all.empty())
    for (const char* name : {"jpeg-camera.jpg", "png-camera.png", "heic-camera.heic", "tiff-camera.tif"})
      all.push_back(std::string(FIXTURES) + "/" + name);
  return all;
}

// As in the reply to "Metadata of Photo".
void BM_Properties(benchmark::State& state, const std::string& path) {
  SystemProcessRunner processes;
  ImagePropertyReader reader(processes);
  measure(state, [&] {
    const auto properties = reader.propertiesOf(openRegularFile(path));
    if (!properties) state.SkipWithError("no properties");
    if (properties) benchmark::DoNotOptimize(archivedData(Dictionary{{"result", *properties}}));
  });
}

void BM_Exiv2(benchmark::State& state, const std::string& path) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  Exiv2::enableBMFF(true);
  Exiv2::XmpParser::initialize();
  measure(state, [&] {
    const auto image = Exiv2::ImageFactory::open(path);
    image->readMetadata();
    benchmark::DoNotOptimize(image->exifData().count());
  });
}

}  // namespace

int main(int count, char** words) {
  benchmark::Initialize(&count, words);
  for (const std::string& path : files(count, words)) {
    const std::string name = std::filesystem::path(path).filename();
    benchmark::RegisterBenchmark(("Properties/" + name).c_str(), BM_Properties, path)->UseManualTime();
    benchmark::RegisterBenchmark(("Exiv2/" + name).c_str(), BM_Exiv2, path)->UseManualTime();
  }
  benchmark::RunSpecifiedBenchmarks();
}
