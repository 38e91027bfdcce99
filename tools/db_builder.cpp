#include "tools/db_builder.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <map>
#include <set>

#include "platform/files.h"
#include "thermo/catalogue.h"
#include "thermo/formula.h"
#include "thermo/species_db.h"
#include "tools/hkf.h"
#include "tools/nasa_thermo.h"
#include "tools/llnl.h"
#include "tools/obigt.h"
#include "tools/species_names.h"

namespace zyl::tools {

namespace {

constexpr double kAqueousTMax = 573.15;      // K, top of the constant-Cp aqueous range
constexpr double kAqueousNoCpTMax = 373.15;  // K, when the source gives no Cp at all
constexpr double kStartTolerance = 300.0;    // K: a first interval starting at or below this starts at 298.15
constexpr size_t kMaxNameLength = 24;        // the Formula field
constexpr double kMineralDefaultTMax = 573.15;  // K, a mineral whose Cp equation states no limit
constexpr double kWaterG = -237140.0 / kCalToJ;  // cal/mol, liquid water at 25 °C (CODATA), if OBIGT lacks it
constexpr std::string_view kLlnlReference = "llnl.dat (PHREEQC); Cp Kopp estimate";

// Fit tolerance of the species along the 1 bar / saturation path (aqueous species and liquid water):
// G and Cp as tight as the evaluation needs; H and S looser, since along a path of rising pressure
// they drift from the integral of Cp by the integral of (dH/dP)_T dP.
FitTolerance AqueousTolerance(const FitTolerance& base) {
  FitTolerance t = base;
  t.cp_abs = 1.5 / kCalToJ;  // cal/(mol K)
  t.g = 80.0 / kCalToJ;      // cal/mol
  t.h = 600.0 / kCalToJ;     // cal/mol
  t.s = 1.5 / kCalToJ;       // cal/(mol K)
  return t;
}

// Solids taken from llnl.dat (by their phase name there) when the database has no species of that name.
// Only those whose derived 25 °C entropy agrees with the NBS tables: with the OBIGT ions, MnCl2
// (Scacchite) and MnSO4 come out 8.5 J/(mol K) high and CrCl3 37 J/(mol K) high, so they are left out;
// NiCO3 has no enthalpy of formation in the file.
constexpr std::string_view kLlnlSolids[] = {"NiCl2", "CoCl2", "ZnCl2", "NiSO4", "NiCO3"};

// Densities at 25 °C (g/cm3 = kg/l) of condensed substances whose mineral data in OBIGT carry no
// molar volume: CRC Handbook of Chemistry and Physics, 97th ed. (2016), "Physical Constants of
// Inorganic Compounds" and "Properties of the Elements"; liquids (Hg, Br2, H2O) at 25 °C.
struct HandbookDensity {
  std::string_view formula;
  double density;  // g/cm3
};
constexpr HandbookDensity kHandbookDensities[] = {
    {"Li", 0.534},    {"Be", 1.85},     {"Na", 0.968},     {"Mg", 1.738},    {"Si", 2.329},   {"P", 1.823},
    {"K", 0.89},      {"Ca", 1.55},     {"Ti", 4.506},     {"V", 6.0},       {"Cr", 7.15},    {"Zr", 6.52},
    {"Nb", 8.57},     {"Mo", 10.2},     {"W", 19.3},       {"Pb", 11.3},     {"Hg", 13.53},   {"Br2", 3.10},
    {"I2", 4.933},    {"H2O", 0.997},   {"Na2O", 2.27},    {"Na2CO3", 2.54}, {"Na2SO4", 2.66}, {"CaCl2", 2.15},
    {"MgCl2", 2.32},  {"SiC", 3.16},
};
constexpr std::string_view kHandbookDensityRef = "CRC";

// Species holding each element in its reference state at 25 °C, and atoms per formula unit; elements
// not listed are their own condensed species.
struct ReferenceState {
  std::string_view element, species;
  double atoms;
};
constexpr ReferenceState kReferenceStates[] = {{"H", "H2(g)", 2},  {"O", "O2(g)", 2},  {"N", "N2(g)", 2},
                                               {"F", "F2(g)", 2},  {"Cl", "Cl2(g)", 2}, {"Br", "Br2", 2},
                                               {"I", "I2", 2}};

// Reliability classes (stored in ReliabilityClass):
constexpr int16_t kClassEvaluated = 1;  // critically evaluated tables (JANAF, CODATA, Gurvich, NIST), conventions
constexpr int16_t kClassCompiled = 2;   // other NASA Glenn data (Glenn calculations, Barin, literature)
constexpr int16_t kClassObigt = 3;      // OBIGT 25 °C data as published (aqueous with constant Cp, minerals)
constexpr int16_t kClassDerived = 4;    // values derived by the builder (H from G and S, Cp estimated), or
                                        // a range that misses the fit tolerance

std::string Trunc(std::string s, size_t n) {
  if (s.size() > n) s.resize(n);
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

int16_t NasaClass(std::string_view ref_code) {
  std::string letters;
  for (char c : ref_code) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) letters += static_cast<char>(std::tolower(c));
    else break;
  }
  if (letters == "j" || letters == "coda" || letters == "tpis" || letters == "srd" || letters == "n")
    return kClassEvaluated;
  return kClassCompiled;
}

// ---- colours -------------------------------------------------------------------------------

uint32_t ElementColour(std::string_view el) {
  static const std::map<std::string_view, uint32_t> kColours = {
      {"H", 0xFFFFFF}, {"He", 0xD9FFFF}, {"Li", 0xCC80FF}, {"Be", 0xC2FF00}, {"B", 0xFFB5B5},
      {"C", 0x909090}, {"N", 0x3050F8}, {"O", 0xFF0D0D}, {"F", 0x90E050}, {"Ne", 0xB3E3F5},
      {"Na", 0xAB5CF2}, {"Mg", 0x8AFF00}, {"Al", 0xBFA6A6}, {"Si", 0xF0C8A0}, {"P", 0xFF8000},
      {"S", 0xFFFF30}, {"Cl", 0x1FF01F}, {"Ar", 0x80D1E3}, {"K", 0x8F40D4}, {"Ca", 0x3DFF00},
      {"Sc", 0xE6E6E6}, {"Ti", 0xBFC2C7}, {"V", 0xA6A6AB}, {"Cr", 0x8A99C7}, {"Mn", 0x9C7AC7},
      {"Fe", 0xE06633}, {"Co", 0xF090A0}, {"Ni", 0x50D050}, {"Cu", 0xC88033}, {"Zn", 0x7D80B0},
      {"Ga", 0xC28F8F}, {"Ge", 0x668F8F}, {"As", 0xBD80E3}, {"Se", 0xFFA100}, {"Br", 0xA62929},
      {"Kr", 0x5CB8D1}, {"Rb", 0x702EB0}, {"Sr", 0x00FF00}, {"Y", 0x94FFFF}, {"Zr", 0x94E0E0},
      {"Nb", 0x73C2C9}, {"Mo", 0x54B5B5}, {"Ag", 0xC0C0C0}, {"Cd", 0xFFD98F}, {"In", 0xA67573},
      {"Sn", 0x668080}, {"Sb", 0x9E63B5}, {"I", 0x940094}, {"Xe", 0x429EB0}, {"Cs", 0x57178F},
      {"Ba", 0x00C900}, {"W", 0x2194D6}, {"Pt", 0xD0D0E0}, {"Au", 0xFFD123}, {"Hg", 0xB8B8D0},
      {"Pb", 0x575961}, {"U", 0x008FFF}, {"Ta", 0x4DA6FF}, {"Hf", 0x4DC2FF}, {"Th", 0x00BAFF}};
  auto it = kColours.find(el);
  return it != kColours.end() ? it->second : 0xA0A0A0;
}

uint32_t Mix(uint32_t c, uint32_t with, double f) {
  auto ch = [&](int shift) {
    double a = (c >> shift) & 0xFF, b = (with >> shift) & 0xFF;
    return static_cast<uint32_t>(std::lround(a + (b - a) * f)) << shift;
  };
  return ch(16) | ch(8) | ch(0);
}

/// Colour of a species: its leading element other than H and O (CPK-like colours), shaded by phase.
int32_t SpeciesColour(std::string_view name, std::string_view phase) {
  thermo::FormulaComposition comp = thermo::ParseFormula(name);
  std::string_view el;
  for (const auto& e : comp.entries) {
    if (e.symbol == thermo::kElectron) continue;
    if (el.empty()) el = e.symbol;
    if (e.symbol != "H" && e.symbol != "O") {
      el = e.symbol;
      break;
    }
  }
  uint32_t c = el.empty() ? 0x808080 : ElementColour(el);
  if (phase == "g" || phase == "ig") c = Mix(c, 0xFFFFFF, 0.45);
  else if (phase == "l") c = Mix(c, 0x000000, 0.15);
  else if (phase == "a" || phase == "ia") c = Mix(c, 0x3060C0, 0.35);
  uint32_t r = (c >> 16) & 0xFF, g = (c >> 8) & 0xFF, b = c & 0xFF;
  return static_cast<int32_t>(r | (g << 8) | (b << 16));  // R + 256 G + 65536 B
}

// ---- NASA ------------------------------------------------------------------------------------


std::vector<SourceSegment> RecordSegments(const NasaRecord& rec, const std::string& phase, double t_max) {
  std::vector<SourceSegment> out;
  for (const NasaInterval& iv : rec.intervals) {
    if (iv.t_low >= t_max) continue;
    SourceSegment s;
    s.src = std::make_shared<NasaPolynomial>(iv);
    s.t1 = iv.t_low;
    s.t2 = std::min(iv.t_high, t_max);
    s.phase = phase;
    s.origin = fmt::format("NASA {} {:g}-{:g} K", rec.name, iv.t_low, iv.t_high);
    out.push_back(std::move(s));
  }
  return out;
}

/// Joins the segments of the next phase record to a species: where the source's temperature limits
/// do not meet, the transition is put where the two phases' Gibbs energies cross (or at the next
/// record's lower limit when they do not cross there).
void AppendPhase(std::vector<SourceSegment>& segs, std::vector<SourceSegment> next) {
  if (next.empty()) return;
  if (segs.empty()) {
    segs = std::move(next);
    return;
  }
  double prev_hi = segs.back().t2, next_lo = next.front().t1;
  double T = prev_hi;
  if (std::fabs(prev_hi - next_lo) > 1e-6) {
    double lo = std::min(prev_hi, next_lo), hi = std::max(prev_hi, next_lo);
    const ThermoSource& a = *segs.back().src;
    const ThermoSource& b = *next.front().src;
    auto f = [&](double t) { return a.G(t) - b.G(t); };
    T = next_lo;
    const int n = 200;
    double t0 = lo, f0 = f(lo);
    for (int i = 1; i <= n; ++i) {
      double t1 = lo + (hi - lo) * i / n, f1 = f(t1);
      if ((f0 <= 0) != (f1 <= 0)) {
        for (int k = 0; k < 60; ++k) {
          double m = 0.5 * (t0 + t1), fm = f(m);
          if ((f0 <= 0) == (fm <= 0)) {
            t0 = m;
            f0 = fm;
          } else {
            t1 = m;
          }
        }
        T = 0.5 * (t0 + t1);
        break;
      }
      t0 = t1;
      f0 = f1;
    }
    T = std::round(T * 100.0) / 100.0;
  }
  while (!segs.empty() && segs.back().t1 >= T) segs.pop_back();
  if (!segs.empty()) segs.back().t2 = T;
  size_t drop = 0;
  while (drop < next.size() && next[drop].t2 <= T) ++drop;
  next.erase(next.begin(), next.begin() + static_cast<long>(drop));
  if (next.empty()) return;
  next.front().t1 = T;
  for (auto& s : next) segs.push_back(std::move(s));
}

void StartAt298(std::vector<SourceSegment>& segs) {
  if (!segs.empty() && segs.front().t1 > kTRef && segs.front().t1 <= kStartTolerance) segs.front().t1 = kTRef;
}

/// A species before naming conflicts are resolved.
struct Candidate {
  std::string plain;      // chemist formula with its suffix, e.g. "C3H6(g)" or "SiO2"
  std::string qualifier;  // NASA isomer note
  double hf = 0;          // J/mol, to pick the plain-named isomer
  Composition comp;
  BuiltSpecies sp;
  std::vector<SourceSegment> segs;
  bool aqueous_path = false;  // fitted with the aqueous tolerance (1 bar / saturation path)
};

// ---- element names -----------------------------------------------------------------------------

std::map<std::string, std::string> ElementNames(const std::filesystem::path& csv) {
  std::map<std::string, std::string> out;
  auto text = platform::ReadFile(csv);
  if (!text) return out;
  auto rows = ParseCsv(*text);
  for (size_t i = 1; i < rows.size(); ++i)
    if (rows[i].size() >= 3) out[rows[i][1]] = rows[i][2];
  return out;
}

std::string ElementName(const Composition& comp, bool gas, const std::map<std::string, std::string>& names) {
  if (comp.size() != 1) return {};
  const auto& [el, n] = *comp.begin();
  static const std::set<std::string> kDiatomic = {"H", "N", "O", "F", "Cl", "Br", "I"};
  if (gas && !(n == 1 || (n == 2 && kDiatomic.count(el)))) return {};
  auto it = names.find(el);
  if (it == names.end() || it->second.empty()) return {};
  std::string s = it->second;
  s[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(s[0])));
  return s;
}

// ---- boiling points ----------------------------------------------------------------------------

double GibbsAt(const std::vector<FittedRange>& r, double T) {
  double h, s;
  EvaluateRanges(r, T, &h, &s);
  return h - T * s;
}

/// Lowest temperature of the liquid ranges where a gas made of n formula units has the lower Gibbs
/// energy (n G(liquid) = G(gas) at 1 bar); 0 when the gas never wins there or already wins where the
/// liquid begins (the substance sublimes).
double BoilingPoint(const std::vector<FittedRange>& cond, const std::vector<FittedRange>& gas, double n) {
  auto f = [&](double T) { return n * GibbsAt(cond, T) - GibbsAt(gas, T); };
  for (const FittedRange& r : cond) {
    if (r.phase != "l") continue;
    double a = r.t1 + 1e-6, b = r.t2;
    const int steps = std::max(2, static_cast<int>((b - a) / 2.0));
    double t0 = a;
    if (f(a) > 0) return 0;
    for (int i = 1; i <= steps; ++i) {
      double t1 = a + (b - a) * i / steps;
      if (f(t1) > 0) {
        for (int k = 0; k < 50; ++k) {
          double m = 0.5 * (t0 + t1);
          if (f(m) > 0) t1 = m;
          else t0 = m;
        }
        return std::round(0.5 * (t0 + t1) * 100.0) / 100.0;
      }
      t0 = t1;
    }
  }
  return 0;
}

/// Key of a composition scaled by n, for finding the gases of a condensed substance (S -> S2, S8).
std::string CompositionKey(const Composition& c, double n) {
  std::string key;
  for (const auto& [el, amount] : c) key += fmt::format("{}:{:.4f};", el, amount * n);
  return key;
}

/// A NASA isomer note as a common name ("cyclo-" -> "cyclo").
std::string QualifierText(std::string_view q) {
  std::string s = AsciiText(q);
  while (!s.empty() && (s.back() == '-' || s.back() == ' ')) s.pop_back();
  return s;
}

std::string NasaReference(const NasaRecord& rec) {
  return Trunc(fmt::format("NASA {} {}", rec.ref_code, rec.comment), thermo::record_layout::kReferencesLen);
}

std::string ObigtReference(const ObigtRow& row) {
  std::string s = "OBIGT " + row.ref1;
  if (!row.ref2.empty() && row.ref2 != "NA") s += "," + row.ref2;
  return Trunc(s, thermo::record_layout::kReferencesLen);
}

}  // namespace

// ---- densities ----------------------------------------------------------------------------------

/// Density (kg/l) and its source for one composition.
struct DensitySource {
  double density = 0;
  std::string source;  // "OBIGT calcite", "CRC"
  double g298 = INFINITY;  // cal/mol, the most stable polymorph wins
};

/// Densities of the OBIGT minerals from their molar volumes (rho = M / V), by composition; among
/// polymorphs the one of lowest G at 25 °C.
std::map<std::string, DensitySource> MineralDensities(const std::vector<const std::vector<ObigtRow>*>& files) {
  std::map<std::string, DensitySource> out;
  for (const auto* rows : files)
    for (const ObigtRow& r : *rows) {
      if (r.state != "cr" || !(r.V > 0) || r.formula.find_first_of("+-") != std::string::npos) continue;
      const std::string formula = ObigtFormula(r.formula);
      const std::string key = CompositionKey(ParsedComposition(formula), 1);
      const double g = std::isnan(r.G) ? INFINITY : r.G;
      DensitySource& d = out[key];
      if (d.density > 0 && !(g < d.g298)) continue;
      d = {thermo::MolarMass(formula) / r.V, "OBIGT " + AsciiText(r.name), g};
    }
  return out;
}

/// Densities of the NASA condensed substances (solids at 25 °C from the OBIGT mineral of the same
/// composition, else the handbook table), with the source added to the record's reference.
void AssignDensities(std::vector<BuiltSpecies>& species, const std::map<std::string, DensitySource>& minerals) {
  for (BuiltSpecies& sp : species) {
    if (sp.origin != SpeciesOrigin::NasaCondensed || sp.ranges.empty()) continue;
    const std::string key = CompositionKey(ParsedComposition(sp.name), 1);
    const DensitySource* found = nullptr;
    DensitySource handbook;
    auto m = minerals.find(key);
    // the phase at 25 °C (water and mercury are liquids there, whatever their first range)
    auto at25 = std::find_if(sp.ranges.begin(), sp.ranges.end(), [](const FittedRange& r) { return r.t2 >= kTRef; });
    const bool solid = at25 != sp.ranges.end() && at25->phase == "s";
    if (m != minerals.end() && solid) found = &m->second;
    for (const HandbookDensity& h : kHandbookDensities)
      if (!found && sp.name == h.formula) {
        handbook = {h.density, std::string(kHandbookDensityRef)};
        found = &handbook;
      }
    if (!found) continue;
    sp.density = ToFloat(found->density);
    // "NASA <ref code>; rho <source>"
    const bool composite = sp.references.find(';') != std::string::npos;
    std::string ref = composite ? sp.references : sp.references.substr(0, sp.references.find(' ', 5));
    sp.references = Trunc(ref + "; rho " + found->source, thermo::record_layout::kReferencesLen);
  }
}

BuildResult BuildMainDatabase(const BuildOptions& opt, const BuildProgress& progress) {
  BuildResult res;
  auto read = [&](const char* rel, std::string* out) {
    std::string err;
    auto t = platform::ReadFile(opt.sources / rel, &err);
    if (!t) {
      res.error = fmt::format("can not read source {}: {}", (opt.sources / rel).string(), err);
      return false;
    }
    *out = std::move(*t);
    return true;
  };
  std::string nasa_text, aq_text, cr_text, supcrt_text, element_text;
  if (!read("nasa/thermo.inp", &nasa_text) || !read("obigt/inorganic_aq.csv", &aq_text) ||
      !read("obigt/inorganic_cr.csv", &cr_text) || !read("obigt/SUPCRT92.csv", &supcrt_text) ||
      !read("obigt/element.csv", &element_text))
    return res;
  const auto element_names = ElementNames(opt.sources / "elements/atomic_weights.csv");
  std::vector<LlnlPhase> llnl_phases;
  {
    std::string err;
    if (auto t = platform::ReadFile(opt.sources / "phreeqc/llnl.dat", &err)) llnl_phases = ParseLlnlPhases(*t);
    else res.warnings.push_back(fmt::format("phreeqc/llnl.dat not read ({}): its solids are left out", err));
  }
  const auto element_s = ParseElementEntropies(element_text);

  NasaFile nasa = ParseNasaThermo(nasa_text);
  for (auto& w : nasa.warnings) res.warnings.push_back("thermo.inp " + w);
  std::vector<std::string> obigt_warn;
  auto aq_rows = ParseObigtSpecies(aq_text, &obigt_warn);
  auto cr_rows = ParseObigtSpecies(cr_text, &obigt_warn);
  auto supcrt_rows = ParseObigtSpecies(supcrt_text, &obigt_warn);
  for (auto& w : obigt_warn) res.warnings.push_back("OBIGT " + w);

  // ---- NASA gases and condensed substances as candidates -------------------------------------
  std::vector<Candidate> gas_cands, cond_cands;
  std::map<std::string, size_t> cond_group;  // formula-as-written + qualifier -> index in cond_cands
  std::vector<std::vector<const NasaRecord*>> cond_records;
  for (const NasaRecord& rec : nasa.records) {
    if (rec.intervals.empty()) continue;
    if (rec.name.rfind("Inert", 0) == 0) continue;  // duplicates of real species for combustion codes
    if (rec.name == "e-") continue;                  // the electron gas; "e-" is the aqueous convention
    int charge = 0;
    auto comp = NasaComposition(rec.elements, &charge);
    if (!comp) {
      res.warnings.push_back(fmt::format("NASA {}: element not in the table, left out", rec.name));
      continue;
    }
    bool condensed = rec.phase > 0;
    NasaName nn = SplitNasaName(rec.name, condensed);
    if (!condensed && nn.charge != charge) {
      res.warnings.push_back(fmt::format("NASA {}: charge of the name and formula differ, left out", rec.name));
      continue;
    }
    std::string qualifier = nn.qualifier;
    std::optional<std::string> formula;
    // A structural qualifier in capitals ("FO2,FOO") is itself the better formula.
    if (!qualifier.empty() && std::all_of(qualifier.begin(), qualifier.end(), [](char c) {
          return std::isupper(static_cast<unsigned char>(c)) || std::isdigit(static_cast<unsigned char>(c));
        })) {
      formula = ChemistFormula(qualifier, *comp);
      if (formula) qualifier.clear();
    }
    if (!formula) formula = ChemistFormula(nn.formula, *comp);
    if (!formula) {
      res.warnings.push_back(fmt::format("NASA {}: name does not match its formula, left out", rec.name));
      continue;
    }
    comp = ParsedComposition(*formula);  // exact amounts ("Fe0.947O"; the file prints 0.95)
    if (!condensed) {
      Candidate c;
      c.plain = GasName(*formula, charge);
      c.qualifier = qualifier;
      c.hf = rec.hf298;
      c.comp = *comp;
      c.sp.origin = SpeciesOrigin::NasaGas;
      c.sp.references = NasaReference(rec);
      c.sp.reliability = NasaClass(rec.ref_code);
      c.sp.common_name = QualifierText(nn.qualifier);
      c.segs = RecordSegments(rec, charge ? "ig" : "g", opt.t_max);
      StartAt298(c.segs);
      if (!c.segs.empty()) gas_cands.push_back(std::move(c));
      continue;
    }
    std::string key = *formula + "," + qualifier;
    auto [it, inserted] = cond_group.emplace(key, cond_cands.size());
    if (inserted) {
      Candidate c;
      c.plain = *formula;
      c.qualifier = qualifier;
      c.hf = rec.hf298;
      c.comp = *comp;
      c.sp.origin = SpeciesOrigin::NasaCondensed;
      c.sp.references = NasaReference(rec);
      c.sp.reliability = NasaClass(rec.ref_code);
      c.sp.common_name = QualifierText(nn.qualifier);
      cond_cands.push_back(std::move(c));
      cond_records.emplace_back();
    }
    cond_records[it->second].push_back(&rec);
  }
  for (size_t i = 0; i < cond_cands.size(); ++i) {
    auto& recs = cond_records[i];
    std::stable_sort(recs.begin(), recs.end(), [](const NasaRecord* a, const NasaRecord* b) { return a->phase < b->phase; });
    for (const NasaRecord* r : recs) {
      NasaName nn = SplitNasaName(r->name, true);
      AppendPhase(cond_cands[i].segs, RecordSegments(*r, nn.phase_tag == "L" ? "l" : "s", opt.t_max));
    }
    StartAt298(cond_cands[i].segs);
  }
  // Liquid water along the aqueous path from IAPWS-95, anchored to the NASA liquid at 25 °C.
  for (Candidate& c : cond_cands) {
    if (c.plain != "H2O" || !c.qualifier.empty()) continue;
    auto liquid = std::find_if(c.segs.begin(), c.segs.end(), [](const SourceSegment& s) { return s.phase == "l"; });
    if (liquid == c.segs.end()) break;
    SourceSegment w;
    w.src = std::make_shared<IapwsLiquidSource>(liquid->src->H(kTRef), liquid->src->S(kTRef));
    w.t1 = liquid->t1;
    w.t2 = kHkfTMax;
    w.phase = "l";
    w.origin = "IAPWS-95 liquid, 1 bar / psat";
    c.segs.erase(liquid, c.segs.end());
    c.segs.push_back(std::move(w));
    c.sp.references = "NASA 25C; IAPWS-95 to 350C";
    c.aqueous_path = true;
    break;
  }

  // Isomers sharing a formula: the one without a qualifier (else the lowest enthalpy of formation)
  // keeps the plain name, the others get a prefix.
  auto resolve = [&](std::vector<Candidate>& cands) {
    std::map<std::string, std::vector<size_t>> by_plain;
    for (size_t i = 0; i < cands.size(); ++i) by_plain[cands[i].plain].push_back(i);
    for (auto& [plain, idx] : by_plain) {
      size_t keep = idx.front();
      if (idx.size() > 1) {
        size_t unqualified = 0, which = idx.front();
        for (size_t i : idx)
          if (cands[i].qualifier.empty()) {
            ++unqualified;
            which = i;
          }
        if (unqualified == 1) {
          keep = which;
        } else {
          for (size_t i : idx)
            if (cands[i].hf < cands[keep].hf) keep = i;
        }
      }
      for (size_t i : idx) cands[i].sp.name = i == keep ? plain : IsomerPrefix(cands[i].qualifier) + plain;
    }
  };
  resolve(gas_cands);
  resolve(cond_cands);

  // ---- OBIGT aqueous species --------------------------------------------------------------------
  std::vector<Candidate> aq_cands;
  for (const ObigtRow& row : aq_rows) {
    if (row.state != "aq") continue;
    auto [base, charge] = SplitObigtCharge(row.formula);
    Candidate c;
    c.plain = AqueousName(ObigtFormula(base), charge);
    c.comp = ParsedComposition(base);
    c.sp.name = c.plain;
    c.sp.origin = SpeciesOrigin::ObigtAqueous;
    c.sp.references = ObigtReference(row);
    c.sp.reliability = kClassObigt;
    if (AsciiText(row.name) != row.formula) c.sp.chemical_name = AsciiText(row.name);
    if (!std::isnan(row.zT) && std::lround(row.zT) != charge)
      res.warnings.push_back(fmt::format("OBIGT {}: charge column says {:g}; the formula's charge is used", row.name, row.zT));
    double H = row.H, S = row.S, Cp = row.Cp;
    if (std::isnan(S)) {
      res.warnings.push_back(fmt::format("OBIGT {}: no entropy, left out", row.name));
      continue;
    }
    if (std::isnan(H)) {
      H = EnthalpyFromGibbs(row.G, S, c.comp, charge, element_s);
      c.sp.reliability = kClassDerived;
      if (std::isnan(H)) {
        res.warnings.push_back(fmt::format("OBIGT {}: no enthalpy, left out", row.name));
        continue;
      }
    }
    const bool hkf = std::all_of(std::begin(row.p), std::end(row.p), [](double v) { return std::isfinite(v); }) &&
                     std::isfinite(row.G);
    SourceSegment seg;
    seg.phase = charge ? "ia" : "a";
    if (hkf) {
      // Revised HKF along 1 bar / saturation, 0-350 °C.
      // Two segments: at 1 bar, then along saturation (Cp along the path jumps between them).
      const HkfParameters hkf_p = HkfParameters::FromScaled(row.G, H, S, row.p, charge);
      seg.src = std::make_shared<HkfSource>(hkf_p, HkfSource::Part::OneBar);
      seg.t1 = kHkfTMin;
      seg.t2 = kHkfPathSwitch;
      seg.origin = fmt::format("OBIGT {} revised HKF, 1 bar", row.name);
      c.segs.push_back(seg);
      seg.src = std::make_shared<HkfSource>(hkf_p, HkfSource::Part::Saturation);
      seg.t1 = seg.t2;
      seg.t2 = kHkfTMax;
      seg.origin = fmt::format("OBIGT {} revised HKF, psat", row.name);
      c.sp.references = Trunc("HKF " + ObigtReference(row), thermo::record_layout::kReferencesLen);
      c.aqueous_path = true;
    } else {
      // No equation of state: the 25 °C Cp held constant (estimated from c1, c2, omega when missing).
      double t_top = kAqueousTMax;
      if (std::isnan(Cp)) {
        c.sp.reliability = kClassDerived;
        if (!std::isnan(row.p[4]) && !std::isnan(row.p[5]) && !std::isnan(row.p[6])) {
          Cp = HkfCp298(row.p[4], row.p[5], row.p[6]);
        } else {
          Cp = 0;
          t_top = kAqueousNoCpTMax;
        }
      }
      seg.src = std::make_shared<ConstantCpSource>(H, S, Cp);
      seg.t1 = kTRef;
      seg.t2 = t_top;
      seg.origin = fmt::format("OBIGT {} 298.15 K, constant Cp", row.name);
      c.sp.references = Trunc("Cp const " + ObigtReference(row), thermo::record_layout::kReferencesLen);
    }
    c.segs.push_back(std::move(seg));
    aq_cands.push_back(std::move(c));
  }

  // ---- OBIGT minerals that NASA lacks -----------------------------------------------------------
  std::vector<Composition> nasa_condensed_comps;
  for (const auto& c : cond_cands) nasa_condensed_comps.push_back(c.comp);
  struct Mineral {
    Candidate cand;
    double g298 = 0;  // cal/mol, to choose among polymorphs of one formula
  };
  std::vector<Mineral> minerals;
  auto add_minerals = [&](const std::vector<ObigtRow>& rows) {
    for (size_t i = 0; i < rows.size();) {
      size_t j = i + 1;
      while (j < rows.size() && rows[j].name == rows[i].name && rows[j].state != "cr") ++j;
      const ObigtRow& first = rows[i];
      std::vector<const ObigtRow*> poly;
      for (size_t k = i; k < j; ++k) {
        // polymorph rows continue upward in T; rows that do not (pressure polymorphs) are left out
        if (!poly.empty() && !(rows[k].zT > poly.back()->zT)) break;
        poly.push_back(&rows[k]);
      }
      i = j;
      if (first.model.rfind("CGL", 0) != 0) continue;
      std::string formula = ObigtFormula(first.formula);
      if (formula.find_first_of("+-") != std::string::npos) continue;  // charged formula units
      Composition comp = ParsedComposition(formula);
      bool in_nasa = false;
      for (const auto& nc : nasa_condensed_comps) in_nasa = in_nasa || SameComposition(nc, comp);
      if (in_nasa) continue;
      Mineral m;
      m.cand.plain = formula;
      m.cand.comp = comp;
      m.cand.sp.name = formula;
      m.cand.sp.origin = SpeciesOrigin::ObigtMineral;
      m.cand.sp.references = ObigtReference(first);
      m.cand.sp.reliability = kClassObigt;
      m.cand.sp.common_name = AsciiText(first.name);
      bool ok = true;
      double t_prev = kTRef;
      for (const ObigtRow* r : poly) {
        double H = r->H, S = r->S;
        double t_top = std::isnan(r->zT) && poly.size() == 1 ? kMineralDefaultTMax : r->zT;
        if (std::isnan(S) && !std::isnan(H) && !std::isnan(r->G)) {
          S = EntropyFromGibbs(r->G, H, comp, element_s);
          m.cand.sp.reliability = kClassDerived;
        }
        if (std::isnan(S) || !(t_top > t_prev)) {
          ok = false;
          break;
        }
        if (std::isnan(H)) {
          H = EnthalpyFromGibbs(r->G, S, comp, 0, element_s);
          m.cand.sp.reliability = kClassDerived;
        }
        if (std::isnan(H)) {
          ok = false;
          break;
        }
        SourceSegment s;
        s.src = std::make_shared<CglSource>(H, S, r->p);
        s.t1 = t_prev;
        s.t2 = std::min(t_top, opt.t_max);
        s.phase = "s";
        s.origin = fmt::format("OBIGT {} {} {:g}-{:g} K", r->name, r->state, t_prev, t_top);
        m.cand.segs.push_back(std::move(s));
        t_prev = t_top;
        if (t_prev >= opt.t_max) break;
      }
      if (!ok || m.cand.segs.empty()) {
        res.warnings.push_back(fmt::format("OBIGT mineral {}: incomplete data, left out", first.name));
        continue;
      }
      m.g298 = m.cand.segs.front().src->G(kTRef);
      if (!std::isnan(first.V) && first.V > 0) m.cand.sp.density = thermo::MolarMass(formula) / first.V;
      minerals.push_back(std::move(m));
    }
  };
  add_minerals(cr_rows);
  add_minerals(supcrt_rows);
  // One mineral per formula: the most stable at 25 °C (lowest G).
  std::vector<Candidate> min_cands;
  {
    std::map<std::string, size_t> best;
    for (size_t i = 0; i < minerals.size(); ++i) {
      auto [it, inserted] = best.emplace(minerals[i].cand.plain, i);
      if (!inserted && minerals[i].g298 < minerals[it->second].g298) it->second = i;
    }
    std::set<size_t> chosen;
    for (auto& [k, v] : best) chosen.insert(v);
    for (size_t i : chosen) min_cands.push_back(std::move(minerals[i].cand));
  }

  // ---- fit everything ---------------------------------------------------------------------------
  const auto llnl_count = std::count_if(llnl_phases.begin(), llnl_phases.end(), [](const LlnlPhase& p) {
    return std::find(std::begin(kLlnlSolids), std::end(kLlnlSolids), p.name) != std::end(kLlnlSolids);
  });
  const int total = static_cast<int>(gas_cands.size() + cond_cands.size() + aq_cands.size() + min_cands.size() +
                                     static_cast<size_t>(llnl_count)) + 2;
  int done = 0;
  std::set<std::string> names;
  const FitTolerance aqueous_tol = AqueousTolerance(opt.tolerance);
  auto finish = [&](Candidate& c, std::string_view kind) {
    if (progress) progress(++done, total, c.sp.name);
    BuiltSpecies sp = std::move(c.sp);
    if (sp.name.size() > kMaxNameLength) {
      res.warnings.push_back(fmt::format("{} {}: name longer than {} characters, left out", kind, sp.name, kMaxNameLength));
      return;
    }
    double charge = 0;
    if (!SameComposition(ParsedComposition(sp.name, &charge), c.comp)) {
      res.warnings.push_back(fmt::format("{} {}: name does not parse to its formula, left out", kind, sp.name));
      return;
    }
    if (!names.insert(sp.name).second) {
      res.warnings.push_back(fmt::format("{} {}: name already taken, left out", kind, sp.name));
      return;
    }
    sp.ranges = FitSpecies(c.segs, c.aqueous_path ? aqueous_tol : opt.tolerance);
    if (sp.ranges.empty()) return;
    for (const auto& r : sp.ranges)
      if (!r.within_tolerance) sp.reliability = kClassDerived;
    sp.mw = thermo::MolarMass(sp.name);
    // Element names for the elements themselves (not for their ions).
    if (sp.chemical_name.empty() && charge == 0 && sp.origin != SpeciesOrigin::ObigtAqueous)
      sp.chemical_name = ElementName(c.comp, sp.origin == SpeciesOrigin::NasaGas, element_names);
    sp.color_rgb = SpeciesColour(sp.name, sp.ranges.front().phase);
    res.species.push_back(std::move(sp));
  };
  for (auto& c : gas_cands) finish(c, "NASA");
  for (auto& c : cond_cands) finish(c, "NASA");

  // Conventions: H+ zero at all temperatures; the electron is half of H2(g) less H+, so that
  // H+ + e- = 1/2 H2(g) has zero Gibbs energy at every temperature (S = 15.617 cal/(mol K) at 25 °C).
  {
    BuiltSpecies h;
    h.name = "H(+a)";
    h.origin = SpeciesOrigin::Convention;
    h.references = "Convention: zero at all T";
    h.reliability = kClassEvaluated;
    FittedRange r;
    r.t1 = kHkfTMin;
    r.t2 = kHkfTMax;
    r.phase = "ia";
    r.src = std::make_shared<ConstantCpSource>(0, 0, 0);
    r.origin = "convention";
    r.t1 = ToFloat(r.t1);
    r.t2 = ToFloat(r.t2);
    h.ranges.push_back(r);
    h.mw = thermo::MolarMass(h.name);
    h.chemical_name = "Hydrogen ion";
    h.color_rgb = SpeciesColour(h.name, "ia");
    names.insert(h.name);
    if (progress) progress(++done, total, h.name);
    res.species.push_back(std::move(h));

    auto h2 = std::find_if(res.species.begin(), res.species.end(), [](const BuiltSpecies& s) { return s.name == "H2(g)"; });
    if (h2 != res.species.end()) {
      BuiltSpecies e;
      e.name = std::string(thermo::kElectron);
      e.origin = SpeciesOrigin::Convention;
      e.references = "Convention: 1/2 H2(g) - H(+a)";
      e.reliability = kClassEvaluated;
      e.chemical_name = "Electron";
      for (FittedRange r : h2->ranges) {  // halving is exact in binary floating point
        r.H *= 0.5;
        r.S *= 0.5;
        r.cp.A *= 0.5;
        r.cp.B *= 0.5;
        r.cp.C *= 0.5;
        r.cp.D *= 0.5;
        r.err = {r.err.cp * 0.5, r.err.cp_rel, r.err.h * 0.5, r.err.s * 0.5, r.err.g * 0.5};
        r.phase = "e";
        r.origin = "1/2 " + r.origin;
        r.src = std::make_shared<ScaledSource>(r.src, 0.5);
        e.ranges.push_back(r);
      }
      e.mw = thermo::MolarMass(e.name);
      e.color_rgb = SpeciesColour(e.name, "e");
      names.insert(e.name);
      res.species.push_back(std::move(e));
    }
    if (progress) progress(++done, total, "e-");
  }
  for (auto& c : aq_cands) finish(c, "OBIGT");
  for (auto& c : min_cands) finish(c, "OBIGT");

  // ---- llnl.dat solids that neither NASA nor OBIGT has --------------------------------------------
  // G from log K of the dissolution and the OBIGT ions; S from that G and the file's enthalpy of
  // formation with the element entropies of the species built above; Cp constant by Kopp's rule.
  if (!llnl_phases.empty()) {
    std::map<std::string, double> species_g = {{"H+", 0.0}, {"H2O", kWaterG}};
    for (const ObigtRow& row : aq_rows)
      if (row.state == "aq" && !std::isnan(row.G)) species_g[row.formula] = row.G;
    for (const ObigtRow& row : aq_rows)
      if (row.formula == "H2O" && row.state == "liq" && !std::isnan(row.G)) species_g["H2O"] = row.G;
    // Element entropies (cal/(mol K) per atom) from the NASA reference-state species built above.
    std::map<std::string, size_t> built;
    for (size_t i = 0; i < res.species.size(); ++i)
      if (res.species[i].origin == SpeciesOrigin::NasaGas || res.species[i].origin == SpeciesOrigin::NasaCondensed)
        built[res.species[i].name] = i;
    std::map<std::string, double> nasa_element_s;
    auto element_entropy = [&](const std::string& el) {
      std::string species = el;
      double atoms = 1;
      for (const ReferenceState& r : kReferenceStates)
        if (r.element == el) {
          species = r.species;
          atoms = r.atoms;
        }
      auto it = built.find(species);
      if (it == built.end()) return;
      double h = 0, S = 0;
      EvaluateRanges(res.species[it->second].ranges, kTRef, &h, &S);
      nasa_element_s[el] = S / atoms;
    };
    for (std::string_view want : kLlnlSolids) {
      auto p = std::find_if(llnl_phases.begin(), llnl_phases.end(), [&](const LlnlPhase& x) { return x.name == want; });
      if (p == llnl_phases.end()) {
        res.warnings.push_back(fmt::format("llnl.dat {}: not in the file", want));
        continue;
      }
      if (names.count(p->formula)) {  // the database has it from a primary source
        if (progress) progress(++done, total, p->formula);
        continue;
      }
      Candidate c;
      c.plain = p->formula;
      c.comp = ParsedComposition(p->formula);
      for (const auto& [el, n] : c.comp) element_entropy(el);
      std::string why;
      auto d = DeriveSolid(*p, c.comp, species_g, nasa_element_s, &why);
      if (!d) {
        res.warnings.push_back(fmt::format("llnl.dat {}: {}, left out", p->name, why));
        if (progress) progress(++done, total, p->formula);
        continue;
      }
      c.sp.name = p->formula;
      c.sp.origin = SpeciesOrigin::LlnlMineral;
      c.sp.references = std::string(kLlnlReference);
      c.sp.reliability = kClassDerived;
      if (p->name != p->formula) c.sp.common_name = p->name;
      SourceSegment seg;
      seg.src = std::make_shared<ConstantCpSource>(d->H, d->S, KoppCp(c.comp));
      seg.t1 = kTRef;
      seg.t2 = std::isnan(p->t_max) ? kMineralDefaultTMax : std::min(p->t_max, opt.t_max);
      seg.phase = "s";
      seg.origin = fmt::format("llnl.dat {} line {} 298.15 K, Kopp Cp", p->name, p->line);
      c.segs.push_back(std::move(seg));
      finish(c, "llnl.dat");
    }
  }

  AssignDensities(res.species, MineralDensities({&cr_rows, &supcrt_rows}));

  // ---- melting and boiling points ----------------------------------------------------------------
  std::map<std::string, size_t> index;
  std::map<std::string, std::vector<size_t>> gas_by_comp;  // neutral gases by composition
  for (size_t i = 0; i < res.species.size(); ++i) {
    index[res.species[i].name] = i;
    if (res.species[i].origin != SpeciesOrigin::NasaGas) continue;
    double charge = 0;
    Composition c = ParsedComposition(res.species[i].name, &charge);
    if (charge == 0) gas_by_comp[CompositionKey(c, 1)].push_back(i);
  }
  for (BuiltSpecies& sp : res.species) {
    if (sp.origin != SpeciesOrigin::NasaCondensed) continue;
    for (size_t k = 1; k < sp.ranges.size(); ++k)
      if (sp.ranges[k].phase == "l" && sp.ranges[k - 1].phase == "s") {
        sp.melting_point = sp.ranges[k].t1;
        break;
      }
    // The gas that first wins over the liquid, among the gases made of 1 to 8 formula units
    // (sulfur boils to S8, S6 and S2, not to atoms).
    double bp = 0;
    for (int n = 1; n <= 8; ++n) {
      auto g = gas_by_comp.find(CompositionKey(ParsedComposition(sp.name), n));
      if (g == gas_by_comp.end()) continue;
      for (size_t gi : g->second) {
        double t = BoilingPoint(sp.ranges, res.species[gi].ranges, n);
        if (t > 0 && (bp == 0 || t < bp)) bp = t;
      }
    }
    sp.boiling_point = bp;
    auto g = index.find(GasName(sp.name, 0));
    if (g != index.end()) {
      res.species[g->second].melting_point = sp.melting_point;
      res.species[g->second].boiling_point = sp.boiling_point;
    }
  }
  return res;
}

std::vector<thermo::SpeciesRecord> ToRecords(const BuildResult& result) {
  std::vector<thermo::SpeciesRecord> out;
  for (const BuiltSpecies& sp : result.species) {
    for (const FittedRange& r : sp.ranges) {
      thermo::SpeciesRecord rec;
      rec.formula = sp.name;
      rec.chemical_name = Trunc(sp.chemical_name, thermo::record_layout::kChemicalNameLen);
      rec.common_name = Trunc(sp.common_name, thermo::record_layout::kCommonNameLen);
      rec.mw = static_cast<float>(sp.mw);
      rec.melting_point = static_cast<float>(sp.melting_point);
      rec.boiling_point = static_cast<float>(sp.boiling_point);
      rec.t1 = static_cast<float>(r.t1);
      rec.t2 = static_cast<float>(r.t2);
      rec.phase = r.phase;
      rec.h = static_cast<float>(r.H);
      rec.s = static_cast<float>(r.S);
      rec.a = static_cast<float>(r.cp.A);
      rec.b = static_cast<float>(r.cp.B);
      rec.c = static_cast<float>(r.cp.C);
      rec.d = static_cast<float>(r.cp.D);
      rec.density = static_cast<float>(sp.density);
      rec.color_rgb = sp.color_rgb;
      rec.references = sp.references;
      rec.reliability_class = sp.reliability;
      out.push_back(std::move(rec));
    }
  }
  return out;
}

std::string FitReportCsv(const BuildResult& result) {
  std::string out =
      "species,range,phase,T1_K,T2_K,source,max_dCp_J_per_mol_K,max_dCp_percent,max_dH_J_per_mol,"
      "max_dS_J_per_mol_K,max_dG_J_per_mol,within_tolerance\n";
  for (const BuiltSpecies& sp : result.species) {
    int k = 0;
    for (const FittedRange& r : sp.ranges) {
      std::string origin = r.origin;
      std::replace(origin.begin(), origin.end(), '"', '\'');
      out += fmt::format("\"{}\",{},{},{:.2f},{:.2f},\"{}\",{:.4f},{:.4f},{:.2f},{:.4f},{:.2f},{}\n", sp.name, ++k,
                         r.phase, r.t1, r.t2, origin, r.err.cp, 100.0 * r.err.cp_rel, r.err.h, r.err.s, r.err.g,
                         r.within_tolerance ? "yes" : "no");
    }
  }
  return out;
}

bool WriteBuildOutput(const BuildResult& result, const std::filesystem::path& out_dir, std::string* error) {
  std::error_code ec;
  std::filesystem::create_directories(out_dir, ec);
  if (ec) {
    if (error) *error = fmt::format("can not create {}: {}", out_dir.string(), ec.message());
    return false;
  }
  if (!thermo::WriteSpeciesDatabase(out_dir / kMainDbFile, ToRecords(result), error)) return false;
  if (!thermo::WriteSpeciesDatabase(out_dir / kOwnDbFile, {}, error)) return false;
  return platform::WriteFileAtomic(out_dir / kFitReportFile, FitReportCsv(result), error);
}

}  // namespace zyl::tools
