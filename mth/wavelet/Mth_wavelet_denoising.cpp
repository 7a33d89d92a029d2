#include "mth/wavelet/Mth_wavelet_denoising.h"

#include <memory>
#include <new>

#include "mth/wavelet/Mth_wavelet_transform_internal.h"

using namespace mth_internal;

MTH_WAVELET_DENOISING::MTH_WAVELET_DENOISING(MTH_MATRIX* image) : image_(nullptr) {
  constexpr int kDoubleElements = 0;
  if (image == nullptr) return;
  std::unique_ptr<MTH_MATRIX> copy(new (std::nothrow)
                                       MTH_MATRIX(image->GetNbRows(), image->GetNbCols(), kDoubleElements));
  if (copy) *copy = *image;
  const bool isWhole = copy && copy->IsAllocated() == image->IsAllocated();
  if (isWhole) image_ = copy.release();
}

MTH_WAVELET_DENOISING::~MTH_WAVELET_DENOISING() {
  delete image_;
}

void MTH_WAVELET_DENOISING::WaveletTransform1D(double* signal, double* filter, double* out, int level, int n,
                                               int filterLength) const {
  if (signal == nullptr || filter == nullptr || out == nullptr || n <= 0) return;
  FilterLine(signal, {filter, filterLength}, StepOfLevel(level, n), n, out);
}

bool MTH_WAVELET_DENOISING::RedundantWaveletTransform(MTH_MATRIX* image, double* approx, double* detailRows,
                                                      double* detailCols, double* detailDiag, int level,
                                                      int rows, int cols) const {
  if (image == nullptr || rows < 0 || cols < 0) return false;
  const Subbands subbands{approx, detailRows, detailCols, detailDiag};
  if (rows == 0 || cols == 0) return true;
  return subbands.AreComplete() && Analyse(*image, level, {rows, cols}, subbands);
}

bool MTH_WAVELET_DENOISING::ComputeApproximation(double* data, int level, int rows, int cols) const {
  if (rows < 0 || cols < 0) return false;
  if (rows == 0 || cols == 0) return true;
  return data != nullptr && Smooth(data, level, {rows, cols});
}

bool MTH_WAVELET_DENOISING::RedundantInverseWaveletTransform(MTH_MATRIX* image, double* approx,
                                                             double* detailRows, double* detailCols,
                                                             double* detailDiag, int level) const {
  if (image == nullptr || !image->IsAllocated()) return false;
  if (image->GetNbRows() <= 0 || image->GetNbCols() <= 0) return true;
  const Subbands subbands{approx, detailRows, detailCols, detailDiag};
  return subbands.AreComplete() && Rebuild(subbands, level, *image);
}
