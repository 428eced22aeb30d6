#include "app/HelperTrial.h"

#include <array>
#include <cstdint>
#include <fstream>

#include "pictures/codec/PictureDecoder.h"
#include "pictures/properties/ImageProperties.h"
#include "platform/files/Files.h"
#include "platform/files/UserFolders.h"
#include "platform/process/ChildProcess.h"

namespace moxtel {

namespace {

// A TIFF file of one gray pixel: both helpers read this kind.
std::string smallTiff() {
  constexpr std::uint16_t kShort = 3;
  constexpr std::uint32_t kPixelOffset = 122;
  // Tag and value: width, height, bits, no compression, black is zero, where the pixel is, samples, rows,
  // bytes.
  constexpr std::array<std::array<std::uint32_t, 2>, 9> kFields{
      {{256, 1}, {257, 1}, {258, 8}, {259, 1}, {262, 1}, {273, kPixelOffset}, {277, 1}, {278, 1}, {279, 1}}};
  std::string file("II*\0\x08\0\0\0", 8);
  const auto add = [&file](std::uint32_t number, int bytes) {
    for (int i = 0; i < bytes; ++i) file.push_back(static_cast<char>(number >> (8 * i) & 0xFF));
  };
  add(kFields.size(), 2);
  for (const auto& [tag, value] : kFields) {
    add(tag, 2);
    add(kShort, 2);
    add(1, 4);
    add(value, 4);
  }
  add(0, 4);
  return file + "\x80";
}

}  // namespace

HelperTrial tryHelpers(ProcessRunner& processes) {
  HelperTrial trial;
  ProcessRequest ffmpeg;
  ffmpeg.program = "ffmpeg";
  ffmpeg.arguments = {"-hide_banner", "-version"};
  const ProcessResult ended = processes.run(ffmpeg);
  trial.hasFfmpeg = ended.ending == ProcessResult::Ending::Exited && ended.exitStatus == 0;
  const PrivateFolder folder(temporaryFolder(), "moxtel-check.");
  if (folder.path().empty()) return trial;
  const std::string path = folder.path() + "/pixel.tif";
  std::ofstream(path, std::ios::binary) << smallTiff();
  PictureDecoder decoder(processes);
  trial.decodes = decoder.jpegOf(openRegularFile(path)).has_value();
  ImagePropertyReader reader(processes);
  trial.readsProperties = reader.propertiesOf(openRegularFile(path)).has_value();
  return trial;
}

}  // namespace moxtel
