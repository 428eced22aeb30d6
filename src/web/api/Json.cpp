#include "web/api/Json.h"

#include <nlohmann/json.hpp>

namespace moxtel {

std::string jsonText(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace moxtel
