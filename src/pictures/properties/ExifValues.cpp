#include "pictures/properties/ExifValues.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <exiv2/exiv2.hpp>

#include "pictures/properties/ByteSource.h"
#include "pictures/properties/TextEncodings.h"

namespace moxtel::properties {
namespace {

constexpr std::size_t kMostElements = 4096;
constexpr std::size_t kLongestData = std::size_t{1} << 20;

// ---- single elements ----

// A quotient; a denominator of 0 gives infinity or, under 0, NaN.
double quotientAt(const Exiv2::Value& value, long index) {
  const Exiv2::Rational both = value.toRational(index);
  if (value.typeId() == Exiv2::unsignedRational)
    return double{static_cast<double>(static_cast<std::uint32_t>(both.first))} /
           static_cast<double>(static_cast<std::uint32_t>(both.second));
  return static_cast<double>(both.first) / static_cast<double>(both.second);
}

template <class T>
double exactAt(const Exiv2::Value& value, long index) {
  const auto* values = dynamic_cast<const Exiv2::ValueType<T>*>(&value);
  return values ? static_cast<double>(values->value_.at(static_cast<std::size_t>(index))) : std::nan("");
}

bool isRational(const Exiv2::Value& value) {
  return value.typeId() == Exiv2::unsignedRational || value.typeId() == Exiv2::signedRational;
}

bool isWhole(const Exiv2::Value& value) {
  switch (value.typeId()) {
    case Exiv2::unsignedByte:
    case Exiv2::unsignedShort:
    case Exiv2::unsignedLong:
    case Exiv2::signedByte:
    case Exiv2::signedShort:
    case Exiv2::signedLong:
    case Exiv2::undefined:
    case Exiv2::tiffIfd:
      return true;
    default:
      return false;
  }
}

std::int64_t wholeAt(const Exiv2::Value& value, long index) {
#if EXIV2_TEST_VERSION(0, 28, 0)
  return value.toInt64(static_cast<std::size_t>(index));
#else
  return value.toLong(index);
#endif
}

}  // namespace

double realAt(const Exiv2::Value& value, long index) {
  if (isRational(value)) return quotientAt(value, index);
  if (isWhole(value)) return static_cast<double>(wholeAt(value, index));
  if (value.typeId() == Exiv2::tiffFloat) return exactAt<float>(value, index);
  if (value.typeId() == Exiv2::tiffDouble) return exactAt<double>(value, index);
  return std::nan("");
}

Value integerAt(const Exiv2::Value& value, long index) {
  if (isWhole(value)) return wholeAt(value, index);
  const double real = realAt(value, index);
  return std::abs(real) < 9e15 ? Value(static_cast<std::int64_t>(real)) : Value();
}

std::string rawBytes(const Exiv2::Value& value) {
  std::string bytes(static_cast<std::size_t>(value.size()), '\0');
  value.copy(reinterpret_cast<Exiv2::byte*>(bytes.data()), Exiv2::bigEndian);
  return bytes;
}

Value versionOf(std::string_view digits) {
  if (digits.size() < 4 || digits.find_first_not_of("0123456789") < 4) return {};
  const auto digit = [&](std::size_t i) { return digits[i] - '0'; };
  Array parts{10 * digit(0) + digit(1), digit(2)};
  if (digit(3) != 0) parts.append(digit(3));
  return parts;
}

double roundedCoordinate(double degrees, double minutes, double seconds) {
  const double whole = std::floor(degrees);
  const double exact = (degrees - whole) * 60 + minutes + seconds / 60;
  if (!std::isfinite(exact)) return exact;
  char digits[32];
  const auto written = std::to_chars(digits, digits + sizeof digits, exact, std::chars_format::general, 6);
  double rounded = exact;
  std::from_chars(digits, written.ptr, rounded);
  return whole + rounded / 60;
}

namespace {

// ---- whole values; nil where the tag does not hold what its key needs ----

Value integers(const Exiv2::Value& value) {
  Array all;
  for (long i = 0; i < static_cast<long>(value.count()); ++i) {
    Value one = integerAt(value, i);
    if (one.isNil()) return {};
    all.append(std::move(one));
  }
  return all;
}

Value real(const Exiv2::Value& value) {
  const double number = realAt(value, 0);
  return std::isfinite(number) ? Value(number) : Value();
}

Value reals(const Exiv2::Value& value) {
  Array all;
  for (long i = 0; i < static_cast<long>(value.count()); ++i) {
    const double number = realAt(value, i);
    if (std::isinf(number)) return {};
    all.append(std::isnan(number) ? 0.0 : number);  // 0/0 means "unknown"; the list keeps its length
  }
  return all;
}

// Single precision, as a real.
Value single(Value number) {
  if (number.isArray()) {
    for (Value& one : number.editArray()) one = single(std::move(one));
    return number;
  }
  return number.isNil() ? number : Value(static_cast<double>(static_cast<float>(number.doubleValue())));
}

Value trimmedIntegers(const Exiv2::Value& value) {
  Value all = integers(value);
  auto& items = all.editArray().items();
  while (!items.empty() && items.back().integerValue() == 0) items.pop_back();
  return items.empty() ? Value() : Value(all.array());
}

Value text(const Exiv2::Value& value) {
  const auto type = value.typeId();
  if (type != Exiv2::asciiString && type != Exiv2::unsignedByte && type != Exiv2::undefined) return {};
  return utf8OrLatin1(untilNul(rawBytes(value)));
}

// The text after the name of its character set. Exiv2 decodes only UserComment so.
std::string commentText(const Exiv2::Value& value) {
  if (const auto* known = dynamic_cast<const Exiv2::CommentValue*>(&value)) return known->comment();
  const std::string bytes = rawBytes(value);
  if (value.typeId() != Exiv2::undefined) return value.typeId() == Exiv2::asciiString ? bytes : std::string();
  Exiv2::CommentValue comment;
  // The byte order is unknown here; most files have this one.
  comment.read(reinterpret_cast<const Exiv2::byte*>(bytes.data()), static_cast<long>(bytes.size()),
               Exiv2::littleEndian);
  return comment.comment();
}

Value comment(const Exiv2::Value& value) {
  const std::string whole = commentText(value);
  const std::string_view shown = untilNul(whole);
  return shown.empty() ? Value() : Value(utf8OrLatin1(shown));
}

// An element that is missing, or unknown (0/0), counts as 0.
double partAt(const Exiv2::Value& value, long index) {
  if (index >= static_cast<long>(value.count())) return 0;
  const double number = realAt(value, index);
  return std::isnan(number) ? 0 : number;
}

Value coordinate(const Exiv2::Value& value) {
  const double degrees = std::isnan(realAt(value, 0))
                             ? std::nan("")
                             : roundedCoordinate(partAt(value, 0), partAt(value, 1), partAt(value, 2));
  return std::isfinite(degrees) ? Value(degrees) : Value();
}

Value timeOfDay(const Exiv2::Value& value) {
  if (value.count() < 3) return {};
  int parts[3];
  for (long i = 0; i < 3; ++i) {
    const double number = realAt(value, i);
    if (!(number >= 0 && number < 100)) return {};
    parts[i] = static_cast<int>(number);
  }
  char out[16];
  std::snprintf(out, sizeof out, "%02d:%02d:%02d", parts[0], parts[1], parts[2]);
  return out;
}

}  // namespace

Value inForm(const Exiv2::Value& value, ExifForm form) {
  if (form == ExifForm::Text) return text(value);
  if (form == ExifForm::Comment) return comment(value);
  if (form == ExifForm::Data)
    return static_cast<std::size_t>(value.size()) > kLongestData ? Value()
                                                                 : Value(copyOf(bytesOf(rawBytes(value))));
  if (value.count() < 1 || static_cast<std::size_t>(value.count()) > kMostElements) return {};
  switch (form) {
    case ExifForm::Integer:
      return integerAt(value, 0);
    case ExifForm::Integers:
      return integers(value);
    case ExifForm::Real:
      return real(value);
    case ExifForm::Reals:
      return reals(value);
    case ExifForm::TrimmedIntegers:
      return trimmedIntegers(value);
    case ExifForm::SingleReal:
      return single(real(value));
    case ExifForm::SingleReals:
      return single(reals(value));
    case ExifForm::Numbers:
      return isWhole(value) ? integers(value) : reals(value);
    case ExifForm::Version:
      return versionOf(rawBytes(value));
    case ExifForm::Coordinate:
      return coordinate(value);
    case ExifForm::TimeOfDay:
      return timeOfDay(value);
    default:
      return {};
  }
}

void addKey(std::span<const ExifKey> table, const Exiv2::Exifdatum& datum, Dictionary& group) {
  const ExifKey* key = keyOf(table, datum.tag());
  if (!key || group.contains(key->key)) return;
  Value value = inForm(datum.value(), key->form);
  if (!value.isNil()) group.set(key->key, std::move(value));
}

}  // namespace moxtel::properties
