#pragma once

#include <memory>

#include "mth/optimise/Mth_funct.h"

/// Base of the cost functions that fit a model to a curve of their own: sampled points (x, y), copied, and
/// the values of the model there. Their cost is the mean squared difference of model and ordinates.
///
/// Without samples, and for an object that found no memory, the cost is NaN. GetModel() tells the model at
/// the last Evaluate(), 0 before.
class MTH_EXPORT MTH_FUNCT_CURVE_COST : public MTH_FUNCT {
 public:
  ~MTH_FUNCT_CURVE_COST() override;

  /// Number of samples.
  int GetSamplesCount() const { return samplesCount_; }
  /// @return  the object's own abscissae, one per sample; null when there are none.
  double* GetAbscissae() const { return abscissae_.get(); }
  /// @return  the object's own ordinates, as GetAbscissae.
  double* GetOrdinates() const { return ordinates_.get(); }
  /// @return  the model at the abscissae as of the last Evaluate(), 0 before; as GetAbscissae.
  double* GetModel() const { return model_.get(); }

 protected:
  /// A cost without samples.
  explicit MTH_FUNCT_CURVE_COST(int parametersCount);
  /// Copies the samples. Null arrays, a negative count or no memory: no samples.
  MTH_FUNCT_CURVE_COST(int parametersCount, int count, const double* x, const double* y);

  /// Replaces the samples by `count` points at (0, 0). @return false, and no samples, without memory.
  bool AllocateSamples(int count);
  /// Releases the arrays; the count stays as it was.
  void ReleaseSamples();
  /// Fills the model, stores the mean squared error in the value and declares the object defined.
  /// @param model  the model's ordinate at an abscissa.
  template <class Model>
  void EvaluateMeanSquaredError(Model model) {
    for (int i = 0; abscissae_ && i < samplesCount_; ++i) model_.get()[i] = model(abscissae_.get()[i]);
    StoreMeanSquaredError();
  }
  /// The same once the model is filled. Not in this header, where a host's flags could fuse its products and
  /// sums.
  void StoreMeanSquaredError();

 private:
  std::unique_ptr<double[]> abscissae_;
  std::unique_ptr<double[]> ordinates_;
  std::unique_ptr<double[]> model_;
  int samplesCount_ = 0;
};
