#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "literal_laplacian.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/image/Mth_laplacian.h"
#include "support/allocation_faults.h"
#include "support/cancelling_display.h"
#include "support/matrices.h"
#include "support/recording_display.h"

namespace {

using mth_internal::InstructionSet;
using mth_test::Volume;

constexpr InstructionSet kAllSets[] = {InstructionSet::Baseline, InstructionSet::Avx2,
                                       InstructionSet::Avx512};

// Values of very different magnitudes, so that another order of sums shows, and signed zeros.
template <class T>
Volume<T> RandomVolume(int nx, int ny, int nz, unsigned seed) {
  std::mt19937 engine(seed);
  Volume<T> volume(nx, ny, nz);
  for (T& value : volume.values) {
    const auto word = engine();
    value = static_cast<T>(static_cast<double>(word >> 8) - 8e6) / static_cast<T>(1U << (word & 15U));
    if (word % 11 == 0) value = word % 2 == 0 ? T{0} : -T{0};
  }
  return volume;
}

// The bits of a NaN aside.
template <class T>
::testing::AssertionResult SameBits(const std::vector<T>& actual, const std::vector<T>& expected) {
  if (actual.size() != expected.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (std::isnan(actual[i]) && std::isnan(expected[i])) continue;
    if (std::memcmp(&actual[i], &expected[i], sizeof(T)) != 0)
      return ::testing::AssertionFailure() << i << ": " << actual[i] << ", expected " << expected[i];
  }
  return ::testing::AssertionSuccess();
}

template <class T>
std::vector<T> RunImage(const Volume<T>& image) {
  constexpr int kType = sizeof(T) == sizeof(double) ? mth_test::kDouble : mth_test::kFloat;
  MTH_MATRIX in(image.size[1], image.size[0], kType);
  MTH_MATRIX out(image.size[1], image.size[0], kType);
  const auto elements = [](const MTH_MATRIX& matrix) {
    if constexpr (kType == mth_test::kDouble) {
      return matrix.GetEDataAddress();
    } else {
      return matrix.GetFDataAddress();
    }
  };
  std::copy(image.values.begin(), image.values.end(), elements(in));
  std::fill_n(elements(out), image.values.size(), T{7});
  EXPECT_TRUE(Mth_ComputeLaplacien(&in, &out, kType));
  EXPECT_TRUE(SameBits({elements(in), elements(in) + image.values.size()}, image.values))
      << "the input changed";
  return {elements(out), elements(out) + image.values.size()};
}

std::vector<double> RunVolume(const Volume<double>& volume) {
  const std::unique_ptr<double[]> result(
      Mth_ComputeLaplacien3D(volume.values.data(), volume.size[0], volume.size[1], volume.size[2]));
  return {result.get(), result.get() + volume.values.size()};
}

std::vector<float> RunVolume(const Volume<float>& volume) {
  std::vector<float> out(volume.values.size(), 7.0F);
  EXPECT_EQ(Mth_ComputeLaplacien3D(volume.values.data(), out.data(), volume.size[0], volume.size[1],
                                   volume.size[2]),
            out.data());
  return out;
}

std::vector<float> RunSum(const Volume<float>& volume) {
  std::vector<float> out(volume.values.size(), 7.0F);
  Mth_ComputeLaplacien3DFloat(volume.values.data(), out.data(), volume.size[0], volume.size[1],
                              volume.size[2]);
  return out;
}

// Zeros of both signs.
template <class T>
Volume<T> RandomZeros(Volume<T> volume) {
  for (T& value : volume.values) value = value > T{0} ? T{0} : -T{0};
  return volume;
}

// Some values that are not finite, or whose differences are not.
template <class T>
Volume<T> WithSpecials(Volume<T> volume) {
  using Limits = std::numeric_limits<T>;
  const T specials[] = {Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(), Limits::max(),
                        -Limits::max()};
  for (std::size_t i = 0; i < volume.values.size(); i += 7) volume.values[i] = specials[i / 7 % 5];
  return volume;
}

template <class T>
void CheckAveragesAgainstLiteral(const Volume<T>& volume) {
  const int nz = volume.size[2];
  const std::vector<T> expected = LiteralAverage<T>(volume, {0, 1, 2}, T{1} / T{3}).values;
  std::vector<T> expectedImage;
  if (nz == 1) expectedImage = LiteralAverage<T>(volume, {1, 0}, T(0.5)).values;
  for (const InstructionSet set : kAllSets) {
    const mth_internal::InstructionSetScope scope(set);
    EXPECT_TRUE(SameBits(RunVolume(volume), expected)) << static_cast<int>(set);
    if (nz == 1) {
      EXPECT_TRUE(SameBits(RunImage(volume), expectedImage)) << static_cast<int>(set);
    }
  }
}

void CheckSumAgainstLiteral(const Volume<float>& volume) {
  const std::vector<float> expected = LiteralSum(volume).values;
  for (const InstructionSet set : kAllSets) {
    const mth_internal::InstructionSetScope scope(set);
    EXPECT_TRUE(SameBits(RunSum(volume), expected)) << static_cast<int>(set);
  }
}

void CheckAgainstLiteral(int nx, int ny, int nz) {
  SCOPED_TRACE(std::to_string(nx) + " x " + std::to_string(ny) + " x " + std::to_string(nz));
  const auto seed = static_cast<unsigned>(100 * nx + 10 * ny + nz);
  const auto doubles = RandomVolume<double>(nx, ny, nz, seed);
  const auto floats = RandomVolume<float>(nx, ny, nz, seed);
  CheckAveragesAgainstLiteral(doubles);
  CheckAveragesAgainstLiteral(floats);
  CheckSumAgainstLiteral(floats);
  CheckAveragesAgainstLiteral(RandomZeros(doubles));
  CheckAveragesAgainstLiteral(RandomZeros(floats));
  CheckSumAgainstLiteral(RandomZeros(floats));
  CheckAveragesAgainstLiteral(WithSpecials(doubles));
  CheckAveragesAgainstLiteral(WithSpecials(floats));
  CheckSumAgainstLiteral(WithSpecials(floats));
}

TEST(Laplacian, EveryInstructionSetGivesTheBitsOfTheLiteralLoops) {
  for (int nz = 1; nz <= 6; ++nz) {
    for (int ny = 1; ny <= 6; ++ny) {
      for (int nx = 1; nx <= 6; ++nx) CheckAgainstLiteral(nx, ny, nz);
    }
  }
  for (const auto& [nx, ny, nz] :
       {std::array{70, 9, 1}, {33, 40, 1}, {1, 50, 1}, {67, 1, 1}, {64, 7, 8}, {37, 8, 7}})
    CheckAgainstLiteral(nx, ny, nz);
}

// Large results are written past the cache, whatever the alignment and the length of their rows: of less than
// two cache lines, too, and by parts of a volume.
TEST(Laplacian, LargeResultsAreThoseOfTheLiteralLoopsToo) {
  const auto image = RandomVolume<double>(1103, 1907, 1, 1);
  const std::vector<double> expected = LiteralAverage<double>(image, {1, 0}, 0.5).values;
  for (const InstructionSet set : kAllSets) {
    const mth_internal::InstructionSetScope scope(set);
    EXPECT_TRUE(SameBits(RunImage(image), expected)) << static_cast<int>(set);
  }
  CheckAveragesAgainstLiteral(RandomVolume<double>(176, 149, 161, 2));
  for (const auto& [nx, ny, nz] : {std::array{33, 361, 367}, {31, 373, 367}})
    CheckSumAgainstLiteral(RandomVolume<float>(nx, ny, nz, 3));
}

// Second derivatives of a quadratic are constant, and their linear continuation is the same constant.
TEST(Laplacian, AverageOfAQuadraticIsTheMeanOfItsCurvatures) {
  const double a = 3.0;
  const double b = -5.0;
  const double c = 8.0;
  Volume<double> image(9, 7, 1);
  Volume<double> volume(5, 6, 3);
  for (auto* target : {&image, &volume}) {
    for (int z = 0; z < target->size[2]; ++z) {
      for (int y = 0; y < target->size[1]; ++y) {
        for (int x = 0; x < target->size[0]; ++x)
          target->At(x, y, z) = a * x * x + b * y * y + c * z * z + 2.0 * x - 7.0 * y + z + 4.0;
      }
    }
  }
  EXPECT_EQ(RunImage(image), std::vector<double>(image.values.size(), (a + b) / 2.0));
  EXPECT_EQ(RunVolume(volume), std::vector<double>(volume.values.size(), (a + b + c) / 3.0));
}

TEST(Laplacian, ImageRefusesWhatItCannotTake) {
  struct Case {
    const char* name;
    MTH_MATRIX in;
    MTH_MATRIX out;
    int type;
  };
  const MTH_MATRIX image = mth_test::RandomMatrix(4, 5, mth_test::kDouble, 1);
  const MTH_MATRIX floats = mth_test::RandomMatrix(4, 5, mth_test::kFloat, 2);
  const MTH_MATRIX turned = mth_test::RandomMatrix(5, 4, mth_test::kDouble, 3);
  mth_test::RecordingDisplay display;
  for (const Case& test :
       {Case{"type 2", image, image, 2}, Case{"type -1", image, image, -1},
        Case{"floats as doubles", floats, floats, 0}, Case{"doubles as floats", image, image, 1},
        Case{"mixed", image, floats, 0}, Case{"shapes", image, turned, 0},
        Case{"no input", MTH_MATRIX(), image, 0}, Case{"no output", image, MTH_MATRIX(), 0}}) {
    MTH_MATRIX in = test.in;
    MTH_MATRIX out = test.out;
    const MTH_MATRIX before = test.out;
    EXPECT_FALSE(Mth_ComputeLaplacien(&in, &out, test.type)) << test.name;
    EXPECT_TRUE(mth_test::SameBits(out, before)) << test.name;
  }
  MTH_MATRIX in = image;
  EXPECT_FALSE(Mth_ComputeLaplacien(&in, nullptr, 0));
  EXPECT_FALSE(Mth_ComputeLaplacien(nullptr, &in, 2));
  EXPECT_TRUE(display.messages.empty());

  EXPECT_FALSE(Mth_ComputeLaplacien(nullptr, &in, 0));
  EXPECT_FALSE(Mth_ComputeLaplacien(nullptr, &in, 1));
  const auto message = mth_test::Information("Matrice d'entrée est nulle!");
  EXPECT_EQ(display.messages, (std::vector{message, message}));
  EXPECT_TRUE(mth_test::SameBits(in, image));
}

TEST(Laplacian, VolumesRefuseWhatTheyCannotTake) {
  mth_test::RecordingDisplay display;
  std::vector<float> floats(27, 3.0F);
  std::vector<float> out(27, 4.0F);
  double value = 1.0;
  constexpr int kMost = std::numeric_limits<int>::max();
  EXPECT_EQ(Mth_ComputeLaplacien3D(nullptr, 3, 3, 3), nullptr);
  EXPECT_EQ(Mth_ComputeLaplacien3D(&value, 1, -1, 1), nullptr);
  EXPECT_EQ(Mth_ComputeLaplacien3D(&value, kMost, kMost, kMost), nullptr);
  EXPECT_EQ(Mth_ComputeLaplacien3D(nullptr, out.data(), 3, 3, 3), nullptr);
  EXPECT_EQ(Mth_ComputeLaplacien3D(floats.data(), nullptr, 3, 3, 3), nullptr);
  EXPECT_EQ(Mth_ComputeLaplacien3D(floats.data(), out.data(), 3, 3, -3), nullptr);
  for (const auto& [nx, ny, nz] : {std::array{0, 3, 3}, {3, -3, 3}, {kMost, kMost, kMost}})
    Mth_ComputeLaplacien3DFloat(floats.data(), out.data(), nx, ny, nz);
  Mth_ComputeLaplacien3DFloat(floats.data(), nullptr, 3, 3, 3);
  EXPECT_TRUE(display.messages.empty());
  Mth_ComputeLaplacien3DFloat(nullptr, out.data(), 3, 3, 3);
  EXPECT_EQ(display.messages, std::vector{mth_test::Information("Matrice d'entrée est nulle!")});
  EXPECT_EQ(out, std::vector<float>(27, 4.0F));

  const std::unique_ptr<double[]> empty(Mth_ComputeLaplacien3D(&value, 0, 3, 3));
  EXPECT_NE(empty, nullptr);
  const mth_test::AllocationFaults faults(0);
  EXPECT_EQ(Mth_ComputeLaplacien3D(&value, 1, 1, 1), nullptr);
}

// A run that is asked to stop leaves the caller's output as it was.
TEST(Laplacian, CanBeCancelled) {
  Volume<float> floats = RandomVolume<float>(5, 6, 7, 3);
  Volume<double> doubles = RandomVolume<double>(5, 6, 7, 3);
  std::vector<float> out(floats.values.size(), 7.0F);
  MTH_MATRIX image = mth_test::RandomMatrix(6, 5, mth_test::kDouble, 4);
  MTH_MATRIX result(image);
  {
    mth_test::CancellingDisplay display(1);
    EXPECT_EQ(Mth_ComputeLaplacien3D(doubles.values.data(), 5, 6, 7), nullptr);
    EXPECT_EQ(Mth_ComputeLaplacien3D(floats.values.data(), out.data(), 5, 6, 7), nullptr);
    Mth_ComputeLaplacien3DFloat(floats.values.data(), out.data(), 5, 6, 7);
    EXPECT_FALSE(Mth_ComputeLaplacien(&image, &result, 0));
    EXPECT_EQ(out, std::vector<float>(out.size(), 7.0F));
    EXPECT_TRUE(mth_test::SameBits(result, image));
    EXPECT_EQ(display.questions, 4);
    EXPECT_EQ(display.messages, 0);
  }
  Volume<double> large = RandomVolume<double>(128, 128, 600, 3);
  mth_test::CancellingDisplay display(3);  // a new result is asked for again and again
  EXPECT_EQ(Mth_ComputeLaplacien3D(large.values.data(), 128, 128, 600), nullptr);
  EXPECT_EQ(display.questions, 3);
}

TEST(Laplacian, AnOutputThatIsItsInputComesOutAsZeros) {
  MTH_MATRIX image = mth_test::RandomMatrix(6, 5, mth_test::kDouble, 4);
  EXPECT_TRUE(Mth_ComputeLaplacien(&image, &image, 0));
  EXPECT_TRUE(
      mth_test::SameBits(image, mth_test::FromRule(6, 5, mth_test::kDouble, [](int, int) { return 0; })));
  for (const bool averages : {true, false}) {
    Volume<float> volume = RandomVolume<float>(4, 5, 6, 9);
    float* const values = volume.values.data();
    if (averages) {
      Mth_ComputeLaplacien3D(values, values, 4, 5, 6);
    } else {
      Mth_ComputeLaplacien3DFloat(values, values, 4, 5, 6);
    }
    EXPECT_EQ(volume.values, std::vector<float>(volume.values.size(), 0.0F));
  }
}

}  // namespace
