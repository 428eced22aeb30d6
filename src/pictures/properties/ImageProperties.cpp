#include "pictures/properties/ImageProperties.h"

#include <utility>

#include "pictures/codec/HelperProgram.h"
#include "pictures/codec/PictureKind.h"
#include "pictures/properties/PropertyDictionary.h"
#include "platform/process/ChildProcess.h"
#include "platform/system/SystemLog.h"
#include "plist/KeyedArchive.h"

namespace moxtel {
namespace {

constexpr std::size_t kLongestAnswer = std::size_t{32} << 20;  // bytes
constexpr ArchiveLimits kAnswerLimits{.depth = 32, .values = 1u << 20};

// Larger metadata blocks, in bytes, are not parsed in this process. Those of a JPEG are never larger.
constexpr std::size_t kLargestBlock = std::size_t{64} << 10;

bool hasLargeBlocks(const properties::PictureFacts& facts) {
  return facts.exif.size() > kLargestBlock || facts.xmp.size() > kLargestBlock;
}

std::optional<Dictionary> dictionaryIn(std::string_view answer) {
  const auto decoded = unarchivedObject(properties::bytesOf(answer), kAnswerLimits);
  const Value* value = std::get_if<Value>(&decoded);
  return value && value->isDictionary() ? std::optional(value->dictionary()) : std::nullopt;
}

}  // namespace

std::string ImagePropertyReader::installedHelper() { return installedProgram("moxtel-property-reader"); }

ImagePropertyReader::ImagePropertyReader(ProcessRunner& processes, std::string helper,
                                         std::function<bool()> isUnwanted)
    : processes_(processes), helper_(std::move(helper)), isUnwanted_(std::move(isUnwanted)) {}

std::optional<Dictionary> ImagePropertyReader::propertiesOf(const OpenFile& file) {
  const PictureKind kind = kindOfPicture(readStart(file, kPictureStartSize));
  if (kind == PictureKind::None) return std::nullopt;
  if (kind == PictureKind::Tiff || kind == PictureKind::Raw) return readElsewhere(file);
  properties::ByteSource source(file);
  auto facts = properties::factsOf(kind, source);
  if (!facts) return std::nullopt;
  if (hasLargeBlocks(*facts)) {
    if (auto found = readElsewhere(file)) return found;
    // The facts of the container remain valid.
    facts->exif.clear();
    facts->xmp.clear();
  }
  return properties::propertyDictionary(kind, *facts);
}

std::optional<Dictionary> ImagePropertyReader::readElsewhere(const OpenFile& file) {
  ProcessRequest request;
  request.program = helper_;
  request.inputDescriptor = file.descriptor.get();
  request.canceled = isUnwanted_;
  request.timeout = kReadingTime;
  request.outputLimit = kLongestAnswer;
  const ProcessResult result = processes_.run(request);
  if (result.ending == ProcessResult::Ending::NotStarted)
    NSLog("could not start '%@': %@", helper_, result.error);
  const bool whole = result.ending == ProcessResult::Ending::Exited && result.exitStatus == 0;
  return whole ? dictionaryIn(result.output) : std::nullopt;
}

}  // namespace moxtel
