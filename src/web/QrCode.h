// A QR code (ISO/IEC 18004). An immutable value; any thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace moxtel {

class QrCode final {
 public:
  // Of a text of at most a few hundred bytes, with the lowest level of error correction; nothing for a longer
  // one.
  static std::optional<QrCode> of(const std::string& text);

  // Modules on each side, without the quiet zone.
  int size() const { return size_; }
  // Light outside the code.
  bool isDark(int x, int y) const;
  // Lines for a terminal, two modules above each other in each character, black on white by escape sequences,
  // with a quiet zone. Each line ends with a newline.
  std::string blocks() const;

 private:
  int size_ = 0;
  std::vector<bool> dark_;  // by rows
};

}  // namespace moxtel
