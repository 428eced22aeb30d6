// The LIST of an address, "album:12" or "search:anna 2009", and the filters in its query. Both come from
// outside: what cannot be meant is refused. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "web/http/HttpRequest.h"

namespace moxtel {

struct ListAddress {
  enum class Kind : std::uint8_t {
    All,
    Album,
    Folder,
    Event,
    Person,
    Keyword,
    Flagged,
    Movies,
    OnThisDay,
    Search,
    Photos,
  };
  static constexpr std::size_t kMostPhotos = 1'000;  // of a selection
  static constexpr std::size_t kMostWords = 500;     // bytes of a search

  Kind kind = Kind::All;
  std::int64_t id = 0;               // the container's, person's or keyword's model id
  int month = 0, day = 0;            // of OnThisDay
  std::string words;                 // of a search
  std::vector<std::int64_t> photos;  // of a selection: model ids, each once

  // As in an address, not percent-encoded: "album:12".
  std::string text() const;
};

// Nothing for what is no list.
std::optional<ListAddress> parseListAddress(std::string_view text);

struct ListFilters {
  bool newestFirst = false;  // of a list by date; others have the user's own order
  bool flagged = false;
  bool movies = false;
  bool rejected = false;  // rejected photos as well
  std::optional<int> atLeast = {}, stars = {}, label = {};

  // The same text for the same filters.
  std::string text() const;
  friend bool operator==(const ListFilters&, const ListFilters&) = default;
};

// Nothing when a filter has a value that it cannot have. Other parameters are ignored.
std::optional<ListFilters> parseListFilters(const HttpRequest& request);

// A decimal number of 0 to 9,007,199,254,740,991, which is the largest that a script in a browser can
// represent; no sign, no blanks, no leading zeros.
std::optional<std::int64_t> parseNumber(std::string_view text);

}  // namespace moxtel
