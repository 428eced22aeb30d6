// The values of Exif tags, as Exiv2 holds them, in the forms that properties have. Exiv2's exceptions pass
// through. Any thread.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "pictures/properties/ExifTables.h"
#include "value/Value.h"

namespace Exiv2 {
class Exifdatum;
class Value;
}  // namespace Exiv2

namespace moxtel::properties {

// The whole value; nil if the tag's type or count does not suit the form.
Value inForm(const Exiv2::Value& value, ExifForm form);

// Adds the tag's key and value to the group if the table has the tag and the group does not have the key.
void addKey(std::span<const ExifKey> table, const Exiv2::Exifdatum& datum, Dictionary& group);

// One element, which must exist; not finite, or nil, if it is not a number.
double realAt(const Exiv2::Value& value, long index);
Value integerAt(const Exiv2::Value& value, long index);

// The value's bytes; numbers are big-endian.
std::string rawBytes(const Exiv2::Value& value);

// "0231" as 2, 3, 1: the first two digits, the third, and the fourth if it is not 0. Nil for a text that does
// not begin with four digits.
Value versionOf(std::string_view digits);

// A coordinate as the platform rounds it: whole degrees, and minutes of six significant digits.
double roundedCoordinate(double degrees, double minutes, double seconds);

}  // namespace moxtel::properties
