#include "thermo/formula.h"

#include <cstdlib>
#include <cstring>

namespace zyl::thermo {

namespace {

constexpr int kMaxDepth = 64;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool IsLower(char c) { return c >= 'a' && c <= 'z'; }

bool InChargeRun(char c) {
  return c == '+' || c == '-' || c == ')' || c == '.' || c == 'a' || c == 'g' || c == 'l' || c == 's' || IsDigit(c);
}

/// Reads a decimal number at s[i] ("12", "0.947", ".5", optionally "1/2"); advances i. Returns 0 when none.
double ReadNumber(std::string_view s, size_t& i, bool allow_ratio = true) {
  size_t start = i;
  while (i < s.size() && (IsDigit(s[i]) || s[i] == '.')) ++i;
  if (i == start) return 0;
  char buf[64];
  size_t len = std::min(i - start, sizeof(buf) - 1);
  std::memcpy(buf, s.data() + start, len);
  buf[len] = 0;
  double v = std::strtod(buf, nullptr);
  if (allow_ratio && i + 1 < s.size() && s[i] == '/' && (IsDigit(s[i + 1]) || s[i + 1] == '.')) {
    ++i;
    double d = allow_ratio ? ReadNumber(s, i, false) : 0;
    if (d != 0) v /= d;
  }
  return v;
}

/// Text of a decimal number's start, as a string-to-number conversion reads it ("2a)" -> 2).
double LeadingValue(std::string_view s) {
  char buf[64];
  size_t len = 0;
  for (char c : s) {
    if (len + 1 >= sizeof(buf)) break;
    buf[len++] = c;
  }
  buf[len] = 0;
  return std::strtod(buf, nullptr);
}

/// Parentheses and brackets must pair up over the whole formula (a charge "(+3a)" closes its own group).
/// Returns the message for the first one that does not, empty when all pair up.
std::string BracketError(std::string_view f) {
  char open[kMaxDepth];
  int depth = 0;
  for (char c : f) {
    if (c == '(' || c == '[') {
      if (depth >= kMaxDepth) return "Formula nested too deep: " + std::string(f);
      open[depth++] = c;
    } else if (c == ')' || c == ']') {
      if (depth == 0 || open[depth - 1] != (c == ')' ? '(' : '['))
        return std::string("Unmatched '") + c + "' in formula: " + std::string(f);
      --depth;
    }
  }
  if (depth > 0) return std::string("Unclosed '") + open[depth - 1] + "' in formula: " + std::string(f);
  return {};
}

struct Token {
  char sym[3];
  double amount;
};

}  // namespace

double FormulaComposition::Amount(std::string_view symbol) const {
  for (const auto& e : entries)
    if (e.symbol == symbol) return e.amount;
  return 0;
}

double FormulaComposition::Charge() const { return -Amount(kElectron); }

std::string_view FormulaComposition::FirstElement() const {
  return entries.empty() ? std::string_view() : std::string_view(entries.front().symbol);
}

namespace {

/// The charge suffix: the trailing run of charge characters holding a sign. Returns the charge and sets
/// element_end to where the element part stops (the whole formula when there is no charge).
double ReadCharge(std::string_view f, size_t& element_end) {
  size_t run = f.size();
  while (run > 0 && InChargeRun(f[run - 1])) --run;
  element_end = f.size();
  std::string_view tail = f.substr(run);
  size_t first_sign = tail.find_first_of("+-");
  if (first_sign == std::string_view::npos) return 0;
  int plus = 0, minus = 0;
  char text[64];
  size_t len = 0;
  for (size_t k = first_sign; k < tail.size(); ++k) {
    char c = tail[k];
    if (c == '+') ++plus;
    else if (c == '-') ++minus;
    else if (len + 1 < sizeof(text)) text[len++] = c;
  }
  element_end = run + first_sign;
  double q = LeadingValue(std::string_view(text, len));
  if (q == 0) return plus > 0 ? plus : -minus;
  return minus > 0 ? -q : q;
}

/// The element part as tokens, group and part multipliers applied; ntok of them fill tokens. Returns an
/// error text (too many parts, nested too deep) or empty.
std::string ReadElementTokens(std::string_view s, std::string_view f, Token (&tokens)[256], int& ntok) {
  ntok = 0;
  int group_start[kMaxDepth];
  double group_mult[kMaxDepth];
  int depth = 0;
  double part_mult = 1.0;
  bool part_start = true;  // a number here multiplies the part that follows
  int last_group_begin = -1, last_group_end = -1;
  auto scale = [&]() {
    double m = part_mult;
    for (int d = 0; d < depth; ++d) m *= group_mult[d];
    return m;
  };
  size_t i = 0;
  while (i < s.size()) {
    char c = s[i];
    if (IsDigit(c) || c == '.') {
      double v = ReadNumber(s, i);
      if (v == 0) v = 1;
      if (part_start) {
        if (depth > 0) group_mult[depth - 1] *= v;
        else part_mult *= v;
      } else if (last_group_begin >= 0) {  // amount after ")"
        for (int t = last_group_begin; t < last_group_end; ++t) tokens[t].amount *= v;
      } else if (ntok > 0) {  // amount after a symbol
        tokens[ntok - 1].amount *= v;
      }
      part_start = false;
      last_group_begin = -1;
      continue;
    }
    if (IsUpper(c)) {
      if (ntok >= 256) return "Formula has too many parts: " + std::string(f);
      Token& t = tokens[ntok++];
      t.sym[0] = c;
      t.sym[1] = (i + 1 < s.size() && IsLower(s[i + 1])) ? s[i + 1] : 0;
      t.sym[2] = 0;
      t.amount = scale();
      i += t.sym[1] ? 2 : 1;
      part_start = false;
      last_group_begin = -1;
      continue;
    }
    if (c == '(' || c == '[') {
      if (depth >= kMaxDepth) return "Formula nested too deep: " + std::string(f);
      group_start[depth] = ntok;
      group_mult[depth] = 1.0;
      ++depth;
      part_start = true;
      last_group_begin = -1;
    } else if (c == ')' || c == ']') {
      if (depth > 0) {
        --depth;
        last_group_begin = group_start[depth];
        last_group_end = ntok;
      }
      part_start = false;
    } else if (c == '*') {
      depth = 0;
      part_mult = 1.0;
      part_start = true;
      last_group_begin = -1;
    } else {
      // lower-case letters outside symbols, signs, blanks: skipped
      last_group_begin = -1;
      part_start = false;
    }
    ++i;
  }
  return {};
}

/// Tokens of the same symbol summed, in order of first occurrence.
void MergeTokens(const Token* tokens, int ntok, std::vector<FormulaEntry>& entries) {
  entries.reserve(static_cast<size_t>(ntok) + 1);
  for (int t = 0; t < ntok; ++t) {
    std::string_view sym(tokens[t].sym);
    bool merged = false;
    for (auto& e : entries) {
      if (e.symbol == sym) {
        e.amount += tokens[t].amount;
        merged = true;
        break;
      }
    }
    if (!merged) entries.push_back({std::string(sym), tokens[t].amount});
  }
}

}  // namespace

FormulaComposition ParseFormula(std::string_view f) {
  FormulaComposition comp;
  comp.error = BracketError(f);
  if (!comp.ok()) return comp;
  size_t element_end = 0;
  const double charge = ReadCharge(f, element_end);
  Token tokens[256];
  int ntok = 0;
  comp.error = ReadElementTokens(f.substr(0, element_end), f, tokens, ntok);
  if (!comp.ok()) return comp;
  MergeTokens(tokens, ntok, comp.entries);
  if (charge != 0) comp.entries.push_back({std::string(kElectron), -charge});
  if (comp.Count() > kMaxFormulaEntries) comp.error = "Formula has more than 100 elements: " + std::string(f);
  return comp;
}

FormulaWeightResult FormulaWeight(const FormulaComposition& comp, const ElementTable& table, ElementTotals* totals) {
  FormulaWeightResult r;
  r.error = comp.error;
  if (!comp.ok()) return r;
  bool ion = false;
  for (const auto& e : comp.entries) {
    if (e.symbol == kElectron) {
      r.ion_weight = r.formula_weight + e.amount * table.weight[kElectronEntry];
      if (r.formula_weight == 0) r.formula_weight = r.ion_weight;
      ion = true;
      continue;
    }
    int k = table.Find(e.symbol);
    if (k == 0) continue;
    r.formula_weight += table.weight[k] * e.amount;
    r.atoms += e.amount;
    if (totals) {
      totals->weight[k] += table.weight[k] * e.amount;
      totals->amount[k] += e.amount;
    }
  }
  if (!ion) r.ion_weight = r.formula_weight;
  return r;
}

FormulaWeightResult FormulaWeight(std::string_view formula, const ElementTable& table, ElementTotals* totals) {
  return FormulaWeight(ParseFormula(formula), table, totals);
}

double MolarMass(std::string_view formula) { return FormulaWeight(formula, Elements()).formula_weight; }

}  // namespace zyl::thermo
