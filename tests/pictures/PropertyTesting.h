// The properties of files that a test has built in memory.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "pictures/codec/PictureKind.h"
#include "pictures/properties/PropertyDictionary.h"
#include "tests/pictures/MadePictures.h"
#include "value/Description.h"

namespace moxtel::test {

inline bool isSame(const Value& a, const Value& b) {
  if (a.isDictionary() && b.isDictionary()) {
    const auto& entries = a.dictionary();
    return entries.size() == b.dictionary().size() &&
           std::all_of(entries.begin(), entries.end(), [&](const auto& entry) {
             const Value* other = b.dictionary().find(entry.key);
             return other && isSame(entry.value, *other);
           });
  }
  if (a.isArray() && b.isArray())
    return std::equal(a.array().begin(), a.array().end(), b.array().begin(), b.array().end(), isSame);
  return a == b;
}

inline testing::AssertionResult same(const Value& seen, const Value& wanted) {
  if (isSame(seen, wanted)) return testing::AssertionSuccess();
  return testing::AssertionFailure() << describe(seen) << "\n  where this was wanted:\n" << describe(wanted);
}

inline Value propertiesOf(const std::string& file) {
  const auto bytes = properties::bytesOf(file);
  properties::ByteSource source(bytes);
  const auto found = properties::propertyDictionary(kindOfPicture(bytes), source);
  return found ? Value(*found) : Value();
}
inline Value ofExif(const Directory& exif) {
  return propertiesOf(jpeg(exifSegment(tiff({}, exif))))["{Exif}"];
}
inline Value ofMain(const Directory& main) { return propertiesOf(jpeg(exifSegment(tiff(main))))["{TIFF}"]; }
inline Value ofGps(const Directory& gps) {
  return propertiesOf(jpeg(exifSegment(tiff({}, {}, gps))))["{GPS}"];
}

}  // namespace moxtel::test
