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

// The whole value; nil where the tag does not hold what the form needs.
Value inForm(const Exiv2::Value& value, ExifForm form);

// Gives the group the tag's key when the table has one and the group has not.
void addKey(std::span<const ExifKey> table, const Exiv2::Exifdatum& datum, Dictionary& group);

// One element, which must be there: not finite, or nil, when it is no number.
double realAt(const Exiv2::Value& value, long index);
Value integerAt(const Exiv2::Value& value, long index);

// The value's bytes; numbers of several bytes most significant byte first.
std::string rawBytes(const Exiv2::Value& value);

// "0231" as 2, 3, 1: the first two digits before the point, the last one where it says something. Nil for
// what does not begin with four digits.
Value versionOf(std::string_view digits);

// "24°30'" and the like as the platform keeps it: whole degrees and minutes of six significant digits.
double roundedCoordinate(double degrees, double minutes, double seconds);

}  // namespace moxtel::properties
