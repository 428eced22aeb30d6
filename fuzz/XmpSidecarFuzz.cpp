// Texts and numbers of a hostile library in a sidecar: what comes out is well-formed XML of bounded size that
// the XMP toolkit reads, and what is embedded is found again.
#include <expat.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "export/JpegPacket.h"
#include "export/XmpSidecars.h"
#include "fuzz/FuzzInput.h"

namespace {

using moxtel::fuzz::require;

bool isWellFormed(const std::string& text) {
  XML_Parser parser = XML_ParserCreate("UTF-8");
  const bool isRead = XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK;
  XML_ParserFree(parser);
  return isRead;
}

double numberAt(const std::string& text, std::size_t at) {
  double number = 0;
  if (at + sizeof number <= text.size()) std::memcpy(&number, text.data() + at, sizeof number);
  return number;
}

moxtel::PhotoFacts photoOf(const std::string& text) {
  moxtel::PhotoFacts photo;
  photo.title = photo.caption = photo.creator = photo.eventName = photo.place.city = text;
  photo.keywords = {{1, {text, text}}, {2, {"a", text.substr(0, text.size() / 2)}}};
  photo.iptc = {{"Headline", text}, {text, text}};
  photo.colorLabel = photo.rating = static_cast<std::int32_t>(text.size() % 16) - 1;
  photo.latitude = numberAt(text, 0);
  photo.longitude = numberAt(text, 8);
  photo.altitude = numberAt(text, 16);
  photo.wallClock = static_cast<std::int64_t>(text.size()) << 30;
  moxtel::FaceFact face;
  face.name = text;
  face.stored = face.displayed =
      moxtel::FactRectangle{numberAt(text, 0), numberAt(text, 8), numberAt(text, 16), 0.5};
  photo.faces = {face, face};
  return photo;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  static moxtel::XmpSidecars sidecars;
  const moxtel::PhotoFacts photo = photoOf(text);
  const std::vector<std::vector<std::string>> albums{{text}, {text, "b"}};
  std::vector<std::string> lacks;
  const moxtel::SidecarInput input{photo, albums, moxtel::FileRole::Original, 0, 0};
  const std::string sidecar = sidecars.encode(input, lacks);
  require(!sidecar.empty() && isWellFormed(sidecar));
  // An escape has at most six bytes.
  require(sidecar.size() <= 6 * moxtel::XmpSidecars::kMostText + 100'000);
  std::string why;
  const moxtel::Bytes file(data, data + size);
  if (const auto changed = sidecars.embed(input, file, why)) {
    const auto found = moxtel::JpegPacket::find(*changed);
    require(found && !found->packet(*changed).empty());
  }
  return 0;
}
