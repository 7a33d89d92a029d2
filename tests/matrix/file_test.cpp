#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <utility>

#include "support/allocation_faults.h"
#include "support/matrices.h"
#include "support/values.h"

namespace mth_test {
namespace {

// Each case has a file of its own, and runs under the locale of the environment.
class MatrixFile : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { std::setlocale(LC_ALL, ""); }
  static void TearDownTestSuite() { std::setlocale(LC_ALL, "C"); }
  void TearDown() override { std::filesystem::remove(path_); }

  std::string Bytes() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void Write(const std::string& bytes) const { std::ofstream(path_, std::ios::binary) << bytes; }
  std::string Ascii(const MTH_MATRIX& matrix) const {
    matrix.Get(-1, 0);  // a success does not clear the status
    const int status = matrix.GetStatusError();
    matrix.SaveASCII(name_);
    EXPECT_EQ(matrix.GetStatusError(), status);
    return Bytes();
  }

  // Names are UTF-8, on Windows as well.
  const std::string name_ =
      ::testing::TempDir() + "mth_données_" + std::to_string(std::random_device()()) + ".bin";
  const std::filesystem::path path_{std::u8string(name_.begin(), name_.end())};
};

// 32-bit words, little-endian.
std::string Words(std::initializer_list<std::int64_t> words) {
  std::string bytes;
  for (std::int64_t word : words) {
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>((word >> shift) & 0xFF);
  }
  return bytes;
}

TEST_F(MatrixFile, BinaryBytes) {
  Matrix({{1.0, -2.0}}, kFloat).Save(name_);
  EXPECT_EQ(Bytes(), Words({1, 2, 1, 0x3F800000, 0xC0000000}));
  Matrix({{1.0}, {-0.5}}, kDouble).Save(name_);
  EXPECT_EQ(Bytes(), Words({2, 1, 0, 0, 0x3FF00000, 0, 0xBFE00000}));
  MTH_MATRIX().Save(name_);
  EXPECT_EQ(Bytes(), Words({-1, -1, 0}));
}

TEST_F(MatrixFile, BinaryRoundTripKeepsEveryBit) {
  const std::pair<int, int> shapes[] = {{1, 1}, {2, 2}, {3, 7}, {100, 41}, {0, 5}, {5, 0}};
  for (int type : {kDouble, kFloat}) {
    for (const auto& [rows, columns] : shapes) {
      MTH_MATRIX matrix = RandomMatrix(rows, columns, type, 51);
      // A NaN with a payload, a negative zero and the smallest numbers.
      const double specials[] = {std::bit_cast<double>(0xFFF8123460000000U), -0.0, 5e-324, 1e-45};
      for (int n = 0; n < std::min(rows * columns, 4); ++n) matrix.Set(n / columns, n % columns, specials[n]);
      matrix.Get(-1, 0);
      matrix.Save(name_);
      EXPECT_EQ(matrix.GetStatusError(), 2);  // a success does not clear it
      const MTH_MATRIX read(name_);
      EXPECT_EQ(read.GetStatusError(), 0);
      ASSERT_TRUE(SameBits(read, matrix));
      const auto elements = [type](const MTH_MATRIX& m) {
        return type == kDouble ? static_cast<const void*>(m.GetEDataAddress()) : m.GetFDataAddress();
      };
      const std::size_t size = type == kDouble ? sizeof(double) : sizeof(float);
      EXPECT_EQ(
          std::memcmp(elements(read), elements(matrix), static_cast<std::size_t>(rows * columns) * size), 0);
    }
  }
}

TEST_F(MatrixFile, DamagedHeadersAreRefusedWithoutALargeAllocation) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  const std::string headers[] = {
      "",
      Words({1, 1}),
      Words({1, 1, 0}).substr(0, 11),
      Words({1, 1, 7}) + std::string(8, 'x'),
      Words({1, 1, -1}) + std::string(8, 'x'),
      Words({-1, -1, 0}) + std::string(8, 'x'),
      Words({-1, 1, 0}),
      Words({1, -1, 1}),
      Words({65536, 65536, 0}) + std::string(8, 'x'),  // 2^32 elements: no more than none in 32 bits
      Words({kMax, kMax, 1}),
      Words({kMax, 1, 1}),
      Words({20000, 20000, 0}) + std::string(8, 'x'),
      Words({16384, 8193, 0}),  // 8 KiB beyond 1 GiB
  };
  for (const std::string& bytes : headers) {
    Write(bytes);
    const AllocationWatch watch;
    const MTH_MATRIX matrix(name_);
    EXPECT_LT(watch.LargestRequest(), std::size_t{1} << 20);
    EXPECT_FALSE(matrix.IsAllocated());
    EXPECT_EQ(matrix.GetStatusError(), 1) << ::testing::PrintToString(bytes);
    EXPECT_EQ(matrix.GetNbRows(), -1);
    EXPECT_EQ(matrix.GetNbCols(), -1);
    EXPECT_EQ(matrix.GetType(), -1);
    EXPECT_EQ(matrix.GetEDataAddress(), nullptr);
    EXPECT_EQ(matrix.GetFDataAddress(), nullptr);
  }
}

// Beyond the limit for promises the file must be as long as it says, and this one is, beyond 32 bits of it.
// The elements' storage is asked for, and refused here.
TEST_F(MatrixFile, AHugeFileThatKeepsItsPromiseIsAllocated) {
  constexpr std::size_t kElementBytes = std::size_t{20000} * 20000 * sizeof(double);
  Write(Words({20000, 20000, 0}));
  std::filesystem::resize_file(path_, 12 + kElementBytes);  // without blocks on disk
  std::size_t largest = 0;
  for (int allowed = 0; allowed < 100 && largest < kElementBytes; ++allowed) {
    const AllocationWatch watch;
    const AllocationFaults faults(allowed);
    const MTH_MATRIX matrix(name_);
    largest = watch.LargestRequest();
    EXPECT_FALSE(matrix.IsAllocated());
    // 13: on Windows a path takes memory, without which no file is opened.
    EXPECT_TRUE(matrix.GetStatusError() == 1 || matrix.GetStatusError() == 13);
  }
  EXPECT_GE(largest, kElementBytes);
}

TEST_F(MatrixFile, MissingElementsAreZero) {
  const std::string two = Words({0, 0x40000000});  // the double 2
  struct Case {
    std::string bytes;
    MTH_MATRIX expected;
  };
  const Case cases[] = {
      {Words({2, 3, 0}), Matrix({{0, 0, 0}, {0, 0, 0}})},
      {Words({2, 3, 0}) + two + two, Matrix({{2, 2, 0}, {0, 0, 0}})},
      {Words({2, 3, 0}) + two + two.substr(0, 7), Matrix({{2, 0, 0}, {0, 0, 0}})},  // a cut word is missing
      {Words({1, 2, 1, 0x40000000}) + "abc", Matrix({{2, 0}}, kFloat)},
      {Words({1, 1, 0}) + two + "further bytes", Matrix({{2}})},
      {Words({0, 3, 0}), MTH_MATRIX(0, 3, kDouble)},
      {Words({700, 500, 1, 0x40000000}),
       FromRule(700, 500, kFloat, [](int i, int j) { return i + j == 0 ? 2.0 : 0.0; })},
  };
  for (const Case& c : cases) {
    Write(c.bytes);
    const MTH_MATRIX read(name_);
    EXPECT_EQ(read.GetStatusError(), 0);
    EXPECT_TRUE(SameBits(read, c.expected));
  }
}

TEST_F(MatrixFile, TextIsThatOfPercentFInEveryLocale) {
  EXPECT_EQ(Ascii(Matrix({{1.0 / 3.0, 2.0}})), "0.333333\t2.000000\t\n");
  EXPECT_EQ(Ascii(Matrix({{-1.5, 1e-7}, {-1e-7, 0.0}}, kFloat)),
            "-1.500000\t0.000000\t\n-0.000000\t0.000000\t\n");
  EXPECT_EQ(Ascii(Matrix({{-0.0, kInfinity, -kInfinity, kNaN, -kNaN}})),
            "-0.000000\tinf\t-inf\tnan\tnan\t\n");
  // Single precision, also of doubles.
  EXPECT_EQ(Ascii(Matrix({{16777217.0, 1234567.891, 0.1234567891}})),
            "16777216.000000\t1234567.875000\t0.123457\t\n");
  EXPECT_EQ(Ascii(Matrix({{3.4028234663852886e38, -1e39}})),
            "340282346638528859811704183484516925440.000000\t-inf\t\n");
  EXPECT_EQ(Ascii(MTH_MATRIX(2, 0, kDouble)), "\n\n");
  EXPECT_EQ(Ascii(MTH_MATRIX()), "");
}

TEST_F(MatrixFile, TextAgreesWithTheCLibrary) {
  // Set where these tests run under a comma locale, so that a missing locale does not go unseen.
  if (std::getenv("LC_COMMA_EXPECTED") != nullptr) {
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
  }
  for (int type : {kDouble, kFloat}) {
    const MTH_MATRIX matrix = FromRule(40, 5, type, [](int i, int j) {
      return RandomMatrix(1, 1, kDouble, static_cast<unsigned>(5 * i + j)).Get(0, 0) *
             std::ldexp(1.0, i - 15);
    });
    std::string expected;
    for (int i = 0; i < 40; ++i) {
      for (int j = 0; j < 5; ++j) {
        char text[64];
        std::snprintf(text, sizeof text, "%f\t", static_cast<double>(static_cast<float>(matrix.Get(i, j))));
        expected += text;
      }
      expected += '\n';
    }
    for (char& character : expected) character = character == ',' ? '.' : character;
    EXPECT_EQ(Ascii(matrix), expected);
  }
}

TEST_F(MatrixFile, FilesThatCannotBeUsed) {
  const std::string impossible = ::testing::TempDir() + "mth_no_such_folder/file";
  const MTH_MATRIX missing(impossible);
  EXPECT_EQ(missing.GetStatusError(), 13);
  EXPECT_EQ(missing.GetType(), -1);
  EXPECT_EQ(missing.GetNbRows(), -1);
  EXPECT_EQ(MTH_MATRIX(::testing::TempDir()).IsAllocated(), false);
  const MTH_MATRIX binary = Matrix({{1.0}});
  binary.Save(impossible);
  EXPECT_EQ(binary.GetStatusError(), 12);
  const MTH_MATRIX text = Matrix({{1.0}});
  text.SaveASCII(impossible);
  EXPECT_EQ(text.GetStatusError(), 12);
#if defined(__linux__)
  const MTH_MATRIX onFullDisk = Matrix({{1.0}});
  onFullDisk.Save("/dev/full");
  EXPECT_EQ(onFullDisk.GetStatusError(), 12);
  const MTH_MATRIX longText = RandomMatrix(1000, 20, kDouble, 52);  // fails long before its end
  longText.SaveASCII("/dev/full");
  EXPECT_EQ(longText.GetStatusError(), 12);
  const MTH_MATRIX shortText = Matrix({{1.0}});  // fails when it is closed
  shortText.SaveASCII("/dev/full");
  EXPECT_EQ(shortText.GetStatusError(), 12);
#endif
}

}  // namespace
}  // namespace mth_test
