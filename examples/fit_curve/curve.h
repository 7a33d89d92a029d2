#pragma once

#include <string>
#include <vector>

namespace fit_curve {

/// Samples of a curve, in the order of the file.
struct Curve {
  std::vector<double> x;
  std::vector<double> y;
};

/// Reads a text file of one "x,y" pair per line (a blank, a tab or a semicolon separates as well). Empty
/// lines and lines that start with # are skipped, so are a byte order mark and lines of names before the
/// first pair.
/// @throws example::Failure  for a file that cannot be read, a line that is no pair of finite numbers, or a
///                           file without any.
Curve ReadCurve(const std::string& path);

/// The common difference of the abscissae.
/// @throws example::Failure  when they are not evenly spaced, increasing, within a thousandth of a step.
double EvenStep(const Curve& curve);

}  // namespace fit_curve
