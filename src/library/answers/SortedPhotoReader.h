// Reads photos with what an order sorts them by. Core thread.
#pragma once

#include <string>
#include <unordered_map>

#include "library/answers/PhotoOrder.h"

namespace moxtel {

class LibraryDatabases;
class Query;

class SortedPhotoReader final {
 public:
  // Borrows the databases during construction, and the order. The container has the user's own order.
  SortedPhotoReader(LibraryDatabases& databases, const PhotoOrder& order, const Value& container);

  // From a row that begins with modelId,uuid,imageDate,mainRating,name,projectUuid.
  SortedPhoto photoOf(const Query& row) const;

 private:
  using Numbers = std::unordered_map<std::string, double>;  // by uuid
  const PhotoOrder& order_;
  Numbers projectDates_;
  Numbers places_;
};

}  // namespace moxtel
