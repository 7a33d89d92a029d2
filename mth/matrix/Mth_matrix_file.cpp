#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <limits>
#include <string>

#include "mth/core/Mth_text_file_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// The binary and the text file of a matrix.

namespace {

using mth_internal::ElementsCount;
using mth_internal::File;
using mth_internal::OnStorage;

using Header = std::array<std::int32_t, 3>;  // rows, columns, element type

constexpr std::int64_t kHeaderBytes = sizeof(Header);
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

// Bytes of the file after its header; negative when that cannot be told (a pipe, a device).
std::int64_t ElementBytes(const char* fileName) {
  try {
    return static_cast<std::int64_t>(std::filesystem::file_size(mth_internal::PathOf(fileName))) -
           kHeaderBytes;
  } catch (const std::exception&) {
    return -1;
  }
}

// A size that Allocate could grant: whatever else the header says is left for it to refuse.
bool IsTrustworthy(const Header& header, const char* fileName) {
  const auto [rows, columns, type] = header;
  if (rows < 0 || columns < 0 || (type != 0 && type != 1)) return true;
  const std::int64_t count = std::int64_t{rows} * columns;
  if (count > std::numeric_limits<std::int32_t>::max()) return false;
  const auto promised = static_cast<std::int64_t>(mth_internal::StorageBytes(count, type));
  return promised <= kLargestPromise || promised <= ElementBytes(fileName);
}

}  // namespace

MTH_MATRIX::MTH_MATRIX(const std::string& fileName) : MTH_MATRIX(fileName.c_str()) {}

MTH_MATRIX::MTH_MATRIX(const char* fileName) {
  const File file = fileName != nullptr ? mth_internal::OpenFile(fileName, "rb") : File();
  SetUnallocated(-1, file ? 1 : 13);
  if (!file) return;
  Header header{};
  const bool hasHeader = std::fread(header.data(), sizeof header, 1, file.get()) == 1;
  SwapLittleEndian(header.data(), sizeof header, sizeof(std::int32_t));
  if (!hasHeader || !IsTrustworthy(header, fileName)) return;
  Allocate(header[0], header[1], header[2]);
  if (!allocated_) {
    status_ = 1;  // whatever the refusal: a caller of a file constructor gets one code for a bad header
    return;
  }
  OnStorage(*this, [&](auto* elements) {
    auto* bytes = reinterpret_cast<unsigned char*>(elements);
    const std::size_t wanted = mth_internal::StorageBytes(ElementsCount(*this), type_);
    const std::size_t got = std::fread(bytes, 1, wanted, file.get());
    // A word cut in two is missing as a whole.
    const std::size_t whole = got - got % sizeof(*elements);
    std::memset(bytes + whole, 0, wanted - whole);
    SwapLittleEndian(bytes, whole, sizeof(*elements));
  });
}

void MTH_MATRIX::Save(const std::string& fileName) const {
  File file = mth_internal::OpenFile(fileName.c_str(), "wb");
  if (!file) {
    status_ = 12;
    return;
  }
  Header header{rows_, columns_, type_};
  SwapLittleEndian(header.data(), sizeof header, sizeof(std::int32_t));
  bool isWritten = std::fwrite(header.data(), sizeof header, 1, file.get()) == 1;
  if (allocated_) {
    isWritten = isWritten && OnStorage(*this, [&](auto* elements) {
                  const auto count = static_cast<std::size_t>(ElementsCount(*this));
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
  constexpr int kDecimals = 6;
  mth_internal::TextWriter file(fileName.c_str());
  for (int i = 0; i < rows_ && file.IsWritten(); ++i) {
    for (int j = 0; j < columns_ && file.IsWritten(); ++j) {
      file.Fixed(static_cast<float>(Get(i, j)), kDecimals).Text("\t");
    }
    file.Text("\n");
  }
  if (!file.Close()) status_ = 12;
}
