#include "pictures/codec/PictureDecoder.h"

#include <new>

#include "pictures/codec/DecoderProtocol.h"
#include "pictures/codec/HelperProgram.h"
#include "pictures/codec/Jpeg.h"
#include "pictures/codec/PictureKind.h"
#include "pictures/codec/Preview.h"
#include "platform/files/Files.h"
#include "platform/files/UserFolders.h"
#include "platform/process/ChildProcess.h"
#include "platform/system/SystemLog.h"

namespace moxtel {
namespace {

// More than any picture within the bounds needs; a JPEG is smaller than the pixels.
constexpr std::size_t kLongestAnswer = kMaximumPixels * 4 + (std::size_t{64} << 20);

constexpr const char* kScratchPrefix = "moxtel-picture-";

Bytes wholeFile(const OpenFile& file) {
  // No JPEG of kMaximumPixels is larger.
  return readAll(file, kMaximumPixels * 3).bytes;
}

}  // namespace

std::string PictureDecoder::installedHelper() { return installedProgram("moxtel-picture-decoder"); }

PictureDecoder::PictureDecoder(ProcessRunner& processes, std::string helper, std::function<bool()> isUnwanted)
    : processes_(processes), helper_(std::move(helper)), isUnwanted_(std::move(isUnwanted)) {
  sweepPrivateFolders(temporaryFolder(), kScratchPrefix);
}

std::optional<Bytes> PictureDecoder::jpegOf(const OpenFile& file) {
  const PictureKind kind = kindOfPicture(readStart(file, kPictureStartSize));
  if (kind == PictureKind::None) return std::nullopt;
  if (kind == PictureKind::Jpeg) {
    JpegResult result = reencodedJpeg(wholeFile(file));
    if (result.outcome == JpegOutcome::Done) return std::move(result.jpeg);
    if (result.outcome == JpegOutcome::Broken) return std::nullopt;
  }
  return jpegElsewhere(decoder::kJpegForm, file);
}

std::optional<Bytes> PictureDecoder::previewOf(const OpenFile& file, std::uint32_t side, int degrees) {
  const PictureKind kind = kindOfPicture(readStart(file, kPictureStartSize));
  if (kind == PictureKind::None) return std::nullopt;
  if (kind != PictureKind::Jpeg || isReadable(helper_))
    return jpegElsewhere(decoder::previewForm({side, degrees}), file);
  const JpegPixels whole = pixelsOfJpeg(wholeFile(file));
  if (whole.outcome != JpegOutcome::Done) return std::nullopt;
  PixelBufferSource source(whole.image);
  return previewJpegOf(source, side, degrees);
}

std::optional<Bytes> PictureDecoder::jpegElsewhere(const std::string& form, const OpenFile& file) {
  std::optional<Bytes> answer = decodedElsewhere(form, file);
  if (answer) answer->erase(answer->begin(), answer->begin() + decoder::kHeaderSize);
  return answer;
}

std::optional<PixelBuffer> PictureDecoder::pixelsOf(const OpenFile& file) {
  const PictureKind kind = kindOfPicture(readStart(file, kPictureStartSize));
  if (kind == PictureKind::None) return std::nullopt;
  if (kind == PictureKind::Jpeg) {
    JpegPixels result = pixelsOfJpeg(wholeFile(file));
    if (result.outcome == JpegOutcome::Done) return std::move(result.image);
    if (result.outcome == JpegOutcome::Broken) return std::nullopt;
  }
  const std::optional<Bytes> answer = decodedElsewhere(decoder::kPixelsForm, file);
  return answer ? decoder::pictureIn(*answer) : std::nullopt;
}

std::optional<Bytes> PictureDecoder::decodedElsewhere(const std::string& form, const OpenFile& file) {
  const PrivateFolder scratch(temporaryFolder(), kScratchPrefix);
  Bytes answer;
  bool enoughMemory = true;
  ProcessRequest request;
  request.program = helper_;
  request.arguments = {form, scratch.path()};
  request.inputDescriptor = file.descriptor.get();
  request.canceled = isUnwanted_;
  request.timeout = kDecodingTime;
  request.outputLimit = kLongestAnswer;
  request.onOutput = [&](std::string_view chunk) {
    try {
      answer.insert(answer.end(), chunk.begin(), chunk.end());
    } catch (const std::bad_alloc&) {
      enoughMemory = false;
    }
    return enoughMemory;
  };
  const ProcessResult result = processes_.run(request);
  if (result.ending == ProcessResult::Ending::NotStarted)
    NSLog("could not start '%@': %@", helper_, result.error);
  const bool whole = result.ending == ProcessResult::Ending::Exited && result.exitStatus == 0;
  if (!whole || !enoughMemory || !decoder::isAnswer(answer)) return std::nullopt;
  return answer;
}

}  // namespace moxtel
