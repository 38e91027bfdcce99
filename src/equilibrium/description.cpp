#include "equilibrium/description.h"

#include <algorithm>
#include <cmath>
#include <set>

#include <fmt/format.h>

#include "equilibrium/gibbs_solver.h"
#include "thermo/formula.h"
#include "thermo/species_db.h"

namespace zyl::equilibrium {
namespace {

using Json = nlohmann::json;

constexpr int kMaxTemperatures = 10000;
constexpr double kCelsiusOffset = thermo::kCelsiusOffset;

// Number at key (or the fallback when absent); false with an error when present but not a number.
bool Number(const Json& j, const char* key, double& out, std::string& error) {
  auto it = j.find(key);
  if (it == j.end()) return true;
  if (!it->is_number()) {
    error = std::string("\"") + key + "\" must be a number.";
    return false;
  }
  out = it->get<double>();
  if (!std::isfinite(out)) {
    error = std::string("\"") + key + "\" must be finite.";
    return false;
  }
  return true;
}

}  // namespace

const char* PhaseTypeText(PhaseType t) {
  switch (t) {
    case PhaseType::Gas: return "gas";
    case PhaseType::Solution: return "solution";
    case PhaseType::Aqueous: return "aqueous";
    case PhaseType::Pure: return "pure";
  }
  return "gas";
}

bool PhaseTypeFromText(std::string_view text, PhaseType& t) {
  for (PhaseType c : {PhaseType::Gas, PhaseType::Solution, PhaseType::Aqueous, PhaseType::Pure})
    if (text == PhaseTypeText(c)) {
      t = c;
      return true;
    }
  return false;
}

DescriptionRead ParseDescription(const std::string& text) {
  DescriptionRead r;
  Json j = Json::parse(text, nullptr, false);
  if (j.is_discarded() || !j.is_object()) {
    r.error = "The description is not a JSON object.";
    return r;
  }
  Description& d = r.desc;
  double count = 1;
  if (!Number(j, "T", d.T, r.error) || !Number(j, "P", d.P, r.error) || !Number(j, "T_step", d.T_step, r.error) ||
      !Number(j, "T_count", count, r.error))
    return r;
  auto unit = [&](const char* key, const char* a, const char* b, bool& second) {
    auto it = j.find(key);
    if (it == j.end()) return true;
    if (it->is_string() && *it == a) second = false;
    else if (it->is_string() && *it == b) second = true;
    else {
      r.error = std::string("\"") + key + "\" must be \"" + a + "\" or \"" + b + "\".";
      return false;
    }
    return true;
  };
  if (!unit("temperature_unit", "K", "C", d.celsius) || !unit("pressure_unit", "atm", "bar", d.bar)) return r;
  if (count < 1 || count > kMaxTemperatures || count != std::floor(count)) {
    r.error = "\"T_count\" must be a whole number from 1 to " + std::to_string(kMaxTemperatures) + ".";
    return r;
  }
  d.T_count = static_cast<int>(count);
  double amount_count = 1;
  if (!Number(j, "amount_count", amount_count, r.error)) return r;
  if (amount_count < 1 || amount_count > kMaxPoints || amount_count != std::floor(amount_count)) {
    r.error = "\"amount_count\" must be a whole number from 1 to " + std::to_string(kMaxPoints) + ".";
    return r;
  }
  d.amount_count = static_cast<int>(amount_count);
  if (static_cast<long>(d.T_count) * d.amount_count > kMaxPoints) {
    r.error = "\"T_count\" times \"amount_count\" must not exceed " + std::to_string(kMaxPoints) + " points.";
    return r;
  }
  auto phases = j.find("phases");
  if (phases == j.end() || !phases->is_array() || phases->empty()) {
    r.error = "The description needs a non-empty \"phases\" list.";
    return r;
  }
  for (const auto& p : *phases) {
    DescPhase ph;
    if (!p.is_object() || !p.contains("name") || !p["name"].is_string()) {
      r.error = "Every phase needs a \"name\".";
      return r;
    }
    ph.name = p["name"].get<std::string>();
    std::string type = "gas";
    if (p.contains("type")) {
      if (!p["type"].is_string()) type = "?";
      else type = p["type"].get<std::string>();
    }
    if (!PhaseTypeFromText(type, ph.type)) {
      r.error = "Phase " + ph.name + ": \"type\" must be gas, solution, aqueous or pure.";
      return r;
    }
    auto sp = p.find("species");
    if (sp == p.end() || !sp->is_array() || sp->empty()) {
      r.error = "Phase " + ph.name + " needs a non-empty \"species\" list.";
      return r;
    }
    for (const auto& s : *sp) {
      DescSpecies ds;
      if (!s.is_object() || !s.contains("name") || !s["name"].is_string() || s["name"].get<std::string>().empty()) {
        r.error = "Phase " + ph.name + ": every species needs a \"name\".";
        return r;
      }
      ds.name = s["name"].get<std::string>();
      if (!Number(s, "amount", ds.amount, r.error) || !Number(s, "step", ds.step, r.error)) return r;
      if (ds.amount < 0) {
        r.error = "Species " + ds.name + ": the amount must not be negative.";
        return r;
      }
      ph.species.push_back(std::move(ds));
    }
    d.phases.push_back(std::move(ph));
  }
  r.error = CheckAmountSweep(d);
  return r;
}

std::string CheckAmountSweep(const Description& d) {
  bool stepped = false;
  for (const auto& p : d.phases)
    for (const auto& s : p.species) {
      stepped = stepped || s.step != 0;
      if (AmountAt(s, d.amount_count - 1) < 0)
        return "Species " + s.name + ": the amount at the last amount point, " +
               fmt::format("{:.6g}", AmountAt(s, d.amount_count - 1)) + " mol, is negative.";
    }
  if (d.amount_count > 1 && !stepped) return "Please give Step for Amount";
  return {};
}

nlohmann::ordered_json DescriptionJson(const Description& d) {
  nlohmann::ordered_json j;
  j["T"] = d.T;
  j["P"] = d.P;
  j["temperature_unit"] = d.celsius ? "C" : "K";
  j["pressure_unit"] = d.bar ? "bar" : "atm";
  j["T_step"] = d.T_step;
  j["T_count"] = d.T_count;
  if (SweepsAmounts(d)) j["amount_count"] = d.amount_count;
  auto phases = nlohmann::ordered_json::array();
  for (const auto& p : d.phases) {
    auto sp = nlohmann::ordered_json::array();
    for (const auto& s : p.species) {
      sp.push_back({{"name", s.name}, {"amount", s.amount}});
      if (s.step != 0) sp.back()["step"] = s.step;
    }
    phases.push_back({{"name", p.name}, {"type", PhaseTypeText(p.type)}, {"species", sp}});
  }
  j["phases"] = phases;
  return j;
}

int AddMixturePhase(GibbsProblem& pr, const DescPhase& ph) {
  const int index = static_cast<int>(pr.phases.size());
  if (ph.type != PhaseType::Pure) {
    const MixtureKind kind = ph.type == PhaseType::Gas        ? MixtureKind::Gas
                             : ph.type == PhaseType::Aqueous ? MixtureKind::Aqueous
                                                              : MixtureKind::Solution;
    pr.phases.push_back({ph.name, kind, -1});
  }
  return index;
}

PreparedSystem Prepare(const Description& d, const thermo::SpeciesDatabases& dbs) {
  PreparedSystem sys;
  const double p_atm = d.bar ? d.P * kAtmPerBar : d.P;
  if (!(p_atm > 0)) {
    sys.error = "The pressure must be positive.";
    return sys;
  }
  GibbsProblem& pr = sys.problem;
  pr.pressure = p_atm;  // G° values refer to 1 atm
  for (size_t pi = 0; pi < d.phases.size(); ++pi) {
    const auto& ph = d.phases[pi];
    const int mixture = AddMixturePhase(pr, ph);
    for (size_t si = 0; si < ph.species.size(); ++si) {
      const auto& name = ph.species[si].name;
      auto loc = thermo::FindSpecies(name, dbs);
      if (!loc) {
        sys.error = "Species not found in the databases: " + name;
        return sys;
      }
      auto sd = thermo::ReadSpeciesData(loc, name);
      if (sd.ranges.empty()) {
        sys.error = "Species " + name + " has no data.";
        return sys;
      }
      auto comp = thermo::ParseFormula(name);
      if (!comp.ok() || comp.entries.empty()) {
        sys.error = "Species " + name + ": the formula can not be read.";
        return sys;
      }
      GibbsSpecies gs;
      gs.name = name;
      gs.condensed = ph.type == PhaseType::Pure;
      gs.phase = gs.condensed ? 0 : mixture;
      if (ph.type == PhaseType::Aqueous && comp.Count() == 2 && comp.Amount("H") == 2.0 && comp.Amount("O") == 1.0 &&
          pr.phases.back().solvent < 0)
        pr.phases.back().solvent = static_cast<int>(pr.species.size());
      for (const auto& e : comp.entries) {
        auto it = std::find(pr.elements.begin(), pr.elements.end(), e.symbol);
        if (it == pr.elements.end()) {
          pr.elements.push_back(e.symbol);
          pr.element_mol.push_back(0.0);
          for (auto& other : pr.species) other.elements.push_back(0.0);
        }
      }
      gs.elements.assign(pr.elements.size(), 0.0);
      for (const auto& e : comp.entries) {
        const size_t k = std::find(pr.elements.begin(), pr.elements.end(), e.symbol) - pr.elements.begin();
        gs.elements[k] += e.amount;
      }
      for (size_t k = 0; k < pr.elements.size(); ++k) pr.element_mol[k] += ph.species[si].amount * gs.elements[k];
      pr.species.push_back(std::move(gs));
      sys.data.push_back(std::move(sd));
      sys.species_slots.push_back({pi, si});
    }
    if (ph.type == PhaseType::Aqueous && pr.phases.back().solvent < 0) {
      sys.error = "Phase " + ph.name + ": an aqueous phase needs the solvent H2O.";
      return sys;
    }
  }
  // Charge must balance to zero; an electron "element" with a nonzero total can not be met.
  for (size_t k = 0; k < pr.elements.size(); ++k) {
    if (pr.elements[k] == thermo::kElectron) {
      if (std::fabs(pr.element_mol[k]) > 1e-12) {
        sys.error = "The species amounts carry a net charge.";
        return sys;
      }
      pr.element_mol[k] = 0.0;
    }
  }
  return sys;
}

namespace {

constexpr double kEasyT = 3000.0;  // K, where the minimiser always starts well
constexpr int kContinuationSteps = 24;
constexpr double kFreshSolventShare = 50.0;  // solvent amount per solute in a fresh aqueous estimate
constexpr double kFreshCondensedMol = 1e-3;  // amount of each condensed phase in the last fresh estimate

void SetGibbsEnergies(PreparedSystem& sys, double T) {
  const double rt = kGasConstantJ * T;  // J/mol
  for (size_t j = 0; j < sys.problem.species.size(); ++j)
    sys.problem.species[j].g_rt = thermo::CalcSpeciesAtT(sys.data[j], T).g * thermo::kCalToJ / rt;
}

}  // namespace

GibbsResult SolveAt(PreparedSystem& sys, double T) {
  sys.problem.start.clear();
  SetGibbsEnergies(sys, T);
  auto first = SolveGibbs(sys.problem);
  if (first.ok) return first;
  // Fresh estimates: every mixture phase present from the start with an even composition; then
  // with aqueous phases mostly solvent; then with every condensed phase present as well.
  for (int pass = 0; pass < 3; ++pass) {
    auto& start = sys.problem.start;
    start.assign(sys.problem.species.size(), 0.0);
    for (size_t j = 0; j < start.size(); ++j)
      start[j] = !sys.problem.species[j].condensed ? 1.0 : pass == 2 ? kFreshCondensedMol : 0.0;
    if (pass > 0)
      for (const auto& ph : sys.problem.phases)
        if (ph.kind == MixtureKind::Aqueous && ph.solvent >= 0) start[ph.solvent] = kFreshSolventShare;
    auto fresh = SolveGibbs(sys.problem);
    start.clear();
    if (fresh.ok) return fresh;
  }
  if (T >= kEasyT) return first;
  // Continuation in temperature: solve where it is easy and walk down to T, each solution the
  // start of the next.
  GibbsResult r;
  for (int k = 0; k <= kContinuationSteps; ++k) {
    const double t = kEasyT * std::pow(T / kEasyT, static_cast<double>(k) / kContinuationSteps);
    SetGibbsEnergies(sys, k == kContinuationSteps ? T : t);
    r = SolveGibbs(sys.problem);
    if (!r.ok) break;
    sys.problem.start = r.mol;
  }
  sys.problem.start.clear();
  return r.ok ? r : first;
}

namespace {

// Element totals of amount point k (the prepared totals hold point 0); false when the amounts
// carry a net charge.
bool SetElementAmounts(PreparedSystem& sys, const Description& d, int k) {
  GibbsProblem& pr = sys.problem;
  std::fill(pr.element_mol.begin(), pr.element_mol.end(), 0.0);
  for (size_t j = 0; j < pr.species.size(); ++j) {
    const double n = AmountAt(d.phases[sys.species_slots[j].first].species[sys.species_slots[j].second], k);
    for (size_t e = 0; e < pr.elements.size(); ++e) pr.element_mol[e] += n * pr.species[j].elements[e];
  }
  for (size_t e = 0; e < pr.elements.size(); ++e) {
    if (pr.elements[e] != thermo::kElectron) continue;
    if (std::fabs(pr.element_mol[e]) > 1e-12) return false;
    pr.element_mol[e] = 0.0;
  }
  return true;
}

PointResult PointOf(const PreparedSystem& sys, const Description& d, const GibbsResult& g, double tk) {
  const GibbsProblem& pr = sys.problem;
  const auto& slots = sys.species_slots;
  PointResult pt;
  pt.T = tk;
  pt.P = pr.pressure;
  pt.element_residual = g.max_residual;
  pt.iterations = g.iterations;
  pt.G = g.g_rt * kGasConstantJ * tk / 1000.0;  // G = Σ b_k·λ_k at equilibrium
  for (const auto& ph : d.phases) {
    PhaseResult r;
    r.name = ph.name;
    r.type = ph.type;
    pt.phases.push_back(std::move(r));
  }
  for (size_t j = 0; j < slots.size(); ++j) {
    auto& r = pt.phases[slots[j].first];
    r.species.push_back({pr.species[j].name, g.mol[j], 0.0, std::nullopt});
    r.amount += g.mol[j];
  }
  for (auto& r : pt.phases) {
    r.stable = r.amount > 0;
    for (auto& s : r.species) s.mole_fraction = r.amount > 0 ? s.amount / r.amount : 0.0;
  }
  for (const auto& ph : pr.phases) {
    if (ph.kind != MixtureKind::Aqueous) continue;
    const double water_kg = g.mol[ph.solvent] * kWaterMolarMassKg;
    auto& r = pt.phases[slots[ph.solvent].first];
    for (size_t s = 0; s < r.species.size(); ++s)
      if (s != slots[ph.solvent].second && water_kg > 0) r.species[s].molality = r.species[s].amount / water_kg;
  }
  return pt;
}

}  // namespace

CalcResult Calculate(const Description& d, const thermo::SpeciesDatabases& dbs) {
  CalcResult res;
  if (res.error = CheckAmountSweep(d); !res.ok()) return res;
  auto sys = HasEmbeddedData(d) ? PrepareEmbedded(d) : Prepare(d, dbs);
  if (!sys.ok()) {
    res.error = sys.error;
    return res;
  }
  const bool sweep = SweepsAmounts(d);
  for (int t = 0; t < d.T_count; ++t) {
    const double tin = d.T + t * d.T_step;
    const double tk = d.celsius ? tin + kCelsiusOffset : tin;
    if (!(tk > 0)) {
      res.error = "The temperature must be above 0 K.";
      return res;
    }
    for (int k = 0; k < d.amount_count; ++k) {
      if (sweep && !SetElementAmounts(sys, d, k)) {
        res.error = "At amount point " + std::to_string(k + 1) + ": the species amounts carry a net charge.";
        return res;
      }
      auto g = SolveAt(sys, tk);
      if (!g.ok) {
        res.error = "At " + std::to_string(tk) + " K" + (sweep ? ", amount point " + std::to_string(k + 1) : "") +
                    ": " + g.message;
        return res;
      }
      PointResult pt = PointOf(sys, d, g, tk);
      if (sweep) {
        pt.amount_index = k;
        for (const auto& ph : d.phases)
          for (const auto& s : ph.species)
            if (s.step != 0) pt.amounts.push_back({ph.name, s.name, AmountAt(s, k)});
      }
      res.points.push_back(std::move(pt));
    }
  }
  return res;
}

nlohmann::ordered_json ResultJson(const CalcResult& r) {
  using OJ = nlohmann::ordered_json;
  OJ results = OJ::array();
  for (const auto& p : r.points) {
    OJ phases = OJ::array();
    for (const auto& ph : p.phases) {
      OJ sp = OJ::array();
      for (const auto& s : ph.species) {
        sp.push_back({{"name", s.name}, {"amount", s.amount}, {"mole_fraction", s.mole_fraction}});
        if (ph.type == PhaseType::Aqueous && s.molality) sp.back()["molality"] = *s.molality;
      }
      phases.push_back({{"name", ph.name},
                        {"type", PhaseTypeText(ph.type)},
                        {"amount", ph.amount},
                        {"stable", ph.stable},
                        {"species", sp}});
    }
    results.push_back({{"T", p.T},
                       {"P", p.P},
                       {"G", p.G},
                       {"element_residual", p.element_residual},
                       {"iterations", p.iterations}});
    if (!p.amounts.empty()) {
      OJ swept = OJ::array();
      for (const auto& a : p.amounts) swept.push_back({{"phase", a.phase}, {"name", a.name}, {"amount", a.amount}});
      results.back()["amount_index"] = p.amount_index;
      results.back()["amounts"] = swept;
    }
    results.back()["phases"] = phases;
  }
  return {{"results", results}};
}

Description NewDescription(const std::vector<std::string>& elements, bool gas, bool condensed, bool aqueous,
                           const thermo::SpeciesDatabases& dbs) {
  Description d;
  DescPhase gp{"GAS", PhaseType::Gas, {}}, ap{"AQUEOUS", PhaseType::Aqueous, {}};
  std::vector<DescPhase> pure;
  std::set<std::string> seen;
  for (const thermo::SpeciesDb* db : {dbs.own.get(), dbs.main.get()}) {
    if (!db) continue;
    const int n = thermo::SpeciesRecordCount(*db);
    for (int rec = 1; rec <= n; ++rec) {
      auto r = thermo::ReadSpeciesRecord(*db, rec);
      if (!r || r->formula.empty() || !seen.insert(r->formula).second) continue;
      auto comp = thermo::ParseFormula(r->formula);
      if (!comp.ok() || comp.entries.empty()) continue;
      bool inside = true, charged = false;
      for (const auto& e : comp.entries) {
        if (e.symbol == thermo::kElectron) charged = true;
        else if (std::find(elements.begin(), elements.end(), e.symbol) == elements.end()) inside = false;
      }
      if (!inside) continue;
      const bool is_gas = r->phase == "g";
      const bool is_aq = !r->phase.empty() && (r->phase[0] == 'a' || r->phase[0] == 'i');
      if (is_gas && gas && !charged) gp.species.push_back({r->formula, 0.0});
      else if (is_aq && aqueous) ap.species.push_back({r->formula, 0.0});
      else if (!is_gas && !is_aq && condensed && !charged)
        pure.push_back({r->formula, PhaseType::Pure, {{r->formula, 0.0}}});
    }
  }
  if (!gp.species.empty()) d.phases.push_back(std::move(gp));
  if (!ap.species.empty()) {
    // The solvent leads the aqueous phase and is not also a pure phase.
    const bool has_water = std::find(elements.begin(), elements.end(), "H") != elements.end() &&
                           std::find(elements.begin(), elements.end(), "O") != elements.end();
    if (has_water) {
      ap.species.insert(ap.species.begin(), {"H2O", 0.0});
      std::erase_if(pure, [](const DescPhase& p) {
        auto c = thermo::ParseFormula(p.species[0].name);
        return c.Count() == 2 && c.Amount("H") == 2.0 && c.Amount("O") == 1.0;
      });
      d.phases.push_back(std::move(ap));
    }
  }
  for (auto& p : pure) d.phases.push_back(std::move(p));
  return d;
}

}  // namespace zyl::equilibrium
