#include "support/png_io.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "support/failure.h"
#include "support/results.h"

namespace example {

namespace {

constexpr std::uint64_t kMostBytes = 1U << 30U;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

FilePtr Open(const std::string& path) {
  FilePtr file(std::fopen(path.c_str(), "rb"));
  if (!file) throw Failure("cannot open " + path);
  return file;
}

struct PictureReleaser {
  void operator()(png_image* picture) const { png_image_free(picture); }
};

[[noreturn]] void Damaged(const std::string& path) {
  throw Failure("damaged or not a PNG image: " + path);
}

// What the decoder hands out. The decoder leaves by longjmp on an error, so everything that owns memory lives
// outside the function that calls it.
struct DecodedPng {
  png_structp reader = nullptr;
  png_infop info = nullptr;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  int channels = 0;
  int bytesPerChannel = 0;
  std::uint32_t pixelsPerMetre[2] = {0, 0};
  std::vector<png_byte> bytes;
  std::vector<png_bytep> rows;

  DecodedPng() = default;
  DecodedPng(const DecodedPng&) = delete;
  DecodedPng& operator=(const DecodedPng&) = delete;
  ~DecodedPng() { png_destroy_read_struct(&reader, &info, nullptr); }
};

// Refuses a header that asks for more memory than we spend, or than the rest of the file can fill: a byte is
// compressed 1032 times at most, and one bit of it becomes three bytes of a palette at most.
void CheckSize(std::uint64_t decodedBytes, const std::string& path) {
  constexpr std::uint64_t kMostExpansion = 1032 * 24;
  if (decodedBytes > kMostBytes) throw Failure("unsupported image " + path + ": too large");
  std::error_code error;
  const std::uint64_t fileBytes = std::filesystem::file_size(path, error);
  if (error || decodedBytes / kMostExpansion > fileBytes) Damaged(path);
}

void LeaveSilently(png_structp reader, png_const_charp) {
  png_longjmp(reader, 1);
}

void IgnoreWarning(png_structp, png_const_charp) {}

void ReadPixelSize(DecodedPng& decoded) {
  int unit = PNG_RESOLUTION_UNKNOWN;
  png_uint_32 x = 0;
  png_uint_32 y = 0;
  if (png_get_pHYs(decoded.reader, decoded.info, &x, &y, &unit) == 0 || unit != PNG_RESOLUTION_METER) return;
  decoded.pixelsPerMetre[0] = x;
  decoded.pixelsPerMetre[1] = y;
}

bool ReadPngHeader(DecodedPng& decoded, std::FILE* file) {
  if (setjmp(png_jmpbuf(decoded.reader)) != 0) return false;
  png_init_io(decoded.reader, file);
  png_read_info(decoded.reader, decoded.info);
  png_set_expand(decoded.reader);  // palettes and 1, 2 or 4 bits to 8 bits a channel
  png_set_strip_alpha(decoded.reader);
  png_set_interlace_handling(decoded.reader);
  png_read_update_info(decoded.reader, decoded.info);
  decoded.width = png_get_image_width(decoded.reader, decoded.info);
  decoded.height = png_get_image_height(decoded.reader, decoded.info);
  decoded.channels = png_get_channels(decoded.reader, decoded.info);
  decoded.bytesPerChannel = png_get_bit_depth(decoded.reader, decoded.info) / 8;
  ReadPixelSize(decoded);
  return true;
}

bool ReadPngRows(DecodedPng& decoded) {
  if (setjmp(png_jmpbuf(decoded.reader)) != 0) return false;
  png_read_image(decoded.reader, decoded.rows.data());
  png_read_end(decoded.reader, nullptr);
  return true;
}

double ChannelValue(const png_byte* bytes, int bytesPerChannel) {
  return bytesPerChannel == 2 ? 256.0 * bytes[0] + bytes[1] : bytes[0];
}

double Luminance(const png_byte* pixel, int channels, int bytesPerChannel) {
  const double red = ChannelValue(pixel, bytesPerChannel);
  if (channels < 3) return red;
  const double green = ChannelValue(pixel + bytesPerChannel, bytesPerChannel);
  const double blue = ChannelValue(pixel + 2 * bytesPerChannel, bytesPerChannel);
  if (red == green && green == blue) return red;  // grey stays exactly that grey
  return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
}

// Encoded in memory first: the encoder does not tell why it cannot write a file.
void WriteEncoded(const std::string& path, png_image& image, const void* pixels) {
  png_alloc_size_t bytes = 0;
  if (png_image_write_to_memory(&image, nullptr, &bytes, 0, pixels, 0, nullptr) == 0)
    throw WriteFailure(image.message);
  std::vector<png_byte> encoded(bytes);
  if (png_image_write_to_memory(&image, encoded.data(), &bytes, 0, pixels, 0, nullptr) == 0)
    throw WriteFailure(image.message);
  WriteBytes(path, encoded.data(), bytes);
}

}  // namespace

GreyImage ReadPng(const std::string& path) {
  const FilePtr file = Open(path);
  DecodedPng decoded;
  decoded.reader = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, LeaveSilently, IgnoreWarning);
  if (decoded.reader == nullptr) throw std::bad_alloc();
  decoded.info = png_create_info_struct(decoded.reader);
  if (decoded.info == nullptr) throw std::bad_alloc();
  if (!ReadPngHeader(decoded, file.get())) Damaged(path);

  const std::size_t pixelBytes = static_cast<std::size_t>(decoded.channels * decoded.bytesPerChannel);
  const std::size_t rowBytes = pixelBytes * decoded.width;
  CheckSize(std::uint64_t{rowBytes} * decoded.height, path);
  decoded.bytes.resize(rowBytes * decoded.height);
  for (std::uint32_t y = 0; y < decoded.height; ++y) decoded.rows.push_back(&decoded.bytes[rowBytes * y]);
  if (!ReadPngRows(decoded)) Damaged(path);

  GreyImage image;
  image.storage.type = decoded.bytesPerChannel == 2 ? VoxelType::UInt16 : VoxelType::UInt8;
  image.size = {static_cast<int>(decoded.width), static_cast<int>(decoded.height), 1};
  image.values.reserve(decoded.bytes.size() / pixelBytes);
  for (std::size_t start = 0; start < decoded.bytes.size(); start += pixelBytes) {
    image.values.push_back(Luminance(&decoded.bytes[start], decoded.channels, decoded.bytesPerChannel));
  }
  const auto [x, y] = decoded.pixelsPerMetre;
  if (x > 0 && y > 0) image.voxelSize = {1000.0 / x, 1000.0 / y, 1.0};
  return image;
}

Raster ReadPicture(const std::string& path) {
  const FilePtr file = Open(path);
  png_image header = {};
  header.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_stdio(&header, file.get()) == 0) Damaged(path);
  const std::unique_ptr<png_image, PictureReleaser> reader(&header);
  header.format = PNG_FORMAT_RGB;
  CheckSize(std::uint64_t{3} * header.width * header.height, path);
  Raster picture = BlankRaster(static_cast<int>(header.width), static_cast<int>(header.height), 3);
  const png_color black = {0, 0, 0};
  if (png_image_finish_read(&header, &black, picture.bytes.data(), 0, nullptr) == 0) Damaged(path);
  return picture;
}

void WritePng(const std::string& path, const Raster& raster) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(raster.width);
  image.height = static_cast<png_uint_32>(raster.height);
  image.format = raster.channels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
  WriteEncoded(path, image, raster.bytes.data());
}

void WriteGreyPng(const std::string& path, const GreyImage& image) {
  const bool isDeep = image.storage.type != VoxelType::UInt8;
  const double white = isDeep ? 65535.0 : 255.0;
  std::vector<std::uint8_t> bytes;
  std::vector<png_uint_16> words;
  for (const double value : image.values) {
    const double level = std::clamp(std::nearbyint(value), 0.0, white);
    if (isDeep) {
      words.push_back(static_cast<png_uint_16>(level));
    } else {
      bytes.push_back(static_cast<std::uint8_t>(level));
    }
  }
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(image.size[0]);
  png.height = static_cast<png_uint_32>(image.size[1]);
  png.format = isDeep ? PNG_FORMAT_LINEAR_Y : PNG_FORMAT_GRAY;
  WriteEncoded(path, png, isDeep ? static_cast<const void*>(words.data()) : bytes.data());
}

}  // namespace example
