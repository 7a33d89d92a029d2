// The elementary functions of whole arrays, compiled per instruction set.

#include "mth/core/Mth_elementary_loops_internal.h"

void Exponentials(const double* x, std::int64_t count, double* results) {
  ForEachLanes(0, count,
               [=]<class V>(std::int64_t i, V) { Store<V>(results + i, Exponential<V>(Load<V>(x + i))); });
}

void Logarithms(const double* x, std::int64_t count, double* results) {
  ForEachLanes(0, count,
               [=]<class V>(std::int64_t i, V) { Store<V>(results + i, Logarithm<V>(Load<V>(x + i))); });
}

void Powers(const double* x, double y, std::int64_t count, double* results) {
  ForEachLanes(0, count, [=]<class V>(std::int64_t i, V) MTH_INLINE_LAMBDA {
    Store<V>(results + i, Power<V>(Load<V>(x + i), Spread<V>(y)));
  });
}

void Sines(const double* x, std::int64_t count, double* results) {
  ForEachLanes(0, count, [=]<class V>(std::int64_t i, V) { Store<V>(results + i, Sine<V>(Load<V>(x + i))); });
}

void Cosines(const double* x, std::int64_t count, double* results) {
  ForEachLanes(0, count,
               [=]<class V>(std::int64_t i, V) { Store<V>(results + i, Cosine<V>(Load<V>(x + i))); });
}

void Arctangents(const double* x, std::int64_t count, double* results) {
  ForEachLanes(0, count,
               [=]<class V>(std::int64_t i, V) { Store<V>(results + i, Arctangent<V>(Load<V>(x + i))); });
}

void Arcsines(const double* x, std::int64_t count, double* results) {
  ForEachLanes(0, count,
               [=]<class V>(std::int64_t i, V) { Store<V>(results + i, Arcsine<V>(Load<V>(x + i))); });
}

void Arccosines(const double* x, std::int64_t count, double* results) {
  ForEachLanes(0, count,
               [=]<class V>(std::int64_t i, V) { Store<V>(results + i, Arccosine<V>(Load<V>(x + i))); });
}

void Hypotenuses(const double* x, const double* y, std::int64_t count, double* results) {
  ForEachLanes(0, count, [=]<class V>(std::int64_t i, V) {
    Store<V>(results + i, Hypotenuse<V>(Load<V>(x + i), Load<V>(y + i)));
  });
}
