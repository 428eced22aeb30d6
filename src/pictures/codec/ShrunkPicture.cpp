#include "pictures/codec/ShrunkPicture.h"

#include <algorithm>
#include <cmath>

namespace moxtel {
namespace {

std::uint32_t scaled(std::uint32_t length, double scale) {
  return std::max(1u, static_cast<std::uint32_t>(std::lround(length * scale)));
}

}  // namespace

ShrunkPicture::ShrunkPicture(PictureSource& source, std::uint32_t side) : source_(source) {
  const PixelBuffer& from = source.description();
  image_.layout = from.layout;
  image_.iccProfile = from.iccProfile;
  const double scale = std::min(1.0, static_cast<double>(side) / std::max({from.width, from.height, 1u}));
  image_.width = scaled(from.width, scale);
  image_.height = scaled(from.height, scale);
  across_ = static_cast<double>(image_.width) / std::max(1u, from.width);
  down_ = static_cast<double>(image_.height) / std::max(1u, from.height);
  sourceRow_.resize(from.rowBytes());
  row_.resize(image_.rowBytes());
  next_.resize(image_.rowBytes());
}

// Adds the source's row to a row of this picture, of which it covers this share.
void ShrunkPicture::addSourceRow(double share, std::vector<float>& row) const {
  const std::size_t channels = bytesPerPixel(image_.layout);
  const std::uint32_t width = source_.description().width;
  const std::uint8_t* from = sourceRow_.data();
  for (std::uint32_t x = 0; x < width; ++x, from += channels) {
    const double begin = x * across_, end = (x + 1) * across_;
    const auto first = std::min(static_cast<std::uint32_t>(begin), image_.width - 1);
    const double inFirst = std::min(end, first + 1.0) - begin;
    float* to = row.data() + first * channels;
    for (std::size_t c = 0; c < channels; ++c) to[c] += static_cast<float>(share * inFirst * from[c]);
    if (end - begin - inFirst <= 1e-9 || first + 1 >= image_.width) continue;
    const double inNext = end - begin - inFirst;
    for (std::size_t c = 0; c < channels; ++c)
      to[channels + c] += static_cast<float>(share * inNext * from[c]);
  }
}

bool ShrunkPicture::readRow(std::uint8_t* place) {
  std::swap(row_, next_);
  std::fill(next_.begin(), next_.end(), 0.0F);
  const double bottom = ++rows_;
  const std::uint32_t height = source_.description().height;
  while (sourceRows_ < height && sourceRows_ * down_ < bottom - 1e-9) {
    if (!source_.readRows(1, sourceRow_.data())) return false;
    const double begin = sourceRows_ * down_, end = ++sourceRows_ * down_;
    const double here = std::min(end, bottom) - begin;
    addSourceRow(here, row_);
    if (end - bottom > 1e-9) addSourceRow(end - bottom, next_);
  }
  for (std::size_t i = 0; i < row_.size(); ++i)
    place[i] = static_cast<std::uint8_t>(std::clamp(std::lround(row_[i]), 0L, 255L));
  return true;
}

bool ShrunkPicture::readRows(std::uint32_t count, std::uint8_t* place) noexcept {
  if (image_.width == source_.description().width && image_.height == source_.description().height)
    return source_.readRows(count, place);
  for (std::uint32_t i = 0; i < count; ++i, place += image_.rowBytes()) {
    if (!readRow(place)) return false;
  }
  return true;
}

}  // namespace moxtel
