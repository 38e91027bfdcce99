#include "tools/db_builder.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <map>
#include <optional>
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

// ---- the build, step by step --------------------------------------------------------------------

namespace {

/// The parsed sources.
struct Sources {
  NasaFile nasa;
  std::vector<ObigtRow> aq_rows, cr_rows, supcrt_rows;
  std::map<std::string, double> element_s;            // cal/(mol K) per atom, OBIGT element.csv
  std::map<std::string, std::string> element_names;   // symbol -> name
  std::vector<LlnlPhase> llnl_phases;                 // empty when llnl.dat is missing
};

/// Reads and parses every source file; empty, with res.error set, when a required one is missing.
std::optional<Sources> ReadSources(const std::filesystem::path& dir, BuildResult& res) {
  auto read = [&](const char* rel, std::string* out) {
    std::string err;
    auto t = platform::ReadFile(dir / rel, &err);
    if (!t) {
      res.error = fmt::format("can not read source {}: {}", (dir / rel).string(), err);
      return false;
    }
    *out = std::move(*t);
    return true;
  };
  std::string nasa_text, aq_text, cr_text, supcrt_text, element_text;
  if (!read("nasa/thermo.inp", &nasa_text) || !read("obigt/inorganic_aq.csv", &aq_text) ||
      !read("obigt/inorganic_cr.csv", &cr_text) || !read("obigt/SUPCRT92.csv", &supcrt_text) ||
      !read("obigt/element.csv", &element_text))
    return std::nullopt;
  Sources src;
  src.element_names = ElementNames(dir / "elements/atomic_weights.csv");
  std::string err;
  if (auto t = platform::ReadFile(dir / "phreeqc/llnl.dat", &err)) src.llnl_phases = ParseLlnlPhases(*t);
  else res.warnings.push_back(fmt::format("phreeqc/llnl.dat not read ({}): its solids are left out", err));
  src.element_s = ParseElementEntropies(element_text);

  src.nasa = ParseNasaThermo(nasa_text);
  for (auto& w : src.nasa.warnings) res.warnings.push_back("thermo.inp " + w);
  std::vector<std::string> obigt_warn;
  src.aq_rows = ParseObigtSpecies(aq_text, &obigt_warn);
  src.cr_rows = ParseObigtSpecies(cr_text, &obigt_warn);
  src.supcrt_rows = ParseObigtSpecies(supcrt_text, &obigt_warn);
  for (auto& w : obigt_warn) res.warnings.push_back("OBIGT " + w);
  return src;
}

// ---- NASA candidates ----

/// What a NASA record is: its exact composition, chemist formula and isomer qualifier.
struct NasaIdentity {
  Composition comp;
  int charge = 0;
  bool condensed = false;
  std::string formula;         // chemist formula without phase suffix
  std::string qualifier;       // isomer note kept for naming (cleared when it became the formula)
  std::string qualifier_text;  // the note as written, for the common name
};

/// Identifies one NASA record; empty when it is left out (with a warning when that is not expected).
std::optional<NasaIdentity> IdentifyNasaRecord(const NasaRecord& rec, std::vector<std::string>& warnings) {
  if (rec.intervals.empty()) return std::nullopt;
  if (rec.name.rfind("Inert", 0) == 0) return std::nullopt;  // duplicates of real species for combustion codes
  if (rec.name == "e-") return std::nullopt;                  // the electron gas; "e-" is the aqueous convention
  NasaIdentity id;
  auto comp = NasaComposition(rec.elements, &id.charge);
  if (!comp) {
    warnings.push_back(fmt::format("NASA {}: element not in the table, left out", rec.name));
    return std::nullopt;
  }
  id.condensed = rec.phase > 0;
  NasaName nn = SplitNasaName(rec.name, id.condensed);
  if (!id.condensed && nn.charge != id.charge) {
    warnings.push_back(fmt::format("NASA {}: charge of the name and formula differ, left out", rec.name));
    return std::nullopt;
  }
  id.qualifier = nn.qualifier;
  id.qualifier_text = QualifierText(nn.qualifier);
  std::optional<std::string> formula;
  // A structural qualifier in capitals ("FO2,FOO") is itself the better formula.
  if (!id.qualifier.empty() && std::all_of(id.qualifier.begin(), id.qualifier.end(), [](char c) {
        return std::isupper(static_cast<unsigned char>(c)) || std::isdigit(static_cast<unsigned char>(c));
      })) {
    formula = ChemistFormula(id.qualifier, *comp);
    if (formula) id.qualifier.clear();
  }
  if (!formula) formula = ChemistFormula(nn.formula, *comp);
  if (!formula) {
    warnings.push_back(fmt::format("NASA {}: name does not match its formula, left out", rec.name));
    return std::nullopt;
  }
  id.formula = *formula;
  id.comp = ParsedComposition(*formula);  // exact amounts ("Fe0.947O"; the file prints 0.95)
  return id;
}

/// A candidate named `plain` with the record's source data, before its segments are added.
Candidate NasaCandidate(const NasaRecord& rec, const NasaIdentity& id, std::string plain, SpeciesOrigin origin) {
  Candidate c;
  c.plain = std::move(plain);
  c.qualifier = id.qualifier;
  c.hf = rec.hf298;
  c.comp = id.comp;
  c.sp.origin = origin;
  c.sp.references = NasaReference(rec);
  c.sp.reliability = NasaClass(rec.ref_code);
  c.sp.common_name = id.qualifier_text;
  return c;
}

/// Joins the phase records of one condensed substance (solids before liquid) into its segments.
void MergeCondensedPhases(Candidate& c, std::vector<const NasaRecord*> records, double t_max) {
  std::stable_sort(records.begin(), records.end(),
                   [](const NasaRecord* a, const NasaRecord* b) { return a->phase < b->phase; });
  for (const NasaRecord* r : records) {
    NasaName nn = SplitNasaName(r->name, true);
    AppendPhase(c.segs, RecordSegments(*r, nn.phase_tag == "L" ? "l" : "s", t_max));
  }
  StartAt298(c.segs);
}

/// Replaces the NASA liquid water by IAPWS-95 along the aqueous path, anchored to it at 25 °C.
void UseIapwsLiquidWater(std::vector<Candidate>& condensed) {
  for (Candidate& c : condensed) {
    if (c.plain != "H2O" || !c.qualifier.empty()) continue;
    auto liquid = std::find_if(c.segs.begin(), c.segs.end(), [](const SourceSegment& s) { return s.phase == "l"; });
    if (liquid == c.segs.end()) return;
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
    return;
  }
}

/// Names isomers sharing a formula: the one without a qualifier (else the lowest enthalpy of
/// formation) keeps the plain name, the others get a prefix.
void ResolveIsomerNames(std::vector<Candidate>& cands) {
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
}

/// The NASA species before fitting, gases and condensed substances apart (each named).
struct NasaCandidates {
  std::vector<Candidate> gases, condensed;
};

/// NASA gases and condensed substances (all phase records of one substance merged), named.
NasaCandidates BuildNasaCandidates(const NasaFile& nasa, double t_max, std::vector<std::string>& warnings) {
  NasaCandidates out;
  std::map<std::string, size_t> cond_group;  // formula-as-written + qualifier -> index in out.condensed
  std::vector<std::vector<const NasaRecord*>> cond_records;
  for (const NasaRecord& rec : nasa.records) {
    std::optional<NasaIdentity> id = IdentifyNasaRecord(rec, warnings);
    if (!id) continue;
    if (!id->condensed) {
      Candidate c = NasaCandidate(rec, *id, GasName(id->formula, id->charge), SpeciesOrigin::NasaGas);
      c.segs = RecordSegments(rec, id->charge ? "ig" : "g", t_max);
      StartAt298(c.segs);
      if (!c.segs.empty()) out.gases.push_back(std::move(c));
      continue;
    }
    auto [it, inserted] = cond_group.emplace(id->formula + "," + id->qualifier, out.condensed.size());
    if (inserted) {
      out.condensed.push_back(NasaCandidate(rec, *id, id->formula, SpeciesOrigin::NasaCondensed));
      cond_records.emplace_back();
    }
    cond_records[it->second].push_back(&rec);
  }
  for (size_t i = 0; i < out.condensed.size(); ++i) MergeCondensedPhases(out.condensed[i], cond_records[i], t_max);
  UseIapwsLiquidWater(out.condensed);
  ResolveIsomerNames(out.gases);
  ResolveIsomerNames(out.condensed);
  return out;
}

// ---- OBIGT aqueous candidates ----

/// One OBIGT aqueous species: revised HKF along 1 bar / saturation, else its 25 °C Cp held constant;
/// empty when the row lacks S or H (and H can not be derived from G).
std::optional<Candidate> AqueousCandidate(const ObigtRow& row, const std::map<std::string, double>& element_s,
                                          std::vector<std::string>& warnings) {
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
    warnings.push_back(fmt::format("OBIGT {}: charge column says {:g}; the formula's charge is used", row.name, row.zT));
  double H = row.H, S = row.S, Cp = row.Cp;
  if (std::isnan(S)) {
    warnings.push_back(fmt::format("OBIGT {}: no entropy, left out", row.name));
    return std::nullopt;
  }
  if (std::isnan(H)) {
    H = EnthalpyFromGibbs(row.G, S, c.comp, charge, element_s);
    c.sp.reliability = kClassDerived;
    if (std::isnan(H)) {
      warnings.push_back(fmt::format("OBIGT {}: no enthalpy, left out", row.name));
      return std::nullopt;
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
  return c;
}

/// Every aqueous species of the OBIGT file that has enough data.
std::vector<Candidate> BuildAqueousCandidates(const std::vector<ObigtRow>& rows,
                                              const std::map<std::string, double>& element_s,
                                              std::vector<std::string>& warnings) {
  std::vector<Candidate> out;
  for (const ObigtRow& row : rows)
    if (row.state == "aq")
      if (auto c = AqueousCandidate(row, element_s, warnings)) out.push_back(std::move(*c));
  return out;
}

// ---- OBIGT mineral candidates ----

/// An OBIGT mineral before the choice among polymorphs.
struct Mineral {
  Candidate cand;
  double g298 = 0;  // cal/mol, to choose among polymorphs of one formula
};

/// One OBIGT mineral from its polymorph rows (successive temperature segments, CGL heat capacity);
/// empty when a row lacks data that can not be derived.
std::optional<Mineral> MineralFromRows(const std::vector<const ObigtRow*>& poly, const std::string& formula,
                                       const Composition& comp, const std::map<std::string, double>& element_s,
                                       double t_max) {
  const ObigtRow& first = *poly.front();
  Mineral m;
  m.cand.plain = formula;
  m.cand.comp = comp;
  m.cand.sp.name = formula;
  m.cand.sp.origin = SpeciesOrigin::ObigtMineral;
  m.cand.sp.references = ObigtReference(first);
  m.cand.sp.reliability = kClassObigt;
  m.cand.sp.common_name = AsciiText(first.name);
  double t_prev = kTRef;
  for (const ObigtRow* r : poly) {
    double H = r->H, S = r->S;
    double t_top = std::isnan(r->zT) && poly.size() == 1 ? kMineralDefaultTMax : r->zT;
    if (std::isnan(S) && !std::isnan(H) && !std::isnan(r->G)) {
      S = EntropyFromGibbs(r->G, H, comp, element_s);
      m.cand.sp.reliability = kClassDerived;
    }
    if (std::isnan(S) || !(t_top > t_prev)) return std::nullopt;
    if (std::isnan(H)) {
      H = EnthalpyFromGibbs(r->G, S, comp, 0, element_s);
      m.cand.sp.reliability = kClassDerived;
    }
    if (std::isnan(H)) return std::nullopt;
    SourceSegment s;
    s.src = std::make_shared<CglSource>(H, S, r->p);
    s.t1 = t_prev;
    s.t2 = std::min(t_top, t_max);
    s.phase = "s";
    s.origin = fmt::format("OBIGT {} {} {:g}-{:g} K", r->name, r->state, t_prev, t_top);
    m.cand.segs.push_back(std::move(s));
    t_prev = t_top;
    if (t_prev >= t_max) break;
  }
  if (m.cand.segs.empty()) return std::nullopt;
  m.g298 = m.cand.segs.front().src->G(kTRef);
  if (!std::isnan(first.V) && first.V > 0) m.cand.sp.density = thermo::MolarMass(formula) / first.V;
  return m;
}

/// Appends the CGL minerals of one OBIGT file whose composition NASA lacks.
void CollectMinerals(const std::vector<ObigtRow>& rows, const std::vector<Candidate>& nasa_condensed,
                     const std::map<std::string, double>& element_s, double t_max, std::vector<Mineral>& out,
                     std::vector<std::string>& warnings) {
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
    const bool in_nasa = std::any_of(nasa_condensed.begin(), nasa_condensed.end(),
                                     [&](const Candidate& nc) { return SameComposition(nc.comp, comp); });
    if (in_nasa) continue;
    auto m = MineralFromRows(poly, formula, comp, element_s, t_max);
    if (!m) {
      warnings.push_back(fmt::format("OBIGT mineral {}: incomplete data, left out", first.name));
      continue;
    }
    out.push_back(std::move(*m));
  }
}

/// One mineral per formula: the most stable at 25 °C (lowest G), in the order they were read.
std::vector<Candidate> MostStablePolymorphs(std::vector<Mineral>& minerals) {
  std::map<std::string, size_t> best;
  for (size_t i = 0; i < minerals.size(); ++i) {
    auto [it, inserted] = best.emplace(minerals[i].cand.plain, i);
    if (!inserted && minerals[i].g298 < minerals[it->second].g298) it->second = i;
  }
  std::set<size_t> chosen;
  for (auto& [k, v] : best) chosen.insert(v);
  std::vector<Candidate> out;
  for (size_t i : chosen) out.push_back(std::move(minerals[i].cand));
  return out;
}

/// OBIGT minerals (crystal file, then SUPCRT92) that NASA lacks.
std::vector<Candidate> BuildMineralCandidates(const Sources& src, const std::vector<Candidate>& nasa_condensed,
                                              double t_max, std::vector<std::string>& warnings) {
  std::vector<Mineral> minerals;
  CollectMinerals(src.cr_rows, nasa_condensed, src.element_s, t_max, minerals, warnings);
  CollectMinerals(src.supcrt_rows, nasa_condensed, src.element_s, t_max, minerals, warnings);
  return MostStablePolymorphs(minerals);
}

// ---- fitting ----

/// Fits candidates into the result in order: counts progress, keeps names unique and valid, and
/// fills the fields that follow from the fitted ranges.
class SpeciesFitter {
 public:
  SpeciesFitter(BuildResult& res, const BuildOptions& opt, const BuildProgress& progress, int total,
                const std::map<std::string, std::string>& element_names)
      : res_(res),
        tol_(opt.tolerance),
        aqueous_tol_(AqueousTolerance(opt.tolerance)),
        progress_(progress),
        total_(total),
        element_names_(element_names) {}

  /// Counts one step of the progress.
  void Step(std::string_view what) {
    if (progress_) progress_(++done_, total_, what);
  }

  /// True when a species of that name is in the result already.
  bool Taken(const std::string& name) const { return names_.count(name) > 0; }

  /// Adds a species built without fitting.
  void Add(BuiltSpecies sp) {
    names_.insert(sp.name);
    res_.species.push_back(std::move(sp));
  }

  /// Fits a candidate and adds it; leaves it out with a warning naming `kind` when its name is
  /// too long, does not parse to its composition, or is taken.
  void Fit(Candidate& c, std::string_view kind) {
    Step(c.sp.name);
    BuiltSpecies sp = std::move(c.sp);
    if (sp.name.size() > kMaxNameLength) {
      res_.warnings.push_back(
          fmt::format("{} {}: name longer than {} characters, left out", kind, sp.name, kMaxNameLength));
      return;
    }
    double charge = 0;
    if (!SameComposition(ParsedComposition(sp.name, &charge), c.comp)) {
      res_.warnings.push_back(fmt::format("{} {}: name does not parse to its formula, left out", kind, sp.name));
      return;
    }
    if (!names_.insert(sp.name).second) {
      res_.warnings.push_back(fmt::format("{} {}: name already taken, left out", kind, sp.name));
      return;
    }
    sp.ranges = FitSpecies(c.segs, c.aqueous_path ? aqueous_tol_ : tol_);
    if (sp.ranges.empty()) return;
    for (const auto& r : sp.ranges)
      if (!r.within_tolerance) sp.reliability = kClassDerived;
    sp.mw = thermo::MolarMass(sp.name);
    // Element names for the elements themselves (not for their ions).
    if (sp.chemical_name.empty() && charge == 0 && sp.origin != SpeciesOrigin::ObigtAqueous)
      sp.chemical_name = ElementName(c.comp, sp.origin == SpeciesOrigin::NasaGas, element_names_);
    sp.color_rgb = SpeciesColour(sp.name, sp.ranges.front().phase);
    res_.species.push_back(std::move(sp));
  }

  /// Fits every candidate of one source, in order.
  void FitAll(std::vector<Candidate>& cands, std::string_view kind) {
    for (Candidate& c : cands) Fit(c, kind);
  }

 private:
  BuildResult& res_;
  const FitTolerance tol_, aqueous_tol_;
  const BuildProgress& progress_;
  const int total_;
  int done_ = 0;
  std::set<std::string> names_;
  const std::map<std::string, std::string>& element_names_;
};

// ---- conventions ----

/// H+: zero at all temperatures.
BuiltSpecies HydrogenIonConvention() {
  BuiltSpecies h;
  h.name = "H(+a)";
  h.origin = SpeciesOrigin::Convention;
  h.references = "Convention: zero at all T";
  h.reliability = kClassEvaluated;
  FittedRange r;
  r.t1 = ToFloat(kHkfTMin);
  r.t2 = ToFloat(kHkfTMax);
  r.phase = "ia";
  r.src = std::make_shared<ConstantCpSource>(0, 0, 0);
  r.origin = "convention";
  h.ranges.push_back(r);
  h.mw = thermo::MolarMass(h.name);
  h.chemical_name = "Hydrogen ion";
  h.color_rgb = SpeciesColour(h.name, "ia");
  return h;
}

/// The electron: half of H2(g) less H+, so that H+ + e- = 1/2 H2(g) has zero Gibbs energy at every
/// temperature (S = 15.617 cal/(mol K) at 25 °C).
BuiltSpecies ElectronConvention(const BuiltSpecies& h2) {
  BuiltSpecies e;
  e.name = std::string(thermo::kElectron);
  e.origin = SpeciesOrigin::Convention;
  e.references = "Convention: 1/2 H2(g) - H(+a)";
  e.reliability = kClassEvaluated;
  e.chemical_name = "Electron";
  for (FittedRange r : h2.ranges) {  // halving is exact in binary floating point
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
  return e;
}

/// Adds H+ and (when H2(g) was built) the electron.
void AddConventions(SpeciesFitter& fitter, const std::vector<BuiltSpecies>& species) {
  BuiltSpecies h = HydrogenIonConvention();
  const std::string h_name = h.name;
  fitter.Add(std::move(h));
  fitter.Step(h_name);
  auto h2 = std::find_if(species.begin(), species.end(), [](const BuiltSpecies& s) { return s.name == "H2(g)"; });
  if (h2 != species.end()) fitter.Add(ElectronConvention(*h2));
  fitter.Step("e-");
}

// ---- llnl.dat solids ----

/// How many of the wanted llnl.dat solids the file holds (progress steps).
size_t LlnlSolidCount(const std::vector<LlnlPhase>& phases) {
  return static_cast<size_t>(std::count_if(phases.begin(), phases.end(), [](const LlnlPhase& p) {
    return std::find(std::begin(kLlnlSolids), std::end(kLlnlSolids), p.name) != std::end(kLlnlSolids);
  }));
}

/// Formation G (cal/mol) of the species the llnl.dat dissolution reactions name, from OBIGT.
std::map<std::string, double> LlnlSpeciesGibbs(const std::vector<ObigtRow>& aq_rows) {
  std::map<std::string, double> species_g = {{"H+", 0.0}, {"H2O", kWaterG}};
  for (const ObigtRow& row : aq_rows)
    if (row.state == "aq" && !std::isnan(row.G)) species_g[row.formula] = row.G;
  for (const ObigtRow& row : aq_rows)
    if (row.formula == "H2O" && row.state == "liq" && !std::isnan(row.G)) species_g["H2O"] = row.G;
  return species_g;
}

/// Entropies (cal/(mol K) per atom) of the elements of comp, from the NASA reference-state species
/// built so far (`nasa` maps their names to indexes in species); elements without one are missing.
std::map<std::string, double> NasaElementEntropies(const Composition& comp, const std::vector<BuiltSpecies>& species,
                                                   const std::map<std::string, size_t>& nasa) {
  std::map<std::string, double> out;
  for (const auto& [el, n] : comp) {
    std::string name = el;
    double atoms = 1;
    for (const ReferenceState& r : kReferenceStates)
      if (r.element == el) {
        name = r.species;
        atoms = r.atoms;
      }
    auto it = nasa.find(name);
    if (it == nasa.end()) continue;
    double h = 0, S = 0;
    EvaluateRanges(species[it->second].ranges, kTRef, &h, &S);
    out[el] = S / atoms;
  }
  return out;
}

/// A llnl.dat solid with its derived 25 °C data and a constant Kopp Cp.
Candidate LlnlCandidate(const LlnlPhase& p, const Composition& comp, const DerivedSolid& d, double t_max) {
  Candidate c;
  c.plain = p.formula;
  c.comp = comp;
  c.sp.name = p.formula;
  c.sp.origin = SpeciesOrigin::LlnlMineral;
  c.sp.references = std::string(kLlnlReference);
  c.sp.reliability = kClassDerived;
  if (p.name != p.formula) c.sp.common_name = p.name;
  SourceSegment seg;
  seg.src = std::make_shared<ConstantCpSource>(d.H, d.S, KoppCp(comp));
  seg.t1 = kTRef;
  seg.t2 = std::isnan(p.t_max) ? kMineralDefaultTMax : std::min(p.t_max, t_max);
  seg.phase = "s";
  seg.origin = fmt::format("llnl.dat {} line {} 298.15 K, Kopp Cp", p.name, p.line);
  c.segs.push_back(std::move(seg));
  return c;
}

/// Fits the llnl.dat solids that neither NASA nor OBIGT has. G comes from log K of the dissolution
/// and the OBIGT ions; S from that G and the file's enthalpy of formation with the element entropies
/// of the species built so far; Cp constant by Kopp's rule.
void AddLlnlSolids(const Sources& src, double t_max, SpeciesFitter& fitter, BuildResult& res) {
  if (src.llnl_phases.empty()) return;
  const std::map<std::string, double> species_g = LlnlSpeciesGibbs(src.aq_rows);
  std::map<std::string, size_t> nasa;
  for (size_t i = 0; i < res.species.size(); ++i)
    if (res.species[i].origin == SpeciesOrigin::NasaGas || res.species[i].origin == SpeciesOrigin::NasaCondensed)
      nasa[res.species[i].name] = i;
  for (std::string_view want : kLlnlSolids) {
    auto p = std::find_if(src.llnl_phases.begin(), src.llnl_phases.end(),
                          [&](const LlnlPhase& x) { return x.name == want; });
    if (p == src.llnl_phases.end()) {
      res.warnings.push_back(fmt::format("llnl.dat {}: not in the file", want));
      continue;
    }
    if (fitter.Taken(p->formula)) {  // the database has it from a primary source
      fitter.Step(p->formula);
      continue;
    }
    const Composition comp = ParsedComposition(p->formula);
    std::string why;
    auto d = DeriveSolid(*p, comp, species_g, NasaElementEntropies(comp, res.species, nasa), &why);
    if (!d) {
      res.warnings.push_back(fmt::format("llnl.dat {}: {}, left out", p->name, why));
      fitter.Step(p->formula);
      continue;
    }
    Candidate c = LlnlCandidate(*p, comp, *d, t_max);
    fitter.Fit(c, "llnl.dat");
  }
}

// ---- transition points ----

/// Melting and boiling points of the NASA condensed substances, copied to their gas of the same name.
void AssignTransitionPoints(std::vector<BuiltSpecies>& species) {
  std::map<std::string, size_t> index;
  std::map<std::string, std::vector<size_t>> gas_by_comp;  // neutral gases by composition
  for (size_t i = 0; i < species.size(); ++i) {
    index[species[i].name] = i;
    if (species[i].origin != SpeciesOrigin::NasaGas) continue;
    double charge = 0;
    Composition c = ParsedComposition(species[i].name, &charge);
    if (charge == 0) gas_by_comp[CompositionKey(c, 1)].push_back(i);
  }
  for (BuiltSpecies& sp : species) {
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
        double t = BoilingPoint(sp.ranges, species[gi].ranges, n);
        if (t > 0 && (bp == 0 || t < bp)) bp = t;
      }
    }
    sp.boiling_point = bp;
    auto g = index.find(GasName(sp.name, 0));
    if (g != index.end()) {
      species[g->second].melting_point = sp.melting_point;
      species[g->second].boiling_point = sp.boiling_point;
    }
  }
}

}  // namespace

BuildResult BuildMainDatabase(const BuildOptions& opt, const BuildProgress& progress) {
  BuildResult res;
  std::optional<Sources> src = ReadSources(opt.sources, res);
  if (!src) return res;
  NasaCandidates nasa = BuildNasaCandidates(src->nasa, opt.t_max, res.warnings);
  std::vector<Candidate> aqueous = BuildAqueousCandidates(src->aq_rows, src->element_s, res.warnings);
  std::vector<Candidate> minerals = BuildMineralCandidates(*src, nasa.condensed, opt.t_max, res.warnings);

  const size_t steps = nasa.gases.size() + nasa.condensed.size() + aqueous.size() + minerals.size() +
                       LlnlSolidCount(src->llnl_phases) + 2;  // + H+ and e-
  SpeciesFitter fitter(res, opt, progress, static_cast<int>(steps), src->element_names);
  fitter.FitAll(nasa.gases, "NASA");
  fitter.FitAll(nasa.condensed, "NASA");
  AddConventions(fitter, res.species);
  fitter.FitAll(aqueous, "OBIGT");
  fitter.FitAll(minerals, "OBIGT");
  AddLlnlSolids(*src, opt.t_max, fitter, res);

  AssignDensities(res.species, MineralDensities({&src->cr_rows, &src->supcrt_rows}));
  AssignTransitionPoints(res.species);
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
