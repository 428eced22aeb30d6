// Who may look at the page: the key, the six digits, and the cookie of a device that has given one of them.
// Any thread.
//
// Key and digits are kept in a file of the settings' folder that only this user can read, so a device stays
// admitted after a restart. A new key ends the admission of every device.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "web/http/AddressSigner.h"
#include "web/http/LoginLimiter.h"
#include "web/http/RawRequest.h"

namespace moxtel {

struct WebAccessClocks {
  std::function<std::chrono::steady_clock::time_point()> steady = [] {
    return std::chrono::steady_clock::now();
  };
  std::function<std::chrono::system_clock::time_point()> wall = [] {
    return std::chrono::system_clock::now();
  };
};

class WebAccess final : public AddressSigner {
 public:
  enum class Mode : std::uint8_t {
    Key,   // a device needs the key
    Open,  // everyone whose address is allowed
  };

  // Reads the file, or makes key and digits and writes it. The page's port is in the cookie's name, because
  // cookies are shared by all ports of a host.
  WebAccess(Mode mode, std::string file, std::uint16_t port, WebAccessClocks clocks = {});

  Mode mode() const { return mode_; }
  std::string key() const;
  std::string digits() const;
  // Makes another key and other digits.
  void renew();
  // Why key and digits could not be stored, for the user; empty when they are. They then hold until the
  // program ends.
  std::string storageProblem() const;

  // Whether a text is the key. Takes the same time for every text of one length.
  bool isKey(std::string_view text) const;
  // Whether the request carries the key, in the cookie or as "Authorization: Bearer KEY".
  bool isAdmitted(const RawRequest& request) const;
  enum class Login : std::uint8_t { Right, Wrong, TooMany };
  // Counts a wrong try against the address.
  Login tryDigits(std::string_view digits, const std::string& address);
  // The value of Set-Cookie that admits a device for a year.
  std::string cookie(bool isSecure) const;

  std::string signatureFor(std::string_view path) const override;
  bool isSigned(std::string_view path, std::string_view signature) const;

 private:
  bool read();
  void makeKey();
  std::string signature(std::string_view path, std::int64_t period) const;
  std::int64_t currentPeriod() const;

  const Mode mode_;
  const std::string file_;
  const std::string cookieName_;
  const WebAccessClocks clocks_;

  mutable std::mutex mutex_;  // for what follows
  std::string key_;
  std::string digits_;
  std::string storageProblem_;
  LoginLimiter limiter_;
};

// Compares texts in a time that depends only on their lengths.
bool equalsInConstantTime(std::string_view a, std::string_view b);

}  // namespace moxtel
