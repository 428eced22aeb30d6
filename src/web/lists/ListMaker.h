// Makes the lists of one library from its columns, members and search. On the library's thread for long
// tasks.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "library/answers/OpenLibrary.h"
#include "web/WebLibrary.h"
#include "web/lists/ListedPhotos.h"

namespace moxtel {

class SearchIndex;

class ListMaker final {
 public:
  // Borrows it.
  explicit ListMaker(SearchIndex& search) : search_(search) {}

  // Of a list: the same only while it has the same photos. Of a search, the version of the index counts, too.
  std::string versionOf(const OpenLibrary& library, const ListAddress& address) const;
  // isGone: whether no client waits for the list any more.
  WebLibrary::ListOrReply make(OpenLibrary& library, const ListAddress& address, const ListFilters& filters,
                               const std::function<bool()>& isGone);
  // All photos that are shown; null when the library cannot be read.
  std::shared_ptr<const DateOrder> orderOf(OpenLibrary& library);

 private:
  struct Members {
    std::vector<std::uint32_t> photos;  // indexes into the columns
    std::string title;
    bool byDate = true;
  };
  using MembersOrReply = std::variant<Members, HttpReply>;
  MembersOrReply membersOf(OpenLibrary& library, const ListAddress& address,
                           const std::function<bool()>& isGone);
  MembersOrReply listed(OpenLibrary& library, const ListAddress& address);
  MembersOrReply found(const std::string& words, const std::function<bool()>& isGone);
  Members selected(const std::function<bool(std::size_t index)>& accepts) const;

  SearchIndex& search_;
  std::shared_ptr<const DateOrder> order_;
};

// The version of a library as it is written in addresses.
std::string versionText(std::uint64_t version);

}  // namespace moxtel
