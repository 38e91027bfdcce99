// zyl.predominance: the predominance diagram of a set-up file, computed as `zyl tpp` does.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cmath>
#include <filesystem>

#include "bindings.h"
#include "diagrams/picture.h"
#include "diagrams/predom.h"
#include "diagrams/species_source.h"
#include "diagrams/tpp_file.h"
#include "platform/paths.h"
#include "thermo/constants.h"

namespace py = pybind11;
namespace fs = std::filesystem;

namespace zyl::python {

namespace {

using namespace zyl::diagrams;

py::array_t<double> Array(const std::vector<double>& v) { return py::array_t<double>(py::ssize_t(v.size()), v.data()); }

py::dict Axis(const PredomModel& m, bool x_axis) {
  const AxisDescription d = DescribeAxis(m, x_axis);
  py::dict a;
  a["title"] = d.title;
  a["name"] = d.name;
  a["unit"] = d.unit;
  a["min"] = d.min;
  a["max"] = d.max;
  return a;
}

/// The traced border lines split where one piece does not continue the one before.
py::list Borders(const std::vector<Segment>& segs, double tol) {
  py::list out;
  std::vector<double> x, y;
  auto flush = [&] {
    if (x.size() >= 2) {
      py::dict line;
      line["x"] = Array(x);
      line["y"] = Array(y);
      out.append(line);
    }
    x.clear();
    y.clear();
  };
  for (const Segment& s : segs) {
    if (x.empty() || std::abs(x.back() - s.x1) > tol || std::abs(y.back() - s.y1) > tol) {
      flush();
      x.push_back(s.x1);
      y.push_back(s.y1);
    }
    x.push_back(s.x2);
    y.push_back(s.y2);
  }
  flush();
  return out;
}

py::dict Predominance(const std::string& file_name, const std::string& resolution, bool swap_gases) {
  fs::path file = file_name;
  std::error_code ec;
  if (!fs::exists(file, ec) && file.is_relative() && fs::exists(platform::DataDir() / "Tpp" / file, ec))
    file = platform::DataDir() / "Tpp" / file;
  DatabaseSpeciesSource source(CurrentDatabases());
  TppReadResult read = ParseFile(file, source);
  if (!read.setup) throw Error(read.error);
  PredomSetup setup = *read.setup;
  if (resolution == "low") setup.resolution = kResolutionLow;
  else if (resolution == "medium") setup.resolution = kResolutionMedium;
  else if (resolution == "high") setup.resolution = kResolutionHigh;
  else if (!resolution.empty()) throw Error("--resolution takes low, medium or high");
  setup.swap_gases = swap_gases;
  CollectResult collected = CollectData(setup, source);
  if (!collected.model) throw Error(collected.error);
  const PredomModel& m = *collected.model;

  py::gil_scoped_release release;  // the search runs without Python
  PredomResult r = MakePicture(m);
  std::vector<AreaSummary> summaries = PlaceLabels(r);
  std::vector<Segment> segments = TraceBoundaries(m, r);
  py::gil_scoped_acquire acquire;

  py::list areas;
  for (const AreaSummary& a : summaries) {
    std::vector<double> ox, oy;  // centres of the final border cells that touch the area
    for (const BoundaryCell& c : r.cells)
      for (int s : c.corners)
        if (s == a.species) {
          ox.push_back(c.x + r.cell_w / 2);
          oy.push_back(c.y + r.cell_h / 2);
          break;
        }
    py::dict d;
    d["species"] = m.names[std::size_t(a.species - 1)];
    d["weight"] = a.weight;
    d["label_x"] = a.x;
    d["label_y"] = a.y;
    d["outline_x"] = Array(ox);
    d["outline_y"] = Array(oy);
    areas.append(d);
  }
  py::dict constant;
  if (m.TemperatureAxis()) {
    constant["name"] = m.swap_gases ? m.gas1 : m.gas2;
    constant["unit"] = "log10(p/bar)";
    constant["value"] = m.log_p_constant;
  } else {
    constant["name"] = std::string(kTemperature);
    constant["unit"] = "K";
    constant["value"] = m.T;
  }
  py::dict axes;
  axes["x"] = Axis(m, true);
  axes["y"] = Axis(m, false);
  axes["constant"] = constant;
  py::dict out;
  out["title"] = DiagramTitle(m.elements);
  out["elements"] = py::cast(std::vector<std::string>(m.elements.begin(), m.elements.end()));
  out["species"] = m.names;
  out["axes"] = axes;
  out["resolution"] = m.resolution;
  out["boundary_points"] = r.BoundaryPoints();
  out["areas"] = areas;
  out["borders"] = Borders(segments, 1e-9 * (std::abs(m.xmax - m.xmin) + std::abs(m.ymax - m.ymin)));
  out["warnings"] = collected.warnings;
  out["messages"] = read.messages;
  out["extrapolated"] = ExtrapolationNotes(m);
  return out;
}

}  // namespace

void BindDiagrams(py::module_& m) {
  m.def("predominance", &Predominance, py::arg("file"), py::arg("resolution") = "", py::arg("swap_gases") = false,
        "Predominance (phase stability) diagram of a set-up file (*.tpp), computed as `zyl tpp FILE --json`.\n\n"
        "file: the set-up's path; a relative name not found is looked for in the data folder's Tpp.\n"
        "resolution: \"low\", \"medium\" or \"high\" (\"\": the set-up's own). swap_gases: each axis pressure\n"
        "to the other gas. Species come from the module's open databases (zyl.open_databases).\n"
        "Returns a dict: \"title\", \"elements\", \"species\", \"axes\" {\"x\", \"y\": {\"name\", \"unit\", \"title\",\n"
        "\"min\", \"max\"}, \"constant\": {\"name\", \"unit\", \"value\"}} with temperatures in K and pressures as\n"
        "log10(p/bar); \"resolution\"; \"boundary_points\"; \"areas\": one dict per species present with\n"
        "\"species\", \"weight\", the label point \"label_x\", \"label_y\" (axis units, inside the area) and\n"
        "\"outline_x\", \"outline_y\" (numpy arrays: centres of the final border cells the area touches);\n"
        "\"borders\": the traced border lines, [{\"x\": array, \"y\": array}]; \"warnings\" and \"messages\"\n"
        "(species or axes left out, as the command line prints them) and \"extrapolated\".\n"
        "Raises zyl.Error with the command line's message for an unreadable set-up or unusable species.");
}

}  // namespace zyl::python
