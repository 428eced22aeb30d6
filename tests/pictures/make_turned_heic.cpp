// Writes a picture (PPM, 8 bits) as a HEIC file with a color profile and a rotation by a quarter turn in its
// container.
//
//     make-turned-heic IN.ppm PROFILE.icc OUT.heic
#include <libheif/heif.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

int main(int count, char** words) {
  if (count != 4) return 2;
  std::ifstream in(words[1], std::ios::binary);
  std::string magic;
  int width = 0, height = 0, most = 0;
  in >> magic >> width >> height >> most;
  in.get();
  const std::vector<char> pixels((std::istreambuf_iterator<char>(in)), {});
  heif_image* image = nullptr;
  heif_image_create(width, height, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &image);
  heif_image_add_plane(image, heif_channel_interleaved, width, height, 8);
  int stride = 0;
  std::uint8_t* plane = heif_image_get_plane(image, heif_channel_interleaved, &stride);
  for (int y = 0; y < height; ++y)
    std::memcpy(plane + y * stride, pixels.data() + y * width * 3, static_cast<std::size_t>(width) * 3);
  std::ifstream profileFile(words[2], std::ios::binary);
  const std::vector<char> profile((std::istreambuf_iterator<char>(profileFile)), {});
  heif_image_set_raw_color_profile(image, "prof", profile.data(), profile.size());
  heif_context* context = heif_context_alloc();
  heif_encoder* encoder = nullptr;
  heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder);
  heif_encoder_set_lossy_quality(encoder, 95);
  heif_encoding_options* options = heif_encoding_options_alloc();
  options->image_orientation = heif_orientation_rotate_90_cw;
  const heif_error encoded = heif_context_encode_image(context, image, encoder, options, nullptr);
  const heif_error written = heif_context_write_to_file(context, words[3]);
  heif_encoding_options_free(options);
  heif_encoder_release(encoder);
  heif_context_free(context);
  heif_image_release(image);
  return encoded.code == heif_error_Ok && written.code == heif_error_Ok ? 0 : 1;
}
