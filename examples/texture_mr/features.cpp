#include "features.h"

#include <mth/image/Mth_texture.h>

#include <algorithm>
#include <iterator>

namespace texture_mr {

const std::array<FeatureKind, kFeatureCount> kFeatureKinds{{
    {"contrast", "Mth_Contrast", "f2 contrast", "ACUI contrast", "equal"},
    {"homogeneity", "Mth_Homogeneity", "f5 inverse difference moment", "WF0Z inverse difference moment",
     "equal in single precision"},
    {"energy", "Mth_Energy", "f1 angular second moment", "8ZQL angular second moment", "equal"},
    {"mean", "Mth_Mean", "", "", "the sum of the matrix"},
    {"variance", "Mth_Variance", "f4 sum of squares: variance", "UR99 joint variance",
     "UR99 + (mean level - 1)^2"},
    {"entropy", "Mth_Entropy", "f9 entropy", "TU9B joint entropy", "TU9B * ln 2"},
    {"correlation", "Mth_Correlation", "f3 correlation", "NI2N correlation",
     "not comparable: means of elements instead of levels"},
    {"mean of sums", "Mth_MeanSum", "f6 sum average", "ZGXS sum average", "ZGXS - 2 - P(0 1) - P(1 0)"},
    {"variance of sums", "Mth_VarSum", "f7 sum variance", "OEEB sum variance",
     "OEEB + 4 if P(0 0) = P(0 1) = P(1 0) = 0"},
    {"entropy of sums", "Mth_EntSum", "f8 sum entropy", "P6QZ sum entropy",
     "P6QZ * ln 2 if P(0 0) = P(0 1) = P(1 0) = 0"},
    {"variance of differences", "Mth_VarDifferences", "f10 difference variance", "D3YU difference variance",
     "D3YU + (mean difference - 1 / levels)^2"},
    {"entropy of differences", "Mth_EntDifferences", "f11 difference entropy", "NTRS difference entropy",
     "-NTRS * ln 2"},
    {"information 1", "Mth_CorrelationInfo1", "f12 information measure of correlation 1",
     "R8DG information correlation 1", "equal"},
    {"information 2", "Mth_CorrelationInfo2", "f13 information measure of correlation 2",
     "JN9H information correlation 2", "JN9H^2 = 1 - (1 - information 2 ^2)^(1 / ln 2)"},
}};

FeatureValues ComputeFeatures(const PairCounts& pairs) {
  if (pairs.total == 0) return std::nullopt;
  MTH_MATRIX p(pairs.levels, pairs.levels, 0);
  const auto total = static_cast<double>(pairs.total);
  for (int i = 0; i < pairs.levels; ++i) {
    for (int j = 0; j < pairs.levels; ++j) p.Set(i, j, static_cast<double>(pairs.At(i, j)) / total);
  }
  return std::array<double, kFeatureCount>{Mth_Contrast(&p),         static_cast<double>(Mth_Homogeneity(&p)),
                                           Mth_Energy(&p),           Mth_Mean(&p),
                                           Mth_Variance(&p),         Mth_Entropy(&p),
                                           Mth_Correlation(&p),      Mth_MeanSum(&p),
                                           Mth_VarSum(&p),           Mth_EntSum(&p),
                                           Mth_VarDifferences(&p),   Mth_EntDifferences(&p),
                                           Mth_CorrelationInfo1(&p), Mth_CorrelationInfo2(&p)};
}

double RegionTexture::Mean(std::size_t feature) const {
  double sum = 0.0;
  int count = 0;
  for (const FeatureValues& values : ofDirection) {
    if (!values) continue;
    sum += (*values)[feature];
    ++count;
  }
  return sum / count;
}

double RegionTexture::Range(std::size_t feature) const {
  std::vector<double> all;
  for (const FeatureValues& values : ofDirection) {
    if (values) all.push_back((*values)[feature]);
  }
  const auto [lowest, highest] = std::minmax_element(all.begin(), all.end());
  return *highest - *lowest;
}

bool RegionTexture::HasPairs() const {
  return std::any_of(ofDirection.begin(), ofDirection.end(),
                     [](const FeatureValues& values) { return values.has_value(); });
}

std::vector<RegionTexture> ComputeTextures(const std::vector<RegionPairs>& regions) {
  std::vector<RegionTexture> textures;
  for (const RegionPairs& region : regions) {
    RegionTexture texture{region.label, region.voxels, {}};
    std::transform(region.pairs.begin(), region.pairs.end(), std::back_inserter(texture.ofDirection),
                   ComputeFeatures);
    textures.push_back(texture);
  }
  return textures;
}

}  // namespace texture_mr
