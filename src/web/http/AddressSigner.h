// Signs addresses that a browser's movie player requests, because the player may send no cookie.
#pragma once

#include <string>
#include <string_view>

namespace moxtel {

class AddressSigner {
 public:
  AddressSigner() = default;
  virtual ~AddressSigner() = default;
  AddressSigner(const AddressSigner&) = delete;
  AddressSigner& operator=(const AddressSigner&) = delete;

  // The value of the parameter "s" that lets anybody in the network request this path (without the query;
  // decoded, as HttpRequest::path) for 12 to 24 hours. Letters and digits only. The same text for the same
  // path for 12 hours. Empty where no key is needed. Any thread.
  virtual std::string signatureFor(std::string_view path) const = 0;
};

}  // namespace moxtel
