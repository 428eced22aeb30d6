// The XML form of a property list, read piece by piece into a sink. One thread; one property list an object.
//
// expat reads the XML. Reads what the platform writes: a document type without declarations of its own,
// plist, dict, key, array, string, integer, real, true, false, date, data, comments, CDATA, the five entities
// and character references. Nothing is ever fetched, and no entity unfolds. A tag or comment has at most 1
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
  // left out, an entry of a dictionary with its key. What is no XML is an error all the same: see XmlMender.
  XmlPropertyListReader(PropertyListSink& sink, Strictness strictness);
  ~XmlPropertyListReader();
  XmlPropertyListReader(const XmlPropertyListReader&) = delete;
  XmlPropertyListReader& operator=(const XmlPropertyListReader&) = delete;

  // The next piece of any length; false once the list is known to be broken.
  [[nodiscard]] bool feed(std::string_view bytes);
  // After the last piece. False for a broken list.
  [[nodiscard]] bool finish();

  // Why reading ended, for a log or a user: "line 3: mismatched tag". Fixed texts but for the line. Empty for
  // a list that is not broken so far.
  const std::string& failure() const;
  const PropertyListOddities& oddities() const;

 private:
  class Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace moxtel
