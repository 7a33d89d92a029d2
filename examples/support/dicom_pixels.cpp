#include "support/dicom_pixels.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "support/cancellation.h"
#include "support/dicom_toolkit.h"

namespace example {

namespace {

// How the numbers of a file are stored in its words.
struct Packing {
  bool isWide;     // 16 bits a word, otherwise 8
  unsigned bits;   // that count
  unsigned shift;  // from the lowest bit to theirs
  bool isSigned;
  bool isInverted;  // low numbers are bright

  // Without branches: what a number is, then which way it counts.
  template <class Word>
  void Convert(const Word* words, std::size_t count, const DicomFrame& frame, double* values) const {
    const auto mask = static_cast<std::int32_t>((1U << bits) - 1U);
    const std::int32_t sign = isSigned ? 1 << (bits - 1U) : 0;
    const std::int32_t turn = isInverted ? -1 : 1;
    const std::int32_t start = !isInverted ? 0 : isSigned ? -1 : mask;
    for (std::size_t i = 0; i < count; ++i) {
      const std::int32_t number = (static_cast<std::int32_t>(words[i]) >> shift & mask) ^ sign;
      values[i] = static_cast<double>(start + turn * (number - sign)) * frame.slope + frame.intercept;
    }
  }
};

Packing PackingOf(DcmItem& dataset) {
  const auto number = [&](const DcmTagKey& key, double fallback) {
    return static_cast<unsigned>(DicomNumber(dataset, key, fallback));
  };
  const unsigned allocated = number(DCM_BitsAllocated, 16);
  const unsigned stored = number(DCM_BitsStored, allocated);
  return {allocated == 16, stored, number(DCM_HighBit, stored - 1) + 1 - stored,
          number(DCM_PixelRepresentation, 0) == 1,
          DicomText(dataset, DCM_PhotometricInterpretation) == "MONOCHROME1"};
}

// The decompressed words of a file, of any of its frames.
class PixelFile {
 public:
  explicit PixelFile(const std::string& path) : path_(path) {
    LoadDicomFile(file_, path);
    DcmDataset& dataset = *file_.getDataset();
    packing_ = PackingOf(dataset);
    if (dataset.chooseRepresentation(EXS_LittleEndianExplicit, nullptr).bad())
      throw Failure("damaged DICOM image " + path + ": its pixels cannot be decompressed");
    unsigned long count = 0;
    DcmElement* pixels = nullptr;
    if (dataset.findAndGetElement(DCM_PixelData, pixels).bad() || pixels == nullptr)
      throw Failure("truncated DICOM file: " + path + " has no pixels");
    if (packing_.isWide) {
      pixels->getUint16Array(words_);
      count = pixels->getLength() / 2;
    } else {
      pixels->getUint8Array(bytes_);
      count = pixels->getLength();
    }
    count_ = words_ != nullptr || bytes_ != nullptr ? count : 0;
  }

  // The rows of a frame from its last to its first.
  void ReadFrame(const DicomFrame& frame, double* values) const {
    const auto width = static_cast<std::size_t>(frame.columns);
    const auto height = static_cast<std::size_t>(frame.rows);
    const std::size_t start = width * height * static_cast<std::size_t>(frame.index);
    if (start + width * height > count_)
      throw Failure("truncated DICOM file: " + path_ + " holds fewer voxels than it says");
    for (std::size_t row = 0; row < height; ++row) {
      const std::size_t from = start + row * width;
      double* const to = values + (height - 1 - row) * width;
      if (packing_.isWide) {
        packing_.Convert(words_ + from, width, frame, to);
      } else {
        packing_.Convert(bytes_ + from, width, frame, to);
      }
    }
  }

  VoxelType Type() const {
    if (packing_.isWide) return packing_.isSigned ? VoxelType::Int16 : VoxelType::UInt16;
    return packing_.isSigned ? VoxelType::Int8 : VoxelType::UInt8;
  }

 private:
  std::string path_;
  DcmFileFormat file_;
  Packing packing_{};
  Uint16* words_ = nullptr;
  Uint8* bytes_ = nullptr;
  std::size_t count_ = 0;
};

// Room for the values, of memory that the system gives at once where it can: page by page it takes most of
// the time of a large series.
void ReserveAtOnce([[maybe_unused]] std::vector<double>& values, [[maybe_unused]] std::size_t count) {
#if defined(MADV_POPULATE_WRITE)
  constexpr std::uintptr_t kPage = 4096;
  values.reserve(count);
  const auto start = (reinterpret_cast<std::uintptr_t>(values.data()) + kPage - 1) / kPage * kPage;
  const auto end = reinterpret_cast<std::uintptr_t>(values.data() + count) / kPage * kPage;
  if (end > start)
    madvise(reinterpret_cast<void*>(start), end - start, MADV_POPULATE_WRITE);  // a hint: may fail
#endif
}

// As the files store their numbers; where they scale them differently, as numbers with fractions.
Storage CommonStorage(const std::vector<DicomFrame>& slices, VoxelType type) {
  const DicomFrame& first = slices.front();
  const bool isCommon = std::all_of(slices.begin(), slices.end(), [&](const DicomFrame& slice) {
    return slice.slope == first.slope && slice.intercept == first.intercept;
  });
  return isCommon ? Storage{type, first.slope, first.intercept} : Storage{VoxelType::Float, 1.0, 0.0};
}

}  // namespace

void ReadDicomVoxels(const DicomStack& stack, GreyImage& image) {
  const std::size_t plane = static_cast<std::size_t>(image.size[0]) * static_cast<std::size_t>(image.size[1]);
  ReserveAtOnce(image.values, plane * stack.slices.size());
  image.values.resize(plane * stack.slices.size());
  // File by file: a multi-frame file is decompressed once.
  std::vector<std::size_t> order(stack.slices.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return stack.slices[a].path < stack.slices[b].path; });
  std::unique_ptr<PixelFile> file;
  const std::string* path = nullptr;
  VoxelType type = VoxelType::UInt16;
  for (const std::size_t slice : order) {
    ThrowIfCancelled();
    const DicomFrame& frame = stack.slices[slice];
    if (path == nullptr || *path != frame.path) file = std::make_unique<PixelFile>(frame.path);
    path = &frame.path;
    file->ReadFrame(frame, &image.values[plane * slice]);
    if (slice == 0) type = file->Type();
  }
  image.storage = CommonStorage(stack.slices, type);
}

}  // namespace example
