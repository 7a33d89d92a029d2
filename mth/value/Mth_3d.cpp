#include "mth/value/Mth_3d.h"

#include "mth/value/Mth_value_internal.h"

template <class T>
typename MTH_3D_POINT<T>::DistanceType MTH_3D_POINT<T>::Distance(MTH_3D_POINT other) const {
  using namespace mth_internal;
  const T dx = Difference(other.x_, x_);
  const T dy = Difference(other.y_, y_);
  const T dz = Difference(other.z_, z_);
  return RootOfSquares<DistanceType>(Product(dx, dx), Product(dy, dy), Product(dz, dz));
}

template <class T>
double MTH_3D_POINT<T>::Distance_hyp(MTH_3D_POINT other, double a,
                                     double b) const requires std::same_as<T, double> {
  const double excess = Distance(other) - (a - b);
  return excess < 0.0 ? 0.0 : excess;
}

template class MTH_3D_POINT<double>;
template class MTH_3D_POINT<float>;
template class MTH_3D_POINT<int>;
