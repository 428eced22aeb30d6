#include "makelibrary/StrangeValues.h"

#include <limits>

namespace moxtel::makelibrary {

namespace {

using namespace std::string_view_literals;

constexpr std::array kTexts{
    ""sv,
    " "sv,
    "%@"sv,
    "%s%n%d"sv,
    "100 %"sv,
    "it's"sv,
    "''"sv,
    "' OR '1'='1"sv,
    "\"quoted\""sv,
    "back\\slash"sv,
    "semi;colon -- comment"sv,
    "line\nbreak\r\n"sv,
    "\t\x01\x1f\x7f"sv,
    "before\0after"sv,
    "É"sv,
    "E\xCC\x81"sv,
    "富士山"sv,
    "שלום‏"sv,
    "👨‍👩‍👧‍👦 🇨🇭"sv,
    "\xF0\x90\x8D\x88"sv,
    "\xEF\xBB\xBF"
    "BOM"sv,
    "\xEF\xBF\xBF"sv,
    "\xC2\xA0"sv,
    "(null)"sv,
    "$null"sv,
    "0"sv,
    "123"sv,
    "4294967297"sv,
    "-1"sv,
    "../../etc/passwd"sv,
    "/absolute"sv,
    "…"sv,
};

constexpr std::array<std::int64_t, 16> kIntegers{
    -1,
    3,
    4,
    100,
    0x7FFFFFFF,
    0x80000000LL,
    -0x80000000LL,
    0x100000000LL,
    0x100000001LL,
    0x100000002LL,
    978307200,
    -978307200,
    1LL << 53,
    std::numeric_limits<std::int64_t>::max(),
    std::numeric_limits<std::int64_t>::min(),
    -0x100000000LL,
};

constexpr std::array<double, 18> kReals{
    0.0,
    -0.0,
    0.5,
    -0.5,
    45.25,
    90.0,
    180.0,
    -180.0,
    360.0,
    360.0001,
    -361.0,
    1e-300,
    1e300,
    -1e300,
    2.5e9,
    4294967296.5,
    std::numeric_limits<double>::infinity(),
    -std::numeric_limits<double>::infinity(),
};

constexpr std::array kNumberTexts{
    "", "abc", "12abc", " 7", "1e3", "3", "-2", "0x10", "99999999999999999999", "1.9"};

}  // namespace

std::string strangeText(Random& random) {
  std::string text(random.pick(kTexts));
  if (random.oneIn(4)) text += std::string(random.pick(kTexts));
  if (random.oneIn(60)) text.append(3000, 'x');
  return text;
}

std::string strangeUuid(Random& random) {
  if (!random.oneIn(6)) return uuidFrom(random);
  std::string text = strangeText(random);
  if (random.oneIn(2)) text += uuidFrom(random);
  return text;
}

Cell strangeInteger(Random& random) {
  switch (random.below(12)) {
    case 0:
      return {};
    case 1:
      return random.pick(kIntegers);
    case 2:
      return random.pick(kReals);
    case 3:
      return std::string(random.pick(kNumberTexts));
    case 4:
      return Blob{strangeText(random)};
    default:
      return static_cast<std::int64_t>(random.below(5));
  }
}

Cell strangeReal(Random& random) {
  switch (random.below(8)) {
    case 0:
      return {};
    case 1:
      return random.pick(kIntegers);
    case 2:
      return random.pick(kReals);
    case 3:
      return std::string(random.pick(kNumberTexts));
    case 4:
      return Blob{"12"};
    default:
      return random.between(-180, 180);
  }
}

Cell strangeTextCell(Random& random) {
  if (random.oneIn(6)) return {};
  if (random.oneIn(20)) return static_cast<std::int64_t>(random.below(1000));
  if (random.oneIn(25)) return Blob{strangeText(random)};
  return strangeText(random);
}

UuidPool::UuidPool(Random& random, std::size_t size, std::initializer_list<std::string_view> fixed)
    : uuids_(fixed.begin(), fixed.end()) {
  while (uuids_.size() < size + fixed.size()) uuids_.push_back(strangeUuid(random));
}

Cell UuidPool::any(Random& random) const {
  if (random.oneIn(15)) return {};
  if (random.oneIn(20)) return strangeUuid(random);
  return uuids_[random.below(uuids_.size())];
}

}  // namespace moxtel::makelibrary
