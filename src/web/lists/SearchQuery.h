// The words of a search as a user types them: "anna beach 2009", "person:anna rating:4 after:2008-06". Words
// and operators come from outside; every text is some search. Any thread.
//
//     word                  a photo with the word in its texts; the last word may be the beginning of one
//     keyword:WORD          in its keywords
//     person:WORD           in the names of the people on it
//     album:WORD            in the names of its albums and its event
//     rating:N              at least N stars
//     before:D  after:D     before the first, after the last moment of a year, month or day: 2009, 2009-07,
//                           2009-07-04, 04.07.2009
//     2009-07, 2009-07-04, 04.07.2009      in this month, on this day
//
// "Two words" in quotes after an operator belong together.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "library/search/PhotoIndex.h"

namespace moxtel {

struct SearchQuery {
  static constexpr std::size_t kMostTerms = 20;

  std::vector<IndexTerm> terms;
  std::optional<int> atLeast = {};  // stars
  // Wall clock, seconds since 1970 as if UTC: from <= date < until.
  std::optional<std::int64_t> from = {}, until = {};

  // An empty search finds nothing.
  bool isEmpty() const { return terms.empty() && !atLeast && !from && !until; }
};

SearchQuery parseSearch(std::string_view text);

// The words of a text as they are indexed: folded (FoldedText.h), separated at everything but letters and
// digits, cut to 64 bytes.
std::vector<std::string> searchWords(std::string_view text);

}  // namespace moxtel
