// The maker notes of Canon and Nikon, as Exiv2 parses them. One thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "pictures/properties/ExifGroups.h"
#include "value/Value.h"

namespace Exiv2 {
class Exifdatum;
class Value;  // NOLINT(bugprone-forward-declaration-namespace): not moxtel::Value
}  // namespace Exiv2

namespace moxtel::properties {

// Canon's exposure steps in stops: 1/32 stop each, but the fractions 12/32 and 20/32 mean 1/3 and 2/3.
double canonStops(std::int32_t steps);
// The f-number of such steps; nil for none.
Value canonFNumber(std::int32_t steps);

// Collects the note's tags one by one.
class MakerNotes final {
 public:
  // group: Exiv2's name of the tag's group; other groups are ignored. Exiv2's exceptions pass through.
  void add(const std::string& group, const Exiv2::Exifdatum& datum);
  // Adds the results to the groups. The exposure program comes from the note if Exif lacks it.
  void finish(ExifGroups& groups);

 private:
  void addCanonSetting(const Exiv2::Exifdatum& datum);
  void addNikon(const Exiv2::Exifdatum& datum);

  Dictionary canon_, canonAux_;
  Dictionary nikon_, nikonAux_;
  Value lensName_;   // of Canon's, made from its focal lengths
  Value lensId_;     // of Nikon's
  int program_ = 0;  // Exif's number; 0 for none
};

}  // namespace moxtel::properties
