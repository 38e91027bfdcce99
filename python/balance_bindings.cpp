// zyl.balance(...): heat and material balance workbooks, the calculations of `zyl balance`.
// Amounts in kmol and kg, volumes in Nm3, enthalpies in the workbook's own energy unit
// ("energy_unit"), temperatures in the workbook's temperature unit ("unit").

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>

#include <fmt/format.h>

#include "balance/balance_book.h"
#include "balance/balance_calc.h"
#include "balance/species_source.h"
#include "balance/target.h"
#include "bindings.h"
#include "platform/messages.h"

namespace py = pybind11;

namespace zyl::python {

namespace {

namespace bal = zyl::balance;

py::dict TotalsDict(const bal::Totals& t) {
  py::dict d;
  d["kmol"] = t.kmol;
  d["kg"] = t.kg;
  d["Nm3"] = t.nm3;
  d["latent_H"] = t.lat_h;
  d["total_H"] = t.tot_h;
  return d;
}

class Balance {
 public:
  explicit Balance(const std::string& file) : file_(file) {
    species_ = std::make_unique<bal::DbSpeciesSource>(&CurrentDatabases());
    book_ = std::make_unique<bal::BalanceBook>(*species_, msgs_);
    if (auto e = book_->Open(file); !e.empty()) throw Error(file + ": " + e);
    msgs_.Clear();
  }

  int areas() const { return book_->AreaCount(); }

  py::dict recalc() {
    book_->MReCalc();
    py::list areas;
    for (const auto& a : bal::ReadBalSheet(*book_)) {
      py::dict d;
      d["in"] = TotalsDict(a.in);
      d["out"] = TotalsDict(a.out);
      d["balance"] = TotalsDict(a.balance);
      areas.append(d);
    }
    py::dict out;
    out["energy_unit"] = std::string(bal::EnergyUnitName(book_->units().energy));
    out["areas"] = areas;
    out["total"] = TotalsDict(bal::BalTot(*book_));
    out["warnings"] = TakeWarnings();
    return out;
  }

  py::dict temperature(int area) {
    CheckArea(area);
    book_->MReCalc(area);
    msgs_.Clear();
    bal::TBalResult r = bal::CalTBal(*book_, area, false);
    msgs_.Clear();
    if (!r.done) throw Error(r.message);
    py::dict d;
    d["T"] = r.t_display;
    d["unit"] = book_->units().temp == bal::TempUnit::C ? "C" : "K";
    d["relation"] = r.relation;
    d["iterations"] = r.iterations;
    d["message"] = r.message;
    return d;
  }

  py::list target() {
    const int sheet = book_->book().FindSheet(bal::kTargetSheetName);
    if (sheet < 0) throw Error(file_ + ": the workbook has no Target sheet");
    book_->MReCalc();
    msgs_.Clear();
    msgs_.SetDefaultAnswer(platform::Answer::No);  // a failed task does not stop the others
    std::vector<bal::TargetOutcome> outs = bal::MTargetCalS(*book_);
    msgs_.Clear();
    py::list rows;
    for (const auto& t : outs) {
      bal::TargetTask task = bal::ReadTargetTask(book_->book().sheet(sheet), t.row);
      py::dict d;
      d["row"] = t.row + 1;
      d["variable"] = task.var_ref;
      d["value"] = t.x;
      d["target"] = task.target_ref;
      d["reached"] = t.y;
      d["iterations"] = t.iterations;
      d["message"] = t.message.empty() ? py::object(py::none()) : py::object(py::str(t.message));
      rows.append(d);
    }
    return rows;
  }

  void save(const std::string& path) {
    if (auto e = book_->Save(path.empty() ? file_ : path); !e.empty()) throw Error(e);
  }

  const std::string& file() const { return file_; }

 private:
  void CheckArea(int area) const {
    if (area < 1 || area > book_->AreaCount())
      throw Error(fmt::format("there is no balance area {} (the workbook has {})", area, book_->AreaCount()));
  }
  std::vector<std::string> TakeWarnings() {
    std::vector<std::string> w;
    for (const auto& m : msgs_.Log()) w.push_back(m.text);
    msgs_.Clear();
    return w;
  }

  std::string file_;
  platform::HeadlessMessages msgs_{false};
  std::unique_ptr<bal::DbSpeciesSource> species_;
  std::unique_ptr<bal::BalanceBook> book_;
};

}  // namespace

void BindBalance(py::module_& m) {
  py::class_<Balance>(m, "Balance",
                      "A heat and material balance workbook (.xlsx) read with the open species databases.\n"
                      "Amounts in kmol and kg, volumes in Nm3, enthalpies in the workbook's energy unit.")
      .def(py::init<const std::string&>(), py::arg("file"))
      .def_property_readonly("file", &Balance::file, "The workbook's path.")
      .def_property_readonly("areas", &Balance::areas, "Number of balance areas.")
      .def("recalc", &Balance::recalc,
           "Refills and recalculates every area. Returns {\"energy_unit\", \"areas\": [{\"in\", \"out\",\n"
           "\"balance\"}], \"total\", \"warnings\"}, each totals entry {\"kmol\", \"kg\", \"Nm3\",\n"
           "\"latent_H\", \"total_H\"} (kmol, kg, Nm3, energy unit).")
      .def("temperature", &Balance::temperature, py::arg("area") = 1,
           "Sets the products' temperature of an area (1-based) so that its heat balance is zero.\n"
           "Returns {\"T\", \"unit\" (\"C\" or \"K\"), \"relation\", \"iterations\", \"message\"}.")
      .def("target", &Balance::target,
           "Runs the goal-seek tasks of the Target sheet. Returns [{\"row\", \"variable\", \"value\",\n"
           "\"target\", \"reached\", \"iterations\", \"message\" (None when converged)}].")
      .def("save", &Balance::save, py::arg("path") = "",
           "Writes the workbook (to path, or over its own file), through a temporary file.");
  m.def(
      "balance", [](const std::string& file) { return std::make_unique<Balance>(file); }, py::arg("file"),
      "Opens a balance workbook written by the program or by `zyl balance new`.\n"
      "Raises zyl.Error with the command line's message when it can not be read.");
}

}  // namespace zyl::python
