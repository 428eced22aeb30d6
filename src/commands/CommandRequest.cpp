#include "commands/CommandRequest.h"

#include "value/Description.h"

namespace moxtel {

const Value& CommandRequest::key() const {
  const Value& key = command_["key"];
  if (!key.isNil() && !key.isString()) throw BadRequestError("the key of the request is not text");
  return key;
}

Value CommandRequest::uuid() const {
  const Value& id = command_["id"];
  if (id.isNumber()) return describe(id);
  // The look-up of a collection uses its description, which appears in the log and on the console.
  if ((id.isArray() || id.isDictionary()) && describe(id).size() > kLongestDescription) {
    throw BadRequestError("the description of the id of the request is too long");
  }
  return id;
}

double CommandRequest::degrees(std::string_view name) const {
  const Value& degrees = command_[name];
  if (!degrees.isNumber() && !degrees.isString()) {
    throw BadRequestError("the " + std::string(name) + " of the request is neither a number nor text");
  }
  return degrees.doubleValue();
}

}  // namespace moxtel
