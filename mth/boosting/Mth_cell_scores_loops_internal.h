// The scores of samples in cells, compiled per instruction set. Lanes run across samples.

#include "mth/core/Mth_lanes_internal.h"

// Adds to the scores of the samples [first, last) what each cell adds, in the cells' order.
inline void AddCellScores(const ScoredCell* cells, std::int64_t count, std::int64_t first, std::int64_t last,
                          double* scores) {
  for (const ScoredCell* cell = cells; cell != cells + count; ++cell) {
    ForEachLanes(first, last, [&](std::int64_t i, auto lanes) {
      using V = decltype(lanes);
      const V outside = Spread<V>(cell->outside);
      V added = Spread<V>(cell->inside);
      for (const CellBound* bound = cell->below; bound != cell->above; ++bound)
        added = Load<V>(bound->values + i) < bound->bound ? added : outside;
      for (const CellBound* bound = cell->above; bound != cell->end; ++bound)
        added = Load<V>(bound->values + i) > bound->bound ? added : outside;
      Store(scores + i, Load<V>(scores + i) + added);
    });
  }
}
