#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/decomposition/Mth_reflections_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/decomposition/Mth_small_reflections_internal.h"

// The extended pencil of the discrete Riccati equation (van Dooren):
// with states x, costates p and inputs u it is
//
//     [ I  0  0 ]        [ A  0  B ]
//     [ 0  At 0 ] z(k+1)=[-Q  I  0 ] z(k),    z = (x, p, u),    p = X x,
//     [ 0  Bt 0 ]        [ 0  0 -R ]
//
// so that neither A nor R need be regular. Orthogonal rows that do not see u leave a pencil of order 2 n.

namespace mth_internal {

/// Of 2 n + m rows, and what is left of it.
class ExtendedPencil {
 public:
  ExtendedPencil(std::int64_t states, std::int64_t inputs)
      : n_(states), m_(inputs), rows_(2 * states + inputs), memory_(rows_ * (4 * n_ + m_) + 6 * rows_ + m_) {}
  explicit operator bool() const { return static_cast<bool>(memory_); }

  // Inputs are scaled so that their columns are of length about 1.
  // @return  9 when an input does nothing and costs nothing, else 0.
  int Fill(const RiccatiSystem& system, const RiccatiUnits& units) {
    std::fill_n(Before(), rows_ * 2 * n_, 0.0);
    std::fill_n(After(), rows_ * 2 * n_, 0.0);
    std::fill_n(Inputs(), rows_ * m_, 0.0);
    for (std::int64_t i = 0; i < n_; ++i) {
      double* state = Before() + i * 2 * n_;
      double* costate = Before() + (n_ + i) * 2 * n_;
      for (std::int64_t j = 0; j < n_; ++j) {
        state[j] = std::ldexp(system.a.At(i, j), units.states[i] - units.states[j] - system.a.exponent);
        costate[j] = 0.0 - std::ldexp(system.q.At(i, j), -system.q.exponent - units.Of(i, j));
        After()[(n_ + j) * 2 * n_ + n_ + i] = state[j];
      }
      costate[n_ + i] = 1.0;
      After()[i * 2 * n_ + i] = 1.0;
    }
    for (std::int64_t j = 0; j < m_; ++j) {
      const int scale = InputExponent(system, j, units, 0);
      if (scale == kNoInput) return 9;
      InputScales()[j] = static_cast<double>(scale);
    }
    for (std::int64_t j = 0; j < m_; ++j) {
      const int scale = static_cast<int>(InputScales()[j]);
      for (std::int64_t i = 0; i < n_; ++i) {
        const double element = std::ldexp(system.b.At(i, j), scale + units.states[i] - system.b.exponent);
        Inputs()[i * m_ + j] = element;
        After()[(2 * n_ + j) * 2 * n_ + n_ + i] = element;
      }
      for (std::int64_t i = 0; i < m_; ++i) {
        const int other = static_cast<int>(InputScales()[i]);
        Inputs()[(2 * n_ + i) * m_ + j] =
            0.0 - std::ldexp(system.r.At(i, j), scale + other - system.r.exponent - units.exponent);
      }
    }
    return 0;
  }

  // Reflections of rows that leave the inputs in the first m rows alone.
  // @return  9 when the inputs' columns are dependent, 5 when the host gives up, else 0.
  int RemoveInputs() {
    double* v = Work();
    double* sums = v + rows_;
    for (std::int64_t k = 0; k < m_; ++k) {
      if (IsGivenUp(rows_)) return 5;
      double squares = 0.0;
      for (std::int64_t i = k; i < rows_; ++i) {
        v[i] = Inputs()[i * m_ + k];
        squares += v[i] * v[i];
      }
      if (squares <= std::numeric_limits<double>::epsilon() * std::numeric_limits<double>::epsilon())
        return 9;
      const Reflection reflection = ReflectionOf(v[k], squares);
      v[k] = reflection.head;
      ReflectRowsBy(Inputs(), rows_, m_, v, reflection.factor, k, k, sums);
      ReflectRowsBy(Before(), rows_, 2 * n_, v, reflection.factor, k, 0, sums);
      ReflectRowsBy(After(), rows_, 2 * n_, v, reflection.factor, k, 0, sums);
    }
    return 0;
  }

  // What is left, each row brought to a length of about 1.
  void CopyTo(SquareView before, SquareView after) {
    const std::int64_t count = 2 * n_;
    for (std::int64_t i = 0; i < count; ++i) {
      const double* source = Before() + (m_ + i) * count;
      const double* image = After() + (m_ + i) * count;
      const double scale =
          PowerToUnit(std::max(LargestMagnitude(source, count), LargestMagnitude(image, count)));
      for (std::int64_t j = 0; j < count; ++j) {
        before[i][j] = source[j] * scale;
        after[i][j] = image[j] * scale;
      }
    }
  }

 private:
  double* Before() const { return memory_.Get(); }
  double* After() const { return memory_.Get() + rows_ * 2 * n_; }
  double* Inputs() const { return memory_.Get() + rows_ * 4 * n_; }
  double* Work() const { return Inputs() + rows_ * m_; }
  double* InputScales() const { return Work() + 6 * rows_; }

  std::int64_t n_;
  std::int64_t m_;
  std::int64_t rows_;
  WorkArray<double> memory_;
};

}  // namespace mth_internal
