#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"

namespace mth_internal {

/// Voxels of a mask, row by row: those of the row (y, z) are [rows[y + ny z], rows[y + ny z + 1]).
struct MaskVoxels {
  std::array<int, 3> size{0, 0, 0};
  std::vector<std::int64_t> rows;
  std::vector<int> x;
  std::vector<std::uint8_t> stratum;

  std::int64_t Count() const { return static_cast<std::int64_t>(x.size()); }
  /// Calls body(index in the list, index in the volume) for each voxel.
  template <class Body>
  void ForEachPlace(Body body) const {
    for (std::size_t row = 0; row + 1 < rows.size(); ++row) {
      for (std::int64_t i = rows[row]; i < rows[row + 1]; ++i)
        body(static_cast<std::size_t>(i),
             static_cast<std::int64_t>(row) * size[0] + x[static_cast<std::size_t>(i)]);
    }
  }
};

/// Cubes of voxels over the box that holds a mask: what is smooth is summed up, averaged and looked up there.
class CubeGrid {
 public:
  static constexpr int kMostGrids = 16;

  /// @param side  voxels along an edge of a cube.
  CubeGrid(const MaskVoxels& voxels, int side);

  std::int64_t Count() const { return counts_[0] * counts_[1] * counts_[2]; }

  /// Calls body(index of the voxel in the list, index of its cube) for each voxel.
  template <class Body>
  void ForEachVoxel(const MaskVoxels& voxels, Body body) const {
    ForEachRow(voxels, [&](int y, int z, std::int64_t first, std::int64_t last) {
      const std::int64_t row =
          counts_[0] * ((y - first_[1]) / side_ + counts_[1] * ((z - first_[2]) / side_));
      for (std::int64_t i = first; i < last; ++i)
        body(i, row + (voxels.x[static_cast<std::size_t>(i)] - first_[0]) / side_);
    });
  }

  /// Averages `values` of the cubes with the weights of a Gaussian: each becomes the sum of all values times
  /// exp(-distance^2 / (2 deviation^2)).
  /// @param deviation  along each axis, in voxels.
  /// @param work       as many as cubes.
  /// @param run        is asked, since wide Gaussians on long axes last; null: nobody is.
  /// @return           false, with values that mean nothing, when the run is given up.
  bool Blur(const std::array<double, 3>& deviation, double* values, double* work, LongIteration* run) const;

  /// Calls body(index of the voxel in the list, interpolated values of the grids) for each voxel: what lies
  /// on straight lines between the centres of the cubes; beyond the outermost centres their value goes on.
  /// @param values  grid after grid.
  /// @param rows    work, grids * RowWork() values.
  template <class Body>
  void Interpolate(const MaskVoxels& voxels, const double* values, int grids, double* rows, Body body) const {
    std::array<double, kMostGrids> results;
    ForEachRow(voxels, [&](int y, int z, std::int64_t first, std::int64_t last) {
      for (int grid = 0; grid < grids; ++grid)
        FillRow(values + grid * Count(), y, z, rows + grid * RowWork());
      for (std::int64_t i = first; i < last; ++i) {
        const Place place = PlaceOf(0, voxels.x[static_cast<std::size_t>(i)]);
        for (int grid = 0; grid < grids; ++grid) {
          const double* const at = rows + grid * RowWork() + place.cube;
          results[static_cast<std::size_t>(grid)] = at[0] + place.share * (at[1] - at[0]);
        }
        body(i, results.data());
      }
    });
  }
  std::int64_t RowWork() const { return counts_[0] + 1; }
  /// The values along x at a row of voxels, and that of a voxel in it.
  void FillRow(const double* values, int y, int z, double* row) const;
  double AlongRow(const double* row, int x) const {
    const Place place = PlaceOf(0, x);
    return row[place.cube] + place.share * (row[place.cube + 1] - row[place.cube]);
  }

 private:
  struct Place {
    std::int64_t cube;
    double share;  // of the next one
  };
  Place PlaceOf(std::size_t axis, int voxel) const {
    const double place = (voxel - first_[axis] - 0.5 * (side_ - 1)) * inverseSide_;
    const auto last = static_cast<double>(counts_[axis] - 1);
    if (!(place > 0.0)) return {0, 0.0};
    if (place >= last) return {counts_[axis] - 1, 0.0};
    const auto cube = static_cast<std::int64_t>(place);
    return {cube, place - static_cast<double>(cube)};
  }

  template <class Body>
  void ForEachRow(const MaskVoxels& voxels, Body body) const {
    for (int z = 0; z < voxels.size[2]; ++z) {
      for (int y = 0; y < voxels.size[1]; ++y) {
        const auto row = static_cast<std::size_t>(y + std::int64_t{voxels.size[1]} * z);
        const std::int64_t first = voxels.rows[row];
        const std::int64_t last = voxels.rows[row + 1];
        if (first < last) body(y, z, first, last);
      }
    }
  }
  bool BlurAxis(std::size_t axis, double deviation, const double* from, double* to, LongIteration* run) const;

  int side_;
  double inverseSide_;
  std::array<int, 3> first_{0, 0, 0};
  std::array<std::int64_t, 3> counts_{1, 1, 1};
};

}  // namespace mth_internal
