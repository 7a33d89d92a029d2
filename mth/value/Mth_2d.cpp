#include "mth/value/Mth_2d.h"

#include "mth/value/Mth_value_internal.h"

template <class T>
typename MTH_2D_POINT<T>::DistanceType MTH_2D_POINT<T>::Distance(MTH_2D_POINT other) const {
  using namespace mth_internal;
  const T dx = Difference(other.x_, x_);
  const T dy = Difference(other.y_, y_);
  return RootOfSquares<DistanceType>(Product(dx, dx), Product(dy, dy));
}

template class MTH_2D_POINT<double>;
template class MTH_2D_POINT<float>;
template class MTH_2D_POINT<int>;
