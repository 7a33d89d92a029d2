#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "mth/matrix/Mth_matrix.h"

namespace mth_test {

using Samples = std::vector<double>;

inline const Samples kH{0.125, 0.375, 0.375, 0.125, 0.0};
inline const Samples kG{0.0, 0.5, -0.5, 0.0, 0.0};
inline const Samples kL{0.0, 0.0, 0.125, 0.375, 0.375, 0.125, 0.0};
inline const Samples kK{0.0, -0.03125, -0.21875, -0.6875, 0.6875, 0.21875, 0.03125};

/// The transform as it is defined: a dilated filter with its zeros on a line with its mirror images.
inline Samples LiteralFilter(const Samples& line, const Samples& filter, int level) {
  const int n = static_cast<int>(line.size());
  const int step = static_cast<int>(std::pow(2.0, level));
  const int last = (static_cast<int>(filter.size()) - 1) * step;
  Samples dilated(static_cast<std::size_t>(last + 1), 0.0);
  for (int k = 0; k < static_cast<int>(filter.size()); ++k)
    dilated[static_cast<std::size_t>(k * step)] = filter[static_cast<std::size_t>(k)];
  const int periods = last / n + 2;  // mirror images on each side
  Samples extended;
  for (int copy = -periods; copy <= periods; ++copy) {
    for (int i = 0; i < n; ++i)
      extended.push_back(line[static_cast<std::size_t>(copy % 2 == 0 ? i : n - 1 - i)]);
  }
  const int centre = (static_cast<int>(filter.size()) - 1) / 2;
  Samples out(line.size(), 0.0);
  for (int i = 0; i < n; ++i) {
    double sum = 0.0;
    for (int t = 0; t <= last; ++t) {
      sum += dilated[static_cast<std::size_t>(t)] *
             extended[static_cast<std::size_t>(periods * n + i + centre * step - t)];
    }
    out[static_cast<std::size_t>(i)] = sum;
  }
  return out;
}

/// One row-major array, filtered along its rows and then along its columns.
inline Samples LiteralSeparable(Samples data, int rows, int columns, const Samples& alongRows,
                                const Samples& alongColumns, int level) {
  const auto at = [&](int r, int c) -> double& {
    return data[static_cast<std::size_t>(r) * static_cast<std::size_t>(columns) +
                static_cast<std::size_t>(c)];
  };
  for (int r = 0; r < rows; ++r) {
    Samples line;
    for (int c = 0; c < columns; ++c) line.push_back(at(r, c));
    line = LiteralFilter(line, alongRows, level);
    for (int c = 0; c < columns; ++c) at(r, c) = line[static_cast<std::size_t>(c)];
  }
  for (int c = 0; c < columns; ++c) {
    Samples line;
    for (int r = 0; r < rows; ++r) line.push_back(at(r, c));
    line = LiteralFilter(line, alongColumns, level);
    for (int r = 0; r < rows; ++r) at(r, c) = line[static_cast<std::size_t>(r)];
  }
  return data;
}

/// The four subbands of one level, of the size of an image.
struct SubbandArrays {
  explicit SubbandArrays(std::size_t count, double value = 0.0)
      : approx(count, value), rows(count, value), cols(count, value), diag(count, value) {}
  Samples approx;
  Samples rows;
  Samples cols;
  Samples diag;
};

inline Samples Elements(const MTH_MATRIX& image) {
  Samples values;
  for (int r = 0; r < image.GetNbRows(); ++r) {
    for (int c = 0; c < image.GetNbCols(); ++c) values.push_back(image.Get(r, c));
  }
  return values;
}

inline SubbandArrays LiteralAnalysis(const MTH_MATRIX& image, int level) {
  const int rows = image.GetNbRows();
  const int columns = image.GetNbCols();
  const Samples values = Elements(image);
  SubbandArrays bands(0);
  bands.approx = LiteralSeparable(values, rows, columns, kH, kH, level);
  bands.rows = LiteralSeparable(values, rows, columns, kH, kG, level);
  bands.cols = LiteralSeparable(values, rows, columns, kG, kH, level);
  bands.diag = LiteralSeparable(values, rows, columns, kG, kG, level);
  return bands;
}

inline Samples LiteralSynthesis(const SubbandArrays& bands, int rows, int columns, int level) {
  const Samples approx = LiteralSeparable(bands.approx, rows, columns, kL, kL, level);
  const Samples detailRows = LiteralSeparable(bands.rows, rows, columns, kL, kK, level);
  const Samples detailCols = LiteralSeparable(bands.cols, rows, columns, kK, kL, level);
  const Samples detailDiag = LiteralSeparable(bands.diag, rows, columns, kK, kK, level);
  Samples image;
  for (std::size_t i = 0; i < approx.size(); ++i)
    image.push_back(approx[i] + detailRows[i] + detailCols[i] + detailDiag[i]);
  return image;
}

}  // namespace mth_test
