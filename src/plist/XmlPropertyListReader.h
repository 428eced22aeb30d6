// Reads the XML form of a property list piece by piece into a sink. One thread; one object for each property
// list.
//
// expat reads the XML. Reads what the platform writes: a document type without declarations,
// plist, dict, key, array, string, integer, real, true, false, date, data, comments, CDATA, the five entities
// and character references. Nothing is fetched, and no entity is expanded. A tag or comment has at most 1
// MiB.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "plist/PropertyListLeaves.h"
#include "plist/PropertyListSink.h"

namespace moxtel {

class XmlPropertyListReader final {
 public:
  // Borrows the sink. Lenient: leaves that make no sense, unknown elements and texts between elements are
  // left out, an entry of a dictionary with its key. Text that is not well-formed XML is an error even then:
  // see XmlMender.
  XmlPropertyListReader(PropertyListSink& sink, Strictness strictness);
  ~XmlPropertyListReader();
  XmlPropertyListReader(const XmlPropertyListReader&) = delete;
  XmlPropertyListReader& operator=(const XmlPropertyListReader&) = delete;

  // Takes the next piece, of any length; false once the list is known to be broken.
  [[nodiscard]] bool feed(std::string_view bytes);
  // Call after the last piece. False for a broken list.
  [[nodiscard]] bool finish();

  // Why reading ended, for a log or a user: "line 3: mismatched tag". Contains nothing of the list.
  // Empty as long as the list is not broken.
  const std::string& failure() const;
  const PropertyListOddities& oddities() const;

 private:
  class Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace moxtel
