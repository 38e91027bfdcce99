#include "tools/species_names.h"

#include <cctype>
#include <cmath>
#include <fmt/format.h>

#include "thermo/elements.h"
#include "thermo/formula.h"

namespace zyl::tools {

namespace {

bool IsAlpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
char Up(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }
constexpr double kNasaAmountTolerance = 0.0051;  // amounts printed as F6.2

char Low(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

/// Depth-first search over one- and two-letter readings of the letters in `src` (two first).
bool Readings(std::string_view src, size_t i, const Composition& comp, std::string& out) {
  if (i >= src.size()) return SameComposition(ParsedComposition(out), comp, kNasaAmountTolerance);
  char c = src[i];
  if (!IsAlpha(c)) {
    out += c;
    if (Readings(src, i + 1, comp, out)) return true;
    out.pop_back();
    return false;
  }
  size_t mark = out.size();
  if (i + 1 < src.size() && IsAlpha(src[i + 1])) {
    std::string two{Up(c), Low(src[i + 1])};
    if (comp.count(two)) {
      out += two;
      if (Readings(src, i + 2, comp, out)) return true;
      out.resize(mark);
    }
  }
  std::string one{Up(c)};
  if (comp.count(one)) {
    out += one;
    if (Readings(src, i + 1, comp, out)) return true;
    out.resize(mark);
  }
  return false;
}

}  // namespace

NasaName SplitNasaName(std::string_view name, bool condensed) {
  NasaName n;
  std::string_view f = name;
  // A qualifier after a comma that is not inside parentheses ("C3H6,cyclo-", "C2H4O(L),ethyle").
  int depth = 0;
  for (size_t i = 0; i < f.size(); ++i) {
    if (f[i] == '(') ++depth;
    else if (f[i] == ')') --depth;
    else if (f[i] == ',' && depth == 0) {
      n.qualifier = std::string(f.substr(i + 1));
      f = f.substr(0, i);
      break;
    }
  }
  if (condensed && !f.empty() && f.back() == ')') {
    size_t open = f.rfind('(');
    if (open != std::string_view::npos && open > 0) {
      n.phase_tag = std::string(f.substr(open + 1, f.size() - open - 2));
      f = f.substr(0, open);
    }
  }
  if (!condensed) {
    while (!f.empty() && (f.back() == '+' || f.back() == '-')) {
      n.charge += f.back() == '+' ? 1 : -1;
      f.remove_suffix(1);
    }
  }
  n.formula = std::string(f);
  return n;
}

std::optional<Composition> NasaComposition(const std::vector<std::pair<std::string, double>>& elements,
                                           int* charge) {
  Composition c;
  double e = 0;
  const auto& table = thermo::Elements();
  for (const auto& [sym, amount] : elements) {
    if (sym == "E") {
      e += amount;
      continue;
    }
    std::string proper{Up(sym[0])};
    if (sym.size() > 1) proper += Low(sym[1]);
    if (table.Find(proper) == 0) return std::nullopt;
    c[proper] += amount;
  }
  if (charge) *charge = static_cast<int>(std::lround(-e));
  return c;
}

Composition ParsedComposition(std::string_view name, double* charge) {
  Composition c;
  thermo::FormulaComposition comp = thermo::ParseFormula(name);
  for (const auto& e : comp.entries)
    if (e.symbol != thermo::kElectron) c[e.symbol] += e.amount;
  if (charge) *charge = comp.Charge();
  return c;
}

bool SameComposition(const Composition& a, const Composition& b, double tol) {
  auto nonzero = [](const Composition& c) {
    size_t n = 0;
    for (const auto& [k, v] : c)
      if (std::fabs(v) > 1e-9) ++n;
    return n;
  };
  if (nonzero(a) != nonzero(b)) return false;
  for (const auto& [k, v] : a) {
    if (std::fabs(v) <= 1e-9) continue;
    auto it = b.find(k);
    if (it == b.end() || std::fabs(it->second - v) > tol * std::max(1.0, std::fabs(v))) return false;
  }
  return true;
}

std::optional<std::string> ChemistFormula(std::string_view source, const Composition& composition) {
  std::string src;
  for (char c : source) {
    if (c == '.' && (src.empty() || !std::isdigit(static_cast<unsigned char>(src.back())))) src += '0';
    src += c;
  }
  std::string out;
  if (Readings(src, 0, composition, out)) return out;
  return std::nullopt;
}

std::string ChargeText(int charge) {
  if (charge == 0) return {};
  std::string s(1, charge > 0 ? '+' : '-');
  if (std::abs(charge) != 1) s += std::to_string(std::abs(charge));
  return s;
}

std::string GasName(std::string_view formula, int charge) {
  return fmt::format("{}({}g)", formula, ChargeText(charge));
}

std::string AqueousName(std::string_view formula, int charge) {
  return fmt::format("{}({}a)", formula, ChargeText(charge));
}

std::string IsomerPrefix(std::string_view q) {
  static const std::map<std::string_view, std::string_view> kKnown = {
      {"acetylene", "acetylene"}, {"vinylidene", "vinylidene"}, {"1-propynl", "prop-1-ynyl"},
      {"2-propynl", "prop-2-ynyl"}, {"allene", "allene"}, {"propyne", "propyne"}, {"cyclo-", "cyclo"},
      {"allyl", "allyl"}, {"propylene", "propylene"}, {"propylox", "propylene-oxide"}, {"acetone", "acetone"},
      {"propanal", "propanal"}, {"n-propyl", "n"}, {"i-propyl", "iso"}, {"1propanol", "propan-1-ol"},
      {"2propanol", "propan-2-ol"}, {"butadiene", "butadiene"}, {"1butyne", "but-1-yne"},
      {"2butyne", "but-2-yne"}, {"1-butene", "but-1-ene"}, {"cis2-buten", "cis-but-2-ene"},
      {"tr2-butene", "trans-but-2-ene"}, {"isobutene", "isobutene"}, {"n-butyl", "n"}, {"i-butyl", "iso"},
      {"s-butyl", "sec"}, {"t-butyl", "tert"}, {"n-butane", "n"}, {"isobutane", "iso"},
      {"1-pentene", "pent-1-ene"}, {"pentyl", "n"}, {"t-pentyl", "tert"}, {"n-pentane", "n"},
      {"i-pentane", "iso"}, {"1-hexene", "hex-1-ene"}, {"n-hexyl", "n"}, {"n-hexane", "n"},
      {"n-heptane", "n"}, {"2-methylh", "iso"}, {"n-octane", "n"}, {"isooctane", "iso"},
      {"n-octa", "n"}, {"isooct", "iso"}, {"n-buta", "n"}, {"isobut", "iso"}};
  if (q.empty()) return {};
  std::string tag;
  if (auto it = kKnown.find(q); it != kKnown.end()) {
    tag = std::string(it->second);
  } else {
    for (char c : q) {
      if (IsAlpha(c)) tag += Low(c);
      else if (std::isdigit(static_cast<unsigned char>(c)) || c == '-') tag += c;
    }
    while (!tag.empty() && !IsAlpha(tag.front())) tag.erase(tag.begin());
    while (!tag.empty() && tag.back() == '-') tag.pop_back();
    if (tag.empty()) tag = "iso";
  }
  return tag + "-";
}

std::pair<std::string, int> SplitObigtCharge(std::string_view f) {
  size_t k = f.size();
  while (k > 0 && std::isdigit(static_cast<unsigned char>(f[k - 1]))) --k;
  if (k > 0 && (f[k - 1] == '+' || f[k - 1] == '-')) {
    int mag = k < f.size() ? std::atoi(std::string(f.substr(k)).c_str()) : 1;
    int sign = f[k - 1] == '+' ? 1 : -1;
    size_t start = k - 1;
    // "Be++" style repeated signs
    while (k == f.size() && start > 0 && f[start - 1] == f[k - 1]) {
      --start;
      ++mag;
    }
    return {std::string(f.substr(0, start)), sign * mag};
  }
  return {std::string(f), 0};
}

std::string ObigtFormula(std::string_view f) {
  std::string s(f);
  size_t dot = s.rfind('.');
  if (dot != std::string::npos && dot + 1 < s.size()) {
    size_t k = dot + 1;
    while (k < s.size() && std::isdigit(static_cast<unsigned char>(s[k]))) ++k;
    if (s.compare(k, std::string::npos, "H2O") == 0) s[dot] = '*';
  }
  return s;
}

std::string AsciiText(std::string_view utf8) {
  std::string out;
  for (size_t i = 0; i < utf8.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(utf8[i]);
    if (c < 0x80) {
      out += static_cast<char>(c);
      continue;
    }
    // Two-byte Latin-1 supplement letters: map the common accented vowels, drop the rest.
    if ((c == 0xC3) && i + 1 < utf8.size()) {
      unsigned char d = static_cast<unsigned char>(utf8[i + 1]);
      static const char kMap[] = "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYTsaaaaaaaceeeeiiiidnooooo/ouuuuyty";
      if (d >= 0x80 && d <= 0xBF) {
        char m = kMap[d - 0x80];
        if (m != 'x' && m != '/') out += m;
      }
      ++i;
      continue;
    }
    while (i + 1 < utf8.size() && (static_cast<unsigned char>(utf8[i + 1]) & 0xC0) == 0x80) ++i;
  }
  return out;
}

}  // namespace zyl::tools
