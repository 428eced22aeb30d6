// The properties of an XMP packet as texts, parsed by Exiv2. One thread at a time.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace moxtel::properties {

class XmpProperties final {
 public:
  // Empty for a text that is not a packet, is not well-formed, or is nested deeper than any program writes.
  explicit XmpProperties(const std::string& packet);

  bool empty() const { return texts_.empty(); }
  // The texts of a property, "dc.subject": one for a simple property, that of the default language for a
  // language alternative, all for a list. Null if the packet lacks the property.
  const std::vector<std::string>* find(std::string_view name) const;
  // The first text; null if the packet lacks the property.
  const std::string* first(std::string_view name) const;
  // All properties below a structure, by their path after the name: "mwg-rs.Regions" has
  // "/mwg-rs:RegionList[1]/mwg-rs:Type".
  std::vector<std::pair<std::string_view, const std::string*>> below(std::string_view name) const;

 private:
  std::map<std::string, std::vector<std::string>, std::less<>> texts_;
};

// Whether the nesting of elements is safe for Exiv2, which recurses without a bound.
bool isShallow(std::string_view packet);

}  // namespace moxtel::properties
