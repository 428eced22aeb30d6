#include "commands/CommandRequest.h"

#include "value/Description.h"

namespace moxtel {

const Value& CommandRequest::key() const {
  const Value& key = command_["key"];
  if (!key.isNil() && !key.isString()) throw BadRequestError("the key of the request is no text");
  return key;
}

Value CommandRequest::uuid() const {
  const Value& id = command_["id"];
  if (id.isNumber()) return describe(id);
  // Looking for a collection is looking for its description, which ends in logs and on the console.
  if ((id.isArray() || id.isDictionary()) && describe(id).size() > kLongestDescription) {
    throw BadRequestError("the id of the request unfolds into too much text");
  }
  return id;
}

}  // namespace moxtel
