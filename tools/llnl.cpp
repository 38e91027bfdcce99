#include "tools/llnl.h"

#include <cstdlib>
#include <fmt/format.h>
#include <sstream>

#include "tools/thermo_source.h"
#include "platform/text.h"

namespace zyl::tools {

namespace {

using platform::Trim;

constexpr double kR = 8.314462618;    // J/(mol K), CODATA 2018
constexpr double kCelsius = thermo::kCelsiusOffset;  // K

// Kopp's rule, J/(mol K) per atom: Perry's Chemical Engineers' Handbook (7th ed., table 2-393,
// after Kopp 1864): C 7.53, H 9.62, B 11.3, Si 15.9, O 16.7, F 20.9, P 22.6, S 22.6, others 25.9.
constexpr double kKoppOther = 25.9;
const std::map<std::string, double>& KoppValues() {
  static const std::map<std::string, double> v = {{"C", 7.53}, {"H", 9.62},  {"B", 11.3},  {"Si", 15.9},
                                                  {"O", 16.7}, {"F", 20.9},  {"P", 22.6},  {"S", 22.6}};
  return v;
}

// Keywords are capitals and underscores; a phase name can be capitals too ("UOFOH"), so a keyword
// without an underscore must be one of the few plain ones.
bool IsKeyword(const std::string& line) {
  if (line.empty()) return false;
  for (char c : line)
    if (!(c == '_' || (c >= 'A' && c <= 'Z'))) return false;
  return line.find('_') != std::string::npos || line == "PHASES" || line == "RATES" || line == "END" ||
         line == "SOLUTION" || line == "EXCHANGE" || line == "SURFACE";
}

std::optional<double> Number(const std::string& s) {
  char* end = nullptr;
  double v = std::strtod(s.c_str(), &end);
  if (end == s.c_str() || *end != '\0' || !std::isfinite(v)) return std::nullopt;
  return v;
}

// "NiCO3 + H+ = HCO3- + Ni+2": a lone "+" separates terms, a number before a species is its coefficient.
bool ParseReaction(const std::string& text, LlnlPhase* p) {
  std::istringstream in(text);
  std::string tok;
  bool right = false;
  double coef = 1;
  while (in >> tok) {
    if (tok == "+") continue;
    if (tok == "=") {
      if (right) return false;
      right = true;
      continue;
    }
    if (auto n = Number(tok)) {
      coef = *n;
      continue;
    }
    if (!right && p->formula.empty()) {
      if (coef != 1) return false;
      p->formula = tok;
    } else {
      (right ? p->products : p->reactants).emplace_back(coef, tok);
    }
    coef = 1;
  }
  return right && !p->formula.empty() && !p->products.empty();
}

}  // namespace

std::vector<LlnlPhase> ParseLlnlPhases(std::string_view text) {
  std::vector<LlnlPhase> out;
  std::istringstream in{std::string(text)};
  std::string raw;
  bool in_phases = false;
  int line_no = 0;
  LlnlPhase* cur = nullptr;
  bool want_reaction = false;
  while (std::getline(in, raw)) {
    ++line_no;
    if (!raw.empty() && raw.back() == '\r') raw.pop_back();
    if (IsKeyword(raw)) {
      in_phases = raw == "PHASES";
      cur = nullptr;
      continue;
    }
    if (!in_phases) continue;
    std::string line = Trim(raw);
    if (line.empty()) continue;
    if (raw[0] != ' ' && raw[0] != '\t' && raw[0] != '#') {  // name line
      out.emplace_back();
      cur = &out.back();
      cur->name = line;
      cur->line = line_no;
      want_reaction = true;
      continue;
    }
    if (!cur) continue;
    if (want_reaction && line[0] != '#' && line[0] != '-' && line.find('=') != std::string::npos) {
      want_reaction = false;
      if (!ParseReaction(line, cur)) cur->formula.clear();
      continue;
    }
    std::istringstream ls(line);
    std::string w;
    ls >> w;
    if (w == "log_k") {
      std::string v;
      ls >> v;
      if (auto n = Number(v)) cur->log_k = *n;
    } else if (w == "#") {
      std::string rest;
      std::getline(ls, rest);
      rest = Trim(rest);
      if (rest.rfind("Enthalpy of formation:", 0) == 0) {
        std::istringstream vs(rest.substr(22));
        double v = NAN;
        std::string unit;
        if (vs >> v >> unit && std::isfinite(v)) {
          if (unit == "kcal/mol") v *= kCalToJ;
          else if (unit != "kJ/mol") v = NAN;
          cur->dfh = v == 0 ? NAN : v;
        }
      } else if (rest.rfind("-Range:", 0) == 0) {
        std::string r = Trim(rest.substr(7));
        size_t dash = r.find('-');
        if (dash != std::string::npos)
          if (auto hi = Number(Trim(r.substr(dash + 1)))) cur->t_max = *hi + kCelsius;
      }
    }
  }
  // Phases whose reaction did not parse are dropped.
  std::vector<LlnlPhase> good;
  for (auto& p : out)
    if (!p.formula.empty()) good.push_back(std::move(p));
  return good;
}

double KoppCp(const std::map<std::string, double>& composition) {
  double cp = 0;
  for (const auto& [el, n] : composition) {
    auto it = KoppValues().find(el);
    cp += n * (it != KoppValues().end() ? it->second : kKoppOther);
  }
  return cp / kCalToJ;
}

std::optional<DerivedSolid> DeriveSolid(const LlnlPhase& phase, const std::map<std::string, double>& composition,
                                        const std::map<std::string, double>& species_g,
                                        const std::map<std::string, double>& element_s, std::string* why) {
  auto fail = [&](std::string msg) -> std::optional<DerivedSolid> {
    if (why) *why = std::move(msg);
    return std::nullopt;
  };
  if (std::isnan(phase.log_k)) return fail("no log K");
  if (std::isnan(phase.dfh)) return fail("no enthalpy of formation");
  DerivedSolid d;
  double g = kR * kTRef * std::log(10.0) * phase.log_k / kCalToJ;
  for (int side = 0; side < 2; ++side)
    for (const auto& [nu, name] : side ? phase.reactants : phase.products) {
      auto it = species_g.find(name);
      if (it == species_g.end()) return fail(fmt::format("no Gibbs energy of {}", name));
      g += (side ? -nu : nu) * it->second;
    }
  double s_el = 0;
  for (const auto& [el, n] : composition) {
    auto it = element_s.find(el);
    if (it == element_s.end()) return fail(fmt::format("no entropy of the element {}", el));
    s_el += n * it->second;
  }
  d.G = g;
  d.H = phase.dfh * 1000.0 / kCalToJ;
  d.S = (d.H - d.G) / kTRef + s_el;
  return d;
}

}  // namespace zyl::tools
