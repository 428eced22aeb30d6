#include "net/XmlPropertyList.h"

namespace moxtel {

std::variant<Bytes, DecodingError> binaryPropertyListOfXml(std::span<const std::uint8_t>, std::size_t) {
  return DecodingError{"the bytes are no property list"};
}

}  // namespace moxtel
