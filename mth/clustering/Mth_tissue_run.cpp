#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <new>
#include <numbers>
#include <utility>

#include "mth/clustering/Mth_tissue_mixture_internal.h"
#include "mth/clustering/Mth_tissue_run_internal.h"
#include "mth/core/Mth_elementary_internal.h"

namespace mth_internal {
namespace {

constexpr int kPlainSteps = 2;  // of fuzzy c-means, without a field
constexpr int kFuzzySteps = 8;  // with one
constexpr int kRounds = 10;
constexpr int kFirstFit = 40;
constexpr int kFitOfRound = 4;
constexpr int kLastFit = 20;
constexpr auto kBins = static_cast<std::size_t>(TissueMixture::kBins);

double Ln(double x) {
  return Logarithm(x);
}

// From where to where most values lie, and somewhat more: what is beyond counts in the outermost bins.
std::pair<double, double> RangeOf(ChannelValues values) {
  constexpr double kQuantile = 0.005;
  constexpr double kMargin = 0.25;
  const auto quantile = [&](double rank) {
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>(rank * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
  };
  double low = quantile(kQuantile);
  double high = quantile(1.0 - kQuantile);
  if (!(low < high)) {  // few values that differ
    low = *std::min_element(values.begin(), values.end());
    high = *std::max_element(values.begin(), values.end());
  }
  const double margin = kMargin * (high - low);
  return {std::max(0.0, low - margin), high + margin};
}

// Weight of a bin in the field, and the weight times the logarithm of its value over the one expected.
struct FieldTerms {
  double weight = 0.0;
  double logarithm = 0.0;
};

class TissueRun {
 public:
  TissueRun(const TissueSettings& settings, int strata, const ChannelValues& values, RunWatch& watch,
            TissueResult& result)
      : settings_(settings),
        watch_(watch),
        result_(result),
        values_(values),
        sample_(result.voxels),
        sampleValues_(sample_.Of(values)),
        corrected_(sampleValues_),
        mixture_(settings.tissues, strata),
        field_(result.voxels, sample_.voxels, settings),
        terms_(static_cast<std::size_t>(strata) * kBins),
        fractions_(static_cast<std::size_t>(strata * settings.tissues) * kBins),
        pure_(fractions_.size()) {
    if (!mixture_) throw std::bad_alloc();
  }

  MTH_STOP_REASON Run() {
    const auto [low, high] = RangeOf(sampleValues_);
    mixture_.SetRange(low, high);
    CountValues(sample_.voxels, corrected_);
    if (!Start() || !Refine()) return MTH_STOP_REASON::Cancelled;
    Finish();
    return MTH_STOP_REASON::Converged;
  }

 private:
  bool Start() {
    watch_.SetAction("C-moyennes floues");
    for (int step = 0; step < kPlainSteps; ++step) mixture_.StepFuzzyMeans();
    for (int step = 0; step < kFuzzySteps; ++step) {
      if (!watch_.GoesOn()) return false;
      mixture_.StepFuzzyMeans();
      if (!settings_.estimatesField) continue;
      SetFuzzyTerms();
      MoveField();
    }
    mixture_.StartMixture();
    mixture_.Fit(kFirstFit);
    return true;
  }

  bool Refine() {
    watch_.SetAction("Mélange des tissus et champ");
    for (int round = 0; round < kRounds; ++round) {
      if (!watch_.GoesOn()) return false;
      mixture_.Fit(kFitOfRound);
      if (!settings_.estimatesField) continue;
      SetMixtureTerms();
      MoveField();
    }
    watch_.SetAction("Fractions des tissus");
    return watch_.GoesOn();
  }

  void Finish() {
    field_.Correct(result_.voxels, values_, corrected_);
    if (settings_.hasLocalMeans) MapToCommonMeans();
    CountValues(result_.voxels, corrected_);
    mixture_.Fit(kLastFit);
    TabulateAll();
    WriteFractions();
    auto& centroids = result_.centroids.emplace_back();
    for (int k = 0; k < settings_.tissues; ++k) centroids.push_back(mixture_.Mean(k));
    result_.fields.push_back(field_.Field());
  }

  void CountValues(const MaskVoxels& voxels, const ChannelValues& values) {
    mixture_.ClearCounts();
    for (std::size_t i = 0; i < values.size(); ++i) mixture_.Count(voxels.stratum[i], values[i]);
  }

  FieldTerms TermsOf(double value, double expected, double weight) const {
    if (!(value > 0.0) || !(expected > 0.0)) return {};
    return {weight * expected * expected, weight * expected * expected * Ln(value / expected)};
  }

  void SetFuzzyTerms() {
    for (std::size_t bin = 0; bin < kBins; ++bin) {
      const double value = mixture_.BinValue(static_cast<int>(bin));
      const auto memberships = mixture_.SquaredMemberships(value);
      double weight = 0.0;
      double expected = 0.0;
      for (int k = 0; k < settings_.tissues; ++k) {
        weight += memberships[static_cast<std::size_t>(k)];
        expected += memberships[static_cast<std::size_t>(k)] * mixture_.Mean(k);
      }
      for (std::size_t stratum = 0; stratum * kBins < terms_.size(); ++stratum)
        terms_[stratum * kBins + bin] = TermsOf(value, expected / weight, weight);
    }
  }

  void SetMixtureTerms() {
    TabulateAll();
    for (int stratum = 0; stratum < mixture_.Strata(); ++stratum) {
      const double precision = 1.0 / (mixture_.Deviation(stratum) * mixture_.Deviation(stratum));
      for (std::size_t bin = 0; bin < kBins; ++bin) {
        double weight = 0.0;
        double expected = 0.0;
        for (int k = 0; k < settings_.tissues; ++k) {
          weight += pure_[Table(stratum, k) + bin];
          expected += fractions_[Table(stratum, k) + bin] * mixture_.Mean(k);
        }
        terms_[static_cast<std::size_t>(stratum) * kBins + bin] =
            TermsOf(mixture_.BinValue(static_cast<int>(bin)), expected, precision * weight);
      }
    }
  }

  void MoveField() {
    field_.Clear();
    field_.Add([&](std::size_t i) {
      const std::size_t bin = NearestBin(corrected_[i]);
      const FieldTerms& terms = terms_[sample_.voxels.stratum[i] * kBins + bin];
      return std::pair(terms.weight, terms.logarithm);
    });
    field_.Update();
    field_.Correct(sample_.voxels, sampleValues_, corrected_);
    CountValues(sample_.voxels, corrected_);
  }

  // Where the tables of a stratum and tissue begin.
  std::size_t Table(int stratum, int tissue) const {
    return static_cast<std::size_t>(stratum * settings_.tissues + tissue) * kBins;
  }
  std::size_t NearestBin(double value) const {
    return static_cast<std::size_t>(mixture_.Position(value) + 0.5);
  }

  void TabulateAll() {
    for (int stratum = 0; stratum < mixture_.Strata(); ++stratum)
      mixture_.Tabulate(stratum, &fractions_[Table(stratum, 0)], &pure_[Table(stratum, 0)]);
  }

  // The means of the tissues around each cube of 2 voxels, one grid after the other.
  std::vector<double> LocalMeans(const CubeGrid& grid) {
    constexpr double kWidth = 5.0;       // mm
    constexpr double kStray = 0.02;      // of a mean from place to place
    constexpr double kPriorVoxels = 35;  // how many voxels say as much: neighbours have been averaged
    const auto count = static_cast<std::size_t>(grid.Count());
    std::array<double, 3> deviation;
    for (std::size_t axis = 0; axis < 3; ++axis) deviation[axis] = kWidth / settings_.voxelSize[axis];
    std::vector<double> means;
    std::vector<double> weights(count);
    std::vector<double> work(count);
    means.reserve(static_cast<std::size_t>(settings_.tissues) * count);
    for (int k = 0; k < settings_.tissues; ++k) {
      std::vector<double> sums(count);
      std::fill(weights.begin(), weights.end(), 0.0);
      grid.ForEachVoxel(result_.voxels, [&](std::int64_t voxel, std::int64_t cube) {
        const auto i = static_cast<std::size_t>(voxel);
        const int stratum = result_.voxels.stratum[i];
        const double weight = pure_[Table(stratum, k) + NearestBin(corrected_[i])] /
                              (mixture_.Deviation(stratum) * mixture_.Deviation(stratum));
        weights[static_cast<std::size_t>(cube)] += weight;
        sums[static_cast<std::size_t>(cube)] += weight * (corrected_[i] - mixture_.Mean(k));
      });
      grid.Blur(deviation, weights.data(), work.data());
      grid.Blur(deviation, sums.data(), work.data());
      const double prior =
          kPriorVoxels / std::max(1e-300, kStray * mixture_.Mean(k) * kStray * mixture_.Mean(k));
      for (std::size_t i = 0; i < count; ++i)
        means.push_back(mixture_.Mean(k) + sums[i] / (weights[i] + prior));
    }
    return means;
  }

  void MapToCommonMeans() {
    TabulateAll();
    const CubeGrid grid(result_.voxels, 2);
    const std::vector<double> means = LocalMeans(grid);
    std::vector<double> rows(static_cast<std::size_t>(settings_.tissues * grid.RowWork()));
    grid.Interpolate(result_.voxels, means.data(), settings_.tissues, rows.data(),
                     [&](std::int64_t i, const double* local) {
                       double& value = corrected_[static_cast<std::size_t>(i)];
                       value = Mapped(value, local);
                     });
  }

  // By the straight line between the two local means next to the value, or of the two outermost ones.
  double Mapped(double value, const double* local) const {
    const int tissues = settings_.tissues;
    if (tissues == 1) return value + (mixture_.Mean(0) - local[0]);
    const int lower = FindPair(local, tissues, value).lower;
    const double slope =
        (mixture_.Mean(lower + 1) - mixture_.Mean(lower)) /
        std::max(local[lower + 1] - local[lower], 1e-3 * (mixture_.Mean(lower + 1) - mixture_.Mean(lower)));
    return mixture_.Mean(lower) + slope * (value - local[lower]);
  }

  void WriteFractions() {
    const std::size_t count = corrected_.size();
    for (int k = 0; k < settings_.tissues; ++k) {
      auto& fractions = result_.fractions.emplace_back(count);
      for (std::size_t i = 0; i < count; ++i) {
        const double position = mixture_.Position(corrected_[i]);
        const auto bin = std::min(static_cast<std::size_t>(position), kBins - 2);
        const double* const at = &fractions_[Table(result_.voxels.stratum[i], k) + bin];
        fractions[i] = static_cast<float>(at[0] + (position - static_cast<double>(bin)) * (at[1] - at[0]));
      }
    }
  }

  const TissueSettings& settings_;
  RunWatch& watch_;
  TissueResult& result_;
  const ChannelValues& values_;
  VoxelSample sample_;
  ChannelValues sampleValues_;
  ChannelValues corrected_;  // of the sample, at the end of all voxels
  TissueMixture mixture_;
  FieldEstimate field_;
  std::vector<FieldTerms> terms_;  // by stratum and bin
  std::vector<double> fractions_;  // by stratum, tissue and bin
  std::vector<double> pure_;
};

// Whether there are as many different values as tissues.
bool HasEnoughValues(const ChannelValues& values, int tissues) {
  ChannelValues different;
  for (const double value : values) {
    if (static_cast<int>(different.size()) == tissues) break;
    if (std::find(different.begin(), different.end(), value) == different.end()) different.push_back(value);
  }
  return static_cast<int>(different.size()) == tissues;
}

}  // namespace

MTH_STOP_REASON DivideOneChannel(const TissueSettings& settings, int strata, const ChannelValues& values,
                                 RunWatch& watch, TissueResult& result) {
  if (!HasEnoughValues(values, settings.tissues)) return MTH_STOP_REASON::BadInput;
  return TissueRun(settings, strata, values, watch, result).Run();
}

}  // namespace mth_internal
