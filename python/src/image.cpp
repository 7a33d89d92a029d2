#include <complex>

#include "arrays.h"
#include "call.h"
#include "mth/image/Mth_fft.h"
#include "mth/image/Mth_laplacian.h"
#include "mth/image/Mth_texture.h"
#include "mth/value/Mth_complex.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"
#include "shrinkage.h"
#include "volume.h"

// Images: redundant wavelets, the denoising by them, Laplacians, texture features and Fourier transforms.

namespace mth_python {
namespace {

using Complex = std::complex<double>;

// A plane in memory of the library's, which asks for huge pages.
std::unique_ptr<MTH_MATRIX> NewPlane(int rows, int columns, int type) {
  auto plane = std::make_unique<MTH_MATRIX>(rows, columns, type);
  if (!plane->IsAllocated()) ThrowMemoryError();
  return plane;
}

void RequireLevel(int level) {
  constexpr int kLevels = 30;  // filters of more reach beyond every image
  if (level < 0 || level >= kLevels) ThrowValueError("level is not 0 to 29");
}

// One level: the approximation, and the differences between rows, between columns and along both.
py::tuple WaveletLevel(const py::handle& value, int level) {
  RequireLevel(level);
  const Array<double> array = Numbers<double>(value, "image", 2);
  Operand image(array, false, "image");
  std::unique_ptr<MTH_MATRIX> bands[4];
  for (auto& band : bands) band = NewPlane(image.Rows(), image.Columns(), 0);
  const MTH_WAVELET_DENOISING transform(nullptr);
  bool isDone = false;
  Call call;
  call.Run([&] {
    isDone = transform.RedundantWaveletTransform(
        image.Get(), bands[0]->GetEDataAddress(), bands[1]->GetEDataAddress(), bands[2]->GetEDataAddress(),
        bands[3]->GetEDataAddress(), level, image.Rows(), image.Columns());
  });
  if (!isDone) ThrowMemoryError();
  return py::make_tuple(FromMatrix(std::move(bands[0])), FromMatrix(std::move(bands[1])),
                        FromMatrix(std::move(bands[2])), FromMatrix(std::move(bands[3])));
}

py::array InverseWaveletLevel(const py::args& values, int level) {
  RequireLevel(level);
  std::vector<py::array> bands;  // copies: the library works in them
  for (const py::handle value : values) {
    bands.push_back(Array<double>(Numbers<double>(value, "subband", 2).attr("copy")("C")));
    RequireSameShape(bands.back(), bands.front(), "subband");
  }
  const int rows = ToInt(bands.at(3).shape(0), "subband");
  const int columns = ToInt(bands[0].shape(1), "subband");
  double* elements[4];
  for (std::size_t i = 0; i < 4; ++i) elements[i] = static_cast<double*>(bands[i].mutable_data());
  auto image = NewPlane(rows, columns, 0);
  const MTH_WAVELET_DENOISING transform(nullptr);
  bool isDone = false;
  Call call;
  call.Run([&] {
    isDone = transform.RedundantInverseWaveletTransform(image.get(), elements[0], elements[1], elements[2],
                                                        elements[3], level);
  });
  if (!isDone) ThrowMemoryError();
  return FromMatrix(std::move(image));
}

py::tuple DenoisePlane(const py::handle& value, double factor, int window, bool tellsNoise,
                       const py::object& progress) {
  const py::array array = RealArray(value, "image");
  Operand image(array, IsFloat(array), "image");
  std::optional<MTH_WAVELET_DENOISING> denoising;
  double noise = 0.0;
  bool isDone = false;
  Call call(progress);
  call.Run([&] {
    denoising.emplace(image.Get());  // which copies it
    if (denoising->GetImage() == nullptr) return;
    denoising->SetThrFactor(factor);
    denoising->SetWindowSize(window);
    if (tellsNoise) noise = denoising->EstimateNoiseDeviation();
    isDone = denoising->ApplyDenoisingMRImage();
  });
  if (!isDone) ThrowMemoryError();
  return py::make_tuple(FromMatrix(std::make_unique<MTH_MATRIX>(std::move(*denoising->GetImage()))), noise);
}

py::array LaplacianOfPlane(const py::array& array) {
  Operand image(array, IsFloat(array), "image");
  const int type = image->GetType();
  auto result = NewPlane(image.Rows(), image.Columns(), type);
  Call call;
  call.Run([&] { Mth_ComputeLaplacien(image.Get(), result.get(), type); });
  return FromMatrix(std::move(result));
}

template <class T>
py::array LaplacianOfVolume(const py::array& array) {
  const Volume<T> image(array, "image");
  const int nx = image.Size()[0];
  const int ny = image.Size()[1];
  const int nz = image.Size()[2];
  T* const voxels = const_cast<T*>(image.Data());  // only read
  Call call;
  if constexpr (std::is_same_v<T, float>) {
    Volume<T> result(array);
    call.Run([&] { Mth_ComputeLaplacien3D(voxels, result.MutableData(), nx, ny, nz); });
    return result.GetArray();
  } else {
    std::unique_ptr<double[]> result;
    call.Run([&] { result.reset(Mth_ComputeLaplacien3D(voxels, nx, ny, nz)); });
    if (!result) ThrowMemoryError();
    return FromNew(std::move(result), {nz, ny, nx}).attr("T");
  }
}

py::array Laplacian(const py::handle& value) {
  const py::array array = RealArray(value, "image");
  if (array.ndim() == 2) return LaplacianOfPlane(array);
  if (array.ndim() != 3)
    ThrowValueError("image has " + std::to_string(array.ndim()) + " dimensions, not 2 or 3");
  return IsFloat(array) ? LaplacianOfVolume<float>(array) : LaplacianOfVolume<double>(array);
}

py::dict Texture(const py::handle& value) {
  const py::array array = RealArray(value, "p");
  Operand p(array, IsFloat(array), "p");
  using Feature = double (*)(MTH_MATRIX*);
  static constexpr std::pair<const char*, Feature> kFeatures[] = {
      {"contrast", &Mth_Contrast},
      {"homogeneity", [](MTH_MATRIX* matrix) { return static_cast<double>(Mth_Homogeneity(matrix)); }},
      {"energy", &Mth_Energy},
      {"mean", static_cast<Feature>(&Mth_Mean)},
      {"variance", &Mth_Variance},
      {"entropy", &Mth_Entropy},
      {"correlation", &Mth_Correlation},
      {"sum_mean", &Mth_MeanSum},
      {"sum_variance", &Mth_VarSum},
      {"sum_entropy", &Mth_EntSum},
      {"difference_variance", &Mth_VarDifferences},
      {"difference_entropy", &Mth_EntDifferences},
      {"information_correlation_1", &Mth_CorrelationInfo1},
      {"information_correlation_2", &Mth_CorrelationInfo2}};
  double values[std::size(kFeatures)];
  Call call;
  call.Run([&] {
    for (std::size_t i = 0; i < std::size(kFeatures); ++i) values[i] = kFeatures[i].second(p.Get());
  });
  py::dict result;
  for (std::size_t i = 0; i < std::size(kFeatures); ++i) result[kFeatures[i].first] = values[i];
  return result;
}

// Logarithm of a length that is a power of two.
int LogarithmOf(py::ssize_t length, py::ssize_t least) {
  int logarithm = 0;
  while ((py::ssize_t{1} << logarithm) < length) ++logarithm;
  if (length < least || (py::ssize_t{1} << logarithm) != length || logarithm > 30)
    ThrowValueError("a length is " + std::to_string(length) + ", not a power of two from " +
                    std::to_string(least));
  return logarithm;
}

Array<Complex> Complexes(const py::handle& value, int dimensions) {
  const py::array array = AnyArray(value);
  if (std::string("fiubc").find(array.dtype().kind()) == std::string::npos)
    throw py::type_error("x has elements of type " + std::string(py::str(array.dtype())) + ", not numbers");
  if (array.ndim() != dimensions)
    ThrowValueError("x has " + std::to_string(array.ndim()) + " dimensions, not " +
                    std::to_string(dimensions));
  return Contiguous<Complex>(array);
}

py::array Fft(const py::handle& value, int direction) {
  const Array<Complex> x = Complexes(value, 1);
  const int logarithm = LogarithmOf(x.size(), 1);
  Array<Complex> result(x.size());
  const auto count = static_cast<std::size_t>(x.size());
  const Complex* const in = x.data();
  Complex* const out = result.mutable_data();
  Call call;
  call.Run([&] {
    std::vector<double> re(count);
    std::vector<double> im(count);
    for (std::size_t i = 0; i < count; ++i) re[i] = in[i].real(), im[i] = in[i].imag();
    Mth_FFT(direction, logarithm, re.data(), im.data());
    for (std::size_t i = 0; i < count; ++i) out[i] = {re[i], im[i]};
  });
  return result;
}

py::array Fft2(const py::handle& value, int direction) {
  const Array<Complex> x = Complexes(value, 2);
  const py::ssize_t rows = x.shape(0);
  const py::ssize_t columns = x.shape(1);
  LogarithmOf(rows, 4);
  LogarithmOf(columns, 4);
  Array<Complex> result({rows, columns});
  std::copy_n(x.data(), x.size(), result.mutable_data());
  static_assert(sizeof(MTH_COMPLEX) == sizeof(Complex));  // two doubles each
  auto* const values = reinterpret_cast<MTH_COMPLEX*>(result.mutable_data());
  bool isDone = false;
  Call call;
  call.Run([&] {
    std::vector<MTH_COMPLEX*> lines;
    for (py::ssize_t i = 0; i < rows; ++i) lines.push_back(values + i * columns);
    isDone = Mth_FFT2D(lines.data(), static_cast<int>(rows), static_cast<int>(columns), direction);
  });
  if (!isDone) ThrowMemoryError();
  return result;
}

}  // namespace

void DefineImage(py::module_& module) {
  module.def("wavelet_level", Interruptible(&WaveletLevel, kOfSorting));
  module.def("inverse_wavelet_level", Interruptible(&InverseWaveletLevel, kOfSorting), py::kw_only(),
             py::arg("level"));
  module.def("denoise_plane", Interruptible(&DenoisePlane, kOfSorting));
  module.def("denoise_quickly", Interruptible(&DenoiseQuickly, kOfSorting));
  module.def("laplacian", Interruptible(&Laplacian, kOfSorting));
  module.def("texture", Interruptible(&Texture, kOfSorting));
  module.def("fft", Interruptible(&Fft, kOfSorting));
  module.def("fft2", Interruptible(&Fft2, kOfSorting));
}

}  // namespace mth_python
