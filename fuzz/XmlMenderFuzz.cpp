// Arbitrary bytes through the filter that mends XML. The result does not depend on the size of the pieces;
// without a counted oddity nothing is changed; XML that a parser accepts is still accepted; and arbitrary
// bytes between tags become text that the strict reader accepts.
#include <expat.h>

#include <algorithm>
#include <string_view>

#include "fuzz/FuzzInput.h"
#include "plist/PropertyListTree.h"
#include "plist/XmlMender.h"
#include "plist/XmlPropertyListReader.h"
#include "value/Utf.h"

namespace moxtel::fuzz {
namespace {

struct Mended {
  std::string text;
  std::uint64_t oddities = 0;
};

Mended mended(std::string_view bytes, std::size_t piece) {
  XmlMender mender;
  Mended result;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size())))
    mender.feed(bytes.substr(0, piece), result.text);
  mender.finish(result.text);
  result.oddities = mender.oddities().count;
  return result;
}

bool isWellFormed(std::string_view text) {
  const XML_Parser parser = XML_ParserCreate(nullptr);
  const auto status = XML_Parse(parser, text.data(), static_cast<int>(text.size()), XML_TRUE);
  XML_ParserFree(parser);
  return status == XML_STATUS_OK;
}

// Comments and instructions after the outermost element are dropped without being counted.
void checkFile(std::string_view bytes) {
  const Mended whole = mended(bytes, bytes.size() + 1);
  for (const std::size_t piece : {1, 3}) {
    const Mended pieces = mended(bytes, piece);
    require(pieces.text == whole.text && pieces.oddities == whole.oddities);
  }
  require(whole.text.size() <= 5 * bytes.size());
  if (whole.oddities == 0) require(bytes.starts_with(whole.text));
  // The filter does not recognize a reference that is longer than any program writes.
  const bool hasLongReference = bytes.find("00000000000000000000") != std::string_view::npos;
  if (!hasLongReference && isWellFormed(bytes)) require(isWellFormed(whole.text) && whole.oddities == 0);
}

void checkText(std::string_view bytes) {
  std::string file = "<plist><string>";
  std::copy_if(bytes.begin(), bytes.end(), std::back_inserter(file), [](char c) { return c != '<'; });
  file += "</string></plist>";
  file += bytes;
  const std::string text = mended(file, file.size()).text;
  require(isValidUtf8(text));
  PropertyListTree tree({}, Mutability::Immutable);
  XmlPropertyListReader reader(tree, Strictness::Strict);
  require(reader.feed(text) && reader.finish());
  require(tree.take().isString());
}

}  // namespace
}  // namespace moxtel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  moxtel::fuzz::checkFile(bytes);
  moxtel::fuzz::checkText(bytes);
  return 0;
}
