// A small file that only this user can read, and random bytes for what is kept in it. Any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace moxtel {

// Replaces the file as a whole, with access for this user alone (0600), and makes its folder (0700) and those
// above it where they are missing. Returns an empty text, or why it failed, for the user.
[[nodiscard]] std::string writeSecretFile(const std::string& path, std::string_view text);

// Random bytes that cannot be guessed. Throws std::system_error when the system has none.
void fillWithRandomBytes(std::span<std::uint8_t> bytes);

}  // namespace moxtel
