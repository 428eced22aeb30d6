#include "makelibrary/Random.h"

#include <string_view>

namespace moxtel::makelibrary {

Random randomFor(std::uint64_t seed, Subject subject, std::uint64_t index) {
  Random first(seed * 0x100 + static_cast<std::uint64_t>(subject));
  return Random(first.next() ^ (index * 0xD1342543DE82EF95ULL));
}

std::string uuidFrom(Random& random) {
  static constexpr std::string_view kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+%";
  std::string uuid;
  uuid.reserve(22);
  std::uint64_t bits = 0;
  for (int i = 0; i < 22; ++i) {
    if (i % 10 == 0) bits = random.next();
    uuid += kLetters[bits & 63];
    bits >>= 6;
  }
  return uuid;
}

std::string uuidFor(std::uint64_t seed, Subject subject, std::uint64_t index) {
  Random random = randomFor(seed, subject, index);
  return uuidFrom(random);
}

}  // namespace moxtel::makelibrary
