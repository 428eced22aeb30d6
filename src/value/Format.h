// Format strings in the platform's syntax: %@ %d %i %ld %lld %u %lu %llu %x %lx %c %f %lf %s %p %%, with
// flags, widths and precisions. %@ prints a Value as describe() does. Nothing depends on the locale.
//
// A format is a literal of this program: FormatString is made at compile time only, and checks there that it
// has a place for every argument. A text from outside can only be an argument. A format from a
// translation goes through formatRuntime, where a place without an argument prints nothing.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "value/Value.h"

namespace moxtel {

// One argument: a number, a text, a pointer or a Value. Borrows texts: it lives no longer than the call.
class FormatArgument final {
 public:
  FormatArgument(const Value& value) : value_(value) {}                                       // NOLINT
  FormatArgument(const Text& text) : value_(text) {}                                          // NOLINT
  FormatArgument(std::string_view text) : value_(text) {}                                     // NOLINT
  FormatArgument(const std::string& text) : value_(text) {}                                   // NOLINT
  FormatArgument(const char* text) : value_(text ? Value(text) : Value()) {}                  // NOLINT
  FormatArgument(bool number) : value_(number ? 1 : 0) {}                                     // NOLINT
  FormatArgument(double number) : value_(number) {}                                           // NOLINT
  FormatArgument(const void* pointer) : value_(reinterpret_cast<std::uintptr_t>(pointer)) {}  // NOLINT
  FormatArgument(std::nullptr_t) {}                                                           // NOLINT
  FormatArgument(const Array& array) : value_(array) {}                                       // NOLINT
  FormatArgument(const Dictionary& dictionary) : value_(dictionary) {}                        // NOLINT
  template <class Int, std::enable_if_t<std::is_integral_v<Int> && !std::is_same_v<Int, bool>, int> = 0>
  FormatArgument(Int number) : value_(number) {}  // NOLINT

  const Value& value() const noexcept { return value_; }

 private:
  Value value_;
};

// The number of arguments that a format takes; -1 for one that is cut off in the middle of a place.
constexpr int placesIn(std::string_view format) {
  int places = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') continue;
    if (++i == format.size()) return -1;
    if (format[i] == '%') continue;
    while (i < format.size() &&
           std::string_view("0123456789.-+ #lhqzt").find(format[i]) != std::string_view::npos)
      ++i;
    if (i == format.size()) return -1;
    if (std::string_view("@diuxXcfFeEgGsp").find(format[i]) == std::string_view::npos) return -1;
    ++places;
  }
  return places;
}

template <class... Arguments>
class BasicFormatString final {
 public:
  consteval BasicFormatString(const char* format) : format_(format) {  // NOLINT
    if (placesIn(format) != static_cast<int>(sizeof...(Arguments))) formatDoesNotFitItsArguments();
  }
  constexpr std::string_view view() const { return format_; }

 private:
  static void formatDoesNotFitItsArguments() {}  // not constexpr: reaching it is a compile-time error
  std::string_view format_;
};
template <class... Arguments>
using FormatString = BasicFormatString<std::type_identity_t<Arguments>...>;

// Fills a format in. Never fails: a place without an argument prints nothing, an argument too many is
// ignored.
std::string formatRuntime(std::string_view format, std::span<const FormatArgument> arguments);

template <class... Arguments>
std::string formatRuntime(std::string_view format, const Arguments&... arguments) {
  if constexpr (sizeof...(Arguments) == 0) {
    return formatRuntime(format, std::span<const FormatArgument>());
  } else {
    const FormatArgument list[] = {FormatArgument(arguments)...};
    return formatRuntime(format, std::span<const FormatArgument>(list));
  }
}

template <class... Arguments>
std::string format(FormatString<Arguments...> format, const Arguments&... arguments) {
  return formatRuntime(format.view(), arguments...);
}

}  // namespace moxtel
