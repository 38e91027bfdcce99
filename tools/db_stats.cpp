#include "tools/db_stats.h"

#include <algorithm>
#include <set>

#include "thermo/formula.h"

namespace zyl::tools {

std::string_view OriginName(SpeciesOrigin origin) {
  switch (origin) {
    case SpeciesOrigin::NasaGas: return "NASA gas";
    case SpeciesOrigin::NasaCondensed: return "NASA condensed";
    case SpeciesOrigin::ObigtAqueous: return "OBIGT aqueous";
    case SpeciesOrigin::ObigtMineral: return "OBIGT mineral";
    case SpeciesOrigin::LlnlMineral: return "llnl.dat mineral";
    case SpeciesOrigin::Convention: return "convention";
  }
  return "";
}

BuildStats ComputeBuildStats(const BuildResult& result) {
  BuildStats st;
  std::set<std::string> elements;
  for (const BuiltSpecies& sp : result.species) {
    ++st.species;
    ++st.by_origin[std::string(OriginName(sp.origin))];
    for (const auto& e : thermo::ParseFormula(sp.name).entries)
      if (e.symbol != thermo::kElectron && e.symbol != "D") elements.insert(e.symbol);
    for (const FittedRange& r : sp.ranges) {
      ++st.ranges;
      if (!r.within_tolerance) ++st.ranges_out_of_tolerance;
      st.max_dcp_percent = std::max(st.max_dcp_percent, 100.0 * r.err.cp_rel);
      st.max_dh = std::max(st.max_dh, r.err.h);
      st.max_ds = std::max(st.max_ds, r.err.s);
      st.max_dg = std::max(st.max_dg, r.err.g);
    }
  }
  st.elements = static_cast<int>(elements.size());
  return st;
}

}  // namespace zyl::tools
