// Fourier and wavelet transforms that invert, Laplacians, texture and denoising with the same bits
// everywhere.

#include <algorithm>

#include "fuzz/fuzz.h"

namespace mth_fuzz {
namespace {

void TryFFT(Input& input) {
  const int power = input.Size(0, 8);
  const int n = 1 << power;
  const std::vector<double> re = input.Numbers(n, &Input::Moderate);
  const std::vector<double> im = input.Numbers(n, &Input::Moderate);
  std::vector<double> real = re;
  std::vector<double> imaginary = im;
  Require(Mth_FFT(1, power, real.data(), imaginary.data()));
  Require(Mth_FFT(-1, power, real.data(), imaginary.data()));
  for (std::size_t i = 0; i < re.size(); ++i) {
    Require(std::abs(real[i] - re[i]) < 1e-8 && std::abs(imaginary[i] - im[i]) < 1e-8);
  }
}

void TryTexture(Input& input) {
  const int n = input.Size(0, 20);
  const int columns = input.Byte() < 200 ? n : input.Size(0, 20);
  const int type = input.Whole(0, 1);
  MTH_MATRIX p = input.Matrix(n, columns, type, &Input::Any);
  RequireSameBits([&](Results& results) {
    for (const double feature : {Mth_Contrast(&p), static_cast<double>(Mth_Homogeneity(&p)), Mth_Energy(&p),
                                 Mth_Mean(&p), Mth_Variance(&p), Mth_Entropy(&p), Mth_Correlation(&p),
                                 Mth_MeanSum(&p), Mth_VarSum(&p), Mth_EntSum(&p), Mth_VarDifferences(&p),
                                 Mth_EntDifferences(&p), Mth_CorrelationInfo1(&p), Mth_CorrelationInfo2(&p)})
      results.Add(feature);
  });
}

void TryLaplacians(Input& input, int type, MTH_MATRIX& image) {
  const int sides[3] = {input.Size(0, 9), input.Size(0, 9), input.Size(0, 9)};
  const int voxels = sides[0] * sides[1] * sides[2];
  std::vector<double> volume = input.Numbers(voxels, &Input::Any);
  RequireSameBits([&](Results& results) {
    MTH_MATRIX out(image.GetNbRows(), image.GetNbCols(), type);
    out.SetZero();
    results.Add(Mth_ComputeLaplacien(&image, &out, type));
    results.Add(&out);
    const std::unique_ptr<double[]> made(Mth_ComputeLaplacien3D(volume.data(), sides[0], sides[1], sides[2]));
    results.Add(made.get(), made ? static_cast<std::size_t>(voxels) : 0U);
  });
}

void TryDenoising(const MTH_MATRIX& image) {
  RequireSameBits([&](Results& results) {
    MTH_MATRIX denoised(image);
    MTH_WAVELET_DENOISING wavelet(&denoised);
    results.Add(wavelet.ApplyDenoisingMRImage());
    results.Add(&denoised);
  });
}

void TryWavelets(Input& input, const MTH_MATRIX& image) {
  if (input.Byte() < 8) return TryDenoising(image);  // rarely: it takes as long as a hundred transforms
  const int rows = input.Size(1, 20);
  const int columns = input.Size(1, 20);
  const int level = input.Whole(0, 3);
  MTH_MATRIX plane = input.Matrix(rows, columns, 0, &Input::Moderate);
  const MTH_MATRIX original(plane);
  const auto size = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
  std::vector<double> approx(size), horizontal(size), vertical(size), diagonal(size);
  const MTH_WAVELET_DENOISING wavelet(nullptr);
  wavelet.RedundantWaveletTransform(&plane, approx.data(), horizontal.data(), vertical.data(),
                                    diagonal.data(), level, rows, columns);
  wavelet.RedundantInverseWaveletTransform(&plane, approx.data(), horizontal.data(), vertical.data(),
                                           diagonal.data(), level);
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < columns; ++j) Require(std::isfinite(plane.Get(i, j)));
  }
}

}  // namespace

void TryInput(const std::uint8_t* bytes, std::size_t count) {
  Input input(bytes, count);
  const int part = input.Byte() % 4;
  if (part == 0) return TryFFT(input);
  if (part == 1) return TryTexture(input);
  const int type = input.Whole(0, 1);
  const int rows = input.Size(0, 24);
  const int columns = input.Size(0, 24);
  MTH_MATRIX image = input.Matrix(rows, columns, type, input.Byte() < 128 ? &Input::Moderate : &Input::Any);
  part == 2 ? TryLaplacians(input, type, image) : TryWavelets(input, image);
}

}  // namespace mth_fuzz
