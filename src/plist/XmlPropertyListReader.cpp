#include "plist/XmlPropertyListReader.h"

#include <expat.h>

#include <algorithm>
#include <new>
#include <vector>

#include "plist/XmlLeaves.h"
#include "value/Trimmed.h"

namespace moxtel {

namespace {

// The longest tag, comment or declaration, in bytes: expat keeps one in memory as a whole.
constexpr std::size_t kLongestToken = 1 << 20;
// expat counts a piece's bytes as an int.
constexpr std::size_t kLongestPiece = 1 << 20;
// expat keeps each name of an element or attribute that it has seen.
constexpr std::size_t kMostUnknownNames = 1000;

bool isElement(std::string_view name) {
  return name == "key" || isXmlLeaf(name) || name == "dict" || name == "array" || name == "plist";
}

}  // namespace

class XmlPropertyListReader::Parser final {
 public:
  Parser(PropertyListSink& sink, Strictness strictness)
      : sink_(sink), isLenient_(strictness == Strictness::Lenient) {
    if (!expat_) throw std::bad_alloc();
    XML_SetUserData(expat_, this);
    XML_SetElementHandler(expat_, &onStart, &onEnd);
    XML_SetCharacterDataHandler(expat_, &onText);
    XML_SetStartDoctypeDeclHandler(expat_, &onDocumentType);
    XML_SetSkippedEntityHandler(expat_, &onSkippedEntity);
  }
  ~Parser() { XML_ParserFree(expat_); }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  bool feed(std::string_view bytes, bool last);
  bool finish();
  const std::string& failure() const { return failure_; }
  const PropertyListOddities& oddities() const { return oddities_; }

 private:
  enum class Element : std::uint8_t { Plist, Dictionary, Array, Key, Leaf };
  struct Open {
    Element element;
    bool takesValue;  // at the top, in an array, or after a dictionary's key
  };

  static Parser& self(void* data) { return *static_cast<Parser*>(data); }
  static void onStart(void* data, const XML_Char* name, const XML_Char** attributes) {
    self(data).guarded([&](Parser& parser) { return parser.start(name, attributes); });
  }
  static void onEnd(void* data, const XML_Char*) {
    self(data).guarded([](Parser& parser) { return parser.end(); });
  }
  static void onText(void* data, const XML_Char* text, int length) {
    self(data).guarded([&](Parser& parser) {
      return parser.text(std::string_view(text, static_cast<std::size_t>(length)));
    });
  }
  // Entities that a file declares could expand a short text into a long one.
  static void onDocumentType(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int hasSubset) {
    self(data).guarded([&](Parser& parser) { return hasSubset == 0 || parser.fail("it declares entities"); });
  }
  // After a document type that names another file, an unknown entity is no error to expat.
  static void onSkippedEntity(void* data, const XML_Char*, int) {
    self(data).guarded([](Parser& parser) { return parser.fail("it uses an unknown entity"); });
  }

  // No exception may pass through the C library; the first failure ends the parsing.
  template <class Step>
  void guarded(const Step& step) {
    bool fine = false;
    if (!failure_.empty()) return;
    try {
      fine = step(*this);
    } catch (const std::bad_alloc&) {
      fail("there is not enough memory for it");
    }
    if (!fine) XML_StopParser(expat_, XML_FALSE);
  }

  bool fail(const char* reason) {
    if (failure_.empty()) failure_ = "line " + std::to_string(line()) + ": " + reason;
    return false;
  }
  bool fine(const char* reason) { return !reason || fail(reason); }
  std::uint64_t line() const { return XML_GetCurrentLineNumber(expat_); }
  // Whether something that makes no sense may be left out.
  bool forgive(const char* reason) {
    if (!isLenient_) return fail(reason);
    oddities_.add(line());
    return true;
  }
  bool start(std::string_view name, const XML_Char** attributes);
  bool checkNames(std::string_view name, const XML_Char** attributes);
  bool startKey();
  bool startValue(std::string_view name);
  bool skipElement();
  bool end();
  bool endCollection(const Open& closed);
  bool endLeaf();
  bool text(std::string_view text);

  PropertyListSink& sink_;
  const bool isLenient_;
  XML_Parser expat_ = XML_ParserCreate(nullptr);
  std::size_t fed_ = 0;
  std::vector<Open> open_;
  std::size_t skipping_ = 0;  // elements open of a value that is passed over
  std::size_t unknownNames_ = 0;
  bool seenValue_ = false;
  std::string leaf_;  // name of the element whose text is collected
  std::string text_;
  std::string failure_;
  PropertyListOddities oddities_;
};

bool XmlPropertyListReader::Parser::feed(std::string_view bytes, bool last) {
  do {
    const std::string_view piece = bytes.substr(0, kLongestPiece);
    bytes.remove_prefix(piece.size());
    fed_ += piece.size();
    const bool end = last && bytes.empty();
    if (XML_Parse(expat_, piece.data(), static_cast<int>(piece.size()), end) == XML_STATUS_ERROR)
      return fail(XML_ErrorString(XML_GetErrorCode(expat_)));
    const auto understood = static_cast<std::size_t>(std::max<XML_Index>(XML_GetCurrentByteIndex(expat_), 0));
    if (!end && fed_ > understood + kLongestToken + kLongestPiece) return fail("a tag in it is too long");
  } while (!bytes.empty());
  return true;
}

bool XmlPropertyListReader::Parser::finish() {
  if (!failure_.empty() || !feed({}, true)) return false;
  return seenValue_ || fail("it holds no value");
}

bool XmlPropertyListReader::Parser::start(std::string_view name, const XML_Char** attributes) {
  if (!checkNames(name, attributes)) return false;
  if (open_.size() + skipping_ >= kDeepestPropertyList) return fail("its tags are nested too deeply");
  if (skipping_ > 0) {
    ++skipping_;
    return true;
  }
  if (open_.empty()) {
    open_.push_back({Element::Plist, true});
    return name == "plist" || fail("it is no property list");
  }
  const Element parent = open_.back().element;
  if (parent == Element::Key || parent == Element::Leaf) return fail("a tag inside a text");
  return name == "key" ? startKey() : startValue(name);
}

bool XmlPropertyListReader::Parser::checkNames(std::string_view name, const XML_Char** attributes) {
  if (!isElement(name)) ++unknownNames_;
  for (; *attributes; attributes += 2) ++unknownNames_;
  return unknownNames_ <= kMostUnknownNames || fail("it has too many unknown tags");
}

bool XmlPropertyListReader::Parser::startKey() {
  if (open_.back().element != Element::Dictionary) return fail("a key outside a dictionary");
  if (open_.back().takesValue) return fail("a key without a value");
  open_.push_back({Element::Key, false});
  text_.clear();
  return true;
}

bool XmlPropertyListReader::Parser::startValue(std::string_view name) {
  Open& parent = open_.back();
  if (!parent.takesValue)
    return fail(parent.element == Element::Plist ? "more than one value" : "a value without a key");
  parent.takesValue = parent.element == Element::Array;
  seenValue_ = true;
  if (!sink_.wantsNext()) return skipElement();
  if (name == "dict" || name == "array") {
    const bool isDictionary = name == "dict";
    open_.push_back({isDictionary ? Element::Dictionary : Element::Array, !isDictionary});
    return fine(sink_.begin(isDictionary));
  }
  if (!isXmlLeaf(name)) return forgive("an element is unknown") && skipElement();
  open_.push_back({Element::Leaf, false});
  leaf_ = name;
  text_.clear();
  return true;
}

bool XmlPropertyListReader::Parser::skipElement() {
  skipping_ = 1;
  return fine(sink_.skip());
}

bool XmlPropertyListReader::Parser::end() {
  if (skipping_ > 0) {
    --skipping_;
    return true;
  }
  const Open closed = open_.back();
  open_.pop_back();
  if (closed.element == Element::Plist) return true;
  if (closed.element == Element::Leaf) return endLeaf();
  if (closed.element != Element::Key) return endCollection(closed);
  open_.back().takesValue = true;
  return fine(sink_.key(text_));
}

bool XmlPropertyListReader::Parser::endCollection(const Open& closed) {
  if (closed.element == Element::Dictionary && closed.takesValue) return fail("a key without a value");
  return fine(sink_.end());
}

bool XmlPropertyListReader::Parser::endLeaf() {
  Value value;
  if (const char* reason = readXmlLeaf(leaf_, text_, value)) return forgive(reason) && fine(sink_.skip());
  return fine(sink_.leaf(std::move(value)));
}

bool XmlPropertyListReader::Parser::text(std::string_view text) {
  if (skipping_ > 0 || open_.empty()) return true;
  const Element element = open_.back().element;
  if (element != Element::Key && element != Element::Leaf)
    return trimmed(text).empty() || forgive("a text outside a value");
  if (text.size() > sink_.room() || text_.size() > sink_.room() - text.size())
    return fail("a text in it is too long");
  text_ += text;
  return true;
}

XmlPropertyListReader::XmlPropertyListReader(PropertyListSink& sink, Strictness strictness)
    : parser_(std::make_unique<Parser>(sink, strictness)) {}
XmlPropertyListReader::~XmlPropertyListReader() = default;
bool XmlPropertyListReader::feed(std::string_view bytes) { return parser_->feed(bytes, false); }
bool XmlPropertyListReader::finish() { return parser_->finish(); }
const std::string& XmlPropertyListReader::failure() const { return parser_->failure(); }
const PropertyListOddities& XmlPropertyListReader::oddities() const { return parser_->oddities(); }

}  // namespace moxtel
