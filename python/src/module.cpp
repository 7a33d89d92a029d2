#include "arrays.h"
#include "call.h"

PYBIND11_MODULE(_mth, module) {
  module.doc() = "The library's operations over NumPy arrays; the package mth puts them in order.";
  mth_python::InstallDisplay(module);
  mth_python::DefineLinalg(module);
}
