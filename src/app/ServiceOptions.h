// The options of the installed service, which its administrator writes into a file of environment variables.
// Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moxtel {

inline constexpr const char* kServiceOptionsFile = "/etc/default/moxtelserverd";
// The user that the service runs as.
inline constexpr const char* kServiceUser = "moxtelserver";

// The words of MOXTEL_OPTIONS, as the service manager passes them (systemd.exec(5), EnvironmentFile=).
// Nothing without the file or the variable.
std::optional<std::vector<std::string>> serviceOptions(const std::string& file);

// The value of a variable in the text of such a file; the last assignment counts.
std::optional<std::string> valueInEnvironmentFile(std::string_view text, std::string_view name);

}  // namespace moxtel
