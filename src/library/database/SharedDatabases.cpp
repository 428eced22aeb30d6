#include "library/database/SharedDatabases.h"

namespace moxtel {

std::shared_ptr<SharedDatabases> SharedDatabases::ofProcess() {
  static const auto all = std::make_shared<SharedDatabases>();
  return all;
}

}  // namespace moxtel
