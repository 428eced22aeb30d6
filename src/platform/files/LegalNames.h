// Names of files and folders that NTFS, exFAT, FAT, APFS and Linux all allow, from texts of a library. Any
// thread.
//
// A legal name is UTF-8 in normal form C, without the characters " * / : < > ? \ | and without control
// characters and marks of direction; it neither begins nor ends with a blank, and neither begins nor ends
// with a dot; its part before the first dot is not the name of a device (CON, COM1, …).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace moxtel {

// Bytes that a name may have.
inline constexpr std::size_t kLongestName = 255;

// A legal name as similar to the text as possible, of at most this many bytes, cut between characters. Empty
// if nothing is left of the text. Invalid UTF-8 becomes U+FFFD.
std::string legalName(std::string_view text, std::size_t longest = kLongestName);

// A file name in two parts: "IMG_1.JPG" is "IMG_1" and ".JPG". An extension has at most 16 bytes.
struct NameParts {
  std::string stem;
  std::string extension;  // with its dot; empty without one
};
NameParts partsOf(std::string_view name);

// The legal name of a file: both parts are legal together, and the stem is cut so that the whole and
// `reserved` more bytes fit into a name. A stem of which nothing is left is "Untitled".
NameParts legalParts(std::string_view name, std::size_t reserved);

// The stem and " (2)" for the second of equal names; the stem alone for the first. Cut as above.
std::string numbered(std::string_view stem, int number, std::size_t longest);

// Normal form C; invalid UTF-8 becomes U+FFFD.
std::string composed(std::string_view text);

}  // namespace moxtel
