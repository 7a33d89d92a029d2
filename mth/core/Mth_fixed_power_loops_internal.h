// Powers to one exponent, whose tables are made before (Mth_fixed_power_internal.h), in vector lanes; for
// kernel files that have the elementary functions.

// wholes[index] of every lane, indices within the table.
template <class V>
MTH_INLINE V LookupWhole(const double* wholes, typename BitsOf<V>::Type index) {
  if constexpr (sizeof(V) == sizeof(double)) {
    return wholes[index];
  } else {
    V values = {};
    for (int lane = 0; lane < static_cast<int>(kLanes); ++lane) values[lane] = wholes[index[lane]];
    return values;
  }
}

// x to the table's exponent, for x from 2^-510 to 2^510 where the result is from 2^-900 to 2^900.
template <class V>
MTH_INLINE V FixedPower(const FixedPowerTable& table, V x) {
  constexpr std::uint64_t kBitsOfLeast = 0x3FE6900000000000ULL;  // that of kPowerRows
  constexpr std::uint64_t kTail = 0x1FFFFFFFULL;
  constexpr std::uint64_t kFirstWhole = 1023 - FixedPowerTable::kWholes / 2;
  const auto raised = ToBits(x) + (kBitsOfOne - kBitsOfLeast);
  const V z = FromBits<V>(ToBits(x) - (raised & 0xFFF0000000000000ULL) + kBitsOfOne);
  const TableRow<V> row = LookupRow<V>(table.rows, raised >> 45);
  const V zHead = FromBits<V>((ToBits(z) + (kTail / 2 + 1)) & ~kTail);  // the nearest of 24 bits
  const V r = (zHead * row.first - 1.0) + (z - zHead) * row.first;      // rounded once
  const V base = row.second * LookupWhole<V>(table.wholes, (raised >> 52) - kFirstWhole);
  return base + base * (r * TwoChains<V>(r, r * r, table.series));
}
