// The properties of an XMP packet as texts, read by Exiv2. One thread at a time.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace moxtel::properties {

class XmpProperties final {
 public:
  // Empty for a packet that is none, is not well-formed, or is nested deeper than any program writes.
  explicit XmpProperties(const std::string& packet);

  bool empty() const { return texts_.empty(); }
  // The texts of a property, "dc.subject": one of a simple property, the default language's of one in several
  // languages, all of a list. Null when the packet has none.
  const std::vector<std::string>* find(std::string_view name) const;
  // The first of them; null without.
  const std::string* first(std::string_view name) const;
  // Everything below a structure, by its path behind the name:
  // "mwg-rs.Regions" has "/mwg-rs:RegionList[1]/mwg-rs:Type".
  std::vector<std::pair<std::string_view, const std::string*>> below(std::string_view name) const;

 private:
  std::map<std::string, std::vector<std::string>, std::less<>> texts_;
};

// Whether elements are nested no deeper than Exiv2's recursion may go.
bool isShallow(std::string_view packet);

}  // namespace moxtel::properties
