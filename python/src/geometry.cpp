#include "arrays.h"
#include "call.h"
#include "mth/curve/Mth_xy_plot.h"
#include "mth/geometry/Mth_3d_geometry.h"
#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/geometry/Mth_point_sets.h"

// Points of space, slices and sampled curves.

namespace mth_python {
namespace {

// Points of the shape (n, 3), which lie in memory as the library's do.
class Points {
 public:
  Points(const py::handle& value, const char* name) : array_(Numbers<double>(value, name, 2)) {
    if (array_.shape(1) != 3)
      ThrowValueError(std::string(name) + " has the shape " + ShapeText(array_) + ", not (n, 3)");
    count_ = ToInt(array_.shape(0), name);
  }
  static_assert(sizeof(MTH_3D_DOUBLE) == 3 * sizeof(double) && std::is_standard_layout_v<MTH_3D_DOUBLE>);
  // For operations that take a pointer without const and only read.
  MTH_3D_DOUBLE* Get() const { return reinterpret_cast<MTH_3D_DOUBLE*>(const_cast<double*>(array_.data())); }
  int Count() const { return count_; }
  const Array<double>& GetArray() const { return array_; }

 private:
  Array<double> array_;
  int count_ = 0;
};

double Hausdorff(const py::handle& aValue, const py::handle& bValue) {
  const Points a(aValue, "a");
  const Points b(bValue, "b");
  if ((a.Count() == 0) != (b.Count() == 0)) ThrowValueError("one set of points is empty, the other is not");
  RequireFinite(a.GetArray(), "a");
  RequireFinite(b.GetArray(), "b");
  double distance = 0.0;
  Call call;
  call.Run([&] { distance = Mth_Hausdorff_Distance(a.Get(), b.Get(), a.Count(), b.Count()); });
  if (distance == -1.0) ThrowMemoryError();
  return distance;
}

py::tuple RegisterLandmarks(const py::handle& aValue, const py::handle& bValue, bool isRobust) {
  const Points a(aValue, "a");
  const Points b(bValue, "b");
  if (a.Count() != b.Count())
    ThrowValueError("a has " + std::to_string(a.Count()) + " points, b " + std::to_string(b.Count()));
  if (a.Count() == 0) ThrowValueError("there are no points");
  RequireFinite(a.GetArray(), "a");
  RequireFinite(b.GetArray(), "b");
  MTH_MATRIX_CHGREF change(a.Count(), a.Get(), b.Get());
  std::vector<MTH_3D_DOUBLE> mapped(static_cast<std::size_t>(a.Count()));
  bool isDone = false;
  Call call;
  call.Run([&] {
    isDone = isRobust ? change.ComputeWithoutOutliers(nullptr) : change.ComputeFromSetsByQuaternion();
    for (int i = 0; isDone && i < a.Count(); ++i)
      change.ChangeRef(a.Get()[i], &mapped[static_cast<std::size_t>(i)]);
  });
  if (!isDone) ThrowMemoryError();
  Array<double> matrix({4, 4});
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) matrix.mutable_at(i, j) = change.Get(i, j);
  }
  Array<double> quaternion(4);
  change.GetQuaternion(quaternion.mutable_data());
  Array<double> residuals(a.Count());
  for (int i = 0; i < a.Count(); ++i)
    residuals.mutable_at(i) = mapped[static_cast<std::size_t>(i)].Distance(b.Get()[i]);
  return py::make_tuple(matrix, quaternion, residuals);
}

py::tuple SliceOrientation(const std::array<double, 3>& normal, const std::string& kind,
                           const std::optional<std::array<double, 6>>& corners) {
  MTH_3D_VECT_DOUBLE vector(normal[0], normal[1], normal[2]);
  short codes[2] = {};
  double angles[2] = {};
  if (kind == "vertical") {
    Mth_3D_CalculParamCoupeVert(&vector, &codes[0], &codes[1], &angles[0], &angles[1]);
  } else if (kind == "oblique") {
    Mth_3D_CalculParamCoupeObliq(&vector, &codes[0], &codes[1], &angles[0], &angles[1]);
  } else {
    Mth_3D_CalculParamCoupePerp(&vector, &codes[0], &codes[1], &angles[0], &angles[1]);
  }
  Orient_Coupe_Irm slice{0, " ", " ", " ", 0, 0, 0.0};
  Mth_3D_Trans_Cod_IRM(codes[0], codes[1], angles[0], angles[1], &slice);
  if (corners) {
    const std::array<double, 6>& c = *corners;
    Mth_3D_CalculShiftmean(MTH_3D_DOUBLE(c[0], c[1], c[2]), MTH_3D_DOUBLE(c[3], c[4], c[5]), &slice);
  }
  return py::make_tuple(slice.orientation, slice.tiltCount, slice.firstTilt, slice.secondTilt,
                        slice.firstAngle, slice.secondAngle, slice.shift, angles[0], angles[1]);
}

using Curve = MTH_XY_PLOT;

std::unique_ptr<Curve> NewCurve(const py::handle& xValue, const py::handle& yValue) {
  const Array<float> x = Numbers<float>(xValue, "x", 1);
  const Array<float> y = Numbers<float>(yValue, "y", 1);
  if (x.size() != y.size())
    ThrowValueError("x has " + std::to_string(x.size()) + " values, y " + std::to_string(y.size()));
  ToInt(x.size(), "x");
  auto curve = std::make_unique<Curve>();
  const float* const abscissae = x.data();
  const float* const ordinates = y.data();
  const py::ssize_t count = x.size();
  bool isDone = true;
  Call call;
  call.Run([&] {
    for (py::ssize_t i = 0; i < count && isDone; ++i)
      isDone = curve->AddPoint(abscissae[i], ordinates[i]) && !call.IsCancelRequested();
  });
  if (!isDone) ThrowMemoryError();
  return curve;
}

template <float (Curve::*Coordinate)(int) const>
py::array Coordinates(const Curve& curve) {
  Array<float> result(curve.GetNumberOfPoints());
  for (int i = 0; i < curve.GetNumberOfPoints(); ++i) result.mutable_at(i) = (curve.*Coordinate)(i);
  return result;
}

// A new curve of the library's. Curves are small: the interpreter's lock is kept, which guards them, too.
template <class Compute>
std::unique_ptr<Curve> Derived(Compute compute) {
  std::unique_ptr<Curve> result;
  Call call;
  call.RunLocked([&] { result.reset(compute()); });
  if (!result) ThrowMemoryError();
  return result;
}

void RequirePoints(const Curve& curve, int least) {
  if (curve.GetNumberOfPoints() < least)
    ThrowValueError("the curve has " + std::to_string(curve.GetNumberOfPoints()) + " points, where " +
                    std::to_string(least) + " are needed");
}

// Of an array of any shape.
py::object SplineAt(const Curve& curve, const py::handle& value) {
  const Array<float> x = Numbers<float>(value, "x");
  Array<float> y(std::vector<py::ssize_t>(x.shape(), x.shape() + x.ndim()));
  if (x.size() > 0 && !curve.DotSplinePoint(x.data(), y.mutable_data(), ToInt(x.size(), "x")))
    ThrowMemoryError();
  return Returned(y);
}

void DefineCurve(py::module_& module) {
  py::class_<Curve>(module, "Curve")
      .def(py::init(&NewCurve))
      .def_property_readonly("x", &Coordinates<&Curve::GetPointX>)
      .def_property_readonly("y", &Coordinates<&Curve::GetPointY>)
      .def("__len__", &Curve::GetNumberOfPoints)
      .def(py::pickle(
          [](const Curve& curve) {
            return py::make_tuple(Coordinates<&Curve::GetPointX>(curve),
                                  Coordinates<&Curve::GetPointY>(curve));
          },
          [](const py::tuple& state) { return NewCurve(state[0], state[1]); }))
      .def("derivative",
           [](const Curve& curve, int order) {
             RequirePoints(curve, 3);
             return Derived(
                 [&] { return order == 1 ? curve.GetFirstDerivative() : curve.GetSecondDerivative(); });
           })
      .def("sliding_mean",
           [](const Curve& curve, int width, int passes) {
             return Derived([&] { return curve.DotSmoothFunction(width, passes); });
           })
      .def("spline", [](const Curve& curve,
                        int factor) { return Derived([&] { return curve.GetCubicSpline(factor); }); })
      .def("parametric_spline",
           [](const Curve& curve) { return Derived([&] { return curve.GetDotSplineXY(); }); })
      .def("spline_at", &SplineAt)
      .def("regression",
           [](const Curve& curve) {
             float slope = 0.0F;
             float intercept = 0.0F;
             RequirePoints(curve, 1);
             curve.GetLinearRegressionParameters(slope, intercept);
             return py::make_tuple(slope, intercept);
           })
      .def("integral", &Curve::GetIntegral)
      .def("simple_integral", [](const Curve& curve) { return curve.GetSimpleIntegral(); })
      .def("median",
           [](const Curve& curve) {
             Curve copy(curve);  // the median reorders the points
             return copy.GetYMediane();
           })
      .def("mean", &Curve::GetYMean)
      .def("std", &Curve::GetYStandardDeviation)
      .def("spearman",
           [](const Curve& curve) {
             double correlation = 0.0;
             Call call;
             call.RunLocked([&] { correlation = curve.GetXYCorrelation(); });
             return correlation;
           })
      .def("chi2", [](const Curve& curve, Curve& model) { return curve.GetChi2(&model); })
      .def("squared_error", [](const Curve& curve, Curve& model) { return curve.GetMeanSquared(&model); })
      .def("fwhm", [](Curve& curve, double low, double high) {
        const double width = curve.GetFWHM(low, high);
        return py::make_tuple(width, curve.GetFWHMLower_limit(), curve.GetFWHMUpper_limit());
      });
}

}  // namespace

void DefineGeometry(py::module_& module) {
  module.def("hausdorff", Interruptible(&Hausdorff, kOfMatrices));
  module.def("register_landmarks", Interruptible(&RegisterLandmarks, kOfClustering));
  module.def("slice_orientation", &SliceOrientation);
  DefineCurve(module);
}

}  // namespace mth_python
