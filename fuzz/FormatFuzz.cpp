// A format string of a translation, with arguments that may not fit it. The format ends at the first NUL.
#include <algorithm>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "value/Description.h"
#include "value/Format.h"

namespace moxtel::fuzz {
namespace {

std::string doubled(const std::string& text) {
  std::string out;
  for (const char c : text) out += c == '%' ? std::string("%%") : std::string(1, c);
  return out;
}

FormatArgument someArgument(Input& in) {
  switch (in.below(5)) {
    case 0:
      return FormatArgument(static_cast<std::int64_t>(in.word()));
    case 1:
      return FormatArgument(in.word());
    case 2:
      return FormatArgument(in.real());
    case 3:
      return FormatArgument(
          Value(Dictionary({{in.text(5), Date{in.real()}}, {"list", Array{in.real(), true}}})));
    default:
      return FormatArgument(in.text(in.below(40)));
  }
}

}  // namespace
}  // namespace moxtel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace moxtel;
  const auto* end = std::find(data, data + size, std::uint8_t{0});
  const std::string format(data, end);
  fuzz::Input input({end, static_cast<std::size_t>(data + size - end)});
  input.byte();
  std::vector<FormatArgument> arguments;
  std::size_t longest = 64;
  while (!input.empty() && arguments.size() < 8) {
    arguments.push_back(fuzz::someArgument(input));
    longest += describe(arguments.back().value()).size() + 512;
  }
  const std::string text = formatRuntime(format, std::span<const FormatArgument>(arguments));
  // Each place takes at least two characters and prints one argument or at most 4096 characters.
  fuzz::require(text.size() <= format.size() * 4200 + longest);
  fuzz::require(formatRuntime(fuzz::doubled(format)) == format);
  fuzz::require(formatRuntime("%@", format) == format);
  return 0;
}
