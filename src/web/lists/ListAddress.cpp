#include "web/lists/ListAddress.h"

#include <algorithm>
#include <charconv>
#include <unordered_set>

#include "value/Utf.h"

namespace moxtel {

namespace {

constexpr std::int64_t kLargestNumber = (std::int64_t{1} << 53) - 1;
constexpr int kLargestLabel = 15;

struct NumberedKind {
  std::string_view name;
  ListAddress::Kind kind;
};
constexpr NumberedKind kNumberedKinds[] = {
    {"album", ListAddress::Kind::Album},     {"folder", ListAddress::Kind::Folder},
    {"event", ListAddress::Kind::Event},     {"person", ListAddress::Kind::Person},
    {"keyword", ListAddress::Kind::Keyword},
};

std::optional<ListAddress> numbered(std::string_view name, std::string_view number) {
  const auto kind = std::find_if(std::begin(kNumberedKinds), std::end(kNumberedKinds),
                                 [&](const NumberedKind& each) { return each.name == name; });
  const auto id = parseNumber(number);
  if (kind == std::end(kNumberedKinds) || !id) return std::nullopt;
  ListAddress address;
  address.kind = kind->kind;
  address.id = *id;
  return address;
}

std::optional<int> twoDigits(std::string_view text, int most) {
  if (text.size() != 2 || text[0] < '0' || text[0] > '9' || text[1] < '0' || text[1] > '9')
    return std::nullopt;
  const int number = (text[0] - '0') * 10 + (text[1] - '0');
  if (number < 1 || number > most) return std::nullopt;
  return number;
}

std::optional<ListAddress> onThisDay(std::string_view text) {
  constexpr int kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (text.size() != 5 || text[2] != '-') return std::nullopt;
  const auto month = twoDigits(text.substr(0, 2), 12);
  if (!month) return std::nullopt;
  const auto day = twoDigits(text.substr(3), kDays[*month - 1]);
  if (!day) return std::nullopt;
  ListAddress address;
  address.kind = ListAddress::Kind::OnThisDay;
  address.month = *month;
  address.day = *day;
  return address;
}

std::optional<ListAddress> search(std::string_view words) {
  if (words.size() > ListAddress::kMostWords || !isValidUtf8(words)) return std::nullopt;
  ListAddress address;
  address.kind = ListAddress::Kind::Search;
  address.words = words;
  return address;
}

std::optional<ListAddress> selection(std::string_view ids) {
  ListAddress address;
  address.kind = ListAddress::Kind::Photos;
  std::unordered_set<std::int64_t> known;
  while (true) {
    const std::size_t end = std::min(ids.find(','), ids.size());
    const auto id = parseNumber(ids.substr(0, end));
    if (!id || address.photos.size() == ListAddress::kMostPhotos) return std::nullopt;
    if (known.insert(*id).second) address.photos.push_back(*id);
    if (end == ids.size()) return address;
    ids.remove_prefix(end + 1);
  }
}

std::string twoDigitText(int number) { return (number < 10 ? "0" : "") + std::to_string(number); }

// A parameter that is absent or has a number up to the largest; false for any other.
bool readNumber(const HttpRequest& request, std::string_view name, int smallest, int largest,
                std::optional<int>& number) {
  const auto text = request.query(name);
  if (!text || text->empty()) return true;
  const auto read = parseNumber(*text);
  if (!read || *read < smallest || *read > largest) return false;
  number = static_cast<int>(*read);
  return true;
}

bool readSwitch(const HttpRequest& request, std::string_view name, bool& on) {
  std::optional<int> number;
  if (!readNumber(request, name, 0, 1, number)) return false;
  on = number == 1;
  return true;
}

bool readOrder(const HttpRequest& request, bool& newestFirst) {
  const std::string text = request.query("order").value_or("");
  newestFirst = text == "new";
  return newestFirst || text.empty() || text == "old";
}

}  // namespace

std::optional<std::int64_t> parseNumber(std::string_view text) {
  std::int64_t number = 0;
  const bool isPlain = !text.empty() && text.front() >= '0' && text.front() <= '9' &&
                       (text.front() != '0' || text.size() == 1);
  if (!isPlain) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number > kLargestNumber)
    return std::nullopt;
  return number;
}

std::optional<ListAddress> parseListAddress(std::string_view text) {
  ListAddress address;
  if (text == "all") return address;
  if (text == "flagged" || text == "movies") {
    address.kind = text == "flagged" ? ListAddress::Kind::Flagged : ListAddress::Kind::Movies;
    return address;
  }
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view name = text.substr(0, colon), rest = text.substr(colon + 1);
  if (name == "onthisday") return onThisDay(rest);
  if (name == "search") return search(rest);
  if (name == "photos") return selection(rest);
  return numbered(name, rest);
}

std::string ListAddress::text() const {
  switch (kind) {
    case Kind::All:
      return "all";
    case Kind::Flagged:
      return "flagged";
    case Kind::Movies:
      return "movies";
    case Kind::OnThisDay:
      return "onthisday:" + twoDigitText(month) + "-" + twoDigitText(day);
    case Kind::Search:
      return "search:" + words;
    case Kind::Photos: {
      std::string list = "photos:";
      for (const std::int64_t photo : photos) list += std::to_string(photo) + ",";
      list.pop_back();
      return list;
    }
    default:
      break;
  }
  const auto* const named = std::find_if(std::begin(kNumberedKinds), std::end(kNumberedKinds),
                                         [&](const NumberedKind& each) { return each.kind == kind; });
  return std::string(named->name) + ":" + std::to_string(id);
}

std::string ListFilters::text() const {
  const auto number = [](const std::optional<int>& value) { return value ? std::to_string(*value) : "-"; };
  return std::string(newestFirst ? "n" : "") + (flagged ? "f" : "") + (movies ? "m" : "") +
         (rejected ? "r" : "") + "," + number(atLeast) + "," + number(stars) + "," + number(label);
}

std::optional<ListFilters> parseListFilters(const HttpRequest& request) {
  ListFilters filters;
  const bool fits =
      readOrder(request, filters.newestFirst) && readSwitch(request, "flagged", filters.flagged) &&
      readSwitch(request, "movies", filters.movies) && readSwitch(request, "rejected", filters.rejected) &&
      readNumber(request, "rating", 0, 5, filters.atLeast) &&
      readNumber(request, "stars", 0, 5, filters.stars) &&
      readNumber(request, "label", 0, kLargestLabel, filters.label);
  if (!fits) return std::nullopt;
  return filters;
}

}  // namespace moxtel
