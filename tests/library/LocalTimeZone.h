// Sets the local time zone while a test runs.
#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace moxtel::test {

class LocalTimeZone final {
 public:
  explicit LocalTimeZone(const char* zone) {
    if (const char* before = std::getenv("TZ")) before_ = before;
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  ~LocalTimeZone() {
    if (before_) {
      ::setenv("TZ", before_->c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
    ::tzset();
  }
  LocalTimeZone(const LocalTimeZone&) = delete;
  LocalTimeZone& operator=(const LocalTimeZone&) = delete;

 private:
  std::optional<std::string> before_;
};

}  // namespace moxtel::test
