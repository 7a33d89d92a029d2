#include "mth/optimise/Mth_funct_profile_cost.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/core/Mth_number_text_internal.h"
#include "mth/core/Mth_text_file_internal.h"

namespace {

constexpr int kParametersCount = 4;
constexpr std::size_t kLongestLine = 255;  // read at once; what is beyond counts as another line
constexpr int kDecimals = 3;

// Pieces of at most kLongestLine characters, line ends included.
std::size_t CountLines(std::string_view text) {
  std::size_t count = 0;
  while (!text.empty()) {
    const std::size_t end = text.substr(0, kLongestLine).find('\n');
    text.remove_prefix(end != text.npos ? end + 1 : std::min(kLongestLine, text.size()));
    ++count;
  }
  return count;
}

// Takes numbers and separators off the front of a text, whatever the locale, as "%lf,%lf" would: it stops at
// the first character that does not fit, and stays there.
class NumberReader {
 public:
  explicit NumberReader(std::string_view text) : text_(text) {}

  // A number without its pair is stored all the same. @return whether the pair was whole.
  bool TakePair(double& first, double& second) {
    return TakeNumber(first) && TakeComma() && TakeNumber(second);
  }

 private:
  bool TakeComma() {
    if (!text_.starts_with(',')) return false;
    text_.remove_prefix(1);
    return true;
  }

  bool TakeNumber(double& number) {
    text_.remove_prefix(std::min(text_.find_first_not_of(" \t\n\v\f\r"), text_.size()));
    return mth_internal::TakeNumber(text_, number);
  }

  std::string_view text_;
};

}  // namespace

MTH_FUNCT_PROFILE_COST::MTH_FUNCT_PROFILE_COST() : MTH_FUNCT_CURVE_COST(kParametersCount) {}

MTH_FUNCT_PROFILE_COST::MTH_FUNCT_PROFILE_COST(int count, double* x, double* y)
    : MTH_FUNCT_CURVE_COST(kParametersCount, count, x, y) {}

MTH_FUNCT_PROFILE_COST::MTH_FUNCT_PROFILE_COST(const char* path) : MTH_FUNCT_CURVE_COST(kParametersCount) {
  LoadProfile(path);
}

MTH_FUNCT_PROFILE_COST::~MTH_FUNCT_PROFILE_COST() = default;

void MTH_FUNCT_PROFILE_COST::Evaluate() {
  if (GetParametersCount() == 0) return StoreMeanSquaredError();  // there was no memory for them
  const double baseline = GetParameters()[0];
  const double amplitude = GetParameters()[1];
  const double centre = GetParameters()[2];
  const double width = GetParameters()[3];
  const double* const x = GetAbscissae();
  double* const model = GetModel();
  const int count = x != nullptr ? GetSamplesCount() : 0;
  for (int i = 0; i < count; ++i) model[i] = -((x[i] - centre) * (x[i] - centre)) / (width * width * 2.0);
  mth_internal::Exponentials(model, count, model);
  for (int i = 0; i < count; ++i) model[i] = baseline + amplitude * model[i];
  StoreMeanSquaredError();
}

bool MTH_FUNCT_PROFILE_COST::LoadProfile(const char* path) try {
  readCount_ = 0;
  ReleaseSamples();
  std::string text;
  if (!mth_internal::ReadTextFile(path, text)) return false;
  const std::size_t count = CountLines(text);
  if (count > static_cast<std::size_t>(std::numeric_limits<int>::max())) return false;
  if (!AllocateSamples(static_cast<int>(count))) return false;
  NumberReader reader(text);
  for (std::size_t i = 0; i < count; ++i) {
    if (reader.TakePair(GetAbscissae()[i], GetOrdinates()[i])) ++readCount_;
  }
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool MTH_FUNCT_PROFILE_COST::SaveProfile(const char* path) {
  mth_internal::TextWriter file(path);
  const int count = GetAbscissae() != nullptr ? GetSamplesCount() : 0;
  for (int i = 0; i < count; ++i) {
    file.Fixed(GetAbscissae()[i], kDecimals).Text(",");
    file.Fixed(GetOrdinates()[i], kDecimals).Text(",");
    file.Fixed(GetModel()[i], kDecimals).Text("\n");
  }
  return file.Close();
}
