#include "app/CommandLine.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "app/ServerAccess.h"
#include "app/ServiceOptions.h"
#include "library/ReferencedFolders.h"
#include "support/MXSVersion.h"
#include "value/Format.h"
#include "web/WebSettings.h"

namespace moxtel {

namespace {

constexpr int kUsageStatus = 2;

std::string_view placeholder(DefaultKind kind) {
  switch (kind) {
    case DefaultKind::Boolean:
      return "YES|NO";
    case DefaultKind::Integer:
      return "NUMBER";
    case DefaultKind::Text:
      break;
  }
  return "TEXT";
}

void printHelp(const ProgramDescription& program) {
  std::cout << "Usage: " << program.name << " [-Key value]...\n\n" << program.summary << "\n\n";
  for (const DefaultKey& key : serverDefaultKeys()) {
    std::string left = "  -" + std::string(key.name) + " " + std::string(placeholder(key.kind));
    left.resize(std::max<std::size_t>(left.size() + 2, 36), ' ');
    std::cout << left << key.help << '\n';
  }
  for (const auto& [option, help] : program.options) {
    std::string left = "  " + option;
    left.resize(std::max<std::size_t>(left.size() + 2, 36), ' ');
    std::cout << left << help << '\n';
  }
  std::cout << "  --help                            show this help\n"
               "  --version                         show the version\n\n"
               "Example: "
            << program.name
            << " -LibraryPath '/photos/iPhoto Library'\n\n"
               "These settings apply to this run only. Permanent settings are kept in\n"
            << makeUserSettingsStore()->where() << "\n";
}

bool contains(const std::vector<std::string>& arguments, std::string_view wanted) {
  return std::find(arguments.begin(), arguments.end(), wanted) != arguments.end();
}

std::string wrongPort(const UserDefaults& defaults) {
  if (!defaults.stringForKey("Port")) return {};
  const std::int64_t port = defaults.integerForKey("Port");
  return port < 0 || port > 65535 ? "-Port: the port must be a number from 0 (any free port) to 65535"
                                  : std::string();
}

std::string wrongFolders(const UserDefaults& defaults) {
  const ReferencedFolders folders(defaults.stringForKey("ReferencedFolders").value_or(""));
  if (folders.rejected().empty()) return {};
  return format("-ReferencedFolders: '%@' is neither an absolute path nor VolumeName=/PATH",
                folders.rejected().front());
}

std::string wrongAccess(const UserDefaults& defaults) {
  const auto access = serverAccess(defaults);
  const auto* wrong = std::get_if<std::string>(&access);
  return wrong ? *wrong : std::string();
}

// Ports that only settle on one number by their defaults are reported at the start: then the handheld is
// served.
std::string wrongWeb(const UserDefaults& defaults) {
  const auto settings = webSettings(defaults);
  if (const auto* wrong = std::get_if<std::string>(&settings)) return *wrong;
  const bool areGiven = defaults.stringForKey("Port") && defaults.stringForKey("WebPort");
  const std::uint16_t port = std::get<WebSettings>(settings).port;
  if (!areGiven || port == 0 || defaults.integerForKey("Port") != port) return {};
  return format("-WebPort: the page for browsers needs another port than -Port, which is %d, too", port);
}

}  // namespace

const std::vector<DefaultKey>& serverDefaultKeys() {
  static const std::vector<DefaultKey> kKeys{
      {"LibraryPath", DefaultKind::Text, "the library folder to serve"},
      {"Port", DefaultKind::Integer, "TCP port to listen on (4250)"},
      {"ListenAddress", DefaultKind::Text, "IPv4 address of this machine to listen on (all)"},
      {"AllowedClients", DefaultKind::Text,
       "addresses and networks that may connect, for example '192.168.1.0/24, 10.0.0.7' (all; for the page "
       "those of local networks)"},
      {"ReferencedFolders", DefaultKind::Text,
       "folders outside the library that it may use: FOLDER or VolumeName=FOLDER, separated by ':'"},
      {"WebPort", DefaultKind::Integer, "TCP port of the page for browsers; 0 is none (4251)"},
      {"WebAccess", DefaultKind::Text,
       "who may see the page: key (each device needs the key once), open (no key), off (key)"},
      {"WebHosts", DefaultKind::Text, "further names by which browsers call this machine"},
      {"WebProxy", DefaultKind::Text, "addresses of reverse proxies whose X-Forwarded-… fields count"},
      {"WebLibraries", DefaultKind::Text,
       "further libraries on the page, or folders that are searched for them, separated by ':'"},
      {"WebCacheSize", DefaultKind::Integer,
       "largest cache of pictures and movies made for the page, in megabytes (2048)"},
      {"PreferAperture", DefaultKind::Boolean, "serve Aperture's library instead of iPhoto's (NO)"},
      {"RevealPhoto", DefaultKind::Boolean, "clients may show photos in the photo application (YES)"},
      {"HideHidden", DefaultKind::Boolean, "leave hidden photos out of smart albums (NO)"},
      {"ScriptInterpreter", DefaultKind::Text,
       "command that runs AppleScript, for example 'ssh mac osascript -s s -'; it is also run every five "
       "seconds"},
      {"PrivateCopyLimit", DefaultKind::Integer,
       "largest private copy of a database, in megabytes; 0 makes none (8192)"},
      {"ApertureFolderMinMaxDate", DefaultKind::Boolean, "show first and last date of unnamed projects (NO)"},
      {"DebugLevel", DefaultKind::Integer,
       "debug messages: 0 none, 1 to the debug log, 2 to standard error (0)"},
      {"DebugLogPath", DefaultKind::Text, "file for debug messages, written at debug level 1"},
      {"ErrorLogPath", DefaultKind::Text, "file for the texts of the console's errors"},
      {"AccessLogPath", DefaultKind::Text, "file for the access log; nothing is written to it"},
      {"IOLogPath", DefaultKind::Text, "file for the I/O log; nothing is written to it"},
      {"DontShowHelp", DefaultKind::Boolean, "do not show the help at startup (NO)"},
      {"ConsoleSoundAlert", DefaultKind::Boolean, "reserved; has no effect"},
      {"CheckIndizes", DefaultKind::Boolean, "reserved; has no effect"},
      {"SUFeedURL", DefaultKind::Text, "reserved; has no effect"},
  };
  return kKeys;
}

std::optional<int> takeCommandLine(const ProgramDescription& program,
                                   const std::vector<std::string>& arguments, UserDefaults& defaults) {
  if (contains(arguments, "--help")) {
    printHelp(program);
    return 0;
  }
  if (contains(arguments, "--version")) {
    std::cout << program.name << " " << MXSVersion::versionString() << '\n';
    return 0;
  }
  std::string wrong = defaults.parseArguments(arguments, serverDefaultKeys());
  if (wrong.empty()) wrong = wrongPort(defaults);
  if (wrong.empty()) wrong = wrongAccess(defaults);
  if (wrong.empty()) wrong = wrongFolders(defaults);
  if (wrong.empty()) wrong = wrongWeb(defaults);
  if (wrong.empty()) return std::nullopt;
  std::cerr << program.name << ": " << wrong << '\n';
  if (std::getenv("MOXTEL_OPTIONS")) std::cerr << "These options are in " << kServiceOptionsFile << ".\n";
  std::cerr << "Try '" << program.name << " --help'.\n";
  return kUsageStatus;
}

}  // namespace moxtel
