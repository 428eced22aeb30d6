// A command line, its words separated by NULs. Either all of it is accepted or none, and accepted values are
// read back unchanged.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/settings/UserDefaults.h"
#include "value/NumberText.h"

namespace {

using moxtel::DefaultKey;
using moxtel::DefaultKind;

const std::vector<DefaultKey>& keys() {
  static const std::vector<DefaultKey> kKeys{{"LibraryPath", DefaultKind::Text, ""},
                                             {"PreferAperture", DefaultKind::Boolean, ""},
                                             {"DebugLevel", DefaultKind::Integer, ""}};
  return kKeys;
}

std::vector<std::string> wordsOf(std::string_view text) {
  std::vector<std::string> words;
  for (std::size_t end = 0; end != std::string_view::npos && !text.empty();) {
    end = text.find('\0');
    words.emplace_back(text.substr(0, end));
    if (end != std::string_view::npos) text.remove_prefix(end + 1);
  }
  return words;
}

void require(bool holds) {
  if (!holds) std::abort();
}

void checkTaken(const moxtel::UserDefaults& defaults, const std::vector<std::string>& words) {
  require(words.size() % 2 == 0);
  // From the end: the last of a repeated option counts.
  std::vector<std::string_view> seen;
  for (std::size_t i = words.size(); i >= 2; i -= 2) {
    const std::string_view key = std::string_view(words[i - 2]).substr(1);
    const std::string& value = words[i - 1];
    bool isRepeated = false;
    for (const auto other : seen) isRepeated = isRepeated || other == key;
    if (isRepeated) continue;
    seen.push_back(key);
    require(defaults.stringForKey(key) == value);
    require(defaults.integerForKey(key) == moxtel::integerValueOf(value));
    require(defaults.boolForKey(key) == moxtel::boolValueOf(value));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto words = wordsOf(std::string_view(reinterpret_cast<const char*>(data), size));
  moxtel::UserDefaults defaults;
  const std::string problem = defaults.parseArguments(words, keys());
  if (problem.empty()) {
    checkTaken(defaults, words);
  } else {
    for (const auto& key : keys()) require(!defaults.stringForKey(key.name));
  }
  return 0;
}
