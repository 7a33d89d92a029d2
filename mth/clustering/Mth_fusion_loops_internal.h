// The hot loop of the fusion of credal partitions, after Mth_evidential_loops_internal.h. Lanes run across
// samples.

namespace evidential {

// Rows of masses, one per sample, turned into one row per hypothesis; what is missing to kFusionSamples is 0.
inline void GatherMasses(const double* masses, std::int64_t count, std::int64_t hypotheses, double* rows) {
  if (count < kFusionSamples) std::fill_n(rows, hypotheses * kFusionSamples, 0.0);
  for (std::int64_t b = 0; b < count; ++b) {
    for (std::int64_t j = 0; j < hypotheses; ++j) rows[j * kFusionSamples + b] = masses[b * hypotheses + j];
  }
}

inline void ScatterMasses(const double* rows, std::int64_t count, std::int64_t hypotheses, double* masses) {
  for (std::int64_t b = 0; b < count; ++b) {
    for (std::int64_t j = 0; j < hypotheses; ++j) masses[b * hypotheses + j] = rows[j * kFusionSamples + b];
  }
}

// The masses of kLanes samples on the intersections of all pairs of hypotheses.
MTH_INLINE void FusePairs(const double* first, const double* second, const FusionRule& rule, double* fused) {
  const auto row = [](auto* rows, std::int64_t j) { return rows + j * kFusionSamples; };
  Lanes conflict = {};
  for (std::int64_t j = 0; j < rule.hypotheses; ++j) {
    const Lanes firstMass = Load<Lanes>(row(first, j));
    const Lanes secondMass = Load<Lanes>(row(second, j));
    if (j > 0) {
      double* const own = row(fused, rule.targets[rule.sets[j]]);
      Store(own, Load<Lanes>(own) + firstMass * secondMass);
    }
    for (std::int64_t k = j + 1; k < rule.hypotheses; ++k) {
      const Lanes direct = firstMass * Load<Lanes>(row(second, k));
      const Lanes crossed = Load<Lanes>(row(first, k)) * secondMass;
      const std::uint32_t shared = rule.sets[j] & rule.sets[k];
      if (shared == 0) {
        conflict += direct + crossed;
      } else {
        double* const target = row(fused, rule.targets[shared]);
        Store(target, Load<Lanes>(target) + direct + crossed);
      }
    }
  }
  conflict = Load<Lanes>(first) * Load<Lanes>(second) + conflict;
  Store(fused, rule.isNormalised ? Lanes{} : conflict);
  if (!rule.isNormalised) return;
  const Lanes scale = 1.0 / (1.0 - conflict);
  for (std::int64_t j = 1; j < rule.hypotheses; ++j) Store(row(fused, j), Load<Lanes>(row(fused, j)) * scale);
}

void FuseMasses(const double* first, const double* second, std::int64_t count, const FusionRule& rule,
                double* scratch, double* fused) {
  const std::int64_t hypotheses = rule.hypotheses;
  double* const firstRows = scratch;
  double* const secondRows = firstRows + hypotheses * kFusionSamples;
  double* const fusedRows = secondRows + hypotheses * kFusionSamples;
  for (std::int64_t done = 0; done < count; done += kFusionSamples) {
    const std::int64_t group = std::min<std::int64_t>(count - done, kFusionSamples);
    GatherMasses(first + done * hypotheses, group, hypotheses, firstRows);
    GatherMasses(second + done * hypotheses, group, hypotheses, secondRows);
    std::fill_n(fusedRows, (hypotheses + 1) * kFusionSamples, 0.0);
    for (std::int64_t b = 0; b < kFusionSamples; b += kLanes) {
      FusePairs(firstRows + b, secondRows + b, rule, fusedRows + b);
    }
    ScatterMasses(fusedRows, group, hypotheses, fused + done * hypotheses);
  }
}

}  // namespace evidential
