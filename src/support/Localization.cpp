#include "support/Localization.h"

#include <mutex>

namespace moxtel {

namespace {
std::mutex tableMutex;
StringTable currentTable;
}  // namespace

void setStringTable(StringTable table) {
  const std::lock_guard lock(tableMutex);
  currentTable = std::move(table);
}

std::string localizedString(std::string_view key) {
  const std::lock_guard lock(tableMutex);
  const auto found = currentTable.find(key);
  return found == currentTable.end() || found->second.empty() ? std::string(key) : found->second;
}

}  // namespace moxtel
