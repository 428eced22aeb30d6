#include "export/XmpSidecars.h"

#include <exiv2/exiv2.hpp>

#include "export/JpegPacket.h"
#include "export/XmpFacts.h"
#include "pictures/properties/Exiv2Setup.h"
#include "pictures/properties/XmpProperties.h"

namespace moxtel {

namespace {

std::string encoded(const Exiv2::XmpData& data, std::uint16_t flags) {
  std::string packet;
  if (Exiv2::XmpParser::encode(packet, data, flags) != 0) packet.clear();
  return packet;
}

// "Xmp.mwg-rs.Regions" of its parts, too.
std::string rootOf(const Exiv2::Xmpdatum& datum) {
  const std::string key = datum.key();
  return key.substr(0, key.find_first_of("/["));
}

// Replaces what the facts say, and keeps everything else.
void replaceIn(Exiv2::XmpData& data, const Exiv2::XmpData& facts) {
  for (const Exiv2::Xmpdatum& fact : facts) {
    const std::string root = rootOf(fact);
    for (auto datum = data.begin(); datum != data.end();)
      datum = rootOf(*datum) == root ? data.erase(datum) : datum + 1;
  }
  for (const Exiv2::Xmpdatum& fact : facts) data.add(fact);
}

// Whether a packet says everything that the facts say.
bool holds(const std::string& packet, const Exiv2::XmpData& facts) {
  Exiv2::XmpData data;
  if (Exiv2::XmpParser::decode(data, packet) != 0) return false;
  for (const Exiv2::Xmpdatum& fact : facts) {
    const auto found = data.findKey(Exiv2::XmpKey(fact.key()));
    if (found == data.end() || found->toString() != fact.toString()) return false;
  }
  return true;
}

}  // namespace

XmpSidecars::XmpSidecars() {
  properties::setUpExiv2();
  Exiv2::XmpProperties::registerNs("http://moxtel.org/ns/1.0/", "moxtel");
}

std::string XmpSidecars::encode(const SidecarInput& input, std::vector<std::string>& lacks) {
  try {
    std::string text = encoded(xmpOf(input, kMostText, lacks), Exiv2::XmpParser::omitPacketWrapper);
    if (text.empty()) lacks.emplace_back("everything: the sidecar cannot be encoded");
    return text;
  } catch (const Exiv2::AnyError& error) {
    lacks.push_back(std::string("everything: the sidecar cannot be encoded: ") + error.what());
    return {};
  }
}

std::optional<Bytes> XmpSidecars::embed(const SidecarInput& input, Bytes file, std::string& why) {
  const auto jpeg = JpegPacket::find(file);
  if (!jpeg) {
    why = "only JPEG files hold the facts; they are in the sidecar";
    return std::nullopt;
  }
  try {
    std::vector<std::string> lacks;
    const Exiv2::XmpData facts = xmpOf(input, kMostText, lacks);
    Exiv2::XmpData data;
    const std::string old = jpeg->packet(file);
    if (!old.empty() && (!properties::isShallow(old) || Exiv2::XmpParser::decode(data, old) != 0)) {
      why = "the file has XMP that cannot be read; the facts are in the sidecar";
      return std::nullopt;
    }
    replaceIn(data, facts);
    auto changed = jpeg->withPacket(file, encoded(data, Exiv2::XmpParser::useCompactFormat));
    if (!changed) {
      why = "there are more facts than a JPEG file holds; they are in the sidecar";
      return std::nullopt;
    }
    const auto again = JpegPacket::find(*changed);
    if (again && holds(again->packet(*changed), facts)) return changed;
    why = "the facts could not be read back from the file; they are in the sidecar";
  } catch (const Exiv2::AnyError& error) {
    why = std::string("the facts could not be encoded: ") + error.what();
  }
  return std::nullopt;
}

}  // namespace moxtel
