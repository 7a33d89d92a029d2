#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <numeric>
#include <utility>

#include "mth/clustering/Mth_tissue_run_internal.h"
#include "mth/core/Mth_elementary_internal.h"

namespace mth_internal {
namespace {

// Fuzzy c-means of vectors of channels, whose squared distances add up, with a field for each channel.
class ChannelsRun {
 public:
  ChannelsRun(const TissueSettings& settings, const std::vector<ChannelValues>& channels, RunWatch& watch,
              TissueResult& result)
      : settings_(settings), channels_(channels), watch_(watch), result_(result), sample_(result.voxels) {
    for (const ChannelValues& channel : channels) {
      sampleValues_.push_back(sample_.Of(channel));
      corrected_.push_back(sampleValues_.back());
      scales_.push_back(InverseDeviation(sampleValues_.back()));
      fields_.emplace_back(result.voxels, sample_.voxels, settings);
    }
    StartFromFractions();
  }

  MTH_STOP_REASON Run() {
    watch_.SetAction("C-moyennes floues de plusieurs images");
    for (int step = 0; step < kChannelSteps; ++step) {
      if (!watch_.GoesOn()) return MTH_STOP_REASON::Cancelled;
      FindMemberships(corrected_);
      MoveCentroids();
      if (settings_.estimatesField && !MoveFields()) return MTH_STOP_REASON::Cancelled;
    }
    return Finish() ? MTH_STOP_REASON::Converged : MTH_STOP_REASON::Cancelled;
  }

 private:
  static double InverseDeviation(const ChannelValues& values) {
    constexpr double kLeast = 1e-100;  // of values up to 1024: from there on squares over it stay finite
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    if (!(*most - *least > kLeast)) return 0.0;  // a channel of one value tells nothing
    const auto count = static_cast<double>(values.size());
    const double mean = std::accumulate(values.begin(), values.end(), 0.0) / count;
    double squares = 0.0;
    for (const double value : values) squares += (value - mean) * (value - mean);
    return std::sqrt(count / squares);
  }
  std::size_t Tissues() const { return static_cast<std::size_t>(settings_.tissues); }

  // Squared memberships, tissue by tissue, in the sample.
  void StartFromFractions() {
    memberships_.assign(Tissues(), std::vector<double>(sample_.indices.size()));
    for (std::size_t k = 0; k < Tissues(); ++k) {
      for (std::size_t i = 0; i < sample_.indices.size(); ++i) {
        const auto fraction =
            static_cast<double>(result_.fractions[k][static_cast<std::size_t>(sample_.indices[i])]);
        memberships_[k][i] = fraction * fraction;
      }
    }
    centroids_.assign(channels_.size(), std::vector<double>(Tissues()));
    MoveCentroids();
  }

  void MoveCentroids() {
    for (std::size_t k = 0; k < Tissues(); ++k) {
      const double weight = std::accumulate(memberships_[k].begin(), memberships_[k].end(), 0.0);
      for (std::size_t c = 0; c < channels_.size(); ++c) {
        const double sum =
            std::inner_product(memberships_[k].begin(), memberships_[k].end(), corrected_[c].begin(), 0.0);
        if (weight > 0.0) centroids_[c][k] = sum / weight;
      }
    }
  }

  // Memberships of one voxel, which sum to 1.
  void MembershipsOf(const std::vector<ChannelValues>& values, std::size_t voxel, double* memberships) const {
    constexpr double kNear = 1e-12;  // in variances: nobody is nearer to a centre
    double sum = 0.0;
    for (std::size_t k = 0; k < Tissues(); ++k) {
      double distance = kNear;
      for (std::size_t c = 0; c < channels_.size(); ++c) {
        const double difference = (values[c][voxel] - centroids_[c][k]) * scales_[c];
        distance += difference * difference;
      }
      memberships[k] = 1.0 / distance;
      sum += memberships[k];
    }
    for (std::size_t k = 0; k < Tissues(); ++k) memberships[k] /= sum;
  }

  void FindMemberships(const std::vector<ChannelValues>& values) {
    std::vector<double> ofVoxel(Tissues());
    for (std::size_t i = 0; i < memberships_[0].size(); ++i) {
      MembershipsOf(values, i, ofVoxel.data());
      for (std::size_t k = 0; k < Tissues(); ++k) memberships_[k][i] = ofVoxel[k] * ofVoxel[k];
    }
  }

  // False when the run is given up.
  bool MoveFields() {
    for (std::size_t c = 0; c < channels_.size(); ++c) {
      fields_[c].Clear();
      fields_[c].Add([&](std::size_t i) {
        double weight = 0.0;
        double expected = 0.0;
        for (std::size_t k = 0; k < Tissues(); ++k) {
          weight += memberships_[k][i];
          expected += memberships_[k][i] * centroids_[c][k];
        }
        expected /= weight;
        const double value = corrected_[c][i];
        if (!(value > 0.0) || !(expected > 0.0)) return std::pair(0.0, 0.0);
        weight *= expected * expected;
        return std::pair(weight, weight * Logarithm(value / expected));
      });
      if (!fields_[c].Update(&watch_.Within())) return false;
      fields_[c].Correct(sample_.voxels, sampleValues_[c], corrected_[c]);
    }
    return true;
  }

  // False when the run is given up.
  bool Finish() {
    constexpr std::size_t kVoxelsAtOnce = 1 << 16;
    constexpr double kWorkAtOnce = 32.0 * kVoxelsAtOnce;
    for (std::size_t c = 0; c < channels_.size(); ++c)
      fields_[c].Correct(result_.voxels, channels_[c], corrected_[c]);
    std::vector<std::size_t> order(Tissues());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return centroids_[0][a] < centroids_[0][b]; });
    std::vector<double> ofVoxel(Tissues());
    for (std::size_t i = 0; i < channels_[0].size(); ++i) {
      if (i % kVoxelsAtOnce == 0 && watch_.Within().IsGivenUp(kWorkAtOnce)) return false;
      MembershipsOf(corrected_, i, ofVoxel.data());
      for (std::size_t k = 0; k < Tissues(); ++k)
        result_.fractions[k][i] = static_cast<float>(ofVoxel[order[k]]);
    }
    result_.centroids.clear();
    result_.fields.clear();
    for (std::size_t c = 0; c < channels_.size(); ++c) {
      auto& centroids = result_.centroids.emplace_back();
      for (const std::size_t k : order) centroids.push_back(centroids_[c][k]);
      result_.fields.push_back(fields_[c].Field());
    }
    return true;
  }

  const TissueSettings& settings_;
  const std::vector<ChannelValues>& channels_;
  RunWatch& watch_;
  TissueResult& result_;
  VoxelSample sample_;
  std::vector<ChannelValues> sampleValues_;
  std::vector<ChannelValues> corrected_;
  std::vector<double> scales_;
  std::vector<FieldEstimate> fields_;
  std::vector<std::vector<double>> memberships_;  // squared
  std::vector<std::vector<double>> centroids_;    // channel by channel
};

}  // namespace

MTH_STOP_REASON DivideChannels(const TissueSettings& settings, int strata,
                               const std::vector<ChannelValues>& channels, RunWatch& watch,
                               TissueResult& result) {
  const MTH_STOP_REASON reason = DivideOneChannel(settings, strata, channels[0], watch, result);
  if (reason != MTH_STOP_REASON::Converged || channels.size() == 1) return reason;
  return ChannelsRun(settings, channels, watch, result).Run();
}

}  // namespace mth_internal
