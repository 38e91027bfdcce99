#include "diagrams/species_source.h"

#include <algorithm>
#include <set>

#include "thermo/formula.h"
#include "thermo/species_data.h"
#include "thermo/species_db.h"

namespace zyl::diagrams {

std::vector<CalorieRange> DatabaseSpeciesSource::Read(const std::string& name) const {
  thermo::SpeciesLocation loc = thermo::FindSpecies(name, dbs_);
  if (!loc) return {};
  thermo::SpeciesData data = thermo::ReadSpeciesData(loc, name);
  std::vector<CalorieRange> out;
  out.reserve(data.ranges.size());
  for (const thermo::SpeciesRange& r : data.ranges)
    out.push_back({r.mw, r.h / 1000.0, r.s, r.a, r.b, r.c, r.d, r.t1, r.t2});
  return out;
}

void ForEachDatabaseFormula(const thermo::SpeciesDatabases& dbs,
                            const std::function<void(std::string_view, const thermo::FormulaComposition&)>& visit) {
  std::set<std::string, std::less<>> seen;
  for (const thermo::SpeciesDb* db : {dbs.own.get(), dbs.main.get()}) {
    if (!db) continue;
    for (int rec = 1; rec <= db->RecordCount(); ++rec) {
      std::string_view f = db->Formula(rec);
      if (f.empty() || seen.count(f)) continue;
      seen.emplace(f);
      thermo::FormulaComposition comp = thermo::ParseFormula(f);
      if (comp.ok()) visit(f, comp);
    }
  }
}

std::vector<std::string> DatabaseSpeciesSource::SpeciesOf(const std::vector<std::string>& elements) const {
  std::vector<std::string> out;
  ForEachDatabaseFormula(dbs_, [&](std::string_view f, const thermo::FormulaComposition& comp) {
    if (f.find("(a") != std::string_view::npos || f.find("(ia") != std::string_view::npos) return;
    if (comp.entries.empty() || comp.Charge() != 0) return;
    const bool inside = std::all_of(comp.entries.begin(), comp.entries.end(), [&](const thermo::FormulaEntry& e) {
      return std::find(elements.begin(), elements.end(), e.symbol) != elements.end();
    });
    if (inside) out.emplace_back(f);
  });
  return out;
}

std::string OpenDatabasesForCommand(thermo::SpeciesDatabases& dbs, const std::filesystem::path& main_path) {
  std::filesystem::path main = main_path.empty() ? thermo::DefaultMainDbPath() : main_path;
  std::string error;
  dbs.main = thermo::OpenSpeciesDb(main, nullptr, false, &error);
  if (!dbs.main) return error.empty() ? "Can not open: " + main.string() : error;
  std::error_code ec;
  std::filesystem::path own = thermo::DefaultOwnDbPath();
  if (main_path.empty() && std::filesystem::exists(own, ec)) dbs.own = thermo::OpenSpeciesDb(own);
  return {};
}

}  // namespace zyl::diagrams
