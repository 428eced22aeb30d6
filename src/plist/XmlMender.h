// A filter that turns nearly well-formed XML into well-formed XML, because an XML parser cannot continue
// after an error, and programs write files with such errors. One thread; one object for each file. Takes
// linear time and delays at most 64 bytes.
//
// What it mends:
// - A character that XML does not allow (U+000B, U+FFFF), literal or as a reference, becomes U+FFFD; so do
// bytes
//   that are not UTF-8.
// - A pair of surrogates, each encoded separately (CESU-8) or as a reference, becomes its character.
// - '&' and '<' that begin neither a reference nor a tag, and "]]>", become references.
// - Everything after the end of the outermost element is dropped.
//
// References, '&' and '<' inside comments, CDATA and instructions are not changed. Line ends are kept, so
// lines keep their numbers.
//
// A file in UTF-16 is not changed. In a file that declares entities or elements, everything from the
// declarations on has only its characters mended. In a file that declares another encoding, the bytes outside
// ASCII are not changed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "plist/PropertyListSink.h"

namespace moxtel {

class XmlMender final {
 public:
  // Takes the next piece, of any length, and appends the mended text.
  void feed(std::string_view bytes, std::string& out);
  // Call after the last piece: appends the delayed bytes.
  void finish(std::string& out);

  // What was mended; places are lines, from 1.
  const PropertyListOddities& oddities() const { return oddities_; }

 private:
  enum class State : std::uint8_t {
    Text,
    Markup,  // after '<', until it is known what it begins
    Tag,
    Comment,
    CData,
    Instruction,
    DocumentType,
    Declarations,  // inside the document type: the rest of the file is left alone
    End            // after the outermost element
  };

  std::size_t plainBytes(std::string_view bytes);
  void byte(std::uint8_t byte);
  void otherByte(std::uint8_t byte);
  void beginSequence(std::uint8_t byte);
  bool continueSequence(std::uint8_t byte);
  void endSequence();
  void surrogate(char32_t unit);

  void character(char32_t c);
  void inText(char32_t c);
  void inMarkup(char32_t c);
  void beginMarkup(char32_t c);
  void inReference(char32_t c);
  void endReference();
  void inTag(char32_t c);
  void inInstruction(char32_t c);
  void inDocumentType(char32_t c);
  void atEnd(char32_t c);
  bool endsWith(std::string_view end, char32_t c);
  void changeTo(State state);
  void escapeHeld();

  void odd() { oddities_.add(line_); }
  void emit(char32_t c);
  void emit(std::string_view text);
  // Ends a pair of surrogates whose other half does not follow.
  void settle();

  std::string* out_ = nullptr;
  PropertyListOddities oddities_;
  std::uint64_t line_ = 1;
  bool lastWasReturn_ = false;

  // Bytes into characters.
  std::string start_;           // the first two bytes
  bool isUtf16_ = false;        // nothing is mended
  bool hasOtherBytes_ = false;  // the declared encoding is not UTF-8: bytes from 0x80 on are kept
  char32_t sequence_ = 0;       // bits of a sequence that is not complete
  int missing_ = 0;             // its bytes that are still to come
  std::uint8_t lowest_ = 0x80;  // bounds of the next one of them
  std::uint8_t highest_ = 0xBF;
  char32_t high_ = 0;  // first half of a pair of surrogates

  // Characters into XML.
  State state_ = State::Text;
  std::string held_;         // a reference or markup that is not complete
  std::string tail_;         // the last characters, where several characters end the construct
  std::string instruction_;  // its beginning, before the outermost element
  char quote_ = 0;           // around the attribute or literal, or none
  bool closing_ = false;     // the tag begins with "</"
  char32_t last_ = 0;        // character of the tag
  std::int64_t depth_ = 0;   // elements open
  bool endIsKnown_ = false;  // what follows the outermost element was looked at
};

}  // namespace moxtel
