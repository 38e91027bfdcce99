#include "equilibrium/solver_files.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>
#include <sstream>

#include <fmt/format.h>

#include "platform/files.h"
#include "platform/text.h"
#include "thermo/constants.h"
#include "thermo/elements.h"
#include "thermo/formula.h"

namespace zyl::equilibrium {
namespace {

constexpr double kCelsiusOffset = thermo::kCelsiusOffset;
constexpr double kChargeTolerance = 1e-9;  ///< mol, electron balance of the raw materials
constexpr const char* kGemMagic = "ZYL GEM 1";
constexpr const char* kIgiMagic = "ZYL IGI 1";
constexpr const char* kChemSageConditions = " ZYL CONDITIONS";
constexpr const char* kChemSageElectron = "e(-)";
constexpr size_t kMaxChemSageIntervals = 100;
constexpr int kMaxReadLines = 2'000'000;
constexpr int kMaxCount = 100'000;  ///< sanity bound on counts read from files

bool IsMixture(PhaseType t) { return t != PhaseType::Pure; }
bool IsChemSage(SolverFormat f) { return f == SolverFormat::Da2 || f == SolverFormat::Dat; }

std::string Lower(std::string_view s) {
  std::string r(s);
  for (auto& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return r;
}

// Right-aligned integer in four characters.
std::string I4(long v) { return fmt::format("{:>4}", v); }

bool IsElectron(std::string_view name) { return name.substr(0, 2) == "e-"; }

// Water, the solvent of an aqueous phase, by its name.
bool IsWater(std::string_view name) {
  return name == "H2O" || (name.size() > 3 && name.substr(0, 4) == "H2O(" && name.find('-') == std::string_view::npos &&
                           name.find('+') == std::string_view::npos);
}

bool IsNobleGas(std::string_view sym) {
  return sym == "He" || sym == "Ne" || sym == "Ar" || sym == "Kr" || sym == "Xe" || sym == "Rn";
}

// Species rows grouped under their phase rows (species before the first phase row are orphans).
struct Grouped {
  struct Phase {
    const SheetRow* row = nullptr;
    std::vector<const SheetRow*> species;
  };
  std::vector<Phase> phases;
  std::vector<const SheetRow*> orphans;
};

Grouped Group(const Sheet& s) {
  Grouped g;
  for (const auto& r : s.rows) {
    if (r.kind == SheetRowKind::Phase) g.phases.push_back({&r, {}});
    else if (r.kind == SheetRowKind::Species) (g.phases.empty() ? g.orphans : g.phases.back().species).push_back(&r);
  }
  return g;
}

double TemperatureK(const Sheet& s, double t) { return s.celsius ? t + kCelsiusOffset : t; }
double PressureAtm(const Sheet& s) { return s.bar ? s.P * kAtmPerBar : s.P; }

// Elements of the species (symbol order of first occurrence, the electron left out) and each
// species' stoichiometry.
struct Stoichiometry {
  std::vector<std::string> elements;
  std::map<std::string, thermo::FormulaComposition> comp;
  bool charged = false;
};

Stoichiometry StoichiometryOf(const Grouped& g) {
  Stoichiometry st;
  auto add = [&](const SheetRow* r) {
    if (st.comp.count(r->name)) return;
    auto c = thermo::ParseFormula(r->name);
    for (const auto& e : c.entries) {
      if (e.symbol == thermo::kElectron) {
        st.charged = true;
        continue;
      }
      if (std::find(st.elements.begin(), st.elements.end(), e.symbol) == st.elements.end())
        st.elements.push_back(e.symbol);
    }
    st.comp.emplace(r->name, std::move(c));
  };
  for (const auto* r : g.orphans) add(r);
  for (const auto& p : g.phases)
    for (const auto* r : p.species) add(r);
  return st;
}

void Add(CheckReport& rep, int step, bool stops, std::string text) {
  rep.messages.push_back({step, stops, std::move(text)});
  if (stops) rep.refused = true;
}

}  // namespace

bool SolverFormatFromExtension(std::string_view ext, SolverFormat& out) {
  if (!ext.empty() && ext[0] == '.') ext.remove_prefix(1);
  const std::string e = Lower(ext);
  for (const auto& f : kSolverFormats)
    if (e == f.ext) {
      out = f.format;
      return true;
    }
  return false;
}

const char* SolverFormatExtension(SolverFormat f) {
  for (const auto& i : kSolverFormats)
    if (i.format == f) return i.ext;
  return "gem";
}

Sheet SheetFromDescription(const Description& d) {
  Sheet s;
  s.T = d.T;
  s.T_step = d.T_step;
  s.T_count = d.T_count;
  s.amount_count = d.amount_count;
  s.P = d.P;
  s.celsius = d.celsius;
  s.bar = d.bar;
  for (const auto& p : d.phases) {
    SheetRow pr;
    pr.kind = SheetRowKind::Phase;
    pr.name = p.name;
    pr.type = p.type;
    s.rows.push_back(pr);
    for (const auto& sp : p.species) {
      SheetRow r;
      r.kind = SheetRowKind::Species;
      r.name = sp.name;
      r.amount[0] = sp.amount;
      r.step = sp.step;
      s.rows.push_back(r);
    }
  }
  return s;
}

Description DescriptionFromSheet(const Sheet& s) {
  Description d;
  d.T = s.T;
  d.T_step = s.T_step;
  d.T_count = std::max(1, s.T_count);
  d.amount_count = std::max(1, s.amount_count);
  d.P = s.P;
  d.celsius = s.celsius;
  d.bar = s.bar;
  for (const auto& r : s.rows) {
    if (r.kind == SheetRowKind::Phase) d.phases.push_back({r.name, r.type, {}});
    else if (r.kind == SheetRowKind::Species && !d.phases.empty())
      d.phases.back().species.push_back({r.name, r.Total(), r.step});
  }
  return d;
}

CheckReport CheckSheet(const Sheet& s, SolverFormat format, const thermo::SpeciesDatabases& dbs) {
  CheckReport rep;
  // 1. Empty rows between filled rows (trailing empty rows are not "between").
  size_t last = 0;
  for (size_t i = 0; i < s.rows.size(); ++i)
    if (s.rows[i].kind != SheetRowKind::Empty) last = i + 1;
  for (size_t i = 0; i < last; ++i) {
    if (s.rows[i].kind != SheetRowKind::Empty || i == 0) continue;
    const auto& prev = s.rows[i - 1];
    if (prev.kind == SheetRowKind::Empty) continue;
    Add(rep, 1, false, "Please remove empty row: " + prev.name + " at row " + std::to_string(static_cast<int>(i) + s.first_row));
    rep.marked = true;
  }
  if (s.rows.size() && s.rows[0].kind == SheetRowKind::Empty && last > 0) {
    Add(rep, 1, false, "Please remove empty row:  at row " + std::to_string(s.first_row));
    rep.marked = true;
  }

  const Grouped g = Group(s);
  const Stoichiometry st = StoichiometryOf(g);
  std::vector<const SheetRow*> all(g.orphans);
  for (const auto& p : g.phases) all.insert(all.end(), p.species.begin(), p.species.end());

  // 2. Every species in the databases.
  std::set<std::string> reported;
  for (const auto* r : all) {
    if (!reported.insert(r->name).second) continue;
    if (!thermo::FindSpecies(r->name, dbs))
      Add(rep, 2, true, "ZYL can not find: " + r->name + " from the database. Please edit or delete this formula.");
  }

  // 3. The electron needs an inert gas to carry it.
  bool electron = false, inert = false;
  for (const auto* r : all) {
    if (IsElectron(r->name)) electron = true;
    const auto it = st.comp.find(r->name);
    if (it != st.comp.end() && it->second.Count() == 1 && IsNobleGas(it->second.entries[0].symbol)) inert = true;
  }
  if (electron && !inert) {
    Add(rep, 3, false, "Add inert gas species to the system. For example Ar(g).");
    rep.marked = true;
  }

  // 4. Solver limits.
  int mixtures = 0, pures = 0;
  bool too_many_species = false;
  for (const auto& p : g.phases) {
    if (IsMixture(p.row->type)) {
      ++mixtures;
      if (static_cast<int>(p.species.size()) > kMaxSpeciesPerPhase) too_many_species = true;
    } else {
      pures += static_cast<int>(std::max<size_t>(1, p.species.size()));
    }
  }
  if (too_many_species)
    Add(rep, 4, true, fmt::format("Solgasmix Note: Maximum number of species / phase = {}", kMaxSpeciesPerPhase));
  if (static_cast<int>(st.elements.size()) > kMaxElements)
    Add(rep, 4, true, fmt::format("Solgasmix Note: Maximum number of elements = {}", kMaxElements));
  if (mixtures > kMaxMixturePhases)
    Add(rep, 4, true, fmt::format("Solgasmix Note: Maximum number of mixture phases = {}", kMaxMixturePhases));
  if (pures > kMaxPureSubstances)
    Add(rep, 4, true, fmt::format("Solgasmix Note: Maximum number of pure substances = {}", kMaxPureSubstances));

  // 5. Phases.
  if (g.phases.empty()) Add(rep, 5, true, "You must insert at least one phase row !");
  else if (!g.orphans.empty()) Add(rep, 5, true, "Species must be devided into phases.");

  // 6. Electron balance of the raw materials.
  double charge = 0;
  for (const auto* r : all) {
    const auto it = st.comp.find(r->name);
    if (it != st.comp.end()) charge += r->Total() * it->second.Charge();
  }
  if (std::abs(charge) > kChargeTolerance) {
    Add(rep, 6, false, fmt::format("Electron Balance Error of Raw Materials = {:.6g} mol", charge));
    rep.marked = true;
  }

  // 7. A temperature or amount series needs its step.
  if (s.T_count > 1 && s.T_step == 0) Add(rep, 7, true, "Please give Step for Temperature");
  if (s.amount_count > 1 && std::none_of(all.begin(), all.end(), [](const SheetRow* r) { return r->step != 0; }))
    Add(rep, 7, true, "Please give Step for Amount");

  // 8. Aqueous phases are written with ideal activity coefficients for the SGM solver.
  bool aqueous = false;
  for (const auto& p : g.phases) aqueous = aqueous || p.row->type == PhaseType::Aqueous;
  if (aqueous && format == SolverFormat::Isg)
    Add(rep, 8, false, "Nonideal activity coefficients must be given in Factor sub program of the SolGasMix !");

  // 9. Elements absent from the raw materials.
  for (const auto& el : st.elements) {
    double fed = 0;
    for (const auto* r : all) {
      const auto it = st.comp.find(r->name);
      if (it != st.comp.end()) fed += r->Total() * it->second.Amount(el);
    }
    if (fed <= 0) {
      Add(rep, 9, false,
          "Please, give also some: " + el + " in raw materials ! Otherwise " + el +
              " containing species are not taken into account.");
      rep.marked = true;
    }
  }

  // 10. Mixing-entropy conversion of aqueous species.
  if (aqueous) {
    if (IsChemSage(format))
      Add(rep, 10, false,
          "Do not select Mixing Entropy conversion for Aqueous Species, because ChemSAGE makes it automatically !");
    else
      Add(rep, 10, false,
          "Select Mixing Entropy conversion for Aqueous Species, because GIBBS and SGM do not make it automatically !");
  }
  return rep;
}

// ---- G(T) coefficients ----------------------------------------------------------------------

std::vector<GibbsInterval> GibbsIntervals(const thermo::SpeciesData& sp) {
  std::vector<GibbsInterval> out;
  for (const auto& r : sp.ranges) {
    // Reference point inside the range: the range's own formulas hold there whatever the jumps
    // at its ends.
    const double t0 = r.t2 > r.t1 ? 0.5 * (r.t1 + r.t2) : std::max(r.t1, 298.15);
    const auto v = thermo::CalcSpeciesAtTPlain(sp, t0);
    const double a = r.a, b = r.b * 1e-3, c = r.c * 1e5, d = r.d * 1e-6;  // cal units
    // H(T) = H0 + a(T-T0) + b/2 (T²-T0²) - c (1/T - 1/T0) + d/3 (T³-T0³)
    // S(T) = S0 + a ln(T/T0) + b (T-T0) - c/2 (1/T² - 1/T0²) + d/2 (T²-T0²)
    const double h0c = v.h - a * t0 - b / 2 * t0 * t0 + c / t0 - d / 3 * t0 * t0 * t0;
    const double s0c = v.s - a * std::log(t0) - b * t0 + c / (2 * t0 * t0) - d / 2 * t0 * t0;
    GibbsInterval gi;
    gi.t_max = r.t2;
    gi.c = {h0c, a - s0c, -a, -b / 2, -d / 6, -c / 2};
    for (auto& x : gi.c) x *= thermo::kCalToJ;
    out.push_back(gi);
  }
  return out;
}

namespace {

constexpr double kHeldIntervalTop = 6000;  ///< K, upper end of the interval that holds Cp

// Above its ranges an aqueous species or liquid water keeps Cp (and H, S continue) in the species
// functions; ChemSage would extend the last interval's polynomial instead. One more interval of
// that constant Cp carries the held values, G = H2 + cp (T - T2) - T (S2 + cp ln(T/T2)).
void AppendHeldCpInterval(const thermo::SpeciesData& sp, std::vector<GibbsInterval>& iv) {
  if (iv.empty() || !thermo::HoldsCpAboveRanges(sp) || iv.back().t_max >= kHeldIntervalTop) return;
  const double t2 = iv.back().t_max, probe = t2 + 1;
  const auto v = thermo::CalcSpeciesAtTPlain(sp, probe);
  const double cp = v.cp, h2 = v.h - cp * (probe - t2), s2 = v.s - cp * std::log(probe / t2);  // cal
  GibbsInterval g;
  g.t_max = kHeldIntervalTop;
  g.c = {h2 - cp * t2, cp - s2 + cp * std::log(t2), -cp, 0, 0, 0};
  for (auto& x : g.c) x *= thermo::kCalToJ;
  iv.push_back(g);
}

}  // namespace

double GibbsAt(const GibbsInterval& g, double T) {
  const auto& c = g.c;
  return c[0] + c[1] * T + c[2] * T * std::log(T) + c[3] * T * T + c[4] * T * T * T + c[5] / T;
}

// ---- writers --------------------------------------------------------------------------------

namespace {

struct SpeciesOut {
  const SheetRow* row;
  thermo::SpeciesData data;
};

std::string Num(double v) { return fmt::format("{:.10g}", v); }
std::string E(double v) { return fmt::format("{:16.8E}", v); }

void WriteKeywordText(const Sheet& s, const Grouped& g, bool with_data, const thermo::SpeciesDatabases& dbs,
                      bool marked, std::string& out) {
  out += with_data ? kIgiMagic : kGemMagic;
  out += '\n';
  if (marked) out += std::string(kMayNotWork) + '\n';
  out += "TITLE " + (s.title.empty() ? std::string("Equilibrium Calculations") : s.title) + '\n';
  out += fmt::format("TEMPERATURE {} {} STEP {} COUNT {}\n", Num(s.T), s.celsius ? "C" : "K", Num(s.T_step),
                     std::max(1, s.T_count));
  out += fmt::format("PRESSURE {} {}\n", Num(s.P), s.bar ? "bar" : "atm");
  if (s.amount_count > 1) out += fmt::format("AMOUNTS COUNT {}\n", s.amount_count);
  for (const auto& p : g.phases) {
    out += fmt::format("PHASE {} {}\n", PhaseTypeText(p.row->type), p.row->name);
    for (const auto* r : p.species) {
      out += fmt::format("SPECIES {} {} {} {}\n", Num(r->amount[0]), Num(r->amount[1]), Num(r->amount[2]), r->name);
      if (r->step != 0) out += "STEP " + Num(r->step) + '\n';
      if (!with_data) continue;
      const auto sd = thermo::ReadSpeciesData(thermo::FindSpecies(r->name, dbs), r->name);
      for (const auto& rg : sd.ranges)
        out += fmt::format("RANGE {} {} {} {} {} {} {} {} {}\n", Num(rg.t1), Num(rg.t2), Num(rg.h), Num(rg.s),
                           Num(rg.a), Num(rg.b), Num(rg.c), Num(rg.d), rg.phase[0] ? rg.phase : "-");
    }
  }
  out += "END\n";
}

// G(T) intervals of one species as lines "Tmax A B C D E F".
void WriteIntervals(const std::vector<GibbsInterval>& iv, std::string& out) {
  for (const auto& g : iv)
    out += fmt::format("{:11.4f}{}{}{}\n{}{}{}\n", g.t_max, E(g.c[0]), E(g.c[1]), E(g.c[2]), E(g.c[3]), E(g.c[4]),
                       E(g.c[5]));
}

std::string Stoich(const std::vector<std::string>& elements, const thermo::FormulaComposition& c, bool electron,
                   const char* format) {
  std::string out;
  for (const auto& e : elements) out += fmt::format(fmt::runtime(format), c.Amount(e));
  if (electron) out += fmt::format(fmt::runtime(format), c.Amount(thermo::kElectron));
  return out;
}

void WriteIsg(const Sheet& s, const Grouped& g, const Stoichiometry& st, const std::vector<SpeciesOut>& data,
              bool marked, std::string& out) {
  size_t k = 0;
  std::vector<const Grouped::Phase*> mix, pure;
  for (const auto& p : g.phases) (IsMixture(p.row->type) ? mix : pure).push_back(&p);
  std::string title = s.title.empty() ? std::string("Equilibrium Calculations") : s.title;
  if (marked) title += "  " + std::string(kMayNotWork);
  out += title + '\n';
  const size_t ne = st.elements.size() + (st.charged ? 1 : 0);
  out += I4(static_cast<long>(ne)) + I4(static_cast<long>(mix.size())) + I4(static_cast<long>(pure.size())) +
         I4(std::max(1, s.T_count)) + '\n';
  out += fmt::format("{:14.4f}{:14.4f}{:14.6f}\n", TemperatureK(s, s.T), s.T_step, PressureAtm(s));
  out += "   6   1   2   3   4   5   6\n";
  out += "   2   1   2\n";
  for (const auto& e : st.elements) out += fmt::format("{:<4}", e);
  if (st.charged) out += "e-  ";
  out += '\n';
  auto species_block = [&](const SheetRow* r, bool solvent) {
    const auto& sd = data[k++].data;
    const auto iv = GibbsIntervals(sd);
    out += r->name + '\n';
    out += I4(static_cast<long>(iv.size())) + I4(solvent ? 1 : 0) + E(r->Total()) + '\n';
    out += Stoich(st.elements, st.comp.at(r->name), st.charged, "{:10.4f}") + '\n';
    WriteIntervals(iv, out);
  };
  auto phase_block = [&](const Grouped::Phase* p) {
    const char* kw = p->row->type == PhaseType::Pure ? "IDPZ" : p->row->type == PhaseType::Aqueous ? "IDMZ" : "IDMX";
    out += p->row->name + std::string(kPhaseSuffix) + '\n';
    out += std::string(kw) + I4(static_cast<long>(p->species.size())) + '\n';
    // The solvent of an aqueous phase is written first.
    std::vector<const SheetRow*> order(p->species);
    if (p->row->type == PhaseType::Aqueous)
      std::stable_partition(order.begin(), order.end(), [](const SheetRow* r) { return IsWater(r->name); });
    for (const auto* r : order) species_block(r, p->row->type == PhaseType::Aqueous && IsWater(r->name));
    if (p->row->type == PhaseType::Aqueous)
      for (const auto* r : order)
        if (!IsWater(r->name)) out += "   f(" + r->name + ") = 1\n";
  };
  for (const auto* p : mix) phase_block(p);
  for (const auto* p : pure) phase_block(p);
}

void WriteChemSage(const Sheet& s, const Grouped& g, const Stoichiometry& st, bool type4, bool marked,
                   const thermo::SpeciesDatabases& dbs, std::string& out) {
  const Grouped::Phase* gas = nullptr;
  std::vector<const Grouped::Phase*> solutions;
  std::vector<const SheetRow*> pures;
  for (const auto& p : g.phases) {
    if (p.row->type == PhaseType::Gas && !gas) gas = &p;
    else if (IsMixture(p.row->type)) solutions.push_back(&p);
    else pures.insert(pures.end(), p.species.begin(), p.species.end());
  }
  std::string title = s.title.empty() ? std::string("Equilibrium Calculations") : s.title;
  if (marked) title += "  " + std::string(kMayNotWork);
  out += " System " + title + '\n';
  std::vector<std::string> names(st.elements);
  if (st.charged) names.push_back(kChemSageElectron);
  const size_t ne = names.size();
  // Counts: elements, solution phases (the gas slot always counts), species of the gas phase
  // (0: none), of each other solution phase, then the pure substances.
  out += I4(static_cast<long>(ne)) + I4(static_cast<long>(solutions.size() + 1)) +
         I4(gas ? static_cast<long>(gas->species.size()) : 0L);
  for (const auto* p : solutions) out += I4(static_cast<long>(p->species.size()));
  out += I4(static_cast<long>(pures.size())) + '\n';
  for (const auto& n : names) out += fmt::format(" {:<25}", n);
  out += '\n';
  const auto& table = thermo::Elements();
  for (const auto& n : st.elements) {
    const int i = table.Find(n);
    out += fmt::format("{:16.8f}", i > 0 ? table.weight[i] : 0.0);
  }
  if (st.charged) out += fmt::format("{:16.8f}", 0.00054858);
  out += '\n';
  out += "   6   1   2   3   4   5   6\n   6   1   2   3   4   5   6\n";
  auto species = [&](const SheetRow* r, bool gas_species) {
    const auto sd = thermo::ReadSpeciesData(thermo::FindSpecies(r->name, dbs), r->name);
    auto iv = GibbsIntervals(sd);
    AppendHeldCpInterval(sd, iv);
    // ChemSage gas data refer to a standard pressure of 1 bar, ours to 1 atm:
    // G°(1 bar) = G°(1 atm) - R T ln(1.01325).
    if (gas_species)
      for (auto& gi : iv) gi.c[1] -= kGasConstantJ * std::log(1.0 / kAtmPerBar);
    out += " " + r->name + '\n';
    out += fmt::format("{:>4}{:>3}", type4 ? 4 : 1, iv.size()) + Stoich(st.elements, st.comp.at(r->name), false, "{:7.1f}");
    if (st.charged) out += fmt::format("{:7.1f}", st.comp.at(r->name).Amount(thermo::kElectron));
    out += '\n';
    for (const auto& gi : iv) {
      out += fmt::format("{:11.4f}{}{}{}{}\n{}{}\n", gi.t_max, E(gi.c[0]), E(gi.c[1]), E(gi.c[2]), E(gi.c[3]),
                         E(gi.c[4]), E(gi.c[5]));
      if (type4) out += " 0\n";
    }
  };
  auto mixture = [&](const Grouped::Phase* p) {
    out += " " + p->row->name + '\n' + " IDMX\n";
    for (const auto* r : p->species) species(r, p->row->type == PhaseType::Gas);
  };
  if (gas) mixture(gas);
  else out += " gas_ideal\n IDMX\n";
  for (const auto* p : solutions) mixture(p);
  for (const auto* r : pures) species(r, false);
  // The conditions (temperatures, pressure, phases, amounts and steps) follow the data in the gem
  // keywords; readers of the layout stop after the counted species.
  std::string conditions;
  WriteKeywordText(s, g, false, dbs, false, conditions);
  out += std::string(kChemSageConditions) + '\n' + conditions.substr(conditions.find("\nTEMPERATURE ") + 1);
}

}  // namespace

WriteResult WriteSolverText(const Sheet& s, SolverFormat format, const thermo::SpeciesDatabases& dbs) {
  WriteResult w;
  w.report = CheckSheet(s, format, dbs);
  if (w.report.refused) {
    for (const auto& m : w.report.messages)
      if (m.stops) {
        w.error = m.text;
        break;
      }
    return w;
  }
  const Grouped g = Group(s);
  const Stoichiometry st = StoichiometryOf(g);
  std::vector<SpeciesOut> data;
  if (format != SolverFormat::Gem) {
    // Data of every species in the order the writers use it; a species without ranges refuses.
    auto load = [&](const SheetRow* r) {
      auto sd = thermo::ReadSpeciesData(thermo::FindSpecies(r->name, dbs), r->name);
      if (sd.ranges.empty() && w.error.empty()) w.error = "Species " + r->name + " has no data.";
      data.push_back({r, std::move(sd)});
    };
    auto phase_order = [&](const Grouped::Phase& p) {
      std::vector<const SheetRow*> order(p.species);
      if (p.row->type == PhaseType::Aqueous)
        std::stable_partition(order.begin(), order.end(), [](const SheetRow* r) { return IsWater(r->name); });
      for (const auto* r : order) load(r);
    };
    for (const auto& p : g.phases)
      if (IsMixture(p.row->type)) phase_order(p);
    for (const auto& p : g.phases)
      if (!IsMixture(p.row->type)) phase_order(p);
    if (!w.ok()) return w;
  }
  switch (format) {
    case SolverFormat::Gem: WriteKeywordText(s, g, false, dbs, w.report.marked, w.text); break;
    case SolverFormat::Igi: WriteKeywordText(s, g, true, dbs, w.report.marked, w.text); break;
    case SolverFormat::Isg: WriteIsg(s, g, st, data, w.report.marked, w.text); break;
    case SolverFormat::Da2: WriteChemSage(s, g, st, false, w.report.marked, dbs, w.text); break;
    case SolverFormat::Dat: WriteChemSage(s, g, st, true, w.report.marked, dbs, w.text); break;
  }
  return w;
}

// ---- readers --------------------------------------------------------------------------------

namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::string cur;
  for (char c : text) {
    if (c == '\n') {
      if (!cur.empty() && cur.back() == '\r') cur.pop_back();
      lines.push_back(std::move(cur));
      cur.clear();
      if (static_cast<int>(lines.size()) > kMaxReadLines) break;
    } else {
      cur += c;
    }
  }
  if (!cur.empty()) lines.push_back(std::move(cur));
  return lines;
}

bool ParseNumber(const std::string& tok, double& v) {
  if (tok.empty()) return false;
  char* end = nullptr;
  v = std::strtod(tok.c_str(), &end);
  return end && *end == '\0' && std::isfinite(v);
}

DescriptionRead ReadKeywordText(const std::string& text, const char* magic) {
  DescriptionRead r;
  const auto lines = Lines(text);
  auto fail = [&](size_t i, const std::string& what) {
    r.error = fmt::format("line {}: {}", i + 1, what);
    return r;
  };
  if (lines.empty() || platform::Trim(lines[0]) != magic)
    return fail(0, std::string("the file does not begin with \"") + magic + "\".");
  bool ended = false;
  for (size_t i = 1; i < lines.size() && !ended; ++i) {
    std::istringstream in(lines[i]);
    std::string key;
    in >> key;
    if (key.empty() || lines[i] == kMayNotWork || key == "TITLE" || key == "RANGE") continue;
    if (key == "TEMPERATURE") {
      std::string t, unit, step_kw, ts, count_kw, cs;
      in >> t >> unit >> step_kw >> ts >> count_kw >> cs;
      double count = 0;
      if (!ParseNumber(t, r.desc.T) || (unit != "K" && unit != "C") || step_kw != "STEP" ||
          !ParseNumber(ts, r.desc.T_step) || count_kw != "COUNT" || !ParseNumber(cs, count) || count < 1 ||
          count > kMaxCount || count != std::floor(count))
        return fail(i, "expected TEMPERATURE <T> K|C STEP <step> COUNT <n>.");
      r.desc.celsius = unit == "C";
      r.desc.T_count = static_cast<int>(count);
    } else if (key == "PRESSURE") {
      std::string p, unit;
      in >> p >> unit;
      if (!ParseNumber(p, r.desc.P) || r.desc.P <= 0 || (unit != "atm" && unit != "bar"))
        return fail(i, "expected PRESSURE <P> atm|bar with P > 0.");
      r.desc.bar = unit == "bar";
    } else if (key == "PHASE") {
      std::string type, name;
      in >> type;
      std::getline(in, name);
      name = platform::Trim(name);
      DescPhase ph;
      if (!PhaseTypeFromText(type, ph.type) || name.empty())
        return fail(i, "expected PHASE gas|solution|aqueous|pure <name>.");
      ph.name = name;
      r.desc.phases.push_back(std::move(ph));
    } else if (key == "SPECIES") {
      std::string a[3], name;
      in >> a[0] >> a[1] >> a[2];
      std::getline(in, name);
      name = platform::Trim(name);
      double sum = 0;
      for (auto& t : a) {
        double v = 0;
        if (!ParseNumber(t, v) || v < 0) return fail(i, "expected SPECIES <C> <D> <E> <name> with amounts >= 0.");
        sum += v;
      }
      if (name.empty()) return fail(i, "the species has no name.");
      if (r.desc.phases.empty()) return fail(i, "a species before the first PHASE line.");
      r.desc.phases.back().species.push_back({name, sum});
    } else if (key == "AMOUNTS") {
      std::string count_kw, cs;
      in >> count_kw >> cs;
      double count = 0;
      if (count_kw != "COUNT" || !ParseNumber(cs, count) || count < 1 || count > kMaxPoints || count != std::floor(count))
        return fail(i, fmt::format("expected AMOUNTS COUNT <n> with n from 1 to {}.", kMaxPoints));
      r.desc.amount_count = static_cast<int>(count);
    } else if (key == "STEP") {
      std::string st, rest;
      in >> st >> rest;
      double step = 0;
      if (!ParseNumber(st, step) || !rest.empty()) return fail(i, "expected STEP <mol>.");
      if (r.desc.phases.empty() || r.desc.phases.back().species.empty())
        return fail(i, "a STEP line must follow its SPECIES line.");
      r.desc.phases.back().species.back().step = step;
    } else if (key == "END") {
      ended = true;
    } else {
      return fail(i, "unknown keyword \"" + key + "\".");
    }
  }
  if (!ended) return fail(lines.size() > 0 ? lines.size() - 1 : 0, "the file ends before END.");
  if (r.desc.phases.empty()) r.error = "the file holds no phase.";
  else if (static_cast<long>(r.desc.T_count) * r.desc.amount_count > kMaxPoints)
    r.error = fmt::format("more than {} points (temperatures times amount points).", kMaxPoints);
  else r.error = CheckAmountSweep(r.desc);
  return r;
}

// Reads whitespace-separated numbers from consecutive lines, starting at line i.
bool ReadNumbers(const std::vector<std::string>& lines, size_t& i, size_t n, std::vector<double>& out) {
  out.clear();
  while (out.size() < n) {
    if (i >= lines.size()) return false;
    std::istringstream in(lines[i++]);
    std::string tok;
    while (out.size() < n && in >> tok) {
      double v = 0;
      if (!ParseNumber(tok, v)) return false;
      out.push_back(v);
    }
  }
  return true;
}

bool IsCount(double v) { return v >= 0 && v <= kMaxCount && v == std::floor(v); }

DescriptionRead ReadIsg(const std::string& text) {
  DescriptionRead r;
  const auto lines = Lines(text);
  size_t i = 1;
  auto fail = [&](const std::string& what) {
    r.error = fmt::format("line {}: {}", std::min(i, lines.size()) + (i < lines.size() ? 1 : 0), what);
    return r;
  };
  std::vector<double> v;
  if (lines.empty()) {
    r.error = "the file is empty.";
    return r;
  }
  if (!ReadNumbers(lines, i, 4, v) || !IsCount(v[0]) || !IsCount(v[1]) || !IsCount(v[2]) || !IsCount(v[3]) || v[3] < 1)
    return fail("expected the counts of elements, mixture phases, pure phases and temperatures.");
  const size_t ne = static_cast<size_t>(v[0]), nphases = static_cast<size_t>(v[1] + v[2]);
  r.desc.T_count = static_cast<int>(v[3]);
  if (!ReadNumbers(lines, i, 3, v) || v[0] <= 0 || v[2] <= 0) return fail("expected T (K), T step and P (atm).");
  r.desc.T = v[0];
  r.desc.T_step = v[1];
  r.desc.P = v[2];
  if (i + 3 > lines.size() || platform::Trim(lines[i]) != "6   1   2   3   4   5   6" ||
      platform::Trim(lines[i + 1]) != "2   1   2")
    return fail("expected the lists \"   6   1   2   3   4   5   6\" and \"   2   1   2\".");
  i += 3;  // the two lists and the element symbols
  for (size_t p = 0; p < nphases; ++p) {
    if (i + 2 > lines.size()) return fail("the file ends inside the phases.");
    std::string name = platform::Trim(lines[i]);
    if (name.size() < kPhaseSuffix.size() || name.substr(name.size() - kPhaseSuffix.size()) != kPhaseSuffix)
      return fail("expected a phase name ending in \"-PHASE:\".");
    name.resize(name.size() - kPhaseSuffix.size());
    ++i;
    std::istringstream in(lines[i++]);
    std::string kw, ns;
    in >> kw >> ns;
    DescPhase ph;
    ph.name = name;
    double count = 0;
    if (kw == "IDMX") ph.type = PhaseType::Gas;
    else if (kw == "IDMZ") ph.type = PhaseType::Aqueous;
    else if (kw == "IDPZ") ph.type = PhaseType::Pure;
    else return fail("expected IDMX, IDMZ or IDPZ.");
    if (!ParseNumber(ns, count) || !IsCount(count)) return fail("expected the number of species of the phase.");
    if (ph.type == PhaseType::Gas && !r.desc.phases.empty()) ph.type = PhaseType::Solution;
    for (size_t s = 0; s < static_cast<size_t>(count); ++s) {
      if (i >= lines.size()) return fail("the file ends inside a phase.");
      DescSpecies sp;
      sp.name = platform::Trim(lines[i++]);
      if (sp.name.empty()) return fail("a species without a name.");
      if (!ReadNumbers(lines, i, 3, v) || !IsCount(v[0]) || v[2] < 0)
        return fail("expected the number of intervals, the solvent flag and the amount of " + sp.name + ".");
      sp.amount = v[2];
      const size_t nint = static_cast<size_t>(v[0]);
      if (!ReadNumbers(lines, i, ne, v)) return fail("expected the stoichiometry of " + sp.name + ".");
      for (size_t k = 0; k < nint; ++k)
        if (!ReadNumbers(lines, i, 7, v)) return fail("expected Tmax and six G(T) coefficients of " + sp.name + ".");
      ph.species.push_back(std::move(sp));
    }
    while (i < lines.size() && lines[i].rfind("   f(", 0) == 0) ++i;
    r.desc.phases.push_back(std::move(ph));
  }
  if (r.desc.phases.empty()) r.error = "the file holds no phase.";
  return r;
}

// Whitespace-separated tokens over lines, and whole lines for names (ChemSage data files).
class Cursor {
 public:
  explicit Cursor(const std::vector<std::string>& lines) : lines_(lines) {}
  size_t LineNumber() const { return std::min(line_, lines_.size() - (lines_.empty() ? 0 : 1)) + 1; }
  bool Token(std::string& tok) {
    while (line_ < lines_.size()) {
      const std::string& l = lines_[line_];
      while (pos_ < l.size() && std::isspace(static_cast<unsigned char>(l[pos_]))) ++pos_;
      if (pos_ >= l.size()) {
        ++line_;
        pos_ = 0;
        continue;
      }
      const size_t start = pos_;
      while (pos_ < l.size() && !std::isspace(static_cast<unsigned char>(l[pos_]))) ++pos_;
      tok = l.substr(start, pos_ - start);
      return true;
    }
    return false;
  }
  bool Number(double& v) {
    std::string tok;
    return Token(tok) && ParseNumber(tok, v);
  }
  bool Count(size_t& n, size_t max) {
    double v = 0;
    if (!Number(v) || v < 0 || v > static_cast<double>(max) || v != std::floor(v)) return false;
    n = static_cast<size_t>(v);
    return true;
  }
  /// The next non-blank line (trimmed), after the rest of the current one.
  bool Line(std::string& out) {
    if (pos_ > 0) {
      ++line_;
      pos_ = 0;
    }
    while (line_ < lines_.size()) {
      out = platform::Trim(lines_[line_++]);
      if (!out.empty()) return true;
    }
    return false;
  }
  /// The n-th non-blank line ahead (0: the next), trimmed; empty when none.
  std::string Peek(size_t n) const {
    for (size_t i = line_ + (pos_ > 0 ? 1 : 0); i < lines_.size(); ++i) {
      std::string t = platform::Trim(lines_[i]);
      if (t.empty()) continue;
      if (n-- == 0) return t;
    }
    return {};
  }
  /// The lines after the next non-blank one.
  std::string RestAfterNextLine() const {
    std::string rest;
    bool skipped = false;
    for (size_t i = line_ + (pos_ > 0 ? 1 : 0); i < lines_.size(); ++i) {
      if (!skipped) {
        skipped = !platform::Trim(lines_[i]).empty();
        continue;
      }
      rest += lines_[i] + '\n';
    }
    return rest;
  }

 private:
  const std::vector<std::string>& lines_;
  size_t line_ = 0, pos_ = 0;
};

}  // namespace

DescriptionRead ReadChemSage(const std::string& text) {
  DescriptionRead r;
  const auto lines = Lines(text);
  Cursor in(lines);
  auto fail = [&](const std::string& what) {
    r.desc = {};
    r.error = fmt::format("line {}: {}", in.LineNumber(), what);
    return r;
  };
  std::string title;
  if (!in.Line(title)) {
    r.error = "the file is empty.";
    return r;
  }
  size_t ne = 0, nsol = 0, npure = 0;
  std::vector<size_t> counts;
  if (!in.Count(ne, kMaxElements * 5) || ne == 0 || !in.Count(nsol, kMaxCount) || nsol == 0)
    return fail("expected the numbers of elements and solution phases.");
  size_t total = 0;
  for (size_t p = 0; p < nsol; ++p) {
    size_t n = 0;
    if (!in.Count(n, kMaxCount)) return fail("expected the number of species of each solution phase.");
    counts.push_back(n);
    total += n;
  }
  if (!in.Count(npure, kMaxCount) || total + npure > kMaxCount) return fail("expected the number of pure substances.");
  std::vector<std::string> elements(ne);
  for (auto& e : elements) {
    if (!in.Token(e)) return fail("expected the element names.");
    if (e == kChemSageElectron) e = std::string(thermo::kElectron);
  }
  for (size_t k = 0; k < ne; ++k) {
    double w = 0;
    if (!in.Number(w) || w < 0) return fail("expected the atomic weights.");
  }
  for (int list = 0; list < 2; ++list) {
    size_t n = 0;
    double v = 0;
    if (!in.Count(n, 20)) return fail("expected the list \"   6   1   2   3   4   5   6\".");
    for (size_t k = 0; k < n; ++k)
      if (!in.Number(v)) return fail("expected the list \"   6   1   2   3   4   5   6\".");
  }
  // Species read, by name; gas data move back from the 1 bar to the 1 atm standard state.
  std::map<std::string, EmbeddedData> data;
  auto species = [&](bool gas, std::string& name) -> bool {
    if (!in.Line(name)) return fail("expected a species name."), false;
    size_t type = 0, nint = 0;
    if (!in.Count(type, 100) || !in.Count(nint, kMaxChemSageIntervals) || nint == 0)
      return fail("expected the equation type and the number of intervals of " + name + "."), false;
    if (type != 1 && type != 4)
      return fail(fmt::format("{}: equation type {} is not supported (1 and 4 are).", name, type)), false;
    EmbeddedData d;
    for (const auto& e : elements) {
      double n = 0;
      if (!in.Number(n)) return fail("expected the stoichiometry of " + name + "."), false;
      d.formula.push_back({e, n});
    }
    for (size_t k = 0; k < nint; ++k) {
      GibbsInterval g;
      if (!in.Number(g.t_max) || g.t_max <= 0 || (k > 0 && g.t_max <= d.gibbs.back().t_max))
        return fail("expected a rising upper temperature of each interval of " + name + "."), false;
      for (auto& c : g.c)
        if (!in.Number(c)) return fail("expected six G(T) coefficients per interval of " + name + "."), false;
      if (gas) g.c[1] += kGasConstantJ * std::log(1.0 / kAtmPerBar);
      d.gibbs.push_back(g);
      size_t extra = 0;
      if (type == 4 && (!in.Count(extra, 100) || extra != 0))
        return fail(name + ": additional G(T) terms are not supported."), false;
    }
    data.emplace(name, std::move(d));
    return true;
  };
  Description plain;  // the description without the conditions block
  for (size_t p = 0; p < nsol; ++p) {
    // An empty gas slot may still carry its name and model.
    if (counts[p] == 0) {
      if (in.Peek(1) == "IDMX") {
        std::string skip;
        in.Line(skip);
        in.Line(skip);
      }
      continue;
    }
    DescPhase ph;
    std::string model;
    if (!in.Line(ph.name) || !in.Line(model)) return fail("the file ends inside the solution phases.");
    if (model != "IDMX")
      return fail("phase " + ph.name + ": model \"" + model + "\" is not supported (only the ideal model IDMX).");
    ph.type = p == 0 ? PhaseType::Gas : PhaseType::Solution;
    for (size_t s = 0; s < counts[p]; ++s) {
      std::string name;
      if (!species(p == 0, name)) return r;
      ph.species.push_back({name, 0.0});
    }
    plain.phases.push_back(std::move(ph));
  }
  for (size_t s = 0; s < npure; ++s) {
    std::string name;
    if (!species(false, name)) return r;
    plain.phases.push_back({name, PhaseType::Pure, {{name, 0.0}}});
  }
  if (in.Peek(0) == platform::Trim(kChemSageConditions)) {
    auto cond = ReadKeywordText(std::string(kGemMagic) + "\n" + in.RestAfterNextLine(), kGemMagic);
    if (!cond.ok()) {
      r.error = "the conditions after the data: " + cond.error;
      return r;
    }
    r.desc = std::move(cond.desc);
  } else {
    r.desc = std::move(plain);
  }
  for (auto& ph : r.desc.phases)
    for (auto& sp : ph.species) {
      auto it = data.find(sp.name);
      if (it == data.end()) {
        r.error = "the conditions name " + sp.name + ", which the data do not hold.";
        r.desc = {};
        return r;
      }
      sp.data = it->second;
    }
  if (r.desc.phases.empty()) r.error = "the file holds no phase.";
  return r;
}

DescriptionRead ReadDescriptionText(const std::string& text, std::string_view extension) {
  SolverFormat f{};
  if (!SolverFormatFromExtension(extension, f)) return ParseDescription(text);
  switch (f) {
    case SolverFormat::Gem: return ReadKeywordText(text, kGemMagic);
    case SolverFormat::Igi: return ReadKeywordText(text, kIgiMagic);
    case SolverFormat::Isg: return ReadIsg(text);
    case SolverFormat::Da2:
    case SolverFormat::Dat: return ReadChemSage(text);
  }
  return ParseDescription(text);
}

DescriptionRead ReadDescriptionFile(const std::filesystem::path& path) {
  return platform::ReadAndParse<DescriptionRead>(
      path, [&](const std::string& text) { return ReadDescriptionText(text, path.extension().string()); },
      "can not read the file");
}

}  // namespace zyl::equilibrium
