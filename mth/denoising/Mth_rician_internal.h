#pragma once

#include <array>
#include <cstddef>

namespace mth_internal {

/// The mean of a magnitude signal and back again, by tables: magnitudes of a weak signal are too bright,
/// because noise of either sign adds to them.
///
/// With s the deviation of the noise in each of the two channels and A the signal, the mean magnitude is
/// s sqrt(pi/2) L(-A^2 / (2 s^2)), L being Laguerre's function of order 1/2; its square is nearly A^2 + s^2.
/// @see  Koay and Basser, Journal of Magnetic Resonance 179 (2006) 317-322.
class RicianLaw {
 public:
  RicianLaw();

  /// Mean magnitude of a signal, both in units of s.
  double Mean(double signal) const {
    return Root(signal * signal + 1.0 + Interpolate(excess_, signal, 0.0, 0.5));
  }
  /// The signal whose mean magnitude this is, in units of s; 0 for one that noise alone gives.
  double Signal(double mean) const { return Root(mean * mean - 1.0 + Correction(mean)); }
  /// Variance of magnitudes of that mean, in units of s^2: from 2 - pi/2 in the air to 1.
  double Variance(double mean) const { return 1.0 + Correction(mean); }

 private:
  static constexpr int kCellsPerUnit = 64;
  static constexpr int kUnits = 10;
  using Table = std::array<double, static_cast<std::size_t>(kCellsPerUnit) * kUnits + 2>;

  static double Root(double square);
  double Correction(double mean) const;
  // Value of a table at `first` + x; beyond its end it falls off as `tail` / x^2.
  static double Interpolate(const Table& table, double x, double first, double tail);

  Table excess_;      // of the squared mean over A^2 + 1, by A
  Table correction_;  // of A^2 over the squared mean less 1, by the mean
};

}  // namespace mth_internal
