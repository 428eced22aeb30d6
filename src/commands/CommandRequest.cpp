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
  return id.isNumber() ? Value(describe(id)) : id;
}

}  // namespace moxtel
