#include "platform/settings/ArgumentAdvice.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace moxtel {

namespace {

// The hyphen, and what word processors make of it.
constexpr std::array<std::string_view, 4> kDashes{"-", "–", "—", "−"};

bool takeDash(std::string_view& text) {
  for (const std::string_view dash : kDashes) {
    if (!text.starts_with(dash)) continue;
    text.remove_prefix(dash.size());
    return true;
  }
  return false;
}

bool isEqualIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

bool hasDash(std::string_view argument) { return takeDash(argument); }

// The arguments from first on, up to the next option, with a blank between two.
std::string joined(const std::vector<std::string>& arguments, std::size_t first) {
  std::string text;
  for (std::size_t i = first; i < arguments.size() && !hasDash(arguments[i]); ++i) {
    text += (i == first ? "" : " ") + arguments[i];
  }
  return text;
}

// The option that is meant with other dashes, other case or "="; empty if there is none.
std::string meantOption(const std::vector<std::string>& arguments, std::size_t index,
                        const std::vector<DefaultKey>& keys) {
  std::string_view name = arguments[index];
  if (!takeDash(name)) return {};
  while (takeDash(name)) {
  }
  const std::size_t sign = name.find('=');
  const auto key = std::find_if(keys.begin(), keys.end(), [&](const DefaultKey& each) {
    return isEqualIgnoringCase(each.name, name.substr(0, sign));
  });
  if (key == keys.end()) return {};
  std::string value = joined(arguments, index + 1);
  if (sign != std::string_view::npos) {
    value = std::string(name.substr(sign + 1)) + (value.empty() ? "" : " ") + value;
  }
  const std::string option = "-" + std::string(key->name);
  return value.empty() ? option + " VALUE" : optionWithValue(option, value);
}

std::string unexpected(const std::vector<std::string>& arguments, std::size_t index) {
  std::string text = "unexpected argument '" + arguments[index] + "'";
  if (index >= 2) {
    const std::string value = arguments[index - 1] + " " + joined(arguments, index);
    return text + ". A value with blanks needs quotes: " + optionWithValue(arguments[index - 2], value);
  }
  if (arguments[index].find('/') == std::string::npos) return text;
  return text + ". A library is served with " + optionWithValue("-LibraryPath", joined(arguments, index));
}

}  // namespace

std::string messageAboutArgument(const std::vector<std::string>& arguments, std::size_t index,
                                 const std::vector<DefaultKey>& keys) {
  if (!hasDash(arguments[index])) return unexpected(arguments, index);
  std::string text = "unknown option '" + arguments[index] + "'";
  const std::string meant = meantOption(arguments, index, keys);
  return meant.empty() ? text : text + ". An option has one dash, and a blank before its value: " + meant;
}

std::string optionWithValue(std::string_view option, std::string_view value) {
  constexpr std::string_view kPlain = "/._-,:%@+=";
  const bool isPlain = !value.empty() && std::all_of(value.begin(), value.end(), [&](unsigned char c) {
    return std::isalnum(c) || kPlain.find(static_cast<char>(c)) != std::string_view::npos;
  });
  std::string text(option);
  text += isPlain ? " " : " '";
  for (const char c : value) c == '\'' ? text += "'\\''" : text += c;
  return isPlain ? text : text + "'";
}

}  // namespace moxtel
