#include "pictures/ImageProperties.h"

#include "pictures/PictureKind.h"
#include "pictures/properties/PropertyDictionary.h"

namespace moxtel {

ImagePropertyReader::ImagePropertyReader(ProcessRunner& processes) : processes_(processes) {}

std::optional<Dictionary> ImagePropertyReader::propertiesOf(const OpenFile& file) {
  const PictureKind kind = kindOfPicture(readStart(file, kPictureStartSize));
  if (kind == PictureKind::None) return std::nullopt;
  properties::ByteSource source(file);
  return properties::propertyDictionary(kind, source);
}

}  // namespace moxtel
