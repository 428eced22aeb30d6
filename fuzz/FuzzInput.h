// The fuzzer's bytes as a source of choices: reads from the front, and zeros once they are used up.
#pragma once

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

namespace moxtel::fuzz {

class Input final {
 public:
  explicit Input(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  bool empty() const { return bytes_.empty(); }
  std::uint8_t byte() {
    if (bytes_.empty()) return 0;
    const std::uint8_t first = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return first;
  }
  std::uint64_t word() {
    std::uint64_t number = 0;
    for (int i = 0; i < 8; ++i) number = number << 8 | byte();
    return number;
  }
  double real() { return std::bit_cast<double>(word()); }
  std::uint64_t below(std::uint64_t bound) { return bound == 0 ? 0 : byte() % bound; }
  std::string text(std::size_t length) {
    std::string out;
    while (out.size() < length && !empty()) out += static_cast<char>(byte());
    return out;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

// A property that does not hold is a finding, in every build.
inline void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace moxtel::fuzz
