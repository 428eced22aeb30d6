#include "platform/applications/ScriptResult.h"

#include <charconv>
#include <cmath>

#include "value/NumberText.h"
#include "value/Trimmed.h"

namespace moxtel {

namespace {

// The largest whole number that a double holds exactly.
constexpr double kExactInteger = 9007199254740992.0;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// The value of a word outside quotes.
Value bareValue(std::string_view word) {
  word = trimmed(word);
  if (word.empty() || word == "missing value" || word == "null") return {};
  if (word == "true") return true;
  if (word == "false") return false;
  const char* end = word.data() + word.size();
  std::int64_t integer = 0;
  if (const auto read = std::from_chars(word.data(), end, integer);
      read.ec == std::errc() && read.ptr == end) {
    return integer;
  }
  const std::size_t sign = word.front() == '-' ? 1 : 0;
  const bool startsLikeANumber = word.size() > sign && word[sign] >= '0' && word[sign] <= '9';
  std::string plain(word);
  if (const auto plus = plain.find("E+"); plus != std::string::npos) plain.erase(plus + 1, 1);
  double real = 0;
  const auto read = std::from_chars(plain.data(), plain.data() + plain.size(), real);
  if (!startsLikeANumber || read.ec != std::errc() || read.ptr != plain.data() + plain.size())
    return Value(word);
  if (std::fabs(real) <= kExactInteger && std::trunc(real) == real) return static_cast<std::int64_t>(real);
  return real;
}

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  Value value(std::size_t depth) {
    skipBlanks();
    if (at_ < text_.size() && text_[at_] == '{' && depth < kDeepestScriptList) return list(depth);
    if (at_ < text_.size() && text_[at_] == '"') return quoted();
    return bare(depth > 0);
  }

 private:
  void skipBlanks() {
    while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
  }

  Value list(std::size_t depth) {
    ++at_;
    Array items;
    for (;;) {
      skipBlanks();
      if (at_ >= text_.size()) break;
      if (text_[at_] == '}') {
        ++at_;
        break;
      }
      if (text_[at_] == ',') {
        ++at_;
        continue;
      }
      const std::size_t before = at_;
      items.append(value(depth + 1));
      if (at_ == before) ++at_;  // a character that starts no value
    }
    return items;
  }

  Value quoted() {
    std::string out;
    for (++at_; at_ < text_.size() && text_[at_] != '"'; ++at_) {
      char c = text_[at_];
      if (c == '\\' && at_ + 1 < text_.size()) {
        c = text_[++at_];
        if (c == 'n') c = '\n';
        if (c == 'r') c = '\r';
        if (c == 't') c = '\t';
      }
      out += c;
    }
    if (at_ < text_.size()) ++at_;
    return Value(out);
  }

  // Up to the next comma or brace inside a list, to the end outside of one; quotes and braces inside are
  // kept, as in 'album "x, y" of application "iPhoto"'.
  Value bare(bool insideList) {
    const std::size_t start = at_;
    bool inQuotes = false;
    for (; at_ < text_.size(); ++at_) {
      const char c = text_[at_];
      if (c == '\\' && inQuotes) {
        ++at_;
      } else if (c == '"') {
        inQuotes = !inQuotes;
      } else if (!inQuotes && insideList && (c == ',' || c == '}')) {
        break;
      }
    }
    at_ = std::min(at_, text_.size());
    return bareValue(text_.substr(start, at_ - start));
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

Value scriptResultValue(std::string_view printed) { return Reader(trimmed(printed)).value(0); }

std::string scriptErrorText(std::string_view printed) {
  const std::string_view text = trimmed(printed);
  if (text.size() <= kLongestScriptErrorText) return std::string(text);
  // Not in the middle of a character, which has four bytes at most.
  std::size_t end = kLongestScriptErrorText;
  while (end > kLongestScriptErrorText - 3 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return std::string(text.substr(0, end)) + "…";
}

ScriptError scriptErrorFrom(std::string_view printed, int exitStatus) {
  const std::string_view text = trimmed(printed);
  ScriptError error{exitStatus, text.empty()
                                    ? "the interpreter ended with status " + std::to_string(exitStatus)
                                    : scriptErrorText(text)};
  error.isSyntaxError = text.find("syntax error") != std::string_view::npos;
  const std::size_t open = text.rfind('(');
  if (open != std::string_view::npos && text.back() == ')') {
    const std::int64_t number = integerValueOf(text.substr(open + 1));
    if (number != 0) error.number = number;
  }
  return error;
}

}  // namespace moxtel
