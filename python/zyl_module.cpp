// The Python module `zyl`: species properties, formula weights and reaction tables over the same
// core the command line uses. Quantities cross the boundary in SI units (J, mol, K); errors become
// zyl.Error with the command line's message. A further subsystem adds a file with a
// Bind<Subsystem>(m) function, declared in bindings.h and called at the end of PYBIND11_MODULE.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <dlfcn.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <filesystem>

#include <fmt/format.h>

#include "bindings.h"
#include "platform/paths.h"
#include "reactions/reaction.h"
#include "shell/settings.h"
#include "thermo/elements.h"
#include "thermo/formula.h"
#include "thermo/lookup.h"
#include "thermo/species_data.h"

namespace py = pybind11;
namespace fs = std::filesystem;

namespace zyl::python {

namespace {

using thermo::kCalToJ;

// ---------------------------------------------------------------- databases

struct OpenedPaths {
  std::string own;   ///< empty when no own database is open
  std::string main;  ///< empty when no main database is open
};

thermo::SpeciesDatabases& Databases() {
  static thermo::SpeciesDatabases dbs;
  return dbs;
}
bool& DatabasesOpened() {
  static bool opened = false;
  return opened;
}

/// Opens the pair read-only as `zyl reaction` does: a missing own database is simply absent.
/// own/main: None takes the user's settings (the shipped main database by default); "" leaves
/// that database out.
OpenedPaths OpenDatabases(std::optional<std::string> own, std::optional<std::string> main) {
  if (!own || !main) {
    std::string error;
    shell::Settings s = shell::LoadUserSettings(&error);
    if (!own) own = s.own_db;
    if (!main) main = s.main_db;
  }
  thermo::SpeciesDatabases dbs;
  std::string error;
  if (std::error_code ec; !own->empty() && fs::exists(*own, ec)) {
    dbs.own = thermo::OpenSpeciesDb(*own, nullptr, false, &error);
    if (!dbs.own) throw Error(error);
  }
  if (!main->empty()) {
    dbs.main = thermo::OpenSpeciesDb(*main, nullptr, false, &error);
    if (!dbs.main) throw Error(dbs.own ? error : "no species database could be opened: " + *main);
  }
  if (!dbs.own && !dbs.main) throw Error("no species database could be opened: " + *main);
  Databases() = std::move(dbs);
  DatabasesOpened() = true;
  OpenedPaths p;
  if (Databases().own) p.own = Databases().own->path().string();
  if (Databases().main) p.main = Databases().main->path().string();
  return p;
}

py::dict PathsDict(const OpenedPaths& p) {
  py::dict d;
  d["own"] = p.own.empty() ? py::object(py::none()) : py::object(py::str(p.own));
  d["main"] = p.main.empty() ? py::object(py::none()) : py::object(py::str(p.main));
  return d;
}

}  // namespace

const thermo::SpeciesDatabases& CurrentDatabases() {
  if (!DatabasesOpened()) OpenDatabases(std::nullopt, std::nullopt);
  return Databases();
}

// ---------------------------------------------------------------- temperatures

Temperatures ReadTemperatures(const py::handle& T) {
  Temperatures t;
  t.array = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(T);
  if (!t.array) throw Error("temperatures must be numbers (K)");
  t.scalar = t.array.ndim() == 0;
  const double* v = t.array.data();
  for (py::ssize_t i = 0; i < t.array.size(); ++i)
    if (!(v[i] > 0) || !std::isfinite(v[i])) throw Error(fmt::format("temperature must be above 0 K: {:g} K", v[i]));
  return t;
}

py::array_t<double> LikeTemperatures(const Temperatures& t) {
  std::vector<py::ssize_t> shape(t.array.shape(), t.array.shape() + t.array.ndim());
  return py::array_t<double>(shape);
}

py::object Result(const Temperatures& t, py::array_t<double>& values) {
  if (t.scalar) return py::float_(*values.data());
  return std::move(values);
}

namespace {

// ---------------------------------------------------------------- species

class Species {
 public:
  explicit Species(const std::string& name) {
    loc_ = thermo::FindSpecies(name, CurrentDatabases());
    if (!loc_) throw Error(fmt::format("species not found in the own or main database: {}", name));
    data_ = thermo::ReadSpeciesData(loc_, name);
    if (data_.ranges.empty()) throw Error(fmt::format("species records could not be read: {}", name));
    database_ = loc_.kind == thermo::DbKind::Own ? "own" : "main";
  }

  const std::string& name() const { return data_.name; }
  const std::string& database() const { return database_; }
  py::tuple records() const { return py::make_tuple(loc_.first, loc_.last); }
  double molar_mass() const { return data_.ranges.front().mw; }

  py::list ranges() const {
    py::list out;
    for (const thermo::SpeciesRange& r : data_.ranges) {
      py::dict d;
      d["T1"] = r.t1;
      d["T2"] = r.t2;
      d["phase"] = std::string(r.phase);
      out.append(d);
    }
    return out;
  }

  py::dict props(const py::handle& T, bool criss_cobble) const {
    const Temperatures t = ReadTemperatures(T);
    thermo::SetCrissCobble(criss_cobble);
    py::array_t<double> cp = LikeTemperatures(t), h = LikeTemperatures(t), s = LikeTemperatures(t),
                        g = LikeTemperatures(t);
    const double* tv = t.array.data();
    double *cpv = cp.mutable_data(), *hv = h.mutable_data(), *sv = s.mutable_data(), *gv = g.mutable_data();
    const py::ssize_t n = t.array.size();
    {
      py::gil_scoped_release release;
      for (py::ssize_t i = 0; i < n; ++i) {
        const thermo::SpeciesValues v = thermo::CalcSpeciesAtT(data_, tv[i]);
        cpv[i] = v.cp * kCalToJ;
        hv[i] = v.h * kCalToJ;
        sv[i] = v.s * kCalToJ;
        gv[i] = v.g * kCalToJ;
      }
    }
    py::dict d;
    d["Cp"] = Result(t, cp);
    d["H"] = Result(t, h);
    d["S"] = Result(t, s);
    d["G"] = Result(t, g);
    return d;
  }

 private:
  thermo::SpeciesLocation loc_;
  thermo::SpeciesData data_;
  std::string database_;
};

// ---------------------------------------------------------------- formulas

thermo::FormulaWeightResult Weigh(const std::string& formula) {
  const auto& table = thermo::Elements();
  if (table.Find("H") == 0) throw Error("the element table Databases/AWDB4.ZYL could not be read");
  thermo::FormulaComposition comp = thermo::ParseFormula(formula);
  if (!comp.ok()) throw Error(comp.error);
  thermo::FormulaWeightResult r = thermo::FormulaWeight(comp, table);
  if (r.formula_weight == 0 && r.ion_weight == 0)
    throw Error(fmt::format("no element recognised in formula: {}", formula));
  return r;
}

// ---------------------------------------------------------------- reactions

class Reaction {
 public:
  Reaction(const std::string& equation, bool criss_cobble) : equation_(equation), criss_(criss_cobble) {
    // One row at 298.15 K runs every check of the command line (equation, species, balance).
    reactions::ReactionOptions o = Options(thermo::kT0, thermo::kT0, 1, false);
    reactions::ReactionTable check = reactions::CalcReaction(equation, o, CurrentDatabases());
    if (!check.ok()) throw Error(check.error);
    eq_ = check.parsed;
    species_ = reactions::LookupReactionSpecies(eq_, CurrentDatabases()).data;
    has_potential_ = check.has_potential;
  }

  const std::string& equation() const { return equation_; }

  py::list terms() const {
    py::list out;
    for (int i = 0; i < eq_.Count; ++i)
      out.append(py::make_tuple(eq_.Species[i], eq_.IsLeft(i) ? -eq_.Coefficient(i) : eq_.Coefficient(i)));
    return out;
  }

  /// Rows at the given temperatures (K).
  py::dict table(const py::handle& T) const {
    const Temperatures t = ReadTemperatures(T);
    std::vector<reactions::ReactionRow> rows;
    std::vector<std::string> notes;
    rows.reserve(t.array.size());
    const double* tv = t.array.data();
    for (py::ssize_t i = 0; i < t.array.size(); ++i) {
      reactions::ReactionTable one = reactions::CalcReactionTable(eq_, species_, Options(tv[i], tv[i], 1, false));
      if (!one.ok() || one.rows.empty()) throw Error(one.error.empty() ? "no row calculated" : one.error);
      rows.push_back(one.rows.front());
      AddNotes(notes, one.notes);
    }
    return Columns(rows, notes, &t);
  }

  /// Rows from T1 towards T2 (K) by step, with rows around phase transitions on request: the
  /// command line's table.
  py::dict range_table(double T1, double T2, double step, bool transitions) const {
    reactions::ReactionTable tab = reactions::CalcReactionTable(eq_, species_, Options(T1, T2, step, transitions));
    if (!tab.ok()) throw Error(tab.error);
    std::vector<std::string> notes;
    AddNotes(notes, tab.notes);
    return Columns(tab.rows, notes, nullptr);
  }

 private:
  reactions::ReactionOptions Options(double T1, double T2, double step, bool transitions) const {
    reactions::ReactionOptions o;
    o.T1 = T1;
    o.T2 = T2;
    o.step = step;
    o.temp_unit = reactions::TempUnit::Kelvin;
    o.energy_unit = reactions::EnergyUnit::kcal;
    o.transitions = transitions;
    o.criss_cobble = criss_;
    return o;
  }

  static void AddNotes(std::vector<std::string>& notes, const std::vector<std::string>& more) {
    for (const auto& n : more)
      if (std::find(notes.begin(), notes.end(), n) == notes.end()) notes.push_back(n);
  }

  py::dict Columns(const std::vector<reactions::ReactionRow>& rows, const std::vector<std::string>& notes,
                   const Temperatures* shape_of) const {
    auto column = [&](auto get) -> py::object {
      py::array_t<double> a = shape_of ? LikeTemperatures(*shape_of)
                                       : py::array_t<double>(static_cast<py::ssize_t>(rows.size()));
      double* v = a.mutable_data();
      for (size_t i = 0; i < rows.size(); ++i) v[i] = get(rows[i]);
      if (shape_of) return Result(*shape_of, a);
      return py::object(a);
    };
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    py::dict d;
    d["T"] = column([](const auto& r) { return r.T; });
    d["dH"] = column([](const auto& r) { return r.DeltaH * 1000 * kCalToJ; });
    d["dS"] = column([](const auto& r) { return r.DeltaS * kCalToJ; });
    d["dG"] = column([](const auto& r) { return r.DeltaG * 1000 * kCalToJ; });
    d["K"] = column([](const auto& r) { return r.K; });
    d["logK"] = column([&](const auto& r) { return r.LogK.value_or(kNaN); });
    if (has_potential_) d["E"] = column([&](const auto& r) { return r.E.value_or(kNaN); });
    if (!shape_of) {
      py::array_t<bool> tr(static_cast<py::ssize_t>(rows.size()));
      for (size_t i = 0; i < rows.size(); ++i) tr.mutable_data()[i] = rows[i].transition;
      d["transition"] = tr;
    }
    d["notes"] = notes;
    return d;
  }

  std::string equation_;
  bool criss_;
  reactions::ParsedEquation eq_;
  std::vector<thermo::SpeciesData> species_;
  bool has_potential_ = false;
};

// ---------------------------------------------------------------- data folder

/// The shipped data relative to the module's own file: ZYL_DATA_DIR when set; else, going up at most four
/// folders from the module, the first "share/zyl" or "data" holding "Databases" (installed
/// <prefix>/lib/python3/dist-packages/zyl.so -> <prefix>/share/zyl, the same in a venv, and the build tree
/// inside the source tree -> <source>/data); else the source tree the module was built from.
fs::path ModuleDataDir() {
  constexpr int kLevels = 4;
  std::error_code ec;
  auto has_data = [&](const fs::path& d) { return fs::is_directory(d / "Databases", ec); };
  if (const char* env = std::getenv("ZYL_DATA_DIR"); env && *env && has_data(env)) return fs::path(env);
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&ModuleDataDir), &info) && info.dli_fname) {
    fs::path dir = fs::weakly_canonical(fs::absolute(info.dli_fname, ec), ec).parent_path();
    for (int i = 0; i < kLevels && !dir.empty(); ++i, dir = dir.parent_path()) {
      for (const fs::path& candidate : {dir / "share" / "zyl", dir / "data"})
        if (has_data(candidate)) return candidate;
      if (dir == dir.root_path()) break;
    }
  }
  if (has_data(ZYL_SOURCE_DATA_DIR)) return fs::path(ZYL_SOURCE_DATA_DIR);
  return {};
}

}  // namespace

}  // namespace zyl::python

PYBIND11_MODULE(zyl, m) {
  using namespace zyl::python;
  m.doc() =
      "ZYL thermochemistry from Python.\n\n"
      "Quantities are in SI units: temperatures in K, energies in J/mol, entropies and heat capacities\n"
      "in J/(mol K), molar masses in g/mol. Functions taking temperatures accept a number or any\n"
      "array-like (numpy arrays in, numpy arrays of the same shape out). Errors raise zyl.Error with the\n"
      "message the command line `zyl` prints.";
  m.attr("__version__") = ZYL_VERSION;
  py::register_exception<Error>(m, "Error", PyExc_RuntimeError);
  if (fs::path data = ModuleDataDir(); !data.empty()) zyl::platform::SetDataDir(data);

  m.def(
      "open_databases",
      [](std::optional<std::string> own, std::optional<std::string> main) { return PathsDict(OpenDatabases(own, main)); },
      py::arg("own") = py::none(), py::arg("main") = py::none(),
      "Opens the species databases read-only and makes them the module's pair (own searched first).\n\n"
      "own, main: database file paths (.ZYL); None takes the user's settings (by default the own\n"
      "database in the user's data folder, when it exists, and the shipped main database); \"\" leaves\n"
      "that database out. Opened on first use when never called.\n"
      "Returns {\"own\": path or None, \"main\": path or None}. Raises zyl.Error when a file can not be\n"
      "opened or has no database format.");
  m.def(
      "databases",
      [] {
        const auto& dbs = CurrentDatabases();
        OpenedPaths p;
        if (dbs.own) p.own = dbs.own->path().string();
        if (dbs.main) p.main = dbs.main->path().string();
        return PathsDict(p);
      },
      "The open databases: {\"own\": path or None, \"main\": path or None}.");
  m.def(
      "data_dir", [] { return zyl::platform::DataDir().string(); },
      "The installation's data folder (shipped databases, element table, set-ups), found relative to the\n"
      "module: $ZYL_DATA_DIR when set, else <prefix>/share/zyl of the installation (system or venv) or\n"
      "the source tree's data folder for a module in the build tree.");

  m.def(
      "formula_weight", [](const std::string& f) { return Weigh(f).formula_weight; }, py::arg("formula"),
      "Formula weight of a chemical formula, g/mol, e.g. formula_weight(\"CuSO4*5H2O\") = 249.68.\n"
      "Raises zyl.Error for a formula that does not parse or holds no known element.");
  m.def(
      "ion_weight", [](const std::string& f) { return Weigh(f).ion_weight; }, py::arg("formula"),
      "Ion weight of a formula, g/mol: the formula weight less the electrons' mass of the charge.");

  py::class_<Species>(m, "Species",
                      "A species of the open databases (own first, then main) with its temperature ranges.")
      .def(py::init<const std::string&>(), py::arg("name"))
      .def_property_readonly("name", &Species::name, "The name looked up, e.g. \"H2O(g)\".")
      .def_property_readonly("database", &Species::database, "\"own\" or \"main\": the database that holds it.")
      .def_property_readonly("records", &Species::records, "(first, last) record numbers, 1-based.")
      .def_property_readonly("molar_mass", &Species::molar_mass, "Molar mass of the first range, g/mol.")
      .def_property_readonly("ranges", &Species::ranges,
                             "Temperature ranges: list of {\"T1\": K, \"T2\": K, \"phase\": str}.")
      .def("props", &Species::props, py::arg("T"), py::arg("criss_cobble") = false,
           "Heat capacity, enthalpy, entropy and Gibbs energy at temperatures T (K, > 0).\n\n"
           "Returns {\"Cp\": J/(mol K), \"H\": J/mol, \"S\": J/(mol K), \"G\": J/mol}: floats for a\n"
           "number, numpy arrays of T's shape for an array. Outside the ranges the nearest range's\n"
           "formulas are used. criss_cobble: heat capacities of aqueous ions above 298.15 K from the\n"
           "Criss-Cobble correspondence principle.")
      .def("__repr__", [](const Species& s) { return "<zyl.Species " + s.name() + " (" + s.database() + ")>"; });
  m.def(
      "species", [](const std::string& name) { return Species(name); }, py::arg("name"),
      "Looks a species up by its database name, e.g. species(\"H2O(g)\"), species(\"SO4(-2a)\").\n"
      "Raises zyl.Error when neither database holds it.");

  py::class_<Reaction>(m, "Reaction", "A checked, balanced reaction equation with its species data.")
      .def(py::init<const std::string&, bool>(), py::arg("equation"), py::arg("criss_cobble") = false)
      .def_property_readonly("equation", &Reaction::equation, "The equation as given.")
      .def_property_readonly("terms", &Reaction::terms,
                             "[(species, coefficient)], reactants with negative coefficients.")
      .def("table", &Reaction::table, py::arg("T"),
           "Reaction quantities at temperatures T (K, > 0), per mole of reaction as written.\n\n"
           "Returns {\"T\": K, \"dH\": J, \"dS\": J/K, \"dG\": J, \"K\": 1, \"logK\": 1 (nan when K\n"
           "underflows), \"E\": V vs. SHE (equations with e- only), \"notes\": [extrapolation notes]};\n"
           "floats for a number, numpy arrays of T's shape for an array.")
      .def("range_table", &Reaction::range_table, py::arg("T1") = 298.15, py::arg("T2") = 1273.15,
           py::arg("step") = 100.0, py::arg("transitions") = false,
           "The command line's table: rows from T1 towards T2 (K) by step (K, at most 300 rows), and with\n"
           "transitions two rows around every phase transition. Keys as table() plus \"transition\"\n"
           "(bool array marking those rows); every value a 1-D numpy array.")
      .def("__repr__", [](const Reaction& r) { return "<zyl.Reaction " + r.equation() + ">"; });
  m.def(
      "reaction", [](const std::string& eq, bool criss) { return Reaction(eq, criss); }, py::arg("equation"),
      py::arg("criss_cobble") = false,
      "Parses and checks a reaction equation, e.g. reaction(\"2H2(g)+O2(g)=2H2O(g)\"); the species are\n"
      "read from the open databases. Raises zyl.Error with the command line's message for a bad\n"
      "equation, a missing species or an unbalanced equation.");

  BindBalance(m);
  BindDiagrams(m);
  BindEquilibrium(m);
}
