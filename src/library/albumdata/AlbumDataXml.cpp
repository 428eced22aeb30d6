#include "library/albumdata/AlbumDataXml.h"

#include <expat.h>

#include <algorithm>
#include <new>
#include <vector>

#include "library/albumdata/AlbumDataTree.h"
#include "library/albumdata/PropertyListText.h"

namespace moxtel {

namespace {

// The longest tag, comment or declaration, in bytes: the XML parser keeps one in memory as a whole.
constexpr std::size_t kLongestToken = 1 << 20;
// Tags inside each other, kept or not.
constexpr std::size_t kDeepestElement = 512;
// expat counts a piece's bytes as an int.
constexpr std::size_t kLongestPiece = 1 << 20;

}  // namespace

class AlbumDataXml::Parser final {
 public:
  explicit Parser(const AlbumDataLimits& limits) : limits_(limits), tree_(limits) {
    if (!expat_) throw std::bad_alloc();
    XML_SetUserData(expat_, this);
    XML_SetElementHandler(expat_, &onStart, &onEnd);
    XML_SetCharacterDataHandler(expat_, &onText);
    XML_SetEntityDeclHandler(expat_, &onEntity);
    XML_SetSkippedEntityHandler(expat_, &onSkippedEntity);
  }
  ~Parser() { XML_ParserFree(expat_); }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  bool feed(std::string_view bytes, bool last);
  AlbumDataContents finish();

 private:
  enum class Element : std::uint8_t { Plist, Dictionary, Array, Key, Leaf };

  static Parser& self(void* data) { return *static_cast<Parser*>(data); }
  static void onStart(void* data, const XML_Char* name, const XML_Char**) {
    self(data).guarded([&](Parser& parser) { return parser.start(name); });
  }
  static void onEnd(void* data, const XML_Char*) {
    self(data).guarded([](Parser& parser) { return parser.end(); });
  }
  static void onText(void* data, const XML_Char* text, int length) {
    self(data).guarded([&](Parser& parser) {
      return parser.text(std::string_view(text, static_cast<std::size_t>(length)));
    });
  }
  static void onEntity(void* data, const XML_Char*, int, const XML_Char*, int, const XML_Char*,
                       const XML_Char*, const XML_Char*, const XML_Char*) {
    self(data).guarded([](Parser& parser) { return parser.fail("it declares entities of its own"); });
  }

  // With a document type somewhere else an entity may be unknown here.
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
      failure_ = "there is not enough memory for it";
    }
    if (!fine) XML_StopParser(expat_, XML_FALSE);
  }

  bool fail(std::string reason) {
    if (failure_.empty()) failure_ = std::move(reason);
    return false;
  }
  bool fromTree(bool fine) { return fine || fail(tree_.failure()); }
  bool start(std::string_view name);
  bool startValue(std::string_view name);
  bool end();
  bool endValue(Element element);
  bool text(std::string_view text);

  const AlbumDataLimits limits_;
  AlbumDataTree tree_;
  XML_Parser expat_ = XML_ParserCreate(nullptr);
  std::size_t fed_ = 0;
  std::vector<Element> elements_;
  std::size_t skipping_ = 0;  // elements open of a value that is not kept
  std::string leaf_;          // name of the element whose text is collected
  std::string text_;
  std::string failure_;
};

bool AlbumDataXml::Parser::feed(std::string_view bytes, bool last) {
  do {
    const std::string_view piece = bytes.substr(0, kLongestPiece);
    bytes.remove_prefix(piece.size());
    fed_ += piece.size();
    const bool end = last && bytes.empty();
    if (XML_Parse(expat_, piece.data(), static_cast<int>(piece.size()), end) == XML_STATUS_ERROR) {
      fail(XML_ErrorString(XML_GetErrorCode(expat_)));
      return false;
    }
    const auto understood = static_cast<std::size_t>(std::max<XML_Index>(XML_GetCurrentByteIndex(expat_), 0));
    if (!end && fed_ > understood + kLongestToken + kLongestPiece) return fail("a tag in it is too long");
  } while (!bytes.empty());
  return true;
}

bool AlbumDataXml::Parser::start(std::string_view name) {
  if (skipping_ > 0) {
    ++skipping_;
    return skipping_ + elements_.size() <= kDeepestElement || fail("its tags are nested too deeply");
  }
  if (elements_.empty()) {
    elements_.push_back(Element::Plist);
    return name == "plist" || fail("it is no property list");
  }
  if (elements_.back() == Element::Key || elements_.back() == Element::Leaf)
    return fail("a tag inside a text");
  if (name == "key") {
    elements_.push_back(Element::Key);
    text_.clear();
    return true;
  }
  return startValue(name);
}

bool AlbumDataXml::Parser::startValue(std::string_view name) {
  if (!tree_.wantsNext()) {
    skipping_ = 1;
    return fromTree(tree_.skipped());
  }
  if (name == "dict" || name == "array") {
    const bool dictionary = name == "dict";
    elements_.push_back(dictionary ? Element::Dictionary : Element::Array);
    return fromTree(tree_.begin(dictionary));
  }
  elements_.push_back(Element::Leaf);
  leaf_ = name;
  text_.clear();
  return true;
}

bool AlbumDataXml::Parser::end() {
  if (skipping_ > 0) {
    --skipping_;
    return true;
  }
  const Element element = elements_.back();
  elements_.pop_back();
  return endValue(element);
}

bool AlbumDataXml::Parser::endValue(Element element) {
  switch (element) {
    case Element::Plist:
      return true;
    case Element::Dictionary:
    case Element::Array:
      return fromTree(tree_.end());
    case Element::Key:
      return fromTree(tree_.key(text_));
    case Element::Leaf:
      break;
  }
  const auto value = propertyListLeaf(leaf_, text_);
  if (!value) return fail("'" + leaf_ + "' with an unreadable content");
  return fromTree(tree_.spend(text_.size()) && tree_.value(*value));
}

bool AlbumDataXml::Parser::text(std::string_view text) {
  if (skipping_ > 0 || elements_.empty()) return true;
  if (elements_.back() == Element::Key || elements_.back() == Element::Leaf) {
    text_ += text;
    return text_.size() <= limits_.keptBytes || fail("a text in it is too long");
  }
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos || fail("a text outside a value");
}

AlbumDataContents AlbumDataXml::Parser::finish() {
  AlbumDataContents contents;
  if (failure_.empty() && feed({}, true) && !tree_.isComplete()) failure_ = "it holds no value";
  if (failure_.empty()) {
    contents.lists = tree_.take();
  } else {
    contents.error = "line " + std::to_string(XML_GetCurrentLineNumber(expat_)) + ": " + failure_;
  }
  return contents;
}

AlbumDataXml::AlbumDataXml(const AlbumDataLimits& limits) : parser_(std::make_unique<Parser>(limits)) {}
AlbumDataXml::~AlbumDataXml() = default;
bool AlbumDataXml::feed(std::string_view bytes) { return parser_->feed(bytes, false); }
AlbumDataContents AlbumDataXml::finish() { return parser_->finish(); }

}  // namespace moxtel
