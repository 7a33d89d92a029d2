#pragma once

namespace mth_internal {

/// The regularised lower incomplete gamma function P(a, x) in single precision, by its series below a + 1 and
/// its continued fraction from there on. Invalid arguments show a message and go on.
float IncompleteGammaP(float a, float x);

/// P(a, x) by its series; 0 for x <= 0 (with a message below 0) and, with a message, without convergence.
float IncompleteGammaSeries(float a, float x);

/// 1 - P(a, x) by its continued fraction; 0, with a message, without convergence.
float IncompleteGammaFraction(float a, float x);

}  // namespace mth_internal
