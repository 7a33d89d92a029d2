#include <algorithm>
#include <new>
#include <numbers>
#include <tuple>
#include <utility>

#include "mth/clustering/Mth_tissue_mixture_internal.h"
#include "mth/clustering/Mth_tissue_part_internal.h"
#include "mth/clustering/Mth_tissue_run_internal.h"
#include "mth/core/Mth_elementary_internal.h"

namespace mth_internal {
namespace {

constexpr auto kBins = static_cast<std::size_t>(TissueMixture::kBins);

double Ln(double x) {
  return Logarithm(x);
}

// Between which most values lie.
std::pair<double, double> QuantilesOf(ChannelValues values) {
  constexpr double kQuantile = 0.005;
  const auto quantile = [&](double rank) {
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>(rank * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
  };
  const double low = quantile(kQuantile);
  const double high = quantile(1.0 - kQuantile);
  if (low < high) return {low, high};  // otherwise few values differ
  return {*std::min_element(values.begin(), values.end()), *std::max_element(values.begin(), values.end())};
}

// Tells the person what follows, and asks: before each fuzzy step with a field, each round and the last
// steps.
bool GoesOn(int step, RunWatch& watch) {
  if (step == 0) watch.SetAction("C-moyennes floues");
  if (step == TissueSteps::kFirstFit) watch.SetAction("Mélange des tissus et champ");
  if (step == TissueSteps::kRounds) watch.SetAction("Fractions des tissus");
  const bool isFuzzy = step >= TissueSteps::kPlain && step < TissueSteps::kFuzzy;
  const bool asks = isFuzzy || TissueSteps::BeginsRound(step) || step == TissueSteps::kRounds;
  return !asks || watch.GoesOn();
}

}  // namespace

TissuePart::TissuePart(const TissueSettings& settings, int strata, const ChannelValues& values,
                       TissueResult& result, LongIteration* run)
    : settings_(settings),
      result_(result),
      run_(run),
      values_(values),
      sample_(result.voxels),
      means_(settings.tissues),
      mixture_(means_, strata),
      field_(result.voxels, sample_.voxels, settings),
      terms_(static_cast<std::size_t>(strata) * kBins),
      fractions_(static_cast<std::size_t>(strata * settings.tissues) * kBins),
      pure_(fractions_.size()) {
  if (!mixture_) throw std::bad_alloc();
  TakeValues();
}

void TissuePart::TakeValues() {
  sampleValues_ = sample_.Of(values_);
  corrected_ = sampleValues_;
}

TissueCourse::Range TissuePart::Range() const {
  auto [low, high] = QuantilesOf(sampleValues_);
  if (low == high) std::tie(low, high) = QuantilesOf(values_);  // what differs is not in the sample
  return {low, high, *std::max_element(values_.begin(), values_.end())};
}

bool TissuePart::Step(const TissueCourse& course, double* sums) {
  if (!Begin(course)) return false;
  if (course.Step() < TissueSteps::kFuzzy) {
    mixture_.SumFuzzy(sums);
  } else {
    mixture_.SumFit(sums);
  }
  return true;
}

// What a step needs of the means that the former one has left.
bool TissuePart::Begin(const TissueCourse& course) {
  const int step = course.Step();
  means_ = course.Means();
  if (step == 0) CountValues(sample_.voxels, corrected_);
  if (settings_.estimatesField && TissueSteps::BeginsWithField(step)) {
    if (step <= TissueSteps::kFuzzy) {
      SetFuzzyTerms();
    } else {
      SetMixtureTerms();
    }
    if (!MoveField()) return false;
  }
  if (step == TissueSteps::kFuzzy) mixture_.StartMixture();
  return step != TissueSteps::kRounds || TakeAllVoxels();
}

bool TissuePart::TakeAllVoxels() {
  field_.Correct(result_.voxels, values_, corrected_);
  if (settings_.hasLocalMeans && !MapToCommonMeans()) return false;
  if (IsGivenUp(corrected_.size())) return false;
  CountValues(result_.voxels, corrected_);
  return true;
}

bool TissuePart::Finish(const TissueCourse& course) {
  means_ = course.Means();
  TabulateAll();
  if (!WriteFractions()) return false;
  auto& centroids = result_.centroids.emplace_back();
  for (int k = 0; k < settings_.tissues; ++k) centroids.push_back(mixture_.Mean(k));
  result_.fields.push_back(field_.Field());
  return true;
}

void TissuePart::CountValues(const MaskVoxels& voxels, const ChannelValues& values) {
  mixture_.ClearCounts();
  for (std::size_t i = 0; i < values.size(); ++i) mixture_.Count(voxels.stratum[i], values[i]);
}

TissuePart::FieldTerms TissuePart::TermsOf(double value, double expected, double weight) const {
  if (!(value > 0.0) || !(expected > 0.0)) return {};
  return {weight * expected * expected, weight * expected * expected * Ln(value / expected)};
}

void TissuePart::SetFuzzyTerms() {
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

void TissuePart::SetMixtureTerms() {
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

bool TissuePart::MoveField() {
  field_.Clear();
  field_.Add([&](std::size_t i) {
    const std::size_t bin = NearestBin(corrected_[i]);
    const FieldTerms& terms = terms_[sample_.voxels.stratum[i] * kBins + bin];
    return std::pair(terms.weight, terms.logarithm);
  });
  if (!field_.Update(run_)) return false;
  field_.Correct(sample_.voxels, sampleValues_, corrected_);
  CountValues(sample_.voxels, corrected_);
  return true;
}

// Where the tables of a stratum and tissue begin.
std::size_t TissuePart::Table(int stratum, int tissue) const {
  return static_cast<std::size_t>(stratum * settings_.tissues + tissue) * kBins;
}

std::size_t TissuePart::NearestBin(double value) const {
  return static_cast<std::size_t>(mixture_.Position(value) + 0.5);
}

void TissuePart::TabulateAll() {
  for (int stratum = 0; stratum < mixture_.Strata(); ++stratum)
    mixture_.Tabulate(stratum, &fractions_[Table(stratum, 0)], &pure_[Table(stratum, 0)]);
}

// The means of the tissues around each cube of 2 voxels, one grid after the other.
bool TissuePart::FindLocalMeans(const CubeGrid& grid, std::vector<double>& means) {
  constexpr double kWidth = 5.0;       // mm
  constexpr double kStray = 0.02;      // of a mean from place to place
  constexpr double kPriorVoxels = 35;  // how many voxels say as much: neighbours have been averaged
  const auto count = static_cast<std::size_t>(grid.Count());
  std::array<double, 3> deviation;
  for (std::size_t axis = 0; axis < 3; ++axis) deviation[axis] = kWidth / settings_.voxelSize[axis];
  std::vector<double> weights(count);
  std::vector<double> work(count);
  means.reserve(static_cast<std::size_t>(settings_.tissues) * count);
  for (int k = 0; k < settings_.tissues; ++k) {
    if (IsGivenUp(corrected_.size())) return false;
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
    const bool isWhole = grid.Blur(deviation, weights.data(), work.data(), run_) &&
                         grid.Blur(deviation, sums.data(), work.data(), run_);
    if (!isWhole) return false;
    const double prior =
        kPriorVoxels / std::max(1e-300, kStray * mixture_.Mean(k) * kStray * mixture_.Mean(k));
    for (std::size_t i = 0; i < count; ++i)
      means.push_back(mixture_.Mean(k) + sums[i] / (weights[i] + prior));
  }
  return true;
}

bool TissuePart::MapToCommonMeans() {
  TabulateAll();
  const CubeGrid grid(result_.voxels, 2);
  std::vector<double> means;
  if (!FindLocalMeans(grid, means) || IsGivenUp(corrected_.size())) return false;
  std::vector<double> rows(static_cast<std::size_t>(settings_.tissues * grid.RowWork()));
  grid.Interpolate(result_.voxels, means.data(), settings_.tissues, rows.data(),
                   [&](std::int64_t i, const double* local) {
                     double& value = corrected_[static_cast<std::size_t>(i)];
                     value = Mapped(value, local);
                   });
  return true;
}

// By the straight line between the two local means next to the value, or of the two outermost ones.
double TissuePart::Mapped(double value, const double* local) const {
  const int tissues = settings_.tissues;
  if (tissues == 1) return value + (mixture_.Mean(0) - local[0]);
  const int lower = FindPair(local, tissues, value).lower;
  const double slope =
      (mixture_.Mean(lower + 1) - mixture_.Mean(lower)) /
      std::max(local[lower + 1] - local[lower], 1e-3 * (mixture_.Mean(lower + 1) - mixture_.Mean(lower)));
  return mixture_.Mean(lower) + slope * (value - local[lower]);
}

bool TissuePart::WriteFractions() {
  const std::size_t count = corrected_.size();
  for (int k = 0; k < settings_.tissues; ++k) {
    if (IsGivenUp(count)) return false;
    auto& fractions = result_.fractions.emplace_back(count);
    for (std::size_t i = 0; i < count; ++i) {
      const double position = mixture_.Position(corrected_[i]);
      const auto bin = std::min(static_cast<std::size_t>(position), kBins - 2);
      const double* const at = &fractions_[Table(result_.voxels.stratum[i], k) + bin];
      fractions[i] = static_cast<float>(at[0] + (position - static_cast<double>(bin)) * (at[1] - at[0]));
    }
  }
  return true;
}

bool HasEnoughValues(const ChannelValues& values, int tissues) {
  ChannelValues different;
  for (const double value : values) {
    if (static_cast<int>(different.size()) == tissues) break;
    if (std::find(different.begin(), different.end(), value) == different.end()) different.push_back(value);
  }
  return static_cast<int>(different.size()) == tissues;
}

MTH_STOP_REASON DivideOneChannel(const TissueSettings& settings, int strata, const ChannelValues& values,
                                 RunWatch& watch, TissueResult& result) {
  if (!HasEnoughValues(values, settings.tissues)) return MTH_STOP_REASON::BadInput;
  TissuePart part(settings, strata, values, result, &watch.Within());
  TissueCourse course(settings.tissues, settings.means);
  const TissueCourse::Range range = part.Range();
  course.SetScaledRange(range.low, range.high);
  std::array<double, std::size_t{2} * TissueMeans::kMostTissues> sums;
  for (; course.Step() < TissueSteps::kAll; course.Move(sums.data())) {
    if (!GoesOn(course.Step(), watch)) return MTH_STOP_REASON::Cancelled;
    if (!part.Step(course, sums.data())) return MTH_STOP_REASON::Cancelled;
  }
  return part.Finish(course) ? MTH_STOP_REASON::Converged : MTH_STOP_REASON::Cancelled;
}

}  // namespace mth_internal
