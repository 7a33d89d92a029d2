#include "arrays.h"
#include "call.h"

PYBIND11_MODULE(_mth, module) {
  module.doc() = "The library's operations over NumPy arrays; the package mth puts them in order.";
  module.attr("__version__") = MTH_VERSION;
  module.def("real_array", &mth_python::RealArray);
  mth_python::InstallDisplay(module);
  mth_python::DefineBoosting(module);
  mth_python::DefineClustering(module);
  mth_python::DefineCohort(module);
  mth_python::DefineGeometry(module);
  mth_python::DefineImage(module);
  mth_python::DefineLinalg(module);
  mth_python::DefineOptimise(module);
  mth_python::DefineStatistics(module);
  mth_python::DefineTissue(module);
}
