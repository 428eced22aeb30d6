#include "support/MXSVersion.h"

#include <ctime>
#include <iomanip>
#include <locale>
#include <sstream>

#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

// Not derived from the three numbers: keep both in step by hand.
constexpr const char* kVersion = "1.4 build 402";
constexpr const char* kShortVersion = "1.4 (402)";
constexpr const char* kReleaseDate = "Jul 12 2016";

std::tm releaseDate() {
  std::tm date{};
  std::istringstream text(kReleaseDate);
  text.imbue(std::locale::classic());  // an English month, whatever the user's language
  text >> std::get_time(&date, "%b %d %Y");
  return date;
}

std::string formattedReleaseDate() {
  const std::tm date = releaseDate();
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::put_time(&date, localizedString("%Y-%m-%d").c_str());
  return text.str();
}

}  // namespace

std::string MXSVersion::versionString() {
  return formatRuntime(localizedString("Version %@ released %@"), kVersion, formattedReleaseDate());
}

std::string MXSVersion::shortVersionString() { return format("MoxtelServer %@", kShortVersion); }

}  // namespace moxtel
