// A pass through a table of the subtractive method, compiled per instruction set. Lanes run across entries.

// The entries [first, last): each less the one `distance` places on. At least as many as that are independent
// of one another. Deviates are made with their entries: a loop of their own would read what has just been
// written, in vectors that end elsewhere, and wait for it to reach the cache.
template <int first, int last, int distance>
inline void DrawEntries(std::int32_t* __restrict entries, std::int32_t* __restrict before,
                        double* __restrict deviates) {
  static_assert(distance > 0 || last - first <= -distance);
  for (int i = first; i < last; ++i) {
    before[i] = entries[i];
    entries[i] = SubtractiveFamily::Wrap(entries[i] - entries[i + distance]);
    deviates[i] = SubtractiveFamily::Deviate(entries[i]);
  }
}

// Draws every entry once. What is subtracted lies kLag places ahead or, from the 25th on, has been made anew
// by this pass, 24 before. `before` receives the former entries.
inline void DrawPass(std::int32_t* __restrict entries, std::int32_t* __restrict before,
                     double* __restrict deviates) {
  constexpr int kLag = SubtractiveFamily::kLag;
  constexpr int kSpan = SubtractiveFamily::kTableSize - kLag;
  DrawEntries<0, kSpan, kLag>(entries, before, deviates);
  DrawEntries<kSpan, 2 * kSpan, -kSpan>(entries, before, deviates);
  DrawEntries<2 * kSpan, SubtractiveFamily::kPaddedSize, -kSpan>(entries, before, deviates);
}
