// A filter that makes nearly well-formed XML well-formed, for files that other programs wrote carelessly: an
// XML parser cannot go on after an error. One thread; one file an object. Linear in time; holds back at most
// 64 bytes.
//
// What it mends: a character that XML does not allow (U+000B, U+FFFF), written as such or as a reference, and
// bytes that are no UTF-8 become U+FFFD; a pair of surrogates, each in bytes of its own (CESU-8) or as a
// reference, becomes its character; '&' and '<' that begin neither reference nor tag, and "]]>", become
// references; whatever follows the end of the outermost element is dropped. References, '&' and '<' inside
// comments, CDATA and instructions are left alone. Line ends are kept, so lines keep their numbers.
//
// A file in UTF-16 and one with declarations of its own is mended in its characters only, or not at all; one
// that declares another encoding keeps its bytes outside ASCII.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "plist/PropertyListSink.h"

namespace moxtel {

class XmlMender final {
 public:
  // Takes the next piece of any length and appends what it becomes.
  void feed(std::string_view bytes, std::string& out);
  // After the last piece: appends what was held back.
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
  // Half a pair of surrogates whose other half does not come.
  void settle();

  std::string* out_ = nullptr;
  PropertyListOddities oddities_;
  std::uint64_t line_ = 1;
  bool lastWasReturn_ = false;

  // Bytes into characters.
  std::string start_;           // the first two bytes
  bool isUtf16_ = false;        // nothing is mended
  bool hasOtherBytes_ = false;  // bytes from 0x80 on are not UTF-8, and right
  char32_t sequence_ = 0;       // bits of a sequence that is not complete
  int missing_ = 0;             // its bytes that are still to come
  std::uint8_t lowest_ = 0x80;  // bounds of the next one of them
  std::uint8_t highest_ = 0xBF;
  char32_t high_ = 0;  // first half of a pair of surrogates

  // Characters into XML.
  State state_ = State::Text;
  std::string held_;         // a reference or markup that is not complete
  std::string tail_;         // the last characters of what has an end of several characters
  std::string instruction_;  // its beginning, before the outermost element
  char quote_ = 0;           // around the attribute or literal, or none
  bool closing_ = false;     // the tag begins with "</"
  char32_t last_ = 0;        // character of the tag
  std::int64_t depth_ = 0;   // elements open
  bool endIsKnown_ = false;  // what follows the outermost element was looked at
};

}  // namespace moxtel
