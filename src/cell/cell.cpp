#include "cell/cell.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "platform/files.h"
#include "platform/text.h"
#include "thermo/formula.h"

namespace zyl::cell {

namespace {

namespace fs = std::filesystem;

constexpr double kKelvin = thermo::kCelsiusOffset;
constexpr double kWaterKgPerMol = 0.018015;
constexpr int kNameWidth = 22;
constexpr int kMaxMultiple = 12;  // the name field; the temperature field ends in column 30

std::string FormatSpeciesLine(const CellSpecies& s) {
  // Each value ends in the column of its header text: 30, 45, 54, 66, 76 and 86.
  std::string name = s.name.size() < std::size_t(kNameWidth) ? s.name : s.name + " ";
  return fmt::format("{:<{}}{:>8.2f}{:>15.6g}{:>9.3f}{:>12.3f}{:>10.3f}{:>10.3f}", name, kNameWidth, s.t_c + kKelvin,
                     s.amount, s.mw, s.g, s.h_in, s.h_eq);
}

bool EndsWith(std::string_view s, std::string_view tail) {
  return s.size() >= tail.size() && s.substr(s.size() - tail.size()) == tail;
}

bool IsAqueous(std::string_view name) { return EndsWith(name, "a)"); }
bool IsGas(std::string_view name) { return EndsWith(name, "(g)"); }

// Null space of a small dense matrix (rows x cols); returns its basis vectors.
std::vector<std::vector<double>> NullSpace(std::vector<std::vector<double>> m, std::size_t cols) {
  std::vector<int> pivot_col;
  std::size_t row = 0;
  for (std::size_t c = 0; c < cols && row < m.size(); ++c) {
    std::size_t p = row;
    for (std::size_t r = row + 1; r < m.size(); ++r)
      if (std::fabs(m[r][c]) > std::fabs(m[p][c])) p = r;
    if (std::fabs(m[p][c]) < 1e-9) continue;
    std::swap(m[p], m[row]);
    double d = m[row][c];
    for (auto& v : m[row]) v /= d;
    for (std::size_t r = 0; r < m.size(); ++r) {
      if (r == row || m[r][c] == 0) continue;
      double f = m[r][c];
      for (std::size_t k = 0; k < cols; ++k) m[r][k] -= f * m[row][k];
    }
    pivot_col.push_back(int(c));
    ++row;
  }
  std::vector<std::vector<double>> basis;
  for (std::size_t free = 0; free < cols; ++free) {
    if (std::find(pivot_col.begin(), pivot_col.end(), int(free)) != pivot_col.end()) continue;
    std::vector<double> v(cols, 0.0);
    v[free] = 1;
    for (std::size_t r = 0; r < pivot_col.size(); ++r) v[std::size_t(pivot_col[r])] = -m[r][free];
    basis.push_back(v);
  }
  return basis;
}

// Half reaction of an electrode phase: coefficients of its species (products > 0) and of e- (last entry).
std::string HalfReaction(const CellPhase& phase, std::vector<double>* nu) {
  std::vector<std::string> elements;
  std::vector<thermo::FormulaComposition> comps;
  for (const auto& s : phase.species) {
    comps.push_back(thermo::ParseFormula(s.name));
    if (!comps.back().ok()) return s.name + ": " + comps.back().error;
    for (const auto& e : comps.back().entries)
      if (e.symbol != thermo::kElectron && std::find(elements.begin(), elements.end(), e.symbol) == elements.end())
        elements.push_back(e.symbol);
  }
  const std::size_t cols = phase.species.size() + 1;
  std::vector<std::vector<double>> m(elements.size() + 1, std::vector<double>(cols, 0.0));
  for (std::size_t j = 0; j < comps.size(); ++j) {
    for (std::size_t i = 0; i < elements.size(); ++i) m[i][j] = comps[j].Amount(elements[i]);
    m[elements.size()][j] = comps[j].Charge();
  }
  m[elements.size()][cols - 1] = -1;  // the electron
  auto basis = NullSpace(m, cols);
  std::string couple = "The " + phase.name + " phase must hold exactly one redox couple";
  if (basis.size() != 1) return couple + (basis.empty() ? " (no electron transfer is possible)." : " (it holds more than one).");
  *nu = basis[0];
  if (std::fabs(nu->back()) < 1e-12) return couple + " (its reaction moves no electrons).";
  // Whole numbers where the species allow: scale so that the smallest non-zero coefficient is 1 or more.
  double smallest = 1e300;
  for (double v : *nu)
    if (std::fabs(v) > 1e-12) smallest = std::min(smallest, std::fabs(v));
  for (double& v : *nu) v /= smallest;
  return {};
}

std::string SpeciesTerm(double c, const std::string& name) {
  return std::fabs(c - 1) < 1e-9 ? name : fmt::format("{:g}{}", c, name);
}

}  // namespace

SpeciesSource DatabaseSource(const thermo::SpeciesDatabases& dbs) {
  return [&dbs](std::string_view name) {
    thermo::SpeciesLocation loc = thermo::FindSpecies(name, dbs);
    return loc ? thermo::ReadSpeciesData(loc, name) : thermo::SpeciesData{};
  };
}

std::string FillSpeciesData(CellSystem* sys, const SpeciesSource& source) {
  const double t_eq = sys->t_c + kKelvin;
  for (auto& phase : sys->phases)
    for (auto& s : phase.species) {
      thermo::SpeciesData sp = source(s.name);
      if (sp.ranges.empty()) return s.name + std::string(kNotFound);
      s.mw = thermo::MolarMass(s.name);
      if (s.mw == 0) s.mw = sp.ranges.front().mw;
      thermo::SpeciesValues at_in = thermo::CalcSpeciesAtT(sp, s.t_c + kKelvin);
      thermo::SpeciesValues at_eq = thermo::CalcSpeciesAtT(sp, t_eq);
      s.g = at_eq.g * kKcalToKj / 1000;
      s.h_in = at_in.h * kKcalToKj / 1000;
      s.h_eq = at_eq.h * kKcalToKj / 1000;
    }
  return {};
}

std::string CellInputText(const CellSystem& sys) {
  std::string out;
  out += "Equilibrium Calculations " + sys.title + "\n";
  out += "File name is: " + sys.file_name + "\n";
  out += fmt::format("T = {:.2f} K   P = {:g} bar\n", sys.t_c + kKelvin, sys.p_bar);
  out += std::string(kHeader1) + "\n" + std::string(kHeader2) + "\n";
  for (const auto& phase : sys.phases) {
    out += "Phase: " + phase.name + "\n";
    for (const auto& s : phase.species) out += FormatSpeciesLine(s) + "\n";
  }
  out += fmt::format("Q = {:g} mol e-\n", sys.charge);
  out += "Extra Balances:";
  for (std::size_t i = 0; i < sys.extra.size(); ++i)
    out += fmt::format("{}{}({:g})", i ? ", " : " ", sys.extra[i].first, sys.extra[i].second);
  out += "\n";
  return out;
}

std::string WriteCellInput(CellSystem sys, const SpeciesSource& source, const fs::path& file) {
  std::string error = FillSpeciesData(&sys, source);
  if (!error.empty()) return error;
  if (sys.file_name.empty()) sys.file_name = file.filename().string();
  std::string why;
  if (!platform::WriteFileAtomic(file, CellInputText(sys), &why)) return "Can not write " + file.string() + ": " + why;
  fs::path ini = (file.has_parent_path() ? file.parent_path() : fs::path(".")) / kIniName;
  std::error_code ec;
  fs::path full = fs::absolute(file, ec);
  if (!platform::WriteFileAtomic(ini, (ec ? file : full).string() + "\n", &why))
    return "Can not write " + ini.string() + ": " + why;
  return {};
}

std::string ParseCellInput(std::string_view text, CellSystem* out) {
  CellSystem sys;
  std::istringstream in{std::string(text)};
  std::string line;
  int n = 0;
  CellPhase* phase = nullptr;
  bool header = false;
  while (std::getline(in, line)) {
    ++n;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::string t = platform::Trim(line);
    if (t.empty()) continue;
    if (t.rfind("Equilibrium Calculations", 0) == 0) {
      sys.title = platform::Trim(t.substr(24));
    } else if (t.rfind("File name is:", 0) == 0) {
      sys.file_name = platform::Trim(t.substr(13));
    } else if (t.rfind("T = ", 0) == 0) {
      double tk = 0, p = 1;
      if (std::sscanf(t.c_str(), "T = %lf K P = %lf", &tk, &p) < 1 || !(tk > 0))
        return fmt::format("Line {}: the temperature can not be read.", n);
      std::size_t pp = t.find("P = ");
      if (pp != std::string::npos) p = std::strtod(t.c_str() + pp + 4, nullptr);
      sys.t_c = tk - kKelvin;
      sys.p_bar = p;
    } else if (line == kHeader1 || line == kHeader2) {
      header = true;
    } else if (t.rfind("Phase", 0) == 0) {
      std::size_t colon = t.find(": ");
      sys.phases.push_back({colon == std::string::npos ? "" : platform::Trim(t.substr(colon + 2)), {}});
      phase = &sys.phases.back();
    } else if (t.rfind("Q", 0) == 0 && (t.size() == 1 || t[1] == ' ' || t[1] == '=')) {
      std::size_t eq = t.find('=');
      sys.charge = eq == std::string::npos ? 0 : std::strtod(t.c_str() + eq + 1, nullptr);
      phase = nullptr;
    } else if (t.rfind("Extra Balances:", 0) == 0) {
      std::string rest = t.substr(15);
      std::size_t pos = 0;
      while ((pos = rest.find('(', pos)) != std::string::npos) {
        std::size_t close = rest.find(')', pos);
        if (close == std::string::npos) return fmt::format("Line {}: an extra balance lacks its \")\".", n);
        std::size_t start = rest.rfind(", ", pos);
        start = start == std::string::npos ? 0 : start + 2;
        sys.extra.emplace_back(platform::Trim(rest.substr(start, pos - start)),
                               std::strtod(rest.substr(pos + 1, close - pos - 1).c_str(), nullptr));
        pos = close;
      }
    } else if (phase && header) {
      // Name, then six numbers; the name may hold blanks, so read the numbers from the right.
      std::vector<std::string> words;
      std::istringstream ws(t);
      for (std::string w; ws >> w;) words.push_back(w);
      if (words.size() < 7) return fmt::format("Line {}: a species line needs a name and six numbers.", n);
      double v[6];
      for (int k = 0; k < 6; ++k) {
        const std::string& w = words[words.size() - 6 + std::size_t(k)];
        char* end = nullptr;
        v[k] = std::strtod(w.c_str(), &end);
        if (end == w.c_str() || *end) return fmt::format("Line {}: \"{}\" is not a number.", n, w);
      }
      std::size_t name_end = t.find(words[words.size() - 6], words[0].size());
      CellSpecies s;
      s.name = platform::Trim(t.substr(0, name_end));
      s.t_c = v[0] - kKelvin;
      s.amount = v[1];
      s.mw = v[2];
      s.g = v[3];
      s.h_in = v[4];
      s.h_eq = v[5];
      phase->species.push_back(s);
    } else {
      return fmt::format("Line {} can not be read: {}", n, t);
    }
  }
  if (sys.phases.empty()) return "The cell input file holds no phase.";
  *out = std::move(sys);
  return {};
}

std::string ParseCellJson(std::string_view text, CellSystem* out) {
  nlohmann::json j = nlohmann::json::parse(text, nullptr, false);
  if (j.is_discarded() || !j.is_object()) return "The cell description is not valid JSON.";
  CellSystem sys;
  std::string unit = j.value("temperature_unit", std::string("C"));
  if (unit != "C" && unit != "K") return "\"temperature_unit\" must be \"C\" or \"K\".";
  auto temp = [&](const nlohmann::json& o, double* t_c) -> std::string {
    if (!o.contains("T")) return {};
    if (!o["T"].is_number()) return "\"T\" must be a number.";
    *t_c = o["T"].get<double>() - (unit == "K" ? kKelvin : 0.0);
    return {};
  };
  std::string e = temp(j, &sys.t_c);
  if (!e.empty()) return e;
  if (j.contains("P")) {
    if (!j["P"].is_number()) return "\"P\" must be a number.";
    sys.p_bar = j["P"].get<double>();
  }
  if (j.contains("charge")) {
    if (!j["charge"].is_number()) return "\"charge\" must be a number.";
    sys.charge = j["charge"].get<double>();
  }
  if (j.contains("title") && j["title"].is_string()) sys.title = j["title"].get<std::string>();
  if (!j.contains("phases") || !j["phases"].is_array()) return "The cell description needs a \"phases\" array.";
  for (const auto& p : j["phases"]) {
    if (!p.is_object() || !p.contains("name") || !p["name"].is_string()) return "Every phase needs a \"name\".";
    CellPhase phase{p["name"].get<std::string>(), {}};
    if (!p.contains("species") || !p["species"].is_array()) return "Phase " + phase.name + " needs a \"species\" array.";
    for (const auto& s : p["species"]) {
      if (!s.is_object() || !s.contains("name") || !s["name"].is_string()) return "Every species needs a \"name\".";
      CellSpecies sp;
      sp.name = s["name"].get<std::string>();
      sp.t_c = sys.t_c;
      if (!(e = temp(s, &sp.t_c)).empty()) return e;
      if (s.contains("amount")) {
        if (!s["amount"].is_number()) return "The amount of " + sp.name + " must be a number.";
        sp.amount = s["amount"].get<double>();
      }
      phase.species.push_back(sp);
    }
    sys.phases.push_back(phase);
  }
  *out = std::move(sys);
  return {};
}

CellResult CalculateCell(const CellSystem& sys) {
  CellResult r;
  r.t_k = sys.t_c + kKelvin;
  const CellPhase* anode = nullptr;
  const CellPhase* cathode = nullptr;
  for (const auto& p : sys.phases) {
    if (p.name == kAnode) anode = &p;
    if (p.name == kCathode) cathode = &p;
  }
  if (!anode || !cathode) {
    r.error = "The cell needs a phase named \"Anode\" and one named \"Cathode\".";
    return r;
  }
  std::vector<double> na, nc;
  if (!(r.error = HalfReaction(*anode, &na)).empty()) return r;
  if (!(r.error = HalfReaction(*cathode, &nc)).empty()) return r;
  // Anode: oxidation, electrons produced; cathode: reduction, electrons consumed; same number of electrons.
  if (na.back() < 0)
    for (double& v : na) v = -v;
  if (nc.back() > 0)
    for (double& v : nc) v = -v;
  double scale = na.back() / -nc.back();
  for (double& v : nc) v *= scale;
  // The smallest whole-number multiple of the cell reaction (2 H2 + O2 = 2 H2O rather than H2 + 1/2 O2 = H2O).
  for (int k = 1; k <= kMaxMultiple; ++k) {
    auto whole = [k](double v) { return std::fabs(v * k - std::round(v * k)) < 1e-9; };
    if (std::all_of(na.begin(), na.end(), whole) && std::all_of(nc.begin(), nc.end(), whole)) {
      for (double& v : na) v *= k;
      for (double& v : nc) v *= k;
      break;
    }
  }
  r.n_electrons = na.back();

  struct Term {
    const CellSpecies* s;
    double nu;
    const CellPhase* phase;
  };
  std::vector<Term> terms;
  for (std::size_t j = 0; j + 1 < na.size(); ++j)
    if (std::fabs(na[j]) > 1e-12) terms.push_back({&anode->species[j], na[j], anode});
  for (std::size_t j = 0; j + 1 < nc.size(); ++j)
    if (std::fabs(nc[j]) > 1e-12) terms.push_back({&cathode->species[j], nc[j], cathode});

  std::string left, right;
  for (const auto& t : terms) {
    r.coefficients.emplace_back(t.s->name, t.nu);
    std::string& side = t.nu < 0 ? left : right;
    side += (side.empty() ? "" : " + ") + SpeciesTerm(std::fabs(t.nu), t.s->name);
    r.dg_kj += t.nu * t.s->g;
  }
  r.reaction = left + " = " + right;
  const double nf = r.n_electrons * kFaraday;
  r.e0 = -r.dg_kj * 1000 / nf;

  // Activities after the charge Q has passed (extent Q / n of the cell reaction).
  const double extent = sys.charge / r.n_electrons;
  auto amount_after = [&](const CellSpecies* s) {
    double a = s->amount;
    for (const auto& t : terms)
      if (t.s == s) a += t.nu * extent;
    return a;
  };
  for (const auto& t : terms) {
    double activity = 1;
    if (IsAqueous(t.s->name)) {
      double water_kg = 0;
      for (const auto& o : t.phase->species)
        if (o.name == "H2O" || o.name == "H2O(l)") water_kg += amount_after(&o) * kWaterKgPerMol;
      activity = amount_after(t.s) / (water_kg > 0 ? water_kg : 1.0);
    } else if (IsGas(t.s->name)) {
      double gas = 0;
      for (const auto& o : t.phase->species)
        if (IsGas(o.name)) gas += amount_after(&o);
      activity = gas > 0 ? sys.p_bar * amount_after(t.s) / gas : 0;
    } else {
      continue;
    }
    if (!(activity > 0)) {
      r.error = fmt::format("The amount of {} must stay above zero for the Nernst equation{}.", t.s->name,
                            sys.charge != 0 ? " (the charge Q uses it up)" : "");
      return r;
    }
    r.ln_q += t.nu * std::log(activity);
  }
  r.e = r.e0 - kGasConstant * r.t_k / nf * r.ln_q;
  return r;
}

}  // namespace zyl::cell
