// Writes JSON texts quickly, without a tree. Any thread.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace moxtel {

// With quotes and escapes; invalid UTF-8 becomes U+FFFD.
std::string jsonString(std::string_view text);
// The shortest decimal number that reads as the same value; null for what is no number.
std::string jsonNumber(double number);

class JsonObject final {
 public:
  JsonObject& add(std::string_view name, std::string_view text) { return addRaw(name, jsonString(text)); }
  JsonObject& add(std::string_view name, const std::string& text) {
    return add(name, std::string_view(text));
  }
  JsonObject& add(std::string_view name, const char* text) { return add(name, std::string_view(text)); }
  JsonObject& add(std::string_view name, double number) { return addRaw(name, jsonNumber(number)); }
  JsonObject& add(std::string_view name, bool value) { return addRaw(name, value ? "true" : "false"); }
  JsonObject& add(std::string_view name, std::integral auto number) {
    return addRaw(name, std::to_string(number));
  }
  // JSON text.
  JsonObject& addRaw(std::string_view name, std::string_view json);

  bool empty() const { return members_.empty(); }
  std::string text() const { return "{" + members_ + "}"; }

 private:
  std::string members_;
};

}  // namespace moxtel
