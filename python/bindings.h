#pragma once
// Shared pieces of the Python module's binding files.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <stdexcept>
#include <string>

#include "thermo/lookup.h"

namespace zyl::python {

/// Raised to Python as zyl.Error; the text is the command line's message.
class Error : public std::runtime_error {
 public:
  explicit Error(const std::string& message) : std::runtime_error(message) {}
};

/// The module's open database pair, opened from the user's settings on first use.
const thermo::SpeciesDatabases& CurrentDatabases();

/// Temperatures given from Python (K): a number or an array-like, all checked to be above 0 K.
struct Temperatures {
  pybind11::array_t<double, pybind11::array::c_style | pybind11::array::forcecast> array;
  bool scalar = false;  ///< a plain number was given: results are floats
};
Temperatures ReadTemperatures(const pybind11::handle& T);
/// An uninitialised float64 array of the temperatures' shape.
pybind11::array_t<double> LikeTemperatures(const Temperatures& t);
/// The array, or its single value as a float when the temperatures were a number.
pybind11::object Result(const Temperatures& t, pybind11::array_t<double>& values);

/// Bindings of further subsystems, called by the module's initialisation.
void BindBalance(pybind11::module_& m);
void BindDiagrams(pybind11::module_& m);
void BindEquilibrium(pybind11::module_& m);

}  // namespace zyl::python
