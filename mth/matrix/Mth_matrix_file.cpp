#include <array>
#include <bit>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "mth/Mth_file_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// The binary and the text file of a matrix.

namespace {

using mth_internal::File;

constexpr std::int64_t kLargestPromise = std::int64_t{1} << 30;  // bytes taken on trust from a short file

// The bytes of little-endian words in the byte order of this machine, or the other way round.
void SwapLittleEndian(void* words, std::size_t bytes, std::size_t wordSize) {
  if constexpr (std::endian::native == std::endian::big) {
    auto* byte = static_cast<unsigned char*>(words);
    for (std::size_t first = 0; first < bytes; first += wordSize) {
      for (std::size_t i = 0; i < wordSize / 2; ++i)
        std::swap(byte[first + i], byte[first + wordSize - 1 - i]);
    }
  }
}

// Bytes between the current position and the end; -1 when the file cannot tell (a pipe).
std::int64_t RemainingBytes(std::FILE* file) {
  const long position = std::ftell(file);
  if (position < 0 || std::fseek(file, 0, SEEK_END) != 0) return -1;
  const long end = std::ftell(file);
  if (std::fseek(file, position, SEEK_SET) != 0) return -1;
  return end - position;
}

// A size that Allocate could grant: whatever else the header says is left for it to refuse.
bool IsTrustworthy(const std::array<std::int32_t, 3>& header, std::FILE* file) {
  const auto [rows, columns, type] = header;
  if (rows < 0 || columns < 0 || (type != 0 && type != 1)) return true;
  const std::int64_t count = std::int64_t{rows} * columns;
  if (count > std::numeric_limits<std::int32_t>::max()) return false;
  const auto promised = static_cast<std::int64_t>(mth_internal::StorageBytes(count, type));
  return promised <= kLargestPromise || promised <= RemainingBytes(file);
}

}  // namespace

MTH_MATRIX::MTH_MATRIX(const std::string& fileName) {
  const File file(std::fopen(fileName.c_str(), "rb"));
  SetUnallocated(-1, file ? 1 : 13);
  if (!file) return;
  std::array<std::int32_t, 3> header{};
  const bool hasHeader = std::fread(header.data(), sizeof header, 1, file.get()) == 1;
  SwapLittleEndian(header.data(), sizeof header, sizeof(std::int32_t));
  if (!hasHeader || !IsTrustworthy(header, file.get())) return;
  Allocate(header[0], header[1], header[2]);
  if (!allocated_) {
    status_ = 1;  // whatever the refusal: a caller of a file constructor gets one code for a bad header
    return;
  }
  OnStorage([&](auto* elements) {
    auto* bytes = reinterpret_cast<unsigned char*>(elements);
    const std::size_t wanted = mth_internal::StorageBytes(ElementsCount(), type_);
    const std::size_t got = std::fread(bytes, 1, wanted, file.get());
    // A word cut in two is missing as a whole.
    const std::size_t whole = got - got % sizeof(*elements);
    std::memset(bytes + whole, 0, wanted - whole);
    SwapLittleEndian(bytes, whole, sizeof(*elements));
  });
}

void MTH_MATRIX::Save(const std::string& fileName) const {
  File file(std::fopen(fileName.c_str(), "wb"));
  if (!file) {
    status_ = 12;
    return;
  }
  std::array<std::int32_t, 3> header{rows_, columns_, type_};
  SwapLittleEndian(header.data(), sizeof header, sizeof(std::int32_t));
  bool isWritten = std::fwrite(header.data(), sizeof header, 1, file.get()) == 1;
  if (allocated_) {
    isWritten = isWritten && OnStorage([&](auto* elements) {
                  const auto count = static_cast<std::size_t>(ElementsCount());
                  if constexpr (std::endian::native == std::endian::little) {
                    return std::fwrite(elements, sizeof *elements, count, file.get()) == count;
                  }
                  for (std::size_t i = 0; i < count; ++i) {
                    auto word = elements[i];
                    SwapLittleEndian(&word, sizeof word, sizeof word);
                    if (std::fwrite(&word, sizeof word, 1, file.get()) != 1) return false;
                  }
                  return true;
                });
  }
  if (std::fclose(file.release()) != 0 || !isWritten) status_ = 12;
}

void MTH_MATRIX::SaveASCII(const std::string& fileName) const {
  File file(std::fopen(fileName.c_str(), "w"));
  if (!file) {
    status_ = 12;
    return;
  }
  constexpr int kDecimals = 6;
  bool isWritten = true;
  for (int i = 0; i < rows_; ++i) {
    for (int j = 0; j < columns_; ++j) {
      std::array<char, 64> text;  // the largest float has 39 digits before the point
      const double rounded = static_cast<float>(Get(i, j));
      char* end = std::to_chars(text.data(), text.data() + text.size() - 1, rounded, std::chars_format::fixed,
                                kDecimals)
                      .ptr;
      *end++ = '\t';
      const auto length = static_cast<std::size_t>(end - text.data());
      isWritten = isWritten && std::fwrite(text.data(), 1, length, file.get()) == length;
    }
    isWritten = isWritten && std::fputc('\n', file.get()) != EOF;
  }
  if (std::fclose(file.release()) != 0 || !isWritten) status_ = 12;
}
