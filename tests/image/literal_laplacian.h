#pragma once

#include <cstddef>
#include <utility>
#include <vector>

// The Laplacians as their contract words them, one axis after the other over whole copies.

namespace mth_test {

/// A volume, x fastest; an image has one plane.
template <class T>
struct Volume {
  Volume(int nx, int ny, int nz) : size{nx, ny, nz} {
    values.resize(static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny) * static_cast<std::size_t>(nz));
  }
  T& At(int x, int y, int z) { return values[Index(x, y, z)]; }
  T At(int x, int y, int z) const { return values[Index(x, y, z)]; }
  std::size_t Index(int x, int y, int z) const {
    const auto plane = static_cast<std::size_t>(size[0]) * static_cast<std::size_t>(size[1]);
    return static_cast<std::size_t>(x) + static_cast<std::size_t>(size[0]) * static_cast<std::size_t>(y) +
           plane * static_cast<std::size_t>(z);
  }
  /// Runs visit(line) for every line along an axis, line(k) being a reference to its voxel k.
  template <class Visit>
  void ForEachLine(std::size_t axis, Visit visit) {
    int start[3] = {0, 0, 0};
    const std::size_t others[2] = {axis == 0 ? 1U : 0U, axis == 2 ? 1U : 2U};
    for (start[others[1]] = 0; start[others[1]] < size[others[1]]; ++start[others[1]]) {
      for (start[others[0]] = 0; start[others[0]] < size[others[0]]; ++start[others[0]]) {
        visit([this, &start, axis](int k) -> T& {
          int at[3] = {start[0], start[1], start[2]};
          at[axis] = k;
          return At(at[0], at[1], at[2]);
        });
      }
    }
  }

  int size[3];
  std::vector<T> values;
};

/// The derivative of every line along an axis, with its borders.
template <class T>
Volume<T> LiteralDerivative(Volume<T> volume, std::size_t axis) {
  const int m = volume.size[axis];
  volume.ForEachLine(axis, [m](auto line) {
    std::vector<T> x;
    for (int k = 0; k < m; ++k) x.push_back(std::exchange(line(k), T{}));
    if (m < 3) return;
    const auto at = [&x](int k) { return x[static_cast<std::size_t>(k)]; };
    for (int k = 1; k < m - 1; ++k) line(k) = ((at(k + 1) - at(k)) - (at(k) - at(k - 1))) * T(0.5);
    line(0) = m > 3 ? 2 * line(1) - line(2) : line(1);
    line(m - 1) = m > 3 ? 2 * line(m - 2) - line(m - 3) : line(1);
  });
  return volume;
}

/// The sum of the derivatives along these axes, scaled.
template <class T>
Volume<T> LiteralAverage(const Volume<T>& in, const std::vector<std::size_t>& axes, T scale) {
  Volume<T> out(in.size[0], in.size[1], in.size[2]);
  for (const std::size_t axis : axes) {
    const Volume<T> derivative = LiteralDerivative(in, axis);
    for (std::size_t i = 0; i < out.values.size(); ++i) out.values[i] += derivative.values[i];
  }
  for (T& value : out.values) value *= scale;
  return out;
}

/// The sum of second differences, borders continued from the sums so far.
inline Volume<float> LiteralSum(Volume<float> in) {
  Volume<float> out(in.size[0], in.size[1], in.size[2]);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const int m = in.size[axis];
    if (m < 3) continue;
    std::vector<float> differences;
    in.ForEachLine(axis, [&](auto line) {
      for (int k = 1; k < m - 1; ++k) differences.push_back(line(k - 1) + line(k + 1) - 2 * line(k));
    });
    std::size_t next = 0;
    out.ForEachLine(axis, [&](auto line) {
      for (int k = 1; k < m - 1; ++k) line(k) += differences[next++];
      line(0) += 2 * line(1) - line(2);
      line(m - 1) += 2 * line(m - 2) - line(m - 3);
    });
  }
  return out;
}

}  // namespace mth_test
