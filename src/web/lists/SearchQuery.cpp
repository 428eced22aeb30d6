#include "web/lists/SearchQuery.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <utility>

#include "library/answers/FoldedText.h"
#include "value/Utf.h"

namespace moxtel {

namespace {

constexpr std::size_t kLongestWord = 64;  // bytes
constexpr std::int64_t kSecondsOfADay = 86'400;

// Punctuation and spaces outside ASCII.
bool isSeparator(char32_t c) {
  if (c < 0x80) return !((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'));
  constexpr std::pair<char32_t, char32_t> kRanges[] = {
      {0x80, 0xa9},     {0xab, 0xb1},     {0xb4, 0xb4},     {0xb6, 0xb8},     {0xbb, 0xbf},
      {0xd7, 0xd7},     {0xf7, 0xf7},     {0x2000, 0x206f}, {0x3000, 0x3004}, {0x3008, 0x3020},
      {0x30fb, 0x30fb}, {0xfe30, 0xfe6f}, {0xfeff, 0xff0f}, {0xff1a, 0xff20}, {0xff3b, 0xff40},
      {0xff5b, 0xff65}, {0xfffc, 0xffff}};
  return std::any_of(std::begin(kRanges), std::end(kRanges),
                     [c](const auto& range) { return c >= range.first && c <= range.second; });
}

struct Days {
  std::chrono::sys_days first, end;
};

// The numbers of a text like "2009-07-04"; nothing for other texts.
std::vector<int> numbersOf(std::string_view text, char separator) {
  std::vector<int> numbers;
  while (true) {
    const std::size_t end = std::min(text.find(separator), text.size());
    int number = 0;
    const auto read = std::from_chars(text.data(), text.data() + end, number);
    if (end == 0 || end > 4 || read.ec != std::errc() || read.ptr != text.data() + end || number < 1)
      return {};
    numbers.push_back(number);
    if (end == text.size()) return numbers;
    text.remove_prefix(end + 1);
  }
}

// A year, a month or a day.
std::optional<Days> daysOf(std::string_view text) {
  using namespace std::chrono;
  std::vector<int> numbers = numbersOf(text, '-');
  if (numbers.empty() || text.find('-') == std::string_view::npos) {
    if (text.find('.') != std::string_view::npos) {
      numbers = numbersOf(text, '.');
      if (numbers.size() != 3) return std::nullopt;
      std::reverse(numbers.begin(), numbers.end());
    }
  }
  if (numbers.empty() || numbers.size() > 3 || numbers[0] < 1000) return std::nullopt;
  const year ofYear(numbers[0]);
  if (numbers.size() == 1) return Days{ofYear / 1 / 1, (ofYear + years(1)) / 1 / 1};
  const year_month ofMonth = ofYear / numbers[1];
  if (!ofMonth.ok()) return std::nullopt;
  if (numbers.size() == 2) return Days{ofMonth / 1, (ofMonth + months(1)) / 1};
  const year_month_day day = ofMonth / numbers[2];
  if (!day.ok()) return std::nullopt;
  return Days{day, sys_days(day) + days(1)};
}

std::int64_t secondsOf(std::chrono::sys_days day) { return day.time_since_epoch().count() * kSecondsOfADay; }

class SearchParser final {
 public:
  SearchQuery parse(std::string_view text) {
    while (!text.empty() && query_.terms.size() < SearchQuery::kMostTerms) {
      const auto [part, isQuoted] = takePart(text);
      if (!part.empty()) take(part, text.empty() && !isQuoted);
    }
    if (query_.terms.size() > SearchQuery::kMostTerms) query_.terms.resize(SearchQuery::kMostTerms);
    return std::move(query_);
  }

 private:
  // The text up to a blank outside quotes, without quotes, and whether it ends in one.
  static std::pair<std::string, bool> takePart(std::string_view& text) {
    std::string part;
    bool inQuotes = false, endedQuote = false;
    while (!text.empty()) {
      const char c = text.front();
      if (!inQuotes && (c == ' ' || c == '\t' || c == '\n')) break;
      text.remove_prefix(1);
      endedQuote = c == '"' && inQuotes;
      if (c == '"')
        inQuotes = !inQuotes;
      else
        part += c;
    }
    // The blank after the last word says that the word is complete.
    const bool isComplete = endedQuote || !text.empty();
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t' || text.front() == '\n'))
      text.remove_prefix(1);
    return {part, isComplete && text.empty()};
  }

  void take(const std::string& part, bool isLast) {
    const std::size_t colon = part.find(':');
    const std::string name =
        std::exchange(pending_, colon == std::string::npos ? "" : foldedText(part.substr(0, colon)));
    const std::string value = colon == std::string::npos ? part : part.substr(colon + 1);
    if (colon != std::string::npos && !isOperator(pending_)) {
      pending_.clear();
      return takeWords(IndexField::Any, part, isLast);
    }
    if (colon != std::string::npos && value.empty()) return;  // the value follows after a blank
    takeOperator(colon == std::string::npos ? name : std::exchange(pending_, ""), value, isLast);
  }

  static bool isOperator(const std::string& name) {
    constexpr const char* kOperators[] = {"keyword", "person", "album", "rating", "before", "after"};
    return std::any_of(std::begin(kOperators), std::end(kOperators),
                       [&](const char* each) { return name == each; });
  }

  void takeOperator(const std::string& name, const std::string& value, bool isLast) {
    if (name == "keyword") return takeWords(IndexField::Keyword, value, isLast);
    if (name == "person") return takeWords(IndexField::Person, value, isLast);
    if (name == "album") return takeWords(IndexField::Album, value, isLast);
    if (name == "rating" && value.size() == 1 && value[0] >= '0' && value[0] <= '5') {
      query_.atLeast = std::max(query_.atLeast.value_or(0), value[0] - '0');
      return;
    }
    const auto days = daysOf(value);
    const bool isYear = value.size() == 4;
    if (days && name == "before") return limitTo(std::nullopt, secondsOf(days->first));
    if (days && name == "after") return limitTo(secondsOf(days->end), std::nullopt);
    if (days && name.empty() && !isYear) return limitTo(secondsOf(days->first), secondsOf(days->end));
    takeWords(IndexField::Any, value, isLast);
  }

  void limitTo(std::optional<std::int64_t> from, std::optional<std::int64_t> until) {
    if (from) query_.from = std::max(query_.from.value_or(*from), *from);
    if (until) query_.until = std::min(query_.until.value_or(*until), *until);
  }

  void takeWords(IndexField field, std::string_view text, bool isLast) {
    std::vector<std::string> words = searchWords(text);
    for (std::size_t i = 0; i < words.size(); ++i)
      query_.terms.push_back({field, std::move(words[i]), isLast && i + 1 == words.size()});
  }

  SearchQuery query_;
  std::string pending_;  // an operator whose value follows
};

}  // namespace

std::vector<std::string> searchWords(std::string_view text) {
  const std::string folded = foldedText(text);
  std::vector<std::string> words;
  std::string word;
  const auto finish = [&] {
    if (!word.empty()) words.push_back(std::exchange(word, {}));
  };
  for (std::size_t at = 0; at < folded.size();) {
    const std::size_t begin = at;
    const char32_t c = nextCodePoint(folded, at);
    if (isSeparator(c)) {
      finish();
    } else if (word.size() + (at - begin) <= kLongestWord) {
      word.append(folded, begin, at - begin);
    }
  }
  finish();
  return words;
}

SearchQuery parseSearch(std::string_view text) { return SearchParser().parse(text); }

}  // namespace moxtel
