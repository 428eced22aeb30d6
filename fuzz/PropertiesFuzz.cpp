// The readers of picture properties. The first byte chooses the reader, the rest is the file.
#include <cmath>

#include "fuzz/FuzzInput.h"
#include "pictures/codec/PictureKind.h"
#include "pictures/properties/AppleMakerNote.h"
#include "pictures/properties/CiffGroup.h"
#include "pictures/properties/IccDescription.h"
#include "pictures/properties/Iim.h"
#include "pictures/properties/PhotoshopResources.h"
#include "pictures/properties/PropertyDictionary.h"
#include "pictures/properties/XmpProperties.h"
#include "plist/BinaryPropertyListReader.h"
#include "value/Utf.h"

namespace moxtel::fuzz {
namespace {

using properties::FileBytes;

// A reply contains no nil, no number that is not finite, and no text that is not UTF-8.
void requireSound(const Value& value) {
  require(!value.isNil());
  if (value.type() == Value::Type::Real) require(std::isfinite(value.doubleValue()));
  if (value.isString()) require(isValidUtf8(value.string()));
  for (const Value& one : value.array()) requireSound(one);
  for (const auto& [key, one] : value.dictionary()) requireSound(one);
}

void readPicture(PictureKind kind, FileBytes file) {
  properties::ByteSource source(file);
  const auto found = properties::propertyDictionary(kind, source);
  if (!found) return;
  require((*found)["PixelWidth"].integerValue() > 0 && (*found)["PixelHeight"].integerValue() > 0);
  for (const auto& [key, value] : *found)
    if (key != "{MakerApple}") requireSound(value);
}

void readTiff(FileBytes file) {
  properties::ByteSource source(file);
  const auto facts = properties::tiffFacts(source);
  require(!facts || (facts->width > 0 && facts->height > 0));
}

void readCiff(FileBytes file) {
  properties::ByteSource source(file);
  requireSound(Value(properties::ciffGroup(source)));
}

void readBlock(std::uint8_t which, FileBytes block) {
  properties::PictureFacts facts;
  if (which == 9) readTiff(block);
  if (which == 0) readCiff(block);
  if (which == 10) static_cast<void>(properties::profileDescription(block));
  if (which == 11)
    for (const auto& set : properties::iimSets(block)) require(isValidUtf8(set.text));
  if (which == 12) properties::takeResources(block, facts);
  if (which == 13) static_cast<void>(properties::appleMakerNote(block));
  if (which == 14) static_cast<void>(binaryPropertyListValue(block, {}, Strictness::Lenient));
  if (which == 15) static_cast<void>(properties::XmpProperties(std::string(properties::textOf(block))));
}

}  // namespace
}  // namespace moxtel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using moxtel::PictureKind;
  if (size == 0) return 0;
  constexpr PictureKind kKinds[] = {PictureKind::None, PictureKind::Jpeg, PictureKind::Png,
                                    PictureKind::Gif,  PictureKind::Psd,  PictureKind::Heif,
                                    PictureKind::WebP, PictureKind::Bmp,  PictureKind::Jpeg2000};
  const std::uint8_t which = data[0] % 16;
  const moxtel::properties::FileBytes rest(data + 1, size - 1);
  if (which > 0 && which < std::size(kKinds)) {
    moxtel::fuzz::readPicture(kKinds[which], rest);
  } else {
    moxtel::fuzz::readBlock(which, rest);
  }
  return 0;
}
