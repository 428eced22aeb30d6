#include "web/QrCode.h"

#include <qrencode.h>

#include <memory>

namespace moxtel {

namespace {

constexpr int kQuietZone = 2;  // modules; readers on phones need no more
constexpr const char* kBlackOnWhite = "\x1b[38;5;16m\x1b[48;5;231m";
constexpr const char* kUsualColors = "\x1b[0m";

const char* blockOf(bool isUpperDark, bool isLowerDark) {
  if (isUpperDark) return isLowerDark ? "█" : "▀";
  return isLowerDark ? "▄" : " ";
}

}  // namespace

std::optional<QrCode> QrCode::of(const std::string& text) {
  const std::unique_ptr<QRcode, decltype(&QRcode_free)> made(
      QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_L), &QRcode_free);
  if (!made) return std::nullopt;
  QrCode code;
  code.size_ = made->width;
  const auto count = static_cast<std::size_t>(made->width) * static_cast<std::size_t>(made->width);
  for (std::size_t i = 0; i < count; ++i) code.dark_.push_back((made->data[i] & 1) != 0);
  return code;
}

bool QrCode::isDark(int x, int y) const {
  if (x < 0 || y < 0 || x >= size_ || y >= size_) return false;
  return dark_[static_cast<std::size_t>(y) * static_cast<std::size_t>(size_) + static_cast<std::size_t>(x)];
}

std::string QrCode::blocks() const {
  std::string text;
  for (int y = -kQuietZone; y < size_ + kQuietZone; y += 2) {
    text += kBlackOnWhite;
    for (int x = -kQuietZone; x < size_ + kQuietZone; ++x) text += blockOf(isDark(x, y), isDark(x, y + 1));
    text += kUsualColors;
    text += '\n';
  }
  return text;
}

}  // namespace moxtel
