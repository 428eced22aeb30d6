// The photos of a list with their file names and dates. The list itself has neither: each photo's are two
// more requests. Writes each photo when its answers are there, and keeps none of them.
#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "client/ServerSession.h"

namespace moxtel {

// When a photo was taken, by the result of "Metadata of Photo": "2016-07-12 09:05:03" in the camera's time
// for a picture, with a final Z in UTC for a movie; empty if it is not known.
std::string dateTaken(const Value& metadata);

class PhotoListing final {
 public:
  // Borrows its arguments.
  PhotoListing(ServerSession& session, std::ostream& out) : session_(session), out_(out) {}

  // Each returns nothing, or why names and dates are missing from some photo on, for the user. All photos are
  // written in any case.
  std::optional<std::string> writeTable(const Array& photos);
  // The list's entries with "FileName" and "Date" added where they are known.
  std::optional<std::string> writeJson(const Array& photos);

 private:
  struct Details {
    Value fileName;
    std::string date;
  };
  Details detailsOf(const Value& photo);
  Value ask(const char* command, const Value& key);

  ServerSession& session_;
  std::ostream& out_;
  int unanswered_ = 0;  // in succession
  std::optional<std::string> problem_;
};

}  // namespace moxtel
