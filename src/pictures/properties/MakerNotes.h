// What the maker notes of Canon and Nikon say, as Exiv2 takes them apart. One thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "pictures/properties/ExifGroups.h"
#include "value/Value.h"

namespace Exiv2 {
class Exifdatum;
class Value;  // NOLINT(bugprone-forward-declaration-namespace): not the house's own Value
}  // namespace Exiv2

namespace moxtel::properties {

// Canon's steps of exposure in stops: thirty-seconds, of which 12 and 20 stand for thirds.
double canonStops(std::int32_t steps);
// The f-number of such steps; nil for none.
Value canonFNumber(std::int32_t steps);

// Gathers notes while the tags of a file pass.
class MakerNotes final {
 public:
  // The tag belongs to Exiv2's group of that name; those of others are passed over. Exiv2's exceptions pass
  // through.
  void add(const std::string& group, const Exiv2::Exifdatum& datum);
  // Gives the groups what was gathered. The exposure program comes from the note where the camera tells it
  // nowhere else.
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
