// Random numbers that are equal on all machines and in all builds: the same seed gives the same library, bit
// for bit. (The distributions of the standard library differ between implementations.)
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace moxtel::makelibrary {

// SplitMix64, by Sebastiano Vigna (public domain).
class Random final {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }
  // 0 to count - 1; 0 for a count of 0.
  std::size_t below(std::size_t count) { return count == 0 ? 0 : next() % count; }
  // 0 to less than 1.
  double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
  double between(double low, double high) { return low + (high - low) * unit(); }
  // True with a probability of 1 in that many.
  bool oneIn(std::size_t count) { return below(count) == 0; }
  template <class T, std::size_t N>
  const T& pick(const std::array<T, N>& values) {
    return values[below(N)];
  }

 private:
  std::uint64_t state_;
};

// The stream for an object of the library: the same numbers give the same stream.
enum class Subject : std::uint8_t {
  Photo,
  Master,
  Version,
  Folder,
  Project,
  Album,
  Face,
  Detected,
  Note,
  Strange
};

Random randomFor(std::uint64_t seed, Subject subject, std::uint64_t index);

// 22 characters out of A–Z a–z 0–9 + %.
std::string uuidFrom(Random& random);
std::string uuidFor(std::uint64_t seed, Subject subject, std::uint64_t index);

}  // namespace moxtel::makelibrary
