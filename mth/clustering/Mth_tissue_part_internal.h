#pragma once

#include <vector>

#include "mth/clustering/Mth_tissue_mixture_internal.h"
#include "mth/clustering/Mth_tissue_run_internal.h"

namespace mth_internal {

/// The half of a run on one channel that looks at voxels: a scan with its field, and with the noise and
/// shares of its strata.
class TissuePart {
 public:
  /// The arguments are kept, not copied. Throws std::bad_alloc.
  /// @param run  is asked whether to give up; null: nobody is, and nothing is given up.
  TissuePart(const TissueSettings& settings, int strata, const ChannelValues& values, TissueResult& result,
             LongIteration* run);
  TissuePart(const TissuePart&) = delete;
  TissuePart& operator=(const TissuePart&) = delete;

  /// Reads the values again, which were multiplied by a common factor; before the first step.
  void TakeValues();
  TissueCourse::Range Range() const;
  /// The step that the course has come to: its sums, 2 x tissues.
  /// @return  false when the run is given up; the part is of no use then.
  bool Step(const TissueCourse& course, double* sums);
  /// Leaves fractions, means and field in the result, after the last step.
  /// @return  as Step.
  bool Finish(const TissueCourse& course);

 private:
  // Weight of a bin in the field, and the weight times the logarithm of its value over the one expected.
  struct FieldTerms {
    double weight = 0.0;
    double logarithm = 0.0;
  };

  // Asked before the work on so many voxels; so are the members that can be given up, which return false.
  bool IsGivenUp(std::size_t voxels) const {
    constexpr double kWorkPerVoxel = 16.0;
    return run_ != nullptr && run_->IsGivenUp(kWorkPerVoxel * static_cast<double>(voxels));
  }
  bool Begin(const TissueCourse& course);
  bool TakeAllVoxels();
  void CountValues(const MaskVoxels& voxels, const ChannelValues& values);
  FieldTerms TermsOf(double value, double expected, double weight) const;
  void SetFuzzyTerms();
  void SetMixtureTerms();
  bool MoveField();
  std::size_t Table(int stratum, int tissue) const;
  std::size_t NearestBin(double value) const;
  void TabulateAll();
  bool FindLocalMeans(const CubeGrid& grid, std::vector<double>& means);
  bool MapToCommonMeans();
  double Mapped(double value, const double* local) const;
  bool WriteFractions();

  const TissueSettings& settings_;
  TissueResult& result_;
  LongIteration* run_;
  const ChannelValues& values_;
  VoxelSample sample_;
  ChannelValues sampleValues_;
  ChannelValues corrected_;  // of the sample, in the last steps of all voxels
  TissueMeans means_;        // as they stood when the step began
  TissueMixture mixture_;
  FieldEstimate field_;
  std::vector<FieldTerms> terms_;  // by stratum and bin
  std::vector<double> fractions_;  // by stratum, tissue and bin
  std::vector<double> pure_;
};

}  // namespace mth_internal
