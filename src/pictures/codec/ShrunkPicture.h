// Another picture at a smaller size: each pixel is the mean of the area that it covers. Reads the other one
// row by row; memory for one row of it and two of its own. One thread at a time.
#pragma once

#include <vector>

#include "pictures/codec/PictureSource.h"

namespace moxtel {

class ShrunkPicture final : public PictureSource {
 public:
  // At most side by side pixels, at least one, with the shape of the source, which it borrows. A smaller
  // source keeps its size.
  ShrunkPicture(PictureSource& source, std::uint32_t side);

  const PixelBuffer& description() const override { return image_; }
  bool readRows(std::uint32_t count, std::uint8_t* place) noexcept override;

 private:
  bool readRow(std::uint8_t* place);
  void addSourceRow(double share, std::vector<float>& row) const;

  PictureSource& source_;
  PixelBuffer image_;
  double across_ = 1;  // columns of this picture for one of the source
  double down_ = 1;    // rows of this picture for one of the source
  Bytes sourceRow_;
  std::uint32_t sourceRows_ = 0;  // read so far
  std::uint32_t rows_ = 0;        // begun so far
  std::vector<float> row_;
  std::vector<float> next_;  // what the last source row covers of the row after
};

}  // namespace moxtel
