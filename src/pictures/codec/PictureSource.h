// A picture that is read row by row, so that it need not be in memory. One thread at a time.
#pragma once

#include <cstdint>
#include <optional>

#include "pictures/codec/PixelBuffer.h"

namespace moxtel {

class PictureSource {
 public:
  virtual ~PictureSource() = default;
  // Size, layout and profile; the pixels are empty.
  virtual const PixelBuffer& description() const = 0;
  // Reads the next rows, without padding, from top to bottom; the caller does not read beyond the last. False
  // if the picture is damaged here: the caller reads no further. Does not throw.
  virtual bool readRows(std::uint32_t count, std::uint8_t* place) noexcept = 0;

 protected:
  PictureSource() = default;
  PictureSource(const PictureSource&) = default;
  PictureSource& operator=(const PictureSource&) = default;
};

// Reads a picture in memory, which it borrows.
class PixelBufferSource final : public PictureSource {
 public:
  explicit PixelBufferSource(const PixelBuffer& image) : image_(image) {}
  const PixelBuffer& description() const override { return image_; }
  bool readRows(std::uint32_t count, std::uint8_t* place) noexcept override;

 private:
  const PixelBuffer& image_;
  std::size_t row_ = 0;
};

// The whole picture; nothing if it is damaged or memory is insufficient.
std::optional<PixelBuffer> pixelsOf(PictureSource& source);

}  // namespace moxtel
