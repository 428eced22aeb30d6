// One request as its handler sees it: the command dictionary with its entries read as handlers want them.
// Core thread; borrows the dictionary and lives no longer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

// A request that makes no sense to the command it names. Leaves the handler: it is logged, no reply is sent.
class BadRequestError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The longest description of a stranger's value that is worth logging, in bytes. A request is at most 4096
// bytes, and none but one that unfolds by sharing comes near it.
inline constexpr std::size_t kLongestDescription = std::size_t{64} * 1024;

class CommandRequest final {
 public:
  explicit CommandRequest(const Dictionary& command) : command_(command) {}

  // The name of the command: a text always.
  std::string_view command() const { return command_["command"].string(); }
  // "key", the uuid of a photo version: a text, or nil when the request has none. Anything else throws
  // BadRequestError.
  const Value& key() const;
  // "id" where a uuid is wanted: a number counts as its text, everything else is as the client sent it. One
  // with a longer description than kLongestDescription throws BadRequestError.
  Value uuid() const;
  // "id" where a number is wanted: a text is parsed, what is no number reads 0.
  std::int32_t number() const { return command_["id"].intValue(); }
  // Any entry as the client sent it; nil when it is absent.
  const Value& operator[](std::string_view key) const { return command_[key]; }

 private:
  const Dictionary& command_;
};

}  // namespace moxtel
