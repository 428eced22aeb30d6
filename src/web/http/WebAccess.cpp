#include "web/http/WebAccess.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <algorithm>
#include <array>
#include <limits>
#include <vector>

#include "platform/files/FileReader.h"
#include "platform/files/SecretFile.h"
#include "value/Trimmed.h"

namespace moxtel {

namespace {

// 100 random bits: letters and digits that are not mixed up when they are typed.
constexpr std::size_t kKeyLength = 20;
constexpr std::string_view kKeyCharacters = "abcdefghijkmnpqrstuvwxyz23456789";
static_assert(kKeyCharacters.size() == 32);
constexpr std::size_t kDigits = 6;
constexpr std::uint32_t kDigitCodes = 1'000'000;
constexpr std::uint64_t kLargestFile = 1024;  // bytes
constexpr std::string_view kCookieAttributes = "; Path=/; Max-Age=31536000; HttpOnly; SameSite=Lax";
constexpr std::int64_t kSignaturePeriod = std::int64_t{12} * 60 * 60;  // seconds
constexpr int kSignatureBytes = 16;

std::string randomKey() {
  std::array<std::uint8_t, kKeyLength> bytes{};
  fillWithRandomBytes(bytes);
  std::string key;
  for (const std::uint8_t byte : bytes) key += kKeyCharacters[byte % kKeyCharacters.size()];
  return key;
}

std::string randomDigits() {
  // Numbers from the largest multiple on would make some codes likelier.
  constexpr std::uint32_t kEnd = std::numeric_limits<std::uint32_t>::max() / kDigitCodes * kDigitCodes;
  std::uint32_t number = kEnd;
  while (number >= kEnd) {
    std::array<std::uint8_t, 4> bytes{};
    fillWithRandomBytes(bytes);
    number = bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
  }
  const std::string text = std::to_string(number % kDigitCodes);
  return std::string(kDigits - text.size(), '0') + text;
}

// The key in "Bearer KEY"; empty in any other text.
std::string_view bearerOf(std::string_view authorization) {
  constexpr std::string_view kScheme = "Bearer ";
  return authorization.starts_with(kScheme) ? trimmed(authorization.substr(kScheme.size()))
                                            : std::string_view();
}

// The values of all cookies with the name: a browser may send several.
std::vector<std::string_view> cookiesOf(std::string_view field, std::string_view name) {
  std::vector<std::string_view> values;
  while (!field.empty()) {
    const auto end = field.find(';');
    const std::string_view pair = trimmed(field.substr(0, end));
    const auto equals = pair.find('=');
    if (equals != std::string_view::npos && pair.substr(0, equals) == name)
      values.push_back(pair.substr(equals + 1));
    field = end == std::string_view::npos ? std::string_view() : field.substr(end + 1);
  }
  return values;
}

bool isOf(std::string_view text, std::size_t size, std::string_view characters) {
  return text.size() == size && text.find_first_not_of(characters) == std::string_view::npos;
}

}  // namespace

bool equalsInConstantTime(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
  }
  // Read again as volatile, so that the compiler cannot leave the loop early.
  const volatile unsigned result = difference;
  return result == 0;
}

WebAccess::WebAccess(Mode mode, std::string file, std::uint16_t port, WebAccessClocks clocks)
    : mode_(mode),
      file_(std::move(file)),
      cookieName_("moxtel-" + std::to_string(port)),
      clocks_(std::move(clocks)) {
  if (!read()) makeKey();
}

bool WebAccess::read() {
  const FileContents contents = readWholeFile(file_, kLargestFile);
  if (contents.state != FileState::Open) return false;
  const std::string text(contents.bytes.begin(), contents.bytes.end());
  const auto end = text.find('\n');
  if (end == std::string::npos) return false;
  const std::string key = text.substr(0, end);
  const std::string digits(trimmed(std::string_view(text).substr(end)));
  if (!isOf(key, kKeyLength, kKeyCharacters) || !isOf(digits, kDigits, "0123456789")) return false;
  key_ = key;
  digits_ = digits;
  return true;
}

void WebAccess::makeKey() {
  key_ = randomKey();
  digits_ = randomDigits();
  storageProblem_ = writeSecretFile(file_, key_ + "\n" + digits_ + "\n");
}

void WebAccess::renew() {
  const std::lock_guard lock(mutex_);
  makeKey();
}

std::string WebAccess::key() const {
  const std::lock_guard lock(mutex_);
  return key_;
}

std::string WebAccess::digits() const {
  const std::lock_guard lock(mutex_);
  return digits_;
}

std::string WebAccess::storageProblem() const {
  const std::lock_guard lock(mutex_);
  return storageProblem_;
}

bool WebAccess::isKey(std::string_view text) const { return equalsInConstantTime(text, key()); }

bool WebAccess::isAdmitted(const RawRequest& request) const {
  if (mode_ == Mode::Open) return true;
  return std::ranges::any_of(request.fields, [this](const auto& field) {
    if (equalsIgnoringCase(field.first, "Authorization")) return isKey(bearerOf(field.second));
    if (!equalsIgnoringCase(field.first, "Cookie")) return false;
    const auto values = cookiesOf(field.second, cookieName_);
    return std::ranges::any_of(values, [this](std::string_view value) { return isKey(value); });
  });
}

WebAccess::Login WebAccess::tryDigits(std::string_view digits, const std::string& address) {
  const std::lock_guard lock(mutex_);
  const auto now = clocks_.steady();
  if (!limiter_.mayTry(address, now)) return Login::TooMany;
  if (equalsInConstantTime(digits, digits_)) return Login::Right;
  limiter_.wasWrong(address, now);
  return Login::Wrong;
}

std::string WebAccess::cookie(bool isSecure) const {
  return cookieName_ + "=" + key() + std::string(kCookieAttributes) + (isSecure ? "; Secure" : "");
}

std::int64_t WebAccess::currentPeriod() const {
  const auto now = clocks_.wall().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count() / kSignaturePeriod;
}

std::string WebAccess::signature(std::string_view path, std::int64_t period) const {
  const std::string message = std::to_string(period) + std::string(path);
  const QByteArray mac = QMessageAuthenticationCode::hash(
      QByteArray::fromStdString(message), QByteArray::fromStdString(key()), QCryptographicHash::Sha256);
  return mac.left(kSignatureBytes).toHex().toStdString();
}

std::string WebAccess::signatureFor(std::string_view path) const {
  return mode_ == Mode::Open ? std::string() : signature(path, currentPeriod());
}

bool WebAccess::isSigned(std::string_view path, std::string_view text) const {
  const std::int64_t period = currentPeriod();
  const bool isCurrent = equalsInConstantTime(text, signature(path, period));
  return isCurrent || equalsInConstantTime(text, signature(path, period - 1));
}

}  // namespace moxtel
