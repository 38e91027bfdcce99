#include "diagrams/hscg.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <map>
#include <span>

#include "reactions/reaction.h"
#include "thermo/formula.h"

namespace zyl::diagrams {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLn10 = 2.302585092994046;
constexpr double kCalPerKcal = 1000.0;
constexpr double kGramsPerKg = 1000.0;

std::string Squeeze(std::string_view s) {
  std::string out;
  for (char c : s) {
    if (std::isspace(static_cast<unsigned char>(c))) {
      if (!out.empty() && out.back() != ' ') out += ' ';
    } else {
      out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  while (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

struct Elemental {
  const char* symbol;
  const char* species;
  double atoms;
};
// Elements whose stable form at ordinary temperatures is a diatomic gas (or, for Br and I, is
// followed by the diatomic gas at their boiling points; the element species holds no such ranges,
// so the gas is the reference used above room temperature for them as well).
constexpr Elemental kDiatomic[] = {{"H", "H2(g)", 2}, {"N", "N2(g)", 2}, {"O", "O2(g)", 2},
                                   {"F", "F2(g)", 2}, {"Cl", "Cl2(g)", 2}};
constexpr Elemental kEllinghamGases[] = {{"O", "O2(g)", 2},  {"S", "S2(g)", 2},  {"Se", "Se2(g)", 2},
                                         {"Te", "Te2(g)", 2}, {"Cl", "Cl2(g)", 2}, {"F", "F2(g)", 2},
                                         {"Br", "Br2(g)", 2}, {"I", "I2(g)", 2},  {"N", "N2(g)", 2},
                                         {"C", "C", 1},       {"H", "H2(g)", 2}};

/// Display conversion of a quantity from cal (per mol) to the chosen units.
double DisplayFactor(HscgQuantity q, bool per_kg, bool joule, double mw, bool per_kelvin_value) {
  double f = joule ? thermo::kCalToJ : 1.0;
  if (!per_kelvin_value) f /= kCalPerKcal;
  if (per_kg && q != HscgQuantity::DeltaG) f = mw > 0 ? f * kGramsPerKg / mw : kNaN;
  return f;
}

class Lookup {
 public:
  explicit Lookup(const thermo::SpeciesDatabases& dbs) : dbs_(dbs) {}
  /// Species data or null when no database holds the name.
  const thermo::SpeciesData* Get(const std::string& name) {
    auto it = cache_.find(name);
    if (it == cache_.end()) {
      auto loc = thermo::FindSpecies(name, dbs_);
      thermo::SpeciesData d;
      if (loc) d = thermo::ReadSpeciesData(loc, name);
      it = cache_.emplace(name, std::move(d)).first;
    }
    return it->second.ranges.empty() ? nullptr : &it->second;
  }

 private:
  const thermo::SpeciesDatabases& dbs_;
  std::map<std::string, thermo::SpeciesData> cache_;
};

struct Term {
  const thermo::SpeciesData* data;
  double coefficient;  ///< per mole of the species (references subtracted)
  std::string name;
};

std::string NotFound(const std::string& name) { return name + std::string(reactions::kMsgNotFound); }

}  // namespace

std::optional<HscgQuantity> ParseHscgQuantity(std::string_view text) {
  const std::string want = Squeeze(text);
  for (size_t i = 0; i < kHscgEntries.size(); ++i)
    if (want == Squeeze(kHscgEntries[i]) || want == Squeeze(kHscgKeys[i])) return static_cast<HscgQuantity>(i);
  return std::nullopt;
}

bool PerKelvin(HscgQuantity q) { return q == HscgQuantity::S || q == HscgQuantity::Cp || q == HscgQuantity::DeltaS; }

std::string ElementReference(std::string_view symbol, double* atoms) {
  for (const auto& e : kDiatomic)
    if (symbol == e.symbol) {
      if (atoms) *atoms = e.atoms;
      return e.species;
    }
  if (atoms) *atoms = 1;
  return std::string(symbol);
}

std::string EllinghamGas(std::string_view symbol, double* atoms) {
  for (const auto& e : kEllinghamGases)
    if (symbol == e.symbol) {
      if (atoms) *atoms = e.atoms;
      return e.species;
    }
  return ElementReference(symbol, atoms);
}

std::string EllinghamElement(std::string_view formula) {
  const auto comp = thermo::ParseFormula(formula);
  for (const auto& e : kEllinghamGases)
    if (comp.Amount(e.symbol) > 0) return e.symbol;
  return {};
}

std::string HscgUnit(HscgQuantity q, bool per_kg, bool joule, std::string_view gas) {
  const std::string e = joule ? "J" : "cal";
  if (q == HscgQuantity::DeltaG) return "k" + e + "/mol " + std::string(gas);
  const std::string basis = per_kg ? "kg" : "mol";
  if (PerKelvin(q)) return e + "/(" + basis + "*K)";
  if (q == HscgQuantity::All) return "";
  return "k" + e + "/" + basis;
}

std::string HscgXTitle(reactions::TempUnit unit) {
  return std::string("Temperature") + " / " + std::string(reactions::UnitText(unit));
}

std::string HscgYTitle(HscgQuantity q, bool per_kg, bool joule, std::string_view gas) {
  static constexpr std::array<std::string_view, 9> kSymbols = {"H", "H - H(298.15 K)", "S", "Cp", "G",
                                                               "Delta H", "Delta S", "Delta G", "log K"};
  std::string t(kSymbols[static_cast<int>(q)]);
  const std::string unit = HscgUnit(q, per_kg, joule, gas);
  if (!unit.empty()) t += " / " + unit;
  return t;
}

double LogPO2(double dg_cal, double T) { return dg_cal / (reactions::kGasConstant * T * kLn10); }

HscgTable CalcHscgTable(HscgQuantity q, const std::vector<std::string>& species, const HscgOptions& o,
                        const thermo::SpeciesDatabases& dbs) {
  HscgTable t;
  t.quantity = q;
  t.options = o;
  std::vector<std::string> names;
  for (const auto& s : species) {
    std::string n = s;
    n.erase(0, n.find_first_not_of(" \t"));
    n.erase(n.find_last_not_of(" \t\r") + 1);
    if (!n.empty()) names.push_back(n);
  }
  if (names.empty()) {
    t.error = kMsgNoSpecies;
    return t;
  }

  // Every species and its formation terms (species +1, element references -n).
  Lookup lookup(dbs);
  const bool formation = q == HscgQuantity::DeltaH || q == HscgQuantity::DeltaS || q == HscgQuantity::DeltaG ||
                         q == HscgQuantity::All;
  std::vector<std::vector<Term>> terms(names.size());
  std::vector<double> transitions;
  for (size_t k = 0; k < names.size(); ++k) {
    HscgSeries ser;
    ser.species = names[k];
    const thermo::SpeciesData* sp = lookup.Get(names[k]);
    if (!sp) {
      t.error = NotFound(names[k]);
      return t;
    }
    ser.molar_mass = sp->ranges.front().mw > 0 ? sp->ranges.front().mw : thermo::MolarMass(names[k]);
    terms[k].push_back({sp, 1.0, names[k]});
    if (formation) {
      const auto comp = thermo::ParseFormula(names[k]);
      if (!comp.ok()) {
        t.error = comp.error;
        return t;
      }
      std::string gas_el;
      if (q == HscgQuantity::DeltaG) {
        gas_el = o.gas_element.empty() ? EllinghamElement(names[k]) : o.gas_element;
        if (gas_el.empty() || comp.Amount(gas_el) <= 0) {
          t.error = names[k] + std::string(kMsgNoGasElement);
          return t;
        }
      }
      for (const auto& e : comp.entries) {
        if (e.symbol == thermo::kElectron) continue;  // electrons count zero
        double atoms = 1;
        const std::string ref = e.symbol == gas_el ? EllinghamGas(e.symbol, &atoms) : ElementReference(e.symbol, &atoms);
        const thermo::SpeciesData* rd = lookup.Get(ref);
        if (!rd) {
          t.error = NotFound(ref);
          return t;
        }
        terms[k].push_back({rd, -e.amount / atoms, ref});
        if (e.symbol == gas_el) {
          ser.gas = ref;
          ser.gas_factor = e.amount / atoms;
        }
      }
      // Terms of the same reference (a formula listing an element twice) add up naturally.
    }
    for (const auto& term : terms[k]) {
      auto tr = reactions::TransitionTemperatures(*term.data);
      transitions.insert(transitions.end(), tr.begin(), tr.end());
    }
    t.series.push_back(std::move(ser));
  }

  std::sort(transitions.begin(), transitions.end());
  transitions.erase(std::unique(transitions.begin(), transitions.end()), transitions.end());
  auto list = reactions::MakeTemperatureList(o.t1, o.t2, o.step, o.temp_unit,
                                             o.transitions ? std::span<const double>(transitions)
                                                           : std::span<const double>());
  if (!list.ok()) {
    t.error = list.error;
    return t;
  }
  for (const auto& row : list.rows) {
    t.T_K.push_back(row.T);
    t.T.push_back(reactions::FromKelvin(row.T, o.temp_unit));
    t.transition.push_back(row.transition);
  }

  const size_t n = t.T_K.size();
  for (size_t k = 0; k < t.series.size(); ++k) {
    HscgSeries& ser = t.series[k];
    const double mw = ser.molar_mass;
    const double fE = DisplayFactor(q, o.per_kg, o.joule, mw, false);
    const double fS = DisplayFactor(q, o.per_kg, o.joule, mw, true);
    ser.values.assign(n, kNaN);
    if (q == HscgQuantity::All) {
      ser.cp.assign(n, kNaN);
      ser.h.assign(n, kNaN);
      ser.s.assign(n, kNaN);
      ser.g.assign(n, kNaN);
      ser.log_k.assign(n, kNaN);
    }
    const thermo::SpeciesData& sp = *terms[k].front().data;
    const double h298 = thermo::CalcSpeciesAtT(sp, thermo::kT0).h;
    for (size_t i = 0; i < n; ++i) {
      const double T = t.T_K[i];
      const thermo::SpeciesValues v = thermo::CalcSpeciesAtT(sp, T);
      if (v.extrapolated != thermo::Extrapolation::None) {
        std::string note = ser.species + ": " + thermo::ExtrapolationNote(sp, v);
        if (std::find(t.notes.begin(), t.notes.end(), note) == t.notes.end()) t.notes.push_back(std::move(note));
      }
      double dh = 0, ds = 0, dg = 0;
      if (formation)
        for (const auto& term : terms[k]) {
          const thermo::SpeciesValues tv = thermo::CalcSpeciesAtT(*term.data, T);
          dh += term.coefficient * tv.h;
          ds += term.coefficient * tv.s;
          dg += term.coefficient * tv.g;
        }
      double value = kNaN;
      switch (q) {
        case HscgQuantity::HTotal: value = v.h * fE; break;
        case HscgQuantity::HLatent: value = (v.h - h298) * fE; break;
        case HscgQuantity::S: value = v.s * fS; break;
        case HscgQuantity::Cp: value = v.cp * fS; break;
        case HscgQuantity::G: value = v.g * fE; break;
        case HscgQuantity::DeltaH: value = dh * fE; break;
        case HscgQuantity::DeltaS: value = ds * fS; break;
        case HscgQuantity::DeltaG: value = ser.gas_factor > 0 ? dg / ser.gas_factor * fE : kNaN; break;
        case HscgQuantity::All: {
          ser.cp[i] = v.cp * fS;
          ser.h[i] = v.h * fE;
          ser.s[i] = v.s * fS;
          ser.g[i] = v.g * fE;
          ser.log_k[i] = -dg / (reactions::kGasConstant * T * kLn10);
          value = ser.log_k[i];
          break;
        }
      }
      ser.values[i] = value;
    }
    // Phase changes of the species and (for the formation quantities) of its elements.
    std::vector<double> own;
    for (const auto& term : terms[k]) {
      if (term.name == ser.gas) continue;
      auto tr = reactions::TransitionTemperatures(*term.data);
      own.insert(own.end(), tr.begin(), tr.end());
    }
    std::sort(own.begin(), own.end());
    own.erase(std::unique(own.begin(), own.end()), own.end());
    const double lo = std::min(t.T_K.front(), t.T_K.back()), hi = std::max(t.T_K.front(), t.T_K.back());
    for (double tr : own) {
      if (tr <= lo || tr >= hi) continue;
      // The row just above the change holds the value at it.
      auto it = std::find_if(t.T_K.begin(), t.T_K.end(), [&](double x) { return std::abs(x - tr) < 1e-4; });
      if (it == t.T_K.end()) continue;
      size_t i = static_cast<size_t>(it - t.T_K.begin());
      ser.marks.push_back({t.T[i], ser.values[i]});
    }
  }
  return t;
}

namespace {

std::string Cell(double v) { return std::isfinite(v) ? fmt::format("{:.3f}", v) : std::string(); }

struct Col {
  std::string header, unit;
  const std::vector<double>* values;
};

std::vector<Col> Columns(const HscgTable& t) {
  std::vector<Col> cols;
  const auto& o = t.options;
  for (const auto& s : t.series) {
    if (t.quantity == HscgQuantity::All) {
      cols.push_back({s.species + " Cp", HscgUnit(HscgQuantity::Cp, o.per_kg, o.joule), &s.cp});
      cols.push_back({s.species + " H", HscgUnit(HscgQuantity::HTotal, o.per_kg, o.joule), &s.h});
      cols.push_back({s.species + " S", HscgUnit(HscgQuantity::S, o.per_kg, o.joule), &s.s});
      cols.push_back({s.species + " G", HscgUnit(HscgQuantity::G, o.per_kg, o.joule), &s.g});
      cols.push_back({s.species + " log K", "", &s.log_k});
    } else {
      std::string gas = s.gas;
      if (auto p = gas.find('('); p != std::string::npos) gas.erase(p);
      cols.push_back({s.species, HscgUnit(t.quantity, o.per_kg, o.joule, gas), &s.values});
    }
  }
  return cols;
}

}  // namespace

std::string FormatHscgText(const HscgTable& t) {
  const auto cols = Columns(t);
  std::string out = std::string(EntryText(t.quantity)) + "\n";
  size_t width = 12;
  for (const auto& c : cols) width = std::max({width, c.header.size() + 2, c.unit.size() + 2});
  auto line = [&](std::string first, auto cell) {
    std::string l = fmt::format("{:>10}", first);
    for (size_t j = 0; j < cols.size(); ++j) l += fmt::format("{:>{}}", cell(j), width);
    while (!l.empty() && l.back() == ' ') l.pop_back();
    out += l + "\n";
  };
  line("T", [&](size_t j) { return cols[j].header; });
  line(std::string(reactions::UnitText(t.options.temp_unit)), [&](size_t j) { return cols[j].unit; });
  for (size_t i = 0; i < t.T.size(); ++i)
    line(fmt::format("{:.3f}", t.T[i]), [&](size_t j) { return Cell((*cols[j].values)[i]); });
  for (const auto& n : t.notes) out += n + "\n";
  return out;
}

std::string FormatHscgCsv(const HscgTable& t) {
  const auto cols = Columns(t);
  auto quote = [](const std::string& s) {
    if (s.find_first_of(",\"") == std::string::npos) return s;
    std::string q = "\"";
    for (char c : s) q += c == '"' ? std::string("\"\"") : std::string(1, c);
    return q + "\"";
  };
  std::string out = "T (" + std::string(reactions::UnitText(t.options.temp_unit)) + ")";
  for (const auto& c : cols) out += "," + quote(c.unit.empty() ? c.header : c.header + " (" + c.unit + ")");
  out += "\n";
  for (size_t i = 0; i < t.T.size(); ++i) {
    out += fmt::format("{:.6g}", t.T[i]);
    for (const auto& c : cols) {
      const double v = (*c.values)[i];
      out += "," + (std::isfinite(v) ? fmt::format("{:.10g}", v) : std::string());
    }
    out += "\n";
  }
  return out;
}

void AutoYRange(const HscgTable& t, double* ymin, double* ymax) {
  double lo = std::numeric_limits<double>::infinity(), hi = -lo;
  for (const auto& s : t.series)
    for (double v : s.values)
      if (std::isfinite(v)) {
        lo = std::min(lo, v);
        hi = std::max(hi, v);
      }
  if (!std::isfinite(lo)) {
    lo = 0;
    hi = 1;
  }
  if (hi - lo < 1e-9) {
    lo -= 1;
    hi += 1;
  }
  const double margin = 0.05 * (hi - lo);
  *ymin = lo - margin;
  *ymax = hi + margin;
}

double EllinghamScale::LogValue(double T_K, double y) const { return (a + b * T_K - y) / (n * r * kLn10 * T_K); }

double EllinghamScale::Potential(double T_K, double log_value) const {
  return a + b * T_K - n * r * kLn10 * T_K * log_value;
}

std::string PowerOfTenText(int exponent) {
  if (exponent == 0) return "1";
  static constexpr const char* kSuper[] = {"\u2070", "\u00B9", "\u00B2", "\u00B3", "\u2074",
                                           "\u2075", "\u2076", "\u2077", "\u2078", "\u2079"};
  std::string digits = std::to_string(std::abs(exponent)), out = exponent < 0 ? "10\u207B" : "10";
  for (char c : digits) out += kSuper[c - '0'];
  return out;
}

namespace {

constexpr int kMaxTicks = 10;  ///< per edge of a scale
constexpr double kRightGap = 0.05, kBottomGap = 0.075;  ///< least tick distance, of the axis span
constexpr int kTickSteps[] = {1, 2, 5, 10, 20, 50, 100};
constexpr int kLargestExponent = 400;

/// Ticks at whole powers of ten where the scale's lines leave the plot on the right (T = t2) or
/// at the bottom (y = ymin), thinned to a readable count.
void PlaceTicks(EllinghamScale& sc, const HscgTable& t, double x1, double x2, double ymin, double ymax) {
  const auto unit = t.options.temp_unit;
  const double t_right = reactions::ToKelvin(x2, unit), t_left = reactions::ToKelvin(x1, unit);
  const double t_first = std::max(t_left, *std::min_element(t.T_K.begin(), t.T_K.end()));
  std::vector<EllinghamTick> right, bottom;
  for (int k = -kLargestExponent; k <= kLargestExponent; ++k) {
    const double y = sc.Potential(t_right, k);
    if (y >= ymin && y <= ymax) {
      right.push_back({double(k), y, true});
    } else if (y < ymin) {
      // a + (b - n r ln10 k) T = ymin, inside the temperatures of the table
      const double slope = sc.b - sc.n * sc.r * kLn10 * k;
      if (slope == 0) continue;
      const double T = (ymin - sc.a) / slope;
      if (T >= t_first && T < t_right) bottom.push_back({double(k), reactions::FromKelvin(T, unit), false});
    }
  }
  // Whole multiples of a round step, then, from the sparse end, none closer than a readable gap
  // (the bottom ticks crowd towards low temperatures).
  sc.ticks.clear();
  for (const auto* edge : {&right, &bottom}) {
    const bool r = edge == &right;
    const double gap = (r ? kRightGap * (ymax - ymin) : kBottomGap * (x2 - x1));
    for (int step : kTickSteps) {
      std::vector<EllinghamTick> kept;
      for (const auto& tk : *edge)
        if (static_cast<int>(tk.log_value) % step == 0) kept.push_back(tk);
      if (static_cast<int>(kept.size()) > kMaxTicks && step != kTickSteps[std::size(kTickSteps) - 1]) continue;
      std::sort(kept.begin(), kept.end(), [](const auto& a, const auto& b) { return a.at > b.at; });
      double last = std::numeric_limits<double>::infinity();
      for (const auto& tk : kept)
        if (last - tk.at >= gap) {
          sc.ticks.push_back(tk);
          last = tk.at;
        }
      break;
    }
  }
}

}  // namespace

std::vector<EllinghamScale> EllinghamScales(const HscgTable& t, const thermo::SpeciesDatabases& dbs, double x1,
                                            double x2, double ymin, double ymax) {
  std::vector<EllinghamScale> out;
  if (t.quantity != HscgQuantity::DeltaG || t.series.empty() || t.T_K.empty() || !(ymax > ymin) || !(x2 > x1))
    return out;
  for (const auto& s : t.series)
    if (s.gas != "O2(g)") return out;
  const double r = reactions::kGasConstant * DisplayFactor(HscgQuantity::DeltaG, false, t.options.joule, 0, false);
  EllinghamScale po2;
  po2.title = "pO2";
  po2.origin = "O";
  po2.r = r;
  out.push_back(po2);

  // The reference reactions per mole O2 at the ends of the range: 2CO + O2 = 2CO2 is
  // 2 ΔG(CO2 line) - ΔG(CO line); 2H2 + O2 = 2H2O(g) is the H2O(g) line itself.
  HscgOptions o = t.options;
  o.gas_element = "O";
  o.transitions = false;
  const auto [lo, hi] = std::minmax_element(t.T_K.begin(), t.T_K.end());
  o.t1 = reactions::FromKelvin(*lo, o.temp_unit);
  o.t2 = reactions::FromKelvin(*hi, o.temp_unit);
  o.step = o.t2 - o.t1;
  const HscgTable ref = CalcHscgTable(HscgQuantity::DeltaG, {"CO2(g)", "CO(g)", "H2O(g)"}, o, dbs);
  if (!ref.ok() || ref.T_K.size() != 2) return out;
  auto add = [&](const char* title, const char* origin, double g1, double g2) {
    if (!std::isfinite(g1) || !std::isfinite(g2)) return;
    EllinghamScale sc;
    sc.title = title;
    sc.origin = origin;
    sc.r = r;
    sc.n = 2;
    sc.b = (g2 - g1) / (ref.T_K[1] - ref.T_K[0]);
    sc.a = g1 - sc.b * ref.T_K[0];
    out.push_back(sc);
  };
  const auto& co2 = ref.series[0].values;
  const auto& co = ref.series[1].values;
  add("CO/CO2", "C", 2 * co2[0] - co[0], 2 * co2[1] - co[1]);
  add("H2/H2O", "H", ref.series[2].values[0], ref.series[2].values[1]);
  for (auto& sc : out) PlaceTicks(sc, t, x1, x2, ymin, ymax);
  return out;
}

}  // namespace zyl::diagrams
