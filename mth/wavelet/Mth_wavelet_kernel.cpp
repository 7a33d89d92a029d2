#include "mth/wavelet/Mth_wavelet_kernel_internal.h"

#define MTH_KERNEL_FILE "mth/wavelet/Mth_wavelet_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {

void CombineLines(const TapLines& lines, const double* taps, int count, std::int64_t length, double* out) {
  const auto combine = count == 4 ? MTH_SELECT(CombineFourLines) : MTH_SELECT(CombineSixLines);
  combine(lines.data(), taps, length, out);
}

void SplitLines(const TapLines& lines, const double* lowTaps, const double* highTaps, std::int64_t length,
                double* low, double* high) {
  MTH_SELECT(SplitLowAndHigh)(lines.data(), lowTaps, highTaps, length, low, high);
}

template <class T>
bool CopyFilterable(const T* values, std::int64_t length, double* target) {
  return MTH_SELECT(CopyAndCheck<T>)(values, length, target);
}
template bool CopyFilterable(const double* values, std::int64_t length, double* target);
template bool CopyFilterable(const float* values, std::int64_t length, double* target);

bool AreFilterable(const double* values, std::int64_t length) {
  return MTH_SELECT(Check)(values, length);
}

bool MarkNotFinite(const double* values, std::int64_t length, std::uint64_t* marks) {
  return MTH_SELECT(SetMarks)(values, length, marks);
}

template <class T>
void AddFourLines(const double* a, const double* b, const double* c, const double* d, std::int64_t length,
                  T* target) {
  MTH_SELECT(AddFour<T>)(a, b, c, d, length, target);
}
template void AddFourLines(const double*, const double*, const double*, const double*, std::int64_t, double*);
template void AddFourLines(const double*, const double*, const double*, const double*, std::int64_t, float*);

void AddScaled(const double* values, double scale, std::int64_t length, double* sums) {
  MTH_SELECT(AddScaledLine)(values, scale, length, sums);
}

void AddScaledSquares(const double* values, double scale, double weight, std::int64_t length, double* sums) {
  MTH_SELECT(AddScaledSquaresOfLine)(values, scale, weight, length, sums);
}

}  // namespace mth_internal
