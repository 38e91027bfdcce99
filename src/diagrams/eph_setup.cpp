#include "diagrams/eph_setup.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <set>

#include "thermo/formula.h"

namespace zyl::diagrams {

EphSpeciesReader DatabaseReader(const thermo::SpeciesDatabases& dbs) {
  return [&dbs](const std::string& name) { return thermo::ReadSpeciesData(thermo::FindSpecies(name, dbs), name); };
}

std::vector<std::string> EphSpeciesOf(const std::string& element, const thermo::SpeciesDatabases& dbs) {
  std::vector<std::string> out;
  std::set<std::string, std::less<>> seen;
  for (const thermo::SpeciesDb* db : {dbs.own.get(), dbs.main.get()}) {
    if (!db) continue;
    for (int rec = 1; rec <= db->RecordCount(); ++rec) {
      std::string_view f = db->Formula(rec);
      if (f.empty() || seen.count(f)) continue;
      seen.emplace(f);
      if (f.find("(ia") != std::string_view::npos) continue;
      thermo::FormulaComposition comp = thermo::ParseFormula(f);
      if (!comp.ok() || comp.Amount(element) <= 0) continue;
      if (comp.Charge() != 0 && f.ends_with("g)")) continue;  // gas ions are no species of an aqueous system
      bool inside = std::all_of(comp.entries.begin(), comp.entries.end(), [&](const thermo::FormulaEntry& e) {
        return e.symbol == element || e.symbol == "O" || e.symbol == "H" || e.symbol == thermo::kElectron;
      });
      if (inside) out.emplace_back(f);
    }
  }
  return out;
}

std::vector<EphDiagram> ComputeSetup(const IepSetup& s, const EphSpeciesReader& read) {
  std::vector<EphDiagram> out;
  for (size_t i = 0; i < s.temperatures.size(); ++i) {
    EphInput in;
    in.element = s.elements.empty() ? std::string() : s.elements[0].symbol;
    in.species = s.species;
    const double la = i < s.log_activity.size() ? s.log_activity[i] : (s.elements.empty() ? -6 : s.elements[0].log_activity);
    const double lp = i < s.log_pressure.size() ? s.log_pressure[i] : (s.elements.empty() ? 0 : s.elements[0].log_pressure);
    in.activity = std::pow(10.0, la);
    in.pressure = std::pow(10.0, lp);
    in.T = s.Kelvin(i);
    in.ph_min = s.ph_min;
    in.ph_max = s.ph_max;
    in.eh_min = s.eh_min;
    in.eh_max = s.eh_max;
    out.push_back(ComputeEph(in, read));
  }
  return out;
}

std::string EphTitle(const IepSetup& s, size_t i) {
  std::string system = s.elements.empty() ? std::string("?") : s.elements[0].symbol;
  for (size_t k = 1; k < s.elements.size(); ++k) system += "-" + s.elements[k].symbol;
  const double t = i < s.temperatures.size() ? s.temperatures[i] : 0;
  return fmt::format("Eh - pH Diagram of the {}-O-H System at {} {}", system, FormatFixed(t, 2), s.celsius ? "C" : "K");
}

}  // namespace zyl::diagrams
