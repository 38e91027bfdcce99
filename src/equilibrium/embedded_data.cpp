// Equilibrium systems whose species data come from the file that described them (G(T) intervals and
// stoichiometry) rather than from the databases.
#include <algorithm>
#include <cmath>

#include "equilibrium/description.h"
#include "equilibrium/gibbs_solver.h"
#include "thermo/constants.h"
#include "thermo/formula.h"
#include "thermo/species_data.h"

namespace zyl::equilibrium {
namespace {

// dG/dT of an interval, J/(mol K).
double Slope(const GibbsInterval& g, double T) {
  const auto& c = g.c;
  return c[1] + c[2] * (std::log(T) + 1) + 2 * c[3] * T + 3 * c[4] * T * T - c[5] / (T * T);
}
double G(const GibbsInterval& g, double T) {
  const auto& c = g.c;
  return c[0] + c[1] * T + c[2] * T * std::log(T) + c[3] * T * T + c[4] * T * T * T + c[5] / T;
}
double H(const GibbsInterval& g, double T) { return G(g, T) - T * Slope(g, T); }
double S(const GibbsInterval& g, double T) { return -Slope(g, T); }

}  // namespace

thermo::SpeciesData SpeciesDataFromIntervals(const std::string& name, const std::vector<GibbsInterval>& gibbs) {
  thermo::SpeciesData sd;
  thermo::SetSpeciesName(sd, name);
  const double k = thermo::kCalToJ;
  for (size_t i = 0; i < gibbs.size(); ++i) {
    const auto& g = gibbs[i];
    thermo::SpeciesRange r;
    // Cp = -T d²G/dT² = -C - 2D T - 6E T² - 2F/T², in the database's terms A, B·1e-3, D·1e-6, C·1e5.
    r.a = -g.c[2] / k;
    r.b = -2 * g.c[3] / k * 1e3;
    r.d = -6 * g.c[4] / k * 1e6;
    r.c = -2 * g.c[5] / k * 1e-5;
    // The first range holds H and S at 298.15 K; each later one its jump at its T1.
    r.t1 = i == 0 ? std::min(thermo::kT0, g.t_max) : gibbs[i - 1].t_max;
    r.t2 = g.t_max;
    if (i == 0) {
      r.h = H(g, thermo::kT0) / k;
      r.s = S(g, thermo::kT0) / k;
    } else {
      r.h = (H(g, r.t1) - H(gibbs[i - 1], r.t1)) / k;
      r.s = (S(g, r.t1) - S(gibbs[i - 1], r.t1)) / k;
    }
    sd.ranges.push_back(r);
  }
  return sd;
}

bool HasEmbeddedData(const Description& d) {
  for (const auto& p : d.phases)
    for (const auto& s : p.species)
      if (s.data) return true;
  return false;
}

PreparedSystem PrepareEmbedded(const Description& d) {
  PreparedSystem sys;
  GibbsProblem& pr = sys.problem;
  pr.pressure = d.bar ? d.P * kAtmPerBar : d.P;
  if (!(pr.pressure > 0)) {
    sys.error = "The pressure must be positive.";
    return sys;
  }
  auto element = [&](const std::string& symbol) {
    auto it = std::find(pr.elements.begin(), pr.elements.end(), symbol);
    if (it != pr.elements.end()) return static_cast<size_t>(it - pr.elements.begin());
    pr.elements.push_back(symbol);
    pr.element_mol.push_back(0.0);
    for (auto& other : pr.species) other.elements.push_back(0.0);
    return pr.elements.size() - 1;
  };
  for (size_t pi = 0; pi < d.phases.size(); ++pi) {
    const auto& ph = d.phases[pi];
    const int mixture = AddMixturePhase(pr, ph);
    for (size_t si = 0; si < ph.species.size(); ++si) {
      const auto& sp = ph.species[si];
      if (!sp.data || sp.data->gibbs.empty() || sp.data->formula.empty()) {
        sys.error = "Species " + sp.name + " has no data in the file.";
        return sys;
      }
      GibbsSpecies gs;
      gs.name = sp.name;
      gs.condensed = ph.type == PhaseType::Pure;
      gs.phase = gs.condensed ? 0 : mixture;
      for (const auto& [symbol, n] : sp.data->formula)
        if (n != 0) element(symbol);
      gs.elements.assign(pr.elements.size(), 0.0);
      double h = 0, o = 0, other = 0;
      for (const auto& [symbol, n] : sp.data->formula) {
        if (n == 0) continue;
        gs.elements[element(symbol)] += n;
        (symbol == "H" ? h : symbol == "O" ? o : other) += n;
      }
      if (ph.type == PhaseType::Aqueous && h == 2 && o == 1 && other == 0 && pr.phases.back().solvent < 0)
        pr.phases.back().solvent = static_cast<int>(pr.species.size());
      for (size_t e = 0; e < pr.elements.size(); ++e) pr.element_mol[e] += sp.amount * gs.elements[e];
      pr.species.push_back(std::move(gs));
      sys.data.push_back(SpeciesDataFromIntervals(sp.name, sp.data->gibbs));
      sys.species_slots.push_back({pi, si});
    }
    if (ph.type == PhaseType::Aqueous && pr.phases.back().solvent < 0) {
      sys.error = "Phase " + ph.name + ": an aqueous phase needs the solvent H2O.";
      return sys;
    }
  }
  for (size_t e = 0; e < pr.elements.size(); ++e) {
    if (pr.elements[e] != thermo::kElectron) continue;
    if (std::fabs(pr.element_mol[e]) > 1e-12) {
      sys.error = "The species amounts carry a net charge.";
      return sys;
    }
    pr.element_mol[e] = 0.0;
  }
  return sys;
}

}  // namespace zyl::equilibrium
