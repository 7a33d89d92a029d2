#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_kernel_internal.h"
#include "mth/core/Mth_compiler_internal.h"
#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_storage_internal.h"
#include "std/Std_wait_bar.h"

namespace mth_internal {

/// Values in blocks of kBlockSamples samples: in each block so many rows of one value per sample, so that
/// loops run across samples. The values are not initialised.
template <class Value>
class SampleBlocks {
 public:
  /// @return  false when the memory cannot be had.
  bool Allocate(int samplesCount, int rowsPerBlock) {
    const std::size_t blocks = static_cast<std::size_t>(samplesCount - 1) / kBlockSamples + 1;
    blockValues_ = std::size_t{kBlockSamples} * static_cast<std::size_t>(rowsPerBlock);
    const std::size_t bytes = blocks * blockValues_ * sizeof(Value);
    values_ = Storage(static_cast<Value*>(AllocateStorage(bytes)), FreeBytes{bytes});
    return values_ != nullptr;
  }
  Value* Data() const { return values_.get(); }
  Value* Block(int block) const { return Data() + static_cast<std::size_t>(block) * blockValues_; }

 private:
  struct FreeBytes {
    std::size_t bytes = 0;
    void operator()(Value* values) const { FreeStorage(values, bytes); }
  };
  using Storage = std::unique_ptr<Value, FreeBytes>;

  std::size_t blockValues_ = 0;
  Storage values_;
};

/// The sums over weighted samples from which the centroids are moved.
class CentroidSums {
 public:
  CentroidSums(int clustersCount, int dimensionsCount);
  void Reset();
  SumView View() { return {weights_.data(), features_.data()}; }
  /// Copies them as MTH_CLUSTERING_PART gives them: clusters x (1 + dimensions).
  void CopyTo(double* rows) const;
  /// Moves the centroids, clusters x dimensions, by Mth_MoveCentroids.
  void MoveCentroids(std::vector<double>& centroids);
  bool AreFinite() const;

 private:
  int clusters_;
  int dimensions_;
  std::vector<double> weights_;
  std::vector<double> features_;
  std::vector<double> rows_;
};

/// The half of an iteration that looks at samples: new labels, and the sums of this step alone.
/// @return  the number of labels that changed.
std::int64_t StepKMeans(const SampleView& samples, const CentroidView& centroids, std::int32_t* labels,
                        CentroidSums& sums);
/// The same for memberships.
/// @param scratch  FuzzyScratch(clusters) values.
/// @return         the largest change.
double StepFuzzyCMeans(const SampleView& samples, const CentroidView& centroids, const FuzzyRule& rule,
                       double* scratch, double* memberships, CentroidSums& sums);

bool AreFinite(const std::vector<double>& values);

/// Why a run ended that was not refused, by what its last iteration told.
inline MTH_STOP_REASON ReasonOf(bool hasConverged, bool isCancelled) {
  if (hasConverged) return MTH_STOP_REASON::Converged;
  return isCancelled ? MTH_STOP_REASON::Cancelled : MTH_STOP_REASON::IterationCap;
}

/// Calls visit(block, first, count) for every block of that many samples.
template <class Visit>
void ForEachSampleBlock(int samplesCount, Visit visit) {
  for (int first = 0, block = 0; first < samplesCount; ++block) {
    const int left = samplesCount - first;
    const int count = left < kBlockSamples ? left : kBlockSamples;
    visit(block, first, count);
    if (left <= kBlockSamples) return;  // before `first` can overflow
    first += kBlockSamples;
  }
}

/// Samples are scattered over memory: ask for one this many places before its turn comes.
inline constexpr int kPrefetchAhead = 32;

/// Asks for an object's cache lines.
template <class Object>
void PrefetchObject(const Object* object) {
  constexpr std::size_t kCacheLine = 64;
  const char* bytes = reinterpret_cast<const char*>(object);
  for (std::size_t offset = 0; offset < sizeof *object; offset += kCacheLine) Prefetch(bytes + offset);
}

/// A run's progress window. Without memory for its texts it stays silent: that is no failure of the run.
class RunProgress {
 public:
  RunProgress(const char* title, int iterationsCount);
  /// Steps it with the text followed by the number; a double is written as "%f" writes it, with a decimal
  /// point.
  void Step(const char* text, std::int64_t number);
  /// @copydoc Step(const char*,std::int64_t)
  void Step(const char* text, double number);
  /// Whether the run is asked to end; a run asks after every step.
  bool IsCancelRequested() const { return window_.IsCancelRequested(); }
  /// What asks between steps that may last.
  LongIteration Within() const { return LongIteration(window_); }

 private:
  void StepWithText(const char* text, std::string_view number);

  TSTD_WAIT_BAR window_;
};

}  // namespace mth_internal

template <class Write>
void MTH_CLUSTERING::WriteMemberships(Write write) {
  const int samplesCount = GetSamplesCount();
  const auto samples = samples_.begin();
  for (int i = 0; i < samplesCount; ++i) {
    if (samplesCount - i > mth_internal::kPrefetchAhead) {
      mth_internal::PrefetchObject(samples[i + mth_internal::kPrefetchAhead]);
    }
    write(i, samples[i]->Memberships());
  }
}
