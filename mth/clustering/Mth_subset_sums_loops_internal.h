// Sums over all subsets, in one addition per subset and cluster, after Mth_fusion_loops_internal.h. Rows
// stand in the order of their sets' bits, kFusionSamples values each; lanes run across samples.

namespace evidential {

// Calls combine(row of a set without the cluster, row of the same set with it) for every cluster and set,
// lane by lane.
template <class Combine>
MTH_INLINE void ForEachSetPair(double* rows, std::int64_t sets, Combine combine) {
  for (std::int64_t half = 1; half < sets; half *= 2) {
    for (std::int64_t base = 0; base < sets; base += 2 * half) {
      double* const without = rows + base * kFusionSamples;
      double* const with = without + half * kFusionSamples;
      for (std::int64_t i = 0; i < half * kFusionSamples; i += kLanes) combine(without + i, with + i);
    }
  }
}

// Rows of masses by hypothesis, one per sample, turned into rows by set; what is missing to kFusionSamples is
// 0.
inline void GatherBySet(const double* masses, std::int64_t count, const FusionRule& rule, double* rows) {
  const std::int64_t hypotheses = rule.hypotheses;
  if (count < kFusionSamples) std::fill_n(rows, hypotheses * kFusionSamples, 0.0);
  for (std::int64_t j = 0; j < hypotheses; ++j) {
    double* const row = rows + std::int64_t{rule.sets[j]} * kFusionSamples;
    for (std::int64_t b = 0; b < count; ++b) row[b] = masses[b * hypotheses + j];
  }
}

inline void ScatterBySet(const double* rows, std::int64_t count, const FusionRule& rule, double* masses) {
  const std::int64_t hypotheses = rule.hypotheses;
  for (std::int64_t j = 0; j < hypotheses; ++j) {
    const double* const row = rows + std::int64_t{rule.sets[j]} * kFusionSamples;
    for (std::int64_t b = 0; b < count; ++b) masses[b * hypotheses + j] = row[b];
  }
}

// One cluster of SumPlausibilities, in the sets from `rows` on, for kLanes samples.
MTH_INLINE void MeetCluster(double* rows, std::int64_t half) {
  double* const with = rows + half * kFusionSamples;
  const Lanes carried = Load<Lanes>(rows);
  Lanes all = Load<Lanes>(with);
  for (std::int64_t i = kFusionSamples; i < half * kFusionSamples; i += kFusionSamples) {
    const Lanes massWithout = Load<Lanes>(rows + i);
    const Lanes massWith = Load<Lanes>(with + i);
    all += massWith;
    Store(rows + i, massWithout + massWith);
    Store(with + i, massWithout);
  }
  Store(with, carried + all);
}

// Masses by set become, of every set, the sum of the masses of the sets that meet it; only additions, so that
// no sum falls below its parts. Cluster by cluster, from the last one down: a set that has the cluster is met
// by all that have it, whose masses it carries on in the row of the empty set; of a set that has it not, the
// mass of the others is the same with and without it.
void SumPlausibilities(const double* masses, std::int64_t count, const FusionRule& rule, double* scratch,
                       double* plausibilities) {
  const std::int64_t sets = rule.hypotheses;
  for (std::int64_t done = 0; done < count; done += kFusionSamples) {
    const std::int64_t group = std::min<std::int64_t>(count - done, kFusionSamples);
    GatherBySet(masses + done * sets, group, rule, scratch);
    std::fill_n(scratch, kFusionSamples, 0.0);  // the empty set meets none
    for (std::int64_t half = sets / 2; half > 0; half /= 2) {
      for (std::int64_t base = 0; base < sets; base += 2 * half) {
        for (std::int64_t b = 0; b < kFusionSamples; b += kLanes)
          MeetCluster(scratch + base * kFusionSamples + b, half);
      }
    }
    ScatterBySet(scratch, group, rule, plausibilities + done * sets);
  }
}

// The commonality of every set: the sum of the masses of the sets that contain it.
MTH_INLINE void SumCommonalities(double* rows, std::int64_t sets) {
  ForEachSetPair(rows, sets, [](double* without, const double* with) {
    Store(without, Load<Lanes>(without) + Load<Lanes>(with));
  });
}

// Turns commonalities, whose largest is that of the empty set, back into masses, for kLanes samples at a
// time: what is not above the rounding error of their differences is 0.
MTH_INLINE void TakeMasses(double* rows, std::int64_t sets, bool isNormalised) {
  constexpr double kRounding = 0x1p-52;
  alignas(64) double totals[kFusionSamples];
  std::copy_n(rows, kFusionSamples, totals);
  ForEachSetPair(rows, sets, [](double* without, const double* with) {
    Store(without, Load<Lanes>(without) - Load<Lanes>(with));
  });
  for (std::int64_t b = 0; b < kFusionSamples; b += kLanes) {
    const Lanes total = Load<Lanes>(totals + b);
    const Lanes smallest = kRounding * total;
    Lanes sum = {};
    for (std::int64_t i = 0; i < sets; ++i) {
      const Lanes mass = Load<Lanes>(rows + i * kFusionSamples + b);
      const Lanes kept = mass <= smallest ? Lanes{} : mass;  // no number stays none
      Store(rows + i * kFusionSamples + b, kept);
      if (i > 0) sum += kept;
    }
    if (!isNormalised) continue;
    const Lanes scale = 1.0 / ((1.0 - total) + sum);  // 1 - K, K being what the others leave of the total
    Store(rows + b, Lanes{});
    for (std::int64_t i = 1; i < sets; ++i)
      Store(rows + i * kFusionSamples + b, Load<Lanes>(rows + i * kFusionSamples + b) * scale);
  }
}

// Fuses by commonalities: those of the conjunction are the products of the sources'.
void FuseByCommonalities(const double* first, const double* second, std::int64_t count,
                         const FusionRule& rule, double* scratch, double* fused) {
  const std::int64_t sets = rule.hypotheses;
  double* const firstRows = scratch;
  double* const secondRows = firstRows + sets * kFusionSamples;
  for (std::int64_t done = 0; done < count; done += kFusionSamples) {
    const std::int64_t group = std::min<std::int64_t>(count - done, kFusionSamples);
    GatherBySet(first + done * sets, group, rule, firstRows);
    GatherBySet(second + done * sets, group, rule, secondRows);
    SumCommonalities(firstRows, sets);
    SumCommonalities(secondRows, sets);
    for (std::int64_t i = 0; i < sets * kFusionSamples; i += kLanes)
      Store(firstRows + i, Load<Lanes>(firstRows + i) * Load<Lanes>(secondRows + i));
    TakeMasses(firstRows, sets, rule.isNormalised);
    ScatterBySet(firstRows, group, rule, fused + done * sets);
  }
}

}  // namespace evidential
