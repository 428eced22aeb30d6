#include "plist/XmlMender.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "value/Utf.h"

namespace moxtel {

namespace {

constexpr std::size_t kLongestReference = 64;  // characters
constexpr std::size_t kLongestDeclaration = 256;
constexpr char32_t kNoCharacter = 0xFFFF;

bool isHigh(char32_t c) { return c >= 0xD800 && c < 0xDC00; }
bool isLow(char32_t c) { return c >= 0xDC00 && c < 0xE000; }

// As XML 1.0 has it.
bool isAllowed(char32_t c) {
  if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
  return c < 0xD800 || (c >= 0xE000 && c <= 0x10FFFF && c != 0xFFFE && c != 0xFFFF);
}

bool isPlain(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte < 0x80 && std::string_view("<>&]/\"'").find(c) == std::string_view::npos;
}
bool isSpace(char32_t c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool isDigit(char32_t c) { return c >= '0' && c <= '9'; }
bool isLetter(char32_t c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool mayBeginName(char32_t c) { return isLetter(c) || c == '_' || c == ':' || (c >= 0x80 && isAllowed(c)); }

bool isNamedReference(std::string_view name) {
  static constexpr std::array<std::string_view, 5> kNames = {"amp", "lt", "gt", "quot", "apos"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

// Whether an XML declaration, without its "<?" and "?>", names an encoding other than UTF-8.
bool namesOtherEncoding(std::string_view declaration) {
  const std::size_t at = declaration.find("encoding");
  if (!declaration.starts_with("xml") || declaration.size() < 4 ||
      !isSpace(static_cast<unsigned char>(declaration[3])) || at == std::string_view::npos)
    return false;
  const std::size_t open = declaration.find_first_of("\"'", at);
  if (open == std::string_view::npos) return false;
  std::string name(declaration.substr(open + 1));
  name.erase(std::min(name.find(declaration[open]), name.size()));
  for (char& c : name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return name != "utf-8";
}

bool isUtf16(std::string_view start) {
  using namespace std::string_view_literals;
  return start == "\xFE\xFF"sv || start == "\xFF\xFE"sv || start == "<\0"sv || start == "\0<"sv;
}

}  // namespace

void XmlMender::feed(std::string_view bytes, std::string& out) {
  out_ = &out;
  while (!bytes.empty() && start_.size() < 2) {
    start_ += bytes.front();
    bytes.remove_prefix(1);
    if (start_.size() < 2) continue;
    isUtf16_ = isUtf16(start_);
    if (isUtf16_) out += start_;
    for (const char c : isUtf16_ ? std::string_view() : start_) byte(static_cast<std::uint8_t>(c));
  }
  if (isUtf16_) {
    out += bytes;
    return;
  }
  while (!bytes.empty()) {
    const std::size_t plain = plainBytes(bytes);
    if (plain == 0) byte(static_cast<std::uint8_t>(bytes.front()));
    bytes.remove_prefix(std::max<std::size_t>(plain, 1));
  }
}

// Passes on the characters at the front that have no special meaning in texts and tags (most of a file), and
// returns their number.
std::size_t XmlMender::plainBytes(std::string_view bytes) {
  const bool isSimple = state_ == State::Text || state_ == State::Tag;
  if (!isSimple || !held_.empty() || missing_ > 0) return 0;
  std::size_t count = 0;
  while (count < bytes.size() && isPlain(bytes[count])) ++count;
  if (count == 0) return 0;
  emit(bytes.substr(0, count));
  tail_.clear();
  last_ = 0;
  lastWasReturn_ = false;
  return count;
}

void XmlMender::finish(std::string& out) {
  out_ = &out;
  if (start_.size() == 1) byte(static_cast<std::uint8_t>(start_[0]));
  if (missing_ > 0) endSequence();
  if (state_ == State::End && !endIsKnown_ && !held_.empty()) odd();
  if (state_ != State::End && !held_.empty()) escapeHeld();
  settle();
}

// --- Bytes into characters.

void XmlMender::byte(std::uint8_t byte) {
  if (missing_ > 0 && continueSequence(byte)) return;
  if (byte < 0x80) {
    character(byte);
    if (byte == '\r' || (byte == '\n' && !lastWasReturn_)) ++line_;
    lastWasReturn_ = byte == '\r';
    return;
  }
  lastWasReturn_ = false;
  if (hasOtherBytes_ || state_ == State::End) {
    otherByte(byte);
  } else {
    beginSequence(byte);
  }
}

void XmlMender::otherByte(std::uint8_t byte) {
  if (state_ == State::End) {
    atEnd(byte);
    return;
  }
  if (!held_.empty()) escapeHeld();
  settle();
  tail_.clear();
  out_->push_back(static_cast<char>(byte));
}

// The bounds of the second byte leave out overlong forms and what lies above U+10FFFF, not surrogates.
void XmlMender::beginSequence(std::uint8_t byte) {
  lowest_ = 0x80;
  highest_ = 0xBF;
  if (byte >= 0xC2 && byte < 0xE0) {
    missing_ = 1;
    sequence_ = byte & 0x1Fu;
  } else if (byte >= 0xE0 && byte < 0xF0) {
    missing_ = 2;
    sequence_ = byte & 0x0Fu;
    if (byte == 0xE0) lowest_ = 0xA0;
  } else if (byte >= 0xF0 && byte < 0xF5) {
    missing_ = 3;
    sequence_ = byte & 0x07u;
    if (byte == 0xF0) lowest_ = 0x90;
    if (byte == 0xF4) highest_ = 0x8F;
  } else {
    odd();
    character(kReplacementCharacter);
  }
}

// False when the byte does not belong to the sequence, which then ends.
bool XmlMender::continueSequence(std::uint8_t byte) {
  if (byte < lowest_ || byte > highest_) {
    endSequence();
    return false;
  }
  lowest_ = 0x80;
  highest_ = 0xBF;
  sequence_ = sequence_ << 6 | (byte & 0x3Fu);
  if (--missing_ == 0) character(sequence_);
  return true;
}

void XmlMender::endSequence() {
  missing_ = 0;
  odd();
  character(kReplacementCharacter);
}

void XmlMender::settle() {
  if (high_ != 0) appendUtf8(*out_, kReplacementCharacter);
  high_ = 0;
}

void XmlMender::surrogate(char32_t unit) {
  if (isLow(unit) && high_ != 0) {
    appendUtf8(*out_, 0x10000 + ((high_ - 0xD800) << 10) + (unit - 0xDC00));
    high_ = 0;
    return;
  }
  settle();
  odd();
  if (isHigh(unit)) {
    high_ = unit;
  } else {
    appendUtf8(*out_, kReplacementCharacter);
  }
}

void XmlMender::emit(char32_t c) {
  if (isHigh(c) || isLow(c)) {
    surrogate(c);
    return;
  }
  settle();
  if (!isAllowed(c)) odd();
  appendUtf8(*out_, isAllowed(c) ? c : kReplacementCharacter);
}

void XmlMender::emit(std::string_view text) {
  settle();
  *out_ += text;
}

// --- Characters into XML.

void XmlMender::changeTo(State state) {
  state_ = state;
  held_.clear();
  tail_.clear();
  quote_ = 0;
  last_ = 0;
}

void XmlMender::character(char32_t c) {
  switch (state_) {
    case State::Text:
      return inText(c);
    case State::Markup:
      return inMarkup(c);
    case State::Tag:
      return inTag(c);
    case State::Comment:
      if (endsWith("-->", c)) changeTo(State::Text);
      return;
    case State::CData:
      if (endsWith("]]>", c)) changeTo(State::Text);
      return;
    case State::Instruction:
      return inInstruction(c);
    case State::DocumentType:
      return inDocumentType(c);
    case State::Declarations:
      return emit(c);
    case State::End:
      return atEnd(c);
  }
}

void XmlMender::inText(char32_t c) {
  if (!held_.empty()) {
    inReference(c);
  } else if (c == '<') {
    changeTo(State::Markup);
    held_ = "<";
  } else if (c == '&') {
    tail_.clear();
    held_ = "&";
  } else if (c == '>' && tail_ == "]]") {
    odd();
    emit("&gt;");
    tail_.clear();
  } else {
    if (c != ']') tail_.clear();
    if (c == ']' && tail_.size() < 2) tail_ += ']';
    emit(c);
  }
}

// The held characters begin neither a reference nor markup: the first becomes a reference, the rest is text.
void XmlMender::escapeHeld() {
  const std::string held = std::move(held_);
  held_.clear();
  odd();
  emit(held[0] == '<' ? "&lt;" : "&amp;");
  emit(std::string_view(held).substr(1));
  if (state_ == State::Markup) changeTo(State::Text);
}

void XmlMender::inMarkup(char32_t c) {
  if (held_ == "<") {
    beginMarkup(c);
    return;
  }
  static constexpr std::pair<std::string_view, State> kKinds[] = {
      {"<!--", State::Comment}, {"<![CDATA[", State::CData}, {"<!DOCTYPE", State::DocumentType}};
  const std::string seen = held_ + (c < 0x80 ? static_cast<char>(c) : '\0');
  for (const auto& [markup, state] : kKinds) {
    if (!markup.starts_with(seen)) continue;
    held_ = seen;
    if (seen != markup) return;
    emit(markup);
    changeTo(state);
    return;
  }
  escapeHeld();
  character(c);
}

// The character after '<'.
void XmlMender::beginMarkup(char32_t c) {
  if (c == '!') {
    held_ += '!';
  } else if (c == '?') {
    emit("<?");
    changeTo(State::Instruction);
    instruction_.clear();
  } else if (c == '/' || mayBeginName(c)) {
    emit("<");
    emit(c);
    changeTo(State::Tag);
    closing_ = c == '/';
  } else {
    escapeHeld();
    character(c);
  }
}

void XmlMender::inReference(char32_t c) {
  const bool belongs = isLetter(c) || isDigit(c) || (c == '#' && held_ == "&");
  if (c == ';') {
    endReference();
  } else if (belongs && held_.size() < kLongestReference) {
    held_ += static_cast<char>(c);
  } else {
    escapeHeld();
    character(c);
  }
}

void XmlMender::endReference() {
  std::string_view name = std::string_view(held_).substr(1);
  const bool numeric = name.starts_with('#');
  if (numeric) name.remove_prefix(1);
  const bool hexadecimal = numeric && name.starts_with('x');
  if (hexadecimal) name.remove_prefix(1);
  std::uint32_t number = 0;
  const char* end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data(), end, number, hexadecimal ? 16 : 10);
  const bool isNumber = numeric && stop == end && error != std::errc::invalid_argument;
  if (isNumber && (error != std::errc() || !isAllowed(number))) {
    held_.clear();
    emit(error == std::errc() ? char32_t{number} : kNoCharacter);
  } else if (isNumber || (!numeric && isNamedReference(name))) {
    const std::string whole = std::move(held_) + ";";
    held_.clear();
    emit(whole);
  } else {
    escapeHeld();
    character(';');
  }
}

void XmlMender::inTag(char32_t c) {
  if (!held_.empty()) {
    inReference(c);
    return;
  }
  if (quote_ != 0 && c == '&') {
    held_ = "&";
    return;
  }
  emit(c);
  if (quote_ != 0) {
    if (c == static_cast<unsigned char>(quote_)) quote_ = 0;
  } else if (c == '"' || c == '\'') {
    quote_ = static_cast<char>(c);
  } else if (c == '>') {
    if (closing_) --depth_;
    if (!closing_ && last_ != '/') ++depth_;
    changeTo(depth_ > 0 ? State::Text : State::End);
    return;
  }
  last_ = c;
}

void XmlMender::inInstruction(char32_t c) {
  if (depth_ == 0 && instruction_.size() < kLongestDeclaration) instruction_ += static_cast<char>(c);
  if (!endsWith("?>", c)) return;
  if (depth_ == 0 && namesOtherEncoding(instruction_)) hasOtherBytes_ = true;
  changeTo(State::Text);
}

void XmlMender::inDocumentType(char32_t c) {
  emit(c);
  if (quote_ != 0) {
    if (c == static_cast<unsigned char>(quote_)) quote_ = 0;
  } else if (c == '"' || c == '\'') {
    quote_ = static_cast<char>(c);
  } else if (c == '[' || c == '>') {
    changeTo(c == '[' ? State::Declarations : State::Text);
  }
}

// Comments and instructions may follow the outermost element. They are dropped like the rest, but do not
// count as odd.
void XmlMender::atEnd(char32_t c) {
  if (endIsKnown_) return;
  if (held_.empty() && isSpace(c)) {
    emit(c);
    return;
  }
  held_ += c < 0x80 ? static_cast<char>(c) : '\0';
  endIsKnown_ = held_ == "<!--" || held_ == "<?" || !std::string_view("<!--").starts_with(held_);
  if (endIsKnown_ && held_ != "<!--" && held_ != "<?") odd();
}

// Passes the character on; whether it completes that end of the markup.
bool XmlMender::endsWith(std::string_view end, char32_t c) {
  emit(c);
  if (tail_.size() == end.size()) tail_.erase(0, 1);
  tail_ += c < 0x80 ? static_cast<char>(c) : '\0';
  return tail_ == end;
}

}  // namespace moxtel
