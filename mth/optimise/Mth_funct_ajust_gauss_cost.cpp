#include "mth/optimise/Mth_funct_ajust_gauss_cost.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

#include "mth/core/Mth_work_array_internal.h"

namespace {

constexpr int kParametersPerGaussian = 3;
constexpr double kTwoPi = 6.283185307179586;
constexpr int kBlock = 64;  // samples that go through at a time, in vector lanes but for the exponential

// -1, which gives a cost without parameters, when there are too many Gaussians to be counted.
int ParametersCount(int gaussians) {
  constexpr int kMost = std::numeric_limits<int>::max() / kParametersPerGaussian;
  return gaussians > kMost ? -1 : kParametersPerGaussian * std::max(gaussians, 0);
}

// exp(-((i - centre) / width)^2 / 2) for `length` samples i from `first` on, at most a block.
void ComputeBell(double centre, double width, int first, int length, double* bell) {
  for (int i = 0; i < length; ++i) {
    const double z = ((first + i) - centre) / width;
    bell[i] = -0.5 * (z * z);
  }
  for (int i = 0; i < length; ++i) bell[i] = std::exp(bell[i]);
}

}  // namespace

namespace mth_internal {

// Keeps the exponentials of every Gaussian at its last two centres and widths. Minimisers go back and forth
// between the parameters and a trial point, and most trial points move one Gaussian: the others, and those
// whose area alone has changed, need no exponential. The numbers are the same.
class BellCache {
 public:
  BellCache(int gaussians, int count)
      : count_(count), places_(gaussians), bells_(std::int64_t{kPlaces} * gaussians * count) {
    for (int g = 0; places_ && g < gaussians; ++g) places_[g] = {};
  }

  static bool IsWorthwhile(int gaussians, int count) {
    constexpr std::int64_t kLargestSize = std::int64_t{1} << 21;  // 16 MiB of doubles
    return gaussians > 0 && count > 0 && std::int64_t{kPlaces} * gaussians * count <= kLargestSize;
  }
  bool IsAllocated() const { return places_ && bells_; }

  // Makes sure of the exponentials of one Gaussian, at all samples.
  void Select(int g, double centre, double width) {
    Places& places = places_[g];
    if (places.Holds(places.last, centre, width)) return;
    places.last = 1 - places.last;  // keeps the place used last: it is what the minimiser comes back to
    if (!places.Holds(places.last, centre, width)) Fill(g, places.last, centre, width);
  }
  const double* Selected(int g) const { return Bell(g, places_[g].last); }

 private:
  static constexpr int kPlaces = 2;

  struct Places {
    double centre[kPlaces] = {std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::quiet_NaN()};
    double width[kPlaces] = {};
    int last = 0;

    bool Holds(int place, double aCentre, double aWidth) const {
      return centre[place] == aCentre && width[place] == aWidth;
    }
  };

  double* Bell(int g, int place) const { return bells_.Get() + (std::int64_t{kPlaces} * g + place) * count_; }

  void Fill(int g, int place, double centre, double width) {
    for (int first = 0; first < count_; first += kBlock) {
      ComputeBell(centre, width, first, std::min(kBlock, count_ - first), Bell(g, place) + first);
    }
    places_[g].centre[place] = centre;
    places_[g].width[place] = width;
  }

  int count_;
  WorkArray<Places> places_;
  WorkArray<double> bells_;
};

}  // namespace mth_internal

MTH_FUNCT_AJUST_GAUSS_COST::MTH_FUNCT_AJUST_GAUSS_COST(double* data, int count, int gaussians)
    : MTH_FUNCT(ParametersCount(gaussians)), data_(data), count_(data != nullptr ? count : 0) {
  const int kept = GetParametersCount() / kParametersPerGaussian;
  if (!mth_internal::BellCache::IsWorthwhile(kept, count_)) return;
  cache_.reset(new (std::nothrow) mth_internal::BellCache(kept, count_));
  if (cache_ && !cache_->IsAllocated()) cache_.reset();
}

MTH_FUNCT_AJUST_GAUSS_COST::~MTH_FUNCT_AJUST_GAUSS_COST() = default;

void MTH_FUNCT_AJUST_GAUSS_COST::Evaluate() {
  const int gaussians = GetParametersCount() / kParametersPerGaussian;
  for (int g = 0; cache_ && g < gaussians; ++g) cache_->Select(g, Gaussian(g)[1], Gaussian(g)[2]);
  double error = 0.0;
  for (int first = 0; first < count_; first += kBlock) {
    const int length = std::min(kBlock, count_ - first);
    double model[kBlock] = {};
    for (int g = 0; g < gaussians; ++g) AddGaussian(g, first, length, model);
    for (int i = 0; i < length; ++i) {
      error += (data_[first + i] - model[i]) * (data_[first + i] - model[i]);
    }
  }
  SetValue(std::sqrt(error));
  SetDefined(true);
}

const double* MTH_FUNCT_AJUST_GAUSS_COST::Gaussian(int g) const {
  return GetParameters() + std::ptrdiff_t{kParametersPerGaussian} * g;
}

void MTH_FUNCT_AJUST_GAUSS_COST::AddGaussian(int g, int first, int length, double* model) const {
  const auto [area, centre, width] = std::array{Gaussian(g)[0], Gaussian(g)[1], Gaussian(g)[2]};
  const double height = area / (std::sqrt(kTwoPi) * width);
  double block[kBlock];
  const double* bell = block;
  if (cache_) {
    bell = cache_->Selected(g) + first;
  } else {
    ComputeBell(centre, width, first, length, block);
  }
  for (int i = 0; i < length; ++i) model[i] += height * bell[i];
}
