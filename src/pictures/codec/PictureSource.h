// A picture whose rows come one after another, so that none needs to be in memory whole. One thread at a
// time.
#pragma once

#include <cstdint>
#include <optional>

#include "pictures/codec/PixelBuffer.h"

namespace moxtel {

class PictureSource {
 public:
  virtual ~PictureSource() = default;
  // The pixels' place is empty: only size, layout and profile count.
  virtual const PixelBuffer& description() const = 0;
  // The next rows, without padding; asked for from top to bottom, never past the last. False when the
  // picture is broken here: nothing is asked for any more. Does not throw.
  virtual bool readRows(std::uint32_t count, std::uint8_t* place) noexcept = 0;

 protected:
  PictureSource() = default;
  PictureSource(const PictureSource&) = default;
  PictureSource& operator=(const PictureSource&) = default;
};

// Reads from a picture in memory, which it borrows.
class PixelBufferSource final : public PictureSource {
 public:
  explicit PixelBufferSource(const PixelBuffer& image) : image_(image) {}
  const PixelBuffer& description() const override { return image_; }
  bool readRows(std::uint32_t count, std::uint8_t* place) noexcept override;

 private:
  const PixelBuffer& image_;
  std::size_t row_ = 0;
};

// The whole picture; nothing when it is broken or there is no memory for it.
std::optional<PixelBuffer> pixelsOf(PictureSource& source);

}  // namespace moxtel
