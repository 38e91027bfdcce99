// zyl.equilibrium: the equilibrium of a description, the same result as `zyl equilibrium FILE --json`.

#include <pybind11/pybind11.h>

#include <string>

#include "bindings.h"
#include "equilibrium/description.h"
#include "platform/files.h"

namespace py = pybind11;

namespace zyl::python {

namespace {

py::object Equilibrium(const py::object& description) {
  std::string text, where;
  if (py::isinstance<py::dict>(description)) {
    text = py::module_::import("json").attr("dumps")(description).cast<std::string>();
  } else if (py::isinstance<py::str>(description) || py::hasattr(description, "__fspath__")) {
    std::string file = py::str(py::module_::import("os").attr("fspath")(description)).cast<std::string>();
    std::string error;
    auto read = platform::ReadFile(file, &error);
    if (!read) throw Error(file + ": " + (error.empty() ? std::string("can not read the file") : error));
    text = std::move(*read);
    where = file + ": ";
  } else {
    throw Error("the description must be a dict or the path of a description file");
  }
  auto read = equilibrium::ParseDescription(text);
  if (!read.ok()) throw Error(where + read.error);
  const thermo::SpeciesDatabases& dbs = CurrentDatabases();
  std::string result;
  {
    py::gil_scoped_release release;
    auto r = equilibrium::Calculate(read.desc, dbs);
    if (r.ok()) result = equilibrium::ResultJson(r).dump();
    else result = "\x01" + r.error;  // error marker, raised with the GIL held
  }
  if (!result.empty() && result[0] == '\x01') throw Error(result.substr(1));
  return py::module_::import("json").attr("loads")(result);
}

}  // namespace

void BindEquilibrium(py::module_& m) {
  m.def("equilibrium", &Equilibrium, py::arg("description"),
        "Equilibrium of a system by Gibbs energy minimisation, as `zyl equilibrium FILE --json`.\n\n"
        "description: a dict in the description format ({\"T\", \"P\", \"temperature_unit\": \"C\"|\"K\",\n"
        "\"pressure_unit\": \"bar\"|\"atm\", \"T_step\", \"T_count\", \"phases\": [{\"name\", \"type\",\n"
        "\"species\": [{\"name\", \"amount\" (mol)}]}]}; see the user guide) or the path of such a JSON file.\n"
        "Species come from the module's open databases (zyl.open_databases).\n"
        "Returns the command line's JSON as a dict: one point per temperature with T (K), P (atm), G (kJ)\n"
        "and the phases with their amounts (mol) and species mole fractions.\n"
        "Raises zyl.Error with the command line's message for an unreadable or invalid description or a\n"
        "species that is not in the databases.");
}

}  // namespace zyl::python
