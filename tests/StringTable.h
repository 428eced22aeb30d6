// Translations for tests.
#pragma once

#include <map>
#include <string>

#include "support/Localization.h"

namespace moxtel::test {

inline void setStringTable(std::map<std::string, std::string, std::less<>> table) {
  setTranslator([table = std::move(table)](std::string_view english) {
    const auto found = table.find(english);
    return found == table.end() ? std::string() : found->second;
  });
}

}  // namespace moxtel::test
