#include "support/QVAppSupport.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "log/Log.h"
#include "platform/files/UserFolders.h"
#include "platform/process/ThisProcess.h"
#include "platform/system/SystemLog.h"
#include "value/NumberText.h"
#include "value/Utf.h"

namespace moxtel {

namespace {

struct Release {
  std::string_view prefix;
  std::uint32_t number;
  std::string_view text;
};

// In this order: the distinguished releases of 10.5 come before its other ones.
constexpr std::array<Release, 14> kReleases{{{"9.0", 1050, "Found OS X 10.5.0 running"},
                                             {"9.1", 1051, "Found OS X 10.5.1 running"},
                                             {"9.2", 1052, "Found OS X 10.5.2 running"},
                                             {"9.3", 1053, "Found OS X 10.5.3 running"},
                                             {"9.4", 1054, "Found OS X 10.5.4 running"},
                                             {"9.5", 1055, "Found OS X 10.5.5 running"},
                                             {"8.1", 1040, "Found OS X 10.4.1x running"},
                                             {"9.", 1056, "Found OS X >= 10.5.6 running"},
                                             {"10.", 1060, "Found OS X >= 10.6 running"},
                                             {"11.", 1070, "Found OS X >= 10.7 running"},
                                             {"12.", 1080, "Found OS X >= 10.8 running"},
                                             {"13.", 1090, "Found OS X >= 10.9 running"},
                                             {"14.", 1100, "Found OS X >= 10.10 running"},
                                             {"15.", 1110, "Found OS X >= 10.11 running"}}};
constexpr std::uint32_t kUnhandledRelease = 1111;

}  // namespace

QVAppSupport::QVAppSupport(ProcessRunner& runner)
    : QVAppSupport(runner, applicationSupportFolder(), moxtel::kernelRelease()) {}

QVAppSupport::QVAppSupport(ProcessRunner& runner, std::string supportFolder, std::string kernelRelease)
    : runner_(runner), supportFolder_(std::move(supportFolder)), kernelRelease_(std::move(kernelRelease)) {}

std::string QVAppSupport::appSupportDirectory() {
  if (!appSupportDirectory_.empty()) return appSupportDirectory_;
  appSupportDirectory_ = supportFolder_ + '/' + processName();
  std::error_code error;
  if (std::filesystem::exists(appSupportDirectory_, error)) return appSupportDirectory_;
  if (std::filesystem::create_directories(appSupportDirectory_, error)) {
    LogDebug("QVAppSupport: created appSupportDirectory: '%@'", appSupportDirectory_);
  } else {
    NSLog("QVAppSupport: error creating app support directory: %@", error.message());
  }
  return appSupportDirectory_;
}

std::string QVAppSupport::temporaryDirectory() { return temporaryFolder(); }

std::optional<std::string> QVAppSupport::hostname() {
  if (hostname_) return hostname_;
  ProcessRequest request;
  request.program = "/usr/bin/uname";
  request.arguments = {"-n"};
  // Each chunk replaces the one before.
  request.onOutput = [this](std::string_view chunk) {
    hostname_ = isAscii(chunk) ? std::optional<std::string>(chunk) : std::nullopt;
    return true;
  };
  runner_.run(request);
  LogDebug("hostname: %@", hostname_ ? Value(*hostname_) : Value());
  return hostname_;
}

std::uint32_t QVAppSupport::OSNumberFromVersionString(std::string_view version) {
  const auto dots = std::count(version.begin(), version.end(), '.');
  std::string digits(version);
  std::erase(digits, '.');
  const auto number = static_cast<std::uint32_t>(intValueOf(digits));
  if (dots == 0) return number * 100;
  return dots == 1 ? number * 10 : number;
}

std::uint32_t QVAppSupport::OSVersion() {
  if (osVersion_ != 0) return osVersion_;
  const auto found = std::find_if(kReleases.begin(), kReleases.end(), [&](const Release& release) {
    return kernelRelease_.starts_with(release.prefix);
  });
  if (found == kReleases.end()) {
    LogDebug("Found unhandled OS X '%s' running", kernelRelease_);
    return osVersion_ = kUnhandledRelease;
  }
  LogDebug("%@", found->text);
  return osVersion_ = found->number;
}

}  // namespace moxtel
