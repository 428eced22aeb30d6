// One request: typed access to the entries of a command dictionary. Core thread; borrows the dictionary,
// which must outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

// Thrown for a request whose entries do not fit its command. It leaves the handler: it is logged, and no
// reply is sent.
class BadRequestError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The longest description of an untrusted value that is logged, in bytes. Only a request that refers
// to one value many times comes near it: a request has at most 4096 bytes.
inline constexpr std::size_t kLongestDescription = std::size_t{64} * 1024;

class CommandRequest final {
 public:
  explicit CommandRequest(const Dictionary& command) : command_(command) {}

  // The name of the command, always text.
  std::string_view command() const { return command_["command"].string(); }
  // "key", the uuid of a photo version: text, or nil if the request has none. Anything else throws
  // BadRequestError.
  const Value& key() const;
  // "id" as a uuid: a number is converted to text, any other value is returned as the client sent it. Throws
  // BadRequestError if its description is longer than kLongestDescription.
  Value uuid() const;
  // "id" as a number: text is parsed; what is not a number reads as 0.
  std::int32_t number() const { return command_["id"].intValue(); }
  // Whether the request has the entry; the null object counts.
  bool has(std::string_view name) const { return command_.contains(name); }
  // "latitude" or "longitude": a number, or a text that is parsed; anything else, the null object too, throws
  // BadRequestError.
  double degrees(std::string_view name) const;
  // Any entry as the client sent it; nil if it is absent.
  const Value& operator[](std::string_view key) const { return command_[key]; }

 private:
  const Dictionary& command_;
};

}  // namespace moxtel
