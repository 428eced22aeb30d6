#include "web/api/Json.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>

namespace moxtel {

std::string jsonText(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// FNV-1a
HttpReply taggedJsonReply(std::string json) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : json) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  std::string tag;
  for (int shift = 60; shift >= 0; shift -= 4) tag += kDigits[hash >> shift & 15];
  return jsonReply(std::move(json), std::move(tag));
}

}  // namespace moxtel
