#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "mth/statistics/Mth_congruence_internal.h"
#include "mth/statistics/Mth_normal_pair_internal.h"
#include "mth/statistics/Mth_random.h"

// The streams belong to the process: every test seeds those that it draws from. Stream 4 is never seeded.

namespace {

constexpr short kUnseeded = 4;
constexpr short kNoStream[] = {-1, 5, 32767, -32768};
constexpr double kLargestUniform = 0.99999988;

int clockReading = 0;

// For its own life, a clock that stands still.
class StoppedClock {
 public:
  explicit StoppedClock(int hundredths) {
    clockReading = hundredths;
    former_ = Mth_SetRandomClock([] { return clockReading; });
  }
  ~StoppedClock() { Mth_SetRandomClock(former_); }
  StoppedClock(const StoppedClock&) = delete;
  StoppedClock& operator=(const StoppedClock&) = delete;

 private:
  int (*former_)();
};

void Seed(short stream, int hundredths) {
  const StoppedClock clock(hundredths);
  ASSERT_TRUE(Mth_InitRandom1(stream));
}

std::vector<double> Uniforms(short stream, int hundredths, int count) {
  Seed(stream, hundredths);
  std::vector<double> uniforms;
  for (int i = 0; i < count; ++i) uniforms.push_back(Mth_Random1(stream));
  return uniforms;
}

TEST(Random, SubtractiveDrawsAreThoseOfKnuth) {
  // The first draws and the 10,000th, by GSL 2.7.1: gsl_rng_ran3 with the clock as seed.
  const std::map<int, std::vector<double>> cases = {
      {1, {298227348, 715119168, 33021107, 874393600, 534194424, 631586247, 186340785}},
      {4321, {89338708, 631895968, 915018387, 253675360, 289442744, 882872007, 134196945}},
      {8639999, {992340352, 484498438, 763746849, 607645414, 742984772, 777989911, 994518259}}};
  for (const auto& [hundredths, expected] : cases) {
    const std::vector<double> draws = Uniforms(2, hundredths, 10000);
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(draws[i], expected[i] * 1e-9) << hundredths;
    EXPECT_EQ(draws.back(), expected.back() * 1e-9) << hundredths;
    int wrong = 0;
    for (std::size_t k = 55; k < draws.size();
         ++k) {  // x[k] = x[k - 55] - x[k - 24], but for draws cut at the top
      const double difference = draws[k - 55] - draws[k - 24];
      const double wrapped = difference < 0.0 ? difference + 1.0 : difference;
      wrong +=
          std::abs(draws[k] - wrapped) > 1e-14 && std::max(draws[k], draws[k - 55]) < kLargestUniform ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0) << hundredths;
  }
  EXPECT_EQ(Uniforms(0, 8640001, 3), Uniforms(1, 1, 3));  // the clock counts modulo one day
  EXPECT_EQ(Uniforms(0, -1, 3), Uniforms(1, 8639999, 3));
}

TEST(Random, UniformDeviatesFillTheirInterval) {
  const std::vector<double> draws = Uniforms(0, 777, 200000);
  long seed = -777;
  double sums[4] = {};
  for (const double u : draws) {
    EXPECT_TRUE(u >= 0.0 && u <= kLargestUniform) << u;
    const double v = static_cast<double>(Mth_RandomGenerator(&seed));
    EXPECT_TRUE(v > 0.0 && v < 1.0) << v;
    sums[0] += u;
    sums[1] += u * u;
    sums[2] += v;
    sums[3] += v * v;
  }
  const double count = static_cast<double>(draws.size());
  for (const int first : {0, 2}) {
    EXPECT_NEAR(sums[first] / count, 0.5, 0.005);
    EXPECT_NEAR(sums[first + 1] / count, 1.0 / 3.0, 0.005);
  }
  // Found by trying seeds: draws that are cut, from 0.99999998 and from 1 - 8e-9.
  EXPECT_EQ(Uniforms(1, 2099107, 5).back(), kLargestUniform);
  seed = -2172659;
  for (int i = 0; i < 3; ++i) EXPECT_LT(Mth_RandomGenerator(&seed), 0.99f);
  EXPECT_EQ(Mth_RandomGenerator(&seed), static_cast<float>(kLargestUniform));
}

// Knuth's generator as it is published, one table for each stream and one pair of cursors for all.
class SubtractiveRecurrences {
 public:
  void Seed(int stream, int hundredths) { seeds_[stream] = -hundredths; }

  double Draw(int stream) {
    auto& ma = tables_[stream];
    if (seeds_[stream] < 0) {
      long mj = (161803398 - std::labs(seeds_[stream])) % 1000000000;
      ma[55] = mj;
      long mk = 1;
      for (int i = 1; i <= 54; ++i) {
        const int ii = (21 * i) % 55;
        ma[ii] = mk;
        mk = mj - mk;
        if (mk < 0) mk += 1000000000;
        mj = ma[ii];
      }
      for (int k = 1; k <= 4; ++k) {
        for (int i = 1; i <= 55; ++i) {
          ma[i] -= ma[1 + (i + 30) % 55];
          if (ma[i] < 0) ma[i] += 1000000000;
        }
      }
      inext_ = 0;
      inextp_ = 31;
      seeds_[stream] = 1;
    }
    if (++inext_ == 56) inext_ = 1;
    if (++inextp_ == 56) inextp_ = 1;
    long mj = ma[inext_] - ma[inextp_];
    if (mj < 0) mj += 1000000000;
    ma[inext_] = mj;
    return std::min(static_cast<double>(mj) * 1e-9, kLargestUniform);
  }

 private:
  long seeds_[3] = {};
  long tables_[3][56] = {};
  int inext_ = 0;
  int inextp_ = 0;
};

// Streams that take turns, for one draw or for hundreds, and are seeded anew in between.
TEST(Random, StreamsThatTakeTurnsFollowTheirRecurrences) {
  std::mt19937 engine(37);
  SubtractiveRecurrences recurrences;
  for (int stream = 0; stream < 3; ++stream) {
    Seed(static_cast<short>(stream), 1000 + stream);
    recurrences.Seed(stream, 1000 + stream);
    EXPECT_EQ(Mth_Random1(static_cast<short>(stream)), recurrences.Draw(stream));
  }
  int wrong = 0;
  for (int turn = 0; turn < 4000; ++turn) {
    const int stream = static_cast<int>(engine() % 3);
    if (engine() % 50 == 0) {
      Seed(static_cast<short>(stream), turn + 1);
      recurrences.Seed(stream, turn + 1);
    }
    if (engine() % 50 == 0) Mth_Random1(-1);
    for (auto draws = engine() % (turn % 4 == 0 ? 300 : 4); draws > 0; --draws)
      wrong += Mth_Random1(static_cast<short>(stream)) != recurrences.Draw(stream) ? 1 : 0;
  }
  EXPECT_EQ(wrong, 0);
}

TEST(Random, BadAndUnseededStreamsAnswerWithoutDrawing) {
  const std::vector<double> reference = Uniforms(0, 12345, 2);
  Seed(0, 12345);
  EXPECT_EQ(Mth_Random1(0), reference[0]);
  for (const short stream : kNoStream) {
    EXPECT_FALSE(Mth_InitRandom1(stream));
    EXPECT_FALSE(Mth_InitRandom2(stream, 1, 2));
    EXPECT_FALSE(Mth_InitRandom3(stream));
    EXPECT_FALSE(Mth_InitNormalRandom(stream));
    EXPECT_EQ(Mth_Random1(stream), -1.0);
    EXPECT_EQ(Mth_Random2(stream), -1);
    EXPECT_EQ(Mth_Random3(stream), -1);
    EXPECT_EQ(Mth_NormalRandomGenerator(stream), 0.0f);
  }
  EXPECT_EQ(Mth_Random1(0), reference[1]);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Mth_Random1(kUnseeded), 0.0);
    EXPECT_EQ(Mth_Random2(kUnseeded), 0);
    EXPECT_EQ(Mth_Random3(kUnseeded), 0);
    EXPECT_EQ(Mth_NormalRandomGenerator(kUnseeded), 0.0f);
  }
}

TEST(Random, StreamsWithoutAClockAreSeededFromTheTimeOfDay) {
  const auto hundredthsNow = [] {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const std::tm local = *std::localtime(&seconds);
    return ((local.tm_hour * 60 + local.tm_min) * 60 + local.tm_sec) * 100 +
           static_cast<int>(duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000 / 10);
  };
  EXPECT_EQ(Mth_SetRandomClock(nullptr), nullptr);
  const int before = hundredthsNow();
  EXPECT_TRUE(Mth_InitRandom1(3));
  const int after = hundredthsNow();
  const double drawn = Mth_Random1(3);
  bool isFound = before == 0 || after < before;  // midnight seeds nothing
  for (int reading = before; reading <= after; ++reading) isFound |= Uniforms(2, reading, 1)[0] == drawn;
  EXPECT_TRUE(isFound) << before << ' ' << after;
}

TEST(Random, IntegersFollowTheUniformDeviatesOfTheSameSeed) {
  const std::pair<short, short> ranges[] = {{3, 5}, {-5, 5}, {7, 7}, {-32768, 32767}, {0, 1}};
  for (const auto& [low, high] : ranges) {
    const std::vector<double> uniforms = Uniforms(1, 5000, 3000);
    const StoppedClock clock(5000);
    EXPECT_TRUE(Mth_InitRandom2(1, low, high));
    std::map<int, int> counts;
    for (const double u : uniforms) {
      const int drawn = Mth_Random2(1);
      EXPECT_EQ(drawn, std::floor((high + 1.0 - low) * u) + low);
      ++counts[drawn];
    }
    EXPECT_GE(counts.begin()->first, low);
    EXPECT_LE(counts.rbegin()->first, high);
    for (int value = low; high - low < 20 && value <= high; ++value) {
      EXPECT_NEAR(counts[value], 3000.0 / (high - low + 1), 150.0) << value;
    }
  }
}

TEST(Random, BitsRepeatOnlyAfterAFullPeriod) {
  constexpr std::size_t kPeriod = (1u << 18) - 1;  // the polynomial of degree 18 is primitive
  const StoppedClock clock(8639998);
  EXPECT_TRUE(Mth_InitRandom3(2));
  std::vector<short> bits;
  for (std::size_t i = 0; i < kPeriod + 1000; ++i) bits.push_back(Mth_Random3(2));
  EXPECT_EQ(std::count(bits.begin(), bits.begin() + kPeriod, 1), 1 << 17);
  EXPECT_TRUE(std::equal(bits.begin() + kPeriod, bits.end(), bits.begin()));
  int wrong = 0;
  for (std::size_t k = 18; k < bits.size(); ++k) {
    wrong += bits[k] != (bits[k - 18] ^ bits[k - 5] ^ bits[k - 2] ^ bits[k - 1]) ? 1 : 0;
  }
  EXPECT_EQ(wrong, 0);
}

TEST(Random, MidnightSeedsNothing) {
  const std::vector<double> reference = Uniforms(0, 321, 3);
  Seed(0, 321);
  EXPECT_EQ(Mth_Random1(0), reference[0]);
  const StoppedClock clock(0);
  EXPECT_TRUE(Mth_InitRandom1(0));
  EXPECT_EQ(Mth_Random1(0), reference[1]);  // a running stream runs on
  EXPECT_TRUE(Mth_InitRandom3(1));
  for (int i = 0; i < 40; ++i) EXPECT_EQ(Mth_Random3(1), 0);
}

TEST(Random, CombinedDrawsFollowTheirRecurrences) {
  // Worked out from the two congruences and the shuffle in whole numbers of another language: the first five
  // draws, the 10,000th and the seed that it leaves.
  const std::map<long, std::vector<double>> cases = {
      {-1, {723420309, 172086428, 1511817966, 1658898790, 1131219299, 578308690, 1276080360}},
      {0, {723420309, 172086428, 1511817966, 1658898790, 1131219299, 578308690, 1276080360}},
      {-123456, {901377726, 368347449, 291378744, 846175199, 1445080863, 1553460962, 952553014}},
      {-2147483562, {68930984, 2075537872, 513586575, 1085280151, 1301347045, 1225181512, 29018669}}};
  for (const auto& [start, expected] : cases) {
    long seed = start;
    std::vector<float> draws;
    for (int i = 0; i < 10000; ++i) draws.push_back(Mth_RandomGenerator(&seed));
    for (std::size_t i = 0; i < 5; ++i)
      EXPECT_EQ(draws[i], static_cast<float>(expected[i] / 2147483563.0)) << start;
    EXPECT_EQ(draws.back(), static_cast<float>(expected[5] / 2147483563.0)) << start;
    EXPECT_EQ(static_cast<double>(seed), expected[6]) << start;
  }
  for (const long extreme : {std::numeric_limits<long>::min(), std::numeric_limits<long>::max()}) {
    long seed = extreme;
    for (int i = 0; i < 100; ++i) {
      const float drawn = Mth_RandomGenerator(&seed);
      EXPECT_TRUE(drawn > 0.0f && drawn < 1.0f && seed > 0) << extreme;
    }
  }
}

// The two congruences and the shuffle, written out: one state, whoever holds the seed.
class CombinedRecurrences {
 public:
  float Draw(long& seed) {
    if (seed <= 0) Restart(seed);
    seed = First(seed);
    second_ = 40692 * (second_ % 52774) - 3791 * (second_ / 52774);
    if (second_ < 0) second_ += 2147483399;
    long long& entry = table_[output_ / 67108862];
    output_ = entry - second_;
    entry = seed;
    if (output_ < 1) output_ += 2147483562;
    return static_cast<float>(std::min(static_cast<double>(output_) / 2147483563.0, kLargestUniform));
  }

 private:
  static long First(long long seed) {
    const long long next = 40014 * (seed % 53668) - 12221 * (seed / 53668);
    return static_cast<long>(next < 0 ? next + 2147483563 : next);
  }

  void Restart(long& seed) {
    seed = std::max(-seed, 1L);
    second_ = seed;
    for (std::size_t j = 40; j-- > 0;) {
      seed = First(seed);
      if (j < 32) table_[j] = seed;
    }
    output_ = table_[0];
  }

  long long second_ = 0;
  long long output_ = 0;
  long long table_[32] = {};
};

TEST(Random, CombinedDrawsOfManySeedsShareTheirState) {
  // The sixth draw from 56933 is 134217726, just within an entry of the table, and that from 199270 is cut at
  // the top. The last seed steps to 0 and then restarts for all.
  for (const long start : {-5, -56933, -199270}) {
    std::vector<long> seeds = {start, 77, 1, 2147483562, 2147483647, 2147483573};
    std::vector<long> expectedSeeds = seeds;
    CombinedRecurrences recurrences;
    int wrong = 0;
    for (std::size_t i = 0; i < 200000; ++i) {
      const std::size_t caller = i % 1000 < 980 ? 0 : i / 3 % seeds.size();
      const float expected = recurrences.Draw(expectedSeeds[caller]);
      wrong += Mth_RandomGenerator(&seeds[caller]) != expected || seeds != expectedSeeds ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0) << start;
  }
}

TEST(Random, NormalDeviatesComeInPairsFromTheUniformOnes) {
  const std::vector<double> uniforms = Uniforms(0, 2024, 1000);
  Mth_NormalRandomGenerator(0);
  Mth_NormalRandomGenerator(kUnseeded);  // nothing is kept now, whatever was before
  Seed(0, 2024);
  std::size_t used = 0;
  for (int pair = 0; pair < 150; ++pair) {
    float v1 = 0.0f;
    float v2 = 0.0f;
    float square = 0.0f;
    do {
      v1 = static_cast<float>(2.0 * uniforms[used] - 1.0);
      v2 = static_cast<float>(2.0 * uniforms[used + 1] - 1.0);
      used += 2;
      square = v1 * v1 + v2 * v2;
    } while (square >= 1.0f);
    const auto factor = static_cast<float>(std::sqrt(-2.0 * std::log(static_cast<double>(square)) / square));
    EXPECT_EQ(Mth_NormalRandomGenerator(0), v2 * factor);
    EXPECT_TRUE(Mth_InitNormalRandom(1));                          // forgets nothing
    EXPECT_EQ(Mth_NormalRandomGenerator(kUnseeded), v1 * factor);  // kept for any stream
    EXPECT_EQ(Mth_Random1(0), uniforms[used++]);                   // nothing else was drawn
  }
}

TEST(Random, NormalDeviatesAcceptThePairOfZeros) {
  std::vector<double> uniforms = {0.25, 0.25, 0.5,
                                  0.0,  0.5,  0.5};  // from the last; (0, 1/2) lies on the circle
  const auto draw = [&uniforms] {
    const double last = uniforms.back();
    uniforms.pop_back();
    return last;
  };
  const mth_internal::NormalPair zeros = mth_internal::MakeNormalPair(draw);
  EXPECT_TRUE(std::isnan(zeros.first) && std::isnan(zeros.second));
  EXPECT_EQ(uniforms.size(), 4u);
  EXPECT_EQ(mth_internal::MakeNormalPair(draw).first,
            mth_internal::MakeNormalPair([] { return 0.25; }).second);
}

// A guess is right, or too great by the modulus: for few seeds, and for those whose next one is 0.
template <class Congruence>
void CheckGuesses(std::int64_t multiplier, std::int64_t quotient, std::int64_t remainder) {
  constexpr std::uint32_t kStride = 4999;
  int guesses = 0;
  int tooGreat = 0;
  int wrong = 0;
  for (std::uint32_t seed = 0; seed < (1u << 31) - kStride; seed += kStride, ++guesses) {
    const std::int64_t next = multiplier * (seed % quotient) - remainder * (seed / quotient);
    const std::int64_t expected = next < 0 ? next + Congruence::kModulus : next;
    const std::int64_t guess = Congruence::Guess(seed);
    tooGreat += guess == expected + Congruence::kModulus ? 1 : 0;
    const bool isWithin = guess == expected || guess == expected + Congruence::kModulus;
    wrong += !isWithin || Congruence::Step(seed) != expected ? 1 : 0;
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_LT(tooGreat, guesses / 16000);
}

TEST(Random, GuessedQuotientsAreRightOrOneTooSmall) {
  CheckGuesses<mth_internal::FirstCongruence>(40014, 53668, 12221);
  CheckGuesses<mth_internal::SecondCongruence>(40692, 52774, 3791);
  EXPECT_EQ(mth_internal::FirstCongruence::Guess(0), 0);
  EXPECT_EQ(mth_internal::FirstCongruence::Guess(2147483573), 2147483563);  // its next is 0
}

TEST(Random, SelectsDistinctIntegersTheSameInEveryProcess) {
  using Selection = std::vector<short>;
  const auto select = [](short k, short n) {
    Selection out(static_cast<std::size_t>(std::max<short>(k, 0)), -7);
    EXPECT_EQ(Mth_Random_SelectAleat(k, n, out.data()), k <= n);
    return out;
  };
  // Worked out like the draws above, from the seed -10, which only the first run in a process meets.
  EXPECT_EQ(select(8, 100), (Selection{28, 21, 42, 30, 36, 73, 84, 88}));
  EXPECT_EQ(select(5, 5), (Selection{4, 0, 1, 2, 3}));
  EXPECT_EQ(select(4, 30000), (Selection{11407, 13869, 25962, 15084}));
  EXPECT_EQ(select(3, 2), (Selection{-7, -7, -7}));
  EXPECT_EQ(select(0, 0), Selection{});
  EXPECT_EQ(select(-1, 0), Selection{});
  EXPECT_FALSE(Mth_Random_SelectAleat(1, 2, nullptr));
  EXPECT_EQ(Mth_RandomGenerator(nullptr), 0.0F);
  constexpr short kMost = 32767;
  Selection all = select(kMost, kMost);
  std::sort(all.begin(), all.end());
  for (short i = 0; i < kMost; ++i) ASSERT_EQ(all[static_cast<std::size_t>(i)], i);
}

}  // namespace
