// What the denoising does to the phantom and to the head slice of data/, as the tables of wavelet.md.

#include <cstdio>

#include "mth/wavelet/Mth_wavelet_denoising.h"
#include "support/denoising_cases.h"

namespace {

using namespace mth_test;

constexpr double kPercents[] = {3.0, 5.0, 9.0, 15.0};
constexpr unsigned kSeeds = 5;

// Means over the seeds.
struct Quality {
  double sigma = 0.0;
  double noisy = 0.0;
  double soft = 0.0;
  double median = 0.0;
  double denoised = 0.0;
  double leastGain = 1e300;  // over the best of the three others, of all seeds
};

struct Edges {
  double flat = 0.0;
  double kept[3][3] = {};  // steps of 100, of 50, and all: denoised, noisy, median filter
};

MTH_MATRIX Denoised(MTH_MATRIX& noisy) {
  MTH_WAVELET_DENOISING wavelet(&noisy);
  wavelet.ApplyDenoisingMRImage();
  return *wavelet.GetImage();
}

Quality Measure(const TrueImage& truth, double percent, bool isHead) {
  Quality mean;
  const double deviation = percent / 100.0 * truth.brightestTissue;
  for (unsigned seed = 1; seed <= kSeeds; ++seed) {
    MTH_MATRIX noisy = WithRicianNoise(truth.image, deviation, seed);
    const std::unique_ptr<MTH_MATRIX> bright(isHead ? noisy.GetExtract(40, 30, 130, 120)
                                                    : new MTH_MATRIX(noisy));
    const double psnr[] = {Psnr(noisy, truth), Psnr(SoftThresholded(noisy, deviation), truth),
                           Psnr(MedianFiltered(noisy), truth), Psnr(Denoised(noisy), truth)};
    mean.sigma += MTH_WAVELET_DENOISING(bright.get()).EstimateNoiseDeviation() / deviation / kSeeds;
    mean.noisy += psnr[0] / kSeeds;
    mean.soft += psnr[1] / kSeeds;
    mean.median += psnr[2] / kSeeds;
    mean.denoised += psnr[3] / kSeeds;
    mean.leastGain = std::min(mean.leastGain, psnr[3] - std::max({psnr[0], psnr[1], psnr[2]}));
  }
  return mean;
}

Edges MeasureEdges(const TrueImage& phantom, double percent) {
  constexpr int kWidth = 3;
  constexpr double kSteps[] = {100.0, 50.0, 0.0};
  Edges mean;
  for (unsigned seed = 1; seed <= kSeeds; ++seed) {
    MTH_MATRIX noisy = WithRicianNoise(phantom.image, percent / 100.0 * phantom.brightestTissue, seed);
    const MTH_MATRIX denoised = Denoised(noisy);
    const MTH_MATRIX median = MedianFiltered(noisy);
    mean.flat += Deviation(denoised, 170, 40, 44, 44) / Deviation(noisy, 170, 40, 44, 44) / kSeeds;
    for (int step = 0; step < 3; ++step) {
      const MTH_MATRIX* const images[] = {&denoised, &noisy, &median};
      for (int k = 0; k < 3; ++k)
        mean.kept[step][k] += ContrastKept(*images[k], phantom.image, kSteps[step], kWidth) / kSeeds;
    }
  }
  return mean;
}

void PrintQuality(const char* name, const TrueImage& truth, bool isHead) {
  for (const double percent : kPercents) {
    const Quality q = Measure(truth, percent, isHead);
    std::printf("| %s | %g %% | %.3f | %.2f | %.2f | %.2f | %.2f | %.2f |\n", name, percent, q.sigma, q.noisy,
                q.soft, q.median, q.denoised, q.leastGain);
  }
}

}  // namespace

int main() {
  const TrueImage phantom = Phantom();
  const TrueImage head = HeadSlice(MTH_DATA_DIR "/t1_head_axial.nii.gz");
  if (!head.image.IsAllocated()) {
    std::fprintf(stderr, "wavelet_quality: the head slice of data/ cannot be read\n");
    return 2;
  }
  std::printf(
      "| image | noise | sigma, estimated / true | noisy, dB | soft threshold, dB | median 3 x 3, dB | "
      "mth, dB | least gain over the best, dB |\n|---|---|---|---|---|---|---|---|\n");
  PrintQuality("phantom", phantom, false);
  PrintQuality("head slice", head, true);
  std::printf(
      "\n| noise | deviation left in the square | steps of 100 kept | noisy | median 3 x 3 | steps of "
      "50 kept | noisy | median 3 x 3 | all steps kept | noisy | median 3 x 3 "
      "|\n|---|---|---|---|---|---|---|---|---|---|---|\n");
  for (const double percent : kPercents) {
    const Edges e = MeasureEdges(phantom, percent);
    std::printf("| %g %% | %.3f |", percent, e.flat);
    for (const auto& kept : e.kept) std::printf(" %.3f | %.3f | %.3f |", kept[0], kept[1], kept[2]);
    std::printf("\n");
  }
}
