#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/core/Mth_give_up_internal.h"

// Centroids to start from, taken from the samples.

namespace {

// The samples whose features are all finite, one row after the other.
class FiniteSamples {
 public:
  FiniteSamples(const MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE>& samples, int dimensionsCount)
      : dimensions_(static_cast<std::size_t>(dimensionsCount)) {
    std::vector<double> row(dimensions_);
    for (const MTH_CLUSTERING_SAMPLE* sample : samples) {
      if (sample == nullptr || sample->GetParametersCount() < dimensionsCount) continue;
      for (std::size_t d = 0; d < dimensions_; ++d) row[d] = sample->GetParameter(static_cast<int>(d));
      const bool isFinite = std::all_of(row.begin(), row.end(), [](double x) { return std::isfinite(x); });
      if (isFinite) values_.insert(values_.end(), row.begin(), row.end());
    }
    count_ = values_.size() / dimensions_;
  }
  std::size_t Count() const { return count_; }
  std::size_t Dimensions() const { return dimensions_; }
  const double* Row(std::size_t i) const { return values_.data() + i * dimensions_; }
  bool AreEqual(std::size_t i, std::size_t j) const {
    return std::equal(Row(i), Row(i) + dimensions_, Row(j));
  }

 private:
  std::size_t dimensions_;
  std::size_t count_ = 0;
  std::vector<double> values_;
};

using Chosen = std::vector<std::size_t>;

// The first sample, from the i-th on, that differs from all those chosen; the number of samples when there is
// none.
std::size_t FindOther(const FiniteSamples& samples, const Chosen& chosen, std::size_t i) {
  const auto isChosen = [&](std::size_t other) { return samples.AreEqual(i, other); };
  while (i < samples.Count() && std::any_of(chosen.begin(), chosen.end(), isChosen)) ++i;
  return i;
}

bool HasDifferent(const FiniteSamples& samples, int count) {
  Chosen different;
  std::size_t i = 0;
  const auto isKnown = [&](std::size_t other) { return samples.AreEqual(i, other); };
  for (; i < samples.Count() && different.size() < static_cast<std::size_t>(count); ++i) {
    if (std::none_of(different.begin(), different.end(), isKnown)) different.push_back(i);
  }
  return different.size() == static_cast<std::size_t>(count);
}

// Squared distances in units of about the largest coordinate, so that they do not overflow.
class Distances {
 public:
  explicit Distances(const FiniteSamples& samples) : samples_(samples) {
    double largest = 0.0;
    const double* const end = samples.Row(samples.Count());
    for (const double* x = samples.Row(0); x != end; ++x) largest = std::max(largest, std::abs(*x));
    constexpr int kMostPlaces = 1022;  // the scale itself must be a number
    if (largest > 0.0)
      scale_ = std::ldexp(1.0, std::clamp(-std::ilogb(largest) - 1, -kMostPlaces, kMostPlaces));
  }
  double Scaled(double coordinate) const { return scale_ * coordinate; }
  // To a point that is scaled already.
  double ToScaled(std::size_t i, const std::vector<double>& point) const {
    double sum = 0.0;
    for (std::size_t d = 0; d < samples_.Dimensions(); ++d) {
      const double difference = Scaled(samples_.Row(i)[d]) - point[d];
      sum += difference * difference;
    }
    return sum;
  }
  std::vector<double> ScaledRow(std::size_t i) const {
    std::vector<double> row(samples_.Dimensions());
    for (std::size_t d = 0; d < row.size(); ++d) row[d] = Scaled(samples_.Row(i)[d]);
    return row;
  }
  std::vector<double> ScaledMean() const {
    std::vector<double> mean(samples_.Dimensions());
    for (std::size_t i = 0; i < samples_.Count(); ++i) {
      for (std::size_t d = 0; d < mean.size(); ++d) mean[d] += Scaled(samples_.Row(i)[d]);
    }
    for (double& coordinate : mean) coordinate /= static_cast<double>(samples_.Count());
    return mean;
  }

 private:
  const FiniteSamples& samples_;
  double scale_ = 1.0;
};

// Chooses samples one by one: chooseNext(squared distance of every sample from those chosen) names the next
// one. Where all distances round to 0, the first different sample is taken. Fewer are chosen when the host
// gives up.
template <class ChooseNext>
Chosen ChooseByDistance(const FiniteSamples& samples, const Distances& distances, std::size_t first,
                        int count, ChooseNext chooseNext) {
  Chosen chosen{first};
  std::size_t other = 0;  // all samples before it are chosen, or equal one that is
  std::vector<double> nearest(samples.Count(), std::numeric_limits<double>::infinity());
  mth_internal::LongIteration run;
  const double work = static_cast<double>(samples.Count()) * static_cast<double>(samples.Dimensions() + 1);
  while (chosen.size() < static_cast<std::size_t>(count) && !run.IsGivenUp(work)) {
    const std::vector<double> latest = distances.ScaledRow(chosen.back());
    for (std::size_t i = 0; i < nearest.size(); ++i)
      nearest[i] = std::min(nearest[i], distances.ToScaled(i, latest));
    const std::size_t next = chooseNext(nearest);
    const bool isApart = nearest[next] > 0.0;
    if (!isApart) other = FindOther(samples, chosen, other);
    chosen.push_back(isApart ? next : other);
  }
  return chosen;
}

Chosen ChooseFarthestFirst(const FiniteSamples& samples, int count) {
  const Distances distances(samples);
  const std::vector<double> mean = distances.ScaledMean();
  std::size_t first = 0;
  double least = distances.ToScaled(0, mean);
  for (std::size_t i = 1; i < samples.Count(); ++i) {
    const double distance = distances.ToScaled(i, mean);
    if (!(distance < least)) continue;
    least = distance;
    first = i;
  }
  return ChooseByDistance(samples, distances, first, count, [](const std::vector<double>& nearest) {
    return static_cast<std::size_t>(std::max_element(nearest.begin(), nearest.end()) - nearest.begin());
  });
}

// Uniform numbers of one seed: a Weyl sequence whose terms are mixed (Steele, Lea & Flood, OOPSLA 2014), so
// that the streams of neighbouring seeds are unrelated from their first numbers on.
class Stream {
 public:
  explicit Stream(int seed) : state_(Mixed(static_cast<std::uint64_t>(static_cast<std::int64_t>(seed)))) {}
  // In [0, 1), all 53 bits.
  double Next() {
    state_ += kStep;
    return static_cast<double>(Mixed(state_) >> 11) * 0x1p-53;
  }

 private:
  static constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15;
  static std::uint64_t Mixed(std::uint64_t bits) {
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
    return bits ^ (bits >> 31);
  }
  std::uint64_t state_;
};

// The first place at which the running sum of the weights passes that share of their whole sum; the last one
// with a weight when rounding keeps it from doing so.
std::size_t PlaceOfShare(const std::vector<double>& weights, double share) {
  double total = 0.0;
  for (const double weight : weights) total += weight;
  double sum = 0.0;
  std::size_t last = 0;
  for (std::size_t i = 0; i < weights.size(); ++i) {
    sum += weights[i];
    if (weights[i] > 0.0) last = i;
    if (sum > share * total) return i;
  }
  return last;
}

Chosen ChoosePlusPlus(const FiniteSamples& samples, int count, int seed) {
  Stream stream(seed);
  const auto first = static_cast<std::size_t>(stream.Next() * static_cast<double>(samples.Count()));
  return ChooseByDistance(samples, Distances(samples), first, count, [&](const std::vector<double>& nearest) {
    return PlaceOfShare(nearest, stream.Next());
  });
}

// The value of that rank among sorted ones.
double Quantile(const std::vector<double>& sorted, double rank) {
  const double place = std::max(rank * static_cast<double>(sorted.size()) - 0.5, 0.0);
  const auto below = std::min(static_cast<std::size_t>(place), sorted.size() - 1);
  const std::size_t above = std::min(below + 1, sorted.size() - 1);
  const double share = place - static_cast<double>(below);
  return share > 0.0 ? (1.0 - share) * sorted[below] + share * sorted[above] : sorted[below];
}

// Clusters x dimensions.
std::vector<double> QuantileRows(const FiniteSamples& samples, int count) {
  std::vector<double> rows(static_cast<std::size_t>(count) * samples.Dimensions());
  std::vector<double> sorted(samples.Count());
  for (std::size_t d = 0; d < samples.Dimensions(); ++d) {
    for (std::size_t i = 0; i < sorted.size(); ++i) sorted[i] = samples.Row(i)[d];
    std::sort(sorted.begin(), sorted.end());
    for (int k = 0; k < count; ++k)
      rows[static_cast<std::size_t>(k) * samples.Dimensions() + d] = Quantile(sorted, (k + 0.5) / count);
  }
  return rows;
}

std::vector<double> StartRows(const FiniteSamples& samples, MTH_CENTROID_START start, int count, int seed) {
  if (start == MTH_CENTROID_START::Quantiles) return QuantileRows(samples, count);
  const Chosen chosen = start == MTH_CENTROID_START::FarthestFirst ? ChooseFarthestFirst(samples, count)
                                                                   : ChoosePlusPlus(samples, count, seed);
  std::vector<double> rows;
  for (const std::size_t i : chosen)
    rows.insert(rows.end(), samples.Row(i), samples.Row(i) + samples.Dimensions());
  return rows;
}

}  // namespace

bool MTH_CLUSTERING::InitialiseCentroidsFromSamples(MTH_CENTROID_START start, int seed) {
  if (!CanRun()) return false;
  try {
    const FiniteSamples samples(samples_, dimensionsCount_);
    if (!HasDifferent(samples, clustersCount_)) return false;
    const std::vector<double> rows = StartRows(samples, start, clustersCount_, seed);
    const bool isGivenUp = rows.size() < static_cast<std::size_t>(clustersCount_) * samples.Dimensions();
    if (isGivenUp) return false;
    ScatterCentroids(rows);
  } catch (const std::exception&) {  // no memory
    return false;
  }
  areCentroidsInitialised_ = true;
  return true;
}
