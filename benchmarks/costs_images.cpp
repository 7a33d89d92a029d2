// Images and volumes: see costs.cpp.

#include <bit>

#include "costs.h"

using namespace mth_benchmark;

void mth_benchmark::AddImages(Cases& cases) {
  cases.push_back({"image/FFT", 1048576, [](Kind kind, int n) -> Run {
                     return [re = Make(kind, n), im = Make(Kind::Ordinary, n, 2), n] {
                       Values a = re;
                       Values b = im;
                       Mth_FFT(1, static_cast<int>(std::bit_width(static_cast<unsigned>(n))) - 1, a.data(),
                               b.data());
                     };
                   }});
  cases.push_back({"image/FFT of an image", 1024, [](Kind kind, int n) -> Run {
                     return [re = Make(kind, n * n), n] {
                       std::vector<MTH_COMPLEX> values;
                       for (const double value : re) values.emplace_back(value, 0.0);
                       std::vector<MTH_COMPLEX*> rows;
                       for (int i = 0; i < n; ++i) rows.push_back(&values[static_cast<std::size_t>(i * n)]);
                       Mth_FFT2D(rows.data(), n, n, 1);
                     };
                   }});
  cases.push_back({"image/Laplacian", 2048, [](Kind kind, int n) -> Run {
                     const auto in = MakeMatrix(kind, n, n);
                     const auto out = MakeMatrix(kind, n, n);
                     return [=] { Mth_ComputeLaplacien(in.get(), out.get(), 0); };
                   }});
  cases.push_back({"image/Laplacian of a volume", 192, [](Kind kind, int n) -> Run {
                     return [in = Make<float>(kind, n * n * n), out = Make<float>(kind, n * n * n),
                             n]() mutable { Mth_ComputeLaplacien3DFloat(in.data(), out.data(), n, n, n); };
                   }});
  cases.push_back({"image/Laplacian of a volume of doubles", 192, [](Kind kind, int n) -> Run {
                     return [in = Make(kind, n * n * n), n]() mutable {
                       delete[] Mth_ComputeLaplacien3D(in.data(), n, n, n);
                     };
                   }});
  cases.push_back({"image/Laplacian of planes", 192, [](Kind kind, int n) -> Run {
                     return [in = Make<float>(kind, n * n * n), out = Make<float>(kind, n * n * n),
                             n]() mutable { Mth_ComputeLaplacien3D(in.data(), out.data(), n, n, n); };
                   }});
  const std::pair<const char*, double (*)(MTH_MATRIX*)> features[] = {
      {"contrast", Mth_Contrast},
      {"energy", Mth_Energy},
      {"variance", Mth_Variance},
      {"entropy", Mth_Entropy},
      {"correlation", Mth_Correlation},
      {"entropy of sums", Mth_EntSum},
      {"mean", [](MTH_MATRIX* m) { return Mth_Mean(m); }},
      {"homogeneity", [](MTH_MATRIX* m) { return static_cast<double>(Mth_Homogeneity(m)); }},
      {"mean of sums", Mth_MeanSum},
      {"variance of sums", Mth_VarSum},
      {"variance of differences", Mth_VarDifferences},
      {"entropy of differences", Mth_EntDifferences},
      {"information 1", Mth_CorrelationInfo1},
      {"information 2", Mth_CorrelationInfo2}};
  for (const auto& [name, feature] : features) {
    cases.push_back(
        {std::string("image/texture, ") + name, 512, [feature = feature](Kind kind, int n) -> Run {
           const auto matrix = MakeMatrix(kind, n, n);
           return [=] { feature(matrix.get()); };
         }});
  }
  cases.push_back({"wavelet/transform", 1024, [](Kind kind, int n) -> Run {
                     const auto image = MakeMatrix(kind, n, n);
                     return [=, bands = std::vector<Values>(4, Make(kind, n * n))]() mutable {
                       const MTH_WAVELET_DENOISING wavelet(nullptr);
                       wavelet.RedundantWaveletTransform(image.get(), bands[0].data(), bands[1].data(),
                                                         bands[2].data(), bands[3].data(), 2, n, n);
                     };
                   }});
  cases.push_back({"wavelet/inverse", 1024, [](Kind kind, int n) -> Run {
                     const auto image = MakeMatrix(kind, n, n);
                     return [=, bands = std::vector<Values>(4, Make(kind, n * n))] {
                       std::vector<Values> copies = bands;
                       const MTH_WAVELET_DENOISING wavelet(nullptr);
                       wavelet.RedundantInverseWaveletTransform(image.get(), copies[0].data(),
                                                                copies[1].data(), copies[2].data(),
                                                                copies[3].data(), 2);
                     };
                   }});
  cases.push_back({"wavelet/line", 4194304, [](Kind kind, int n) -> Run {
                     return [line = Make(kind, n), out = Make(kind, n), n]() mutable {
                       Values taps{0.125, 0.375, 0.375, 0.125, 0.0};
                       MTH_WAVELET_DENOISING(nullptr).WaveletTransform1D(line.data(), taps.data(), out.data(),
                                                                         2, n, 5);
                     };
                   }});
  cases.push_back({"wavelet/denoising", 512, [](Kind kind, int n) -> Run {
                     const auto image = MakeMatrix(kind, n, n);
                     return [=] { MTH_WAVELET_DENOISING(image.get()).ApplyDenoisingMRImage(); };
                   }});
  cases.push_back({"wavelet/approximation", 1024, [](Kind kind, int n) -> Run {
                     return [=, data = Make(kind, n * n)] {
                       Values copy = data;
                       MTH_WAVELET_DENOISING(nullptr).ComputeApproximation(copy.data(), 2, n, n);
                     };
                   }});
  cases.push_back({"wavelet/noise", 1024, [](Kind kind, int n) -> Run {
                     const auto image = MakeMatrix(kind, n, n);
                     return [=] { MTH_WAVELET_DENOISING(image.get()).EstimateNoiseDeviation(); };
                   }});
  cases.push_back({"wavelet/energy and shrinkage", 512, [](Kind kind, int n) -> Run {
                     return [=, detail = Make(kind, n * n), parent = Make(Kind::Ordinary, n * n, 2)] {
                       const MTH_WAVELET_DENOISING wavelet(nullptr);
                       Values energy(detail.size());
                       Values shrunk = detail;
                       wavelet.AdaptEnergy(detail.data(), 30.0, energy.data(), n, n);
                       wavelet.RemoveNoiseAdaptative(shrunk.data(), energy.data(),
                                                     {parent.data(), parent.data(), parent.data()}, 30.0, n,
                                                     n);
                     };
                   }});
  cases.push_back({"denoising/noise", 96, [](Kind kind, int n) -> Run {
                     return [in = Make<float>(kind, n * n * n), n] {
                       MTH_VOLUME_DENOISING(n, n, n).EstimateNoiseDeviation(in.data());
                     };
                   }});
  cases.push_back({"denoising/volume", 64, [](Kind kind, int n) -> Run {
                     return [in = Make<float>(kind, n * n * n), out = Make<float>(kind, n * n * n),
                             n]() mutable { MTH_VOLUME_DENOISING(n, n, n).Denoise(in.data(), out.data()); };
                   }});
}
