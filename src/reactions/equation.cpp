#include "reactions/equation.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numeric>

#include "thermo/elements.h"
#include "thermo/formula.h"

namespace zyl::reactions {

namespace {

constexpr int kMaxZeroStrip = 20;  // leading "." and "0" removed from a term whose prefix reads as zero

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }
bool IsNumberChar(char c) { return (c >= '0' && c <= '9') || c == '.'; }

/// Value of the decimal number at the start of s (digits and points only, as far as they form a
/// number); *used gets the characters read.
double LeadingNumber(std::string_view s, size_t* used) {
  size_t run = 0;
  while (run < s.size() && IsNumberChar(s[run])) ++run;
  char buf[64];
  size_t len = std::min(run, sizeof(buf) - 1);
  std::memcpy(buf, s.data(), len);
  buf[len] = 0;
  char* end = nullptr;
  double v = std::strtod(buf, &end);
  *used = static_cast<size_t>(end - buf);
  return v;
}

/// Splits one side at the "+" signs that separate terms: a "+" whose nearest parenthesis
/// before it is "(" belongs to a species name (Na(+a)). Returns false on an empty term.
bool SplitSide(std::string_view side, std::vector<std::string_view>& terms) {
  char last_paren = 0;
  size_t start = 0;
  for (size_t i = 0; i < side.size(); ++i) {
    char c = side[i];
    if (c == '(' || c == ')') last_paren = c;
    if (c != '+' || last_paren == '(') continue;
    if (i == start) return false;
    terms.push_back(side.substr(start, i - start));
    start = i + 1;
    if (terms.size() > kMaxTerms) return true;  // caller reports the count
  }
  if (start == side.size()) return false;
  terms.push_back(side.substr(start));
  return true;
}

std::string InvalidCoefficient(std::string_view term) {
  return fmt::format("Invalid coefficient in the term \"{}\" !", term);
}

/// Splits a term into coefficient and species name; returns an error message or "".
std::string ReadTerm(std::string_view term, double& numerator, double& denominator, std::string& name) {
  numerator = 1.0;
  denominator = 1.0;
  size_t used = 0;
  double value = LeadingNumber(term, &used);
  std::string_view rest = term;
  if (value != 0) {
    if (!std::isfinite(value)) return InvalidCoefficient(term);
    numerator = value;
    rest = term.substr(used);
    if (!rest.empty() && rest.front() == '/') {
      rest.remove_prefix(1);
      double den = LeadingNumber(rest, &used);
      if (den == 0 || !std::isfinite(den)) return InvalidCoefficient(term);
      denominator = den;
      rest.remove_prefix(used);
    }
  } else {
    for (int k = 0; k < kMaxZeroStrip && !rest.empty() && (rest.front() == '.' || rest.front() == '0'); ++k)
      rest.remove_prefix(1);
  }
  if (rest.empty()) return fmt::format("The term \"{}\" has no species name !", term);
  name.assign(rest);
  return {};
}

ParsedEquation Failed(std::string message) {
  ParsedEquation eq;
  eq.error = std::move(message);
  return eq;
}

}  // namespace

int ParsedEquation::Find(std::string_view name) const {
  for (size_t i = 0; i < Species.size(); ++i)
    if (Species[i] == name) return static_cast<int>(i);
  return -1;
}

ParsedEquation ParseEquation(std::string_view text) {
  std::string s;
  s.reserve(text.size());
  for (char c : text)
    if (!IsBlank(c)) s += c;
  if (s.empty()) return Failed(std::string(kMsgNoEquation));
  size_t eq_pos = s.find('=');
  if (eq_pos == std::string::npos) return Failed(std::string(kMsgNoEquals));
  if (s.find('=', eq_pos + 1) != std::string::npos) return Failed(std::string(kMsgTwoEquals));
  std::string_view left = std::string_view(s).substr(0, eq_pos);
  std::string_view right = std::string_view(s).substr(eq_pos + 1);
  if (left.empty()) return Failed(std::string(kMsgEmptyLeft));
  if (right.empty()) return Failed(std::string(kMsgEmptyRight));

  std::vector<std::string_view> terms;
  if (!SplitSide(left, terms)) return Failed(std::string(kMsgEmptyTerm));
  size_t left_count = terms.size();
  if (left_count <= kMaxTerms && !SplitSide(right, terms)) return Failed(std::string(kMsgEmptyTerm));
  if (terms.size() > kMaxTerms) return Failed(std::string(kMsgTooManyTerms));

  ParsedEquation eq;
  eq.Species.resize(terms.size());
  eq.Numerator.resize(terms.size());
  eq.Denominator.resize(terms.size());
  for (size_t i = 0; i < terms.size(); ++i) {
    std::string err = ReadTerm(terms[i], eq.Numerator[i], eq.Denominator[i], eq.Species[i]);
    if (!err.empty()) return Failed(std::move(err));
  }
  eq.LeftCount = static_cast<int16_t>(left_count);
  eq.Count = static_cast<int16_t>(terms.size());
  return eq;
}

// ---------------------------------------------------------------------------------------------
// Element balance

namespace {

/// Element-by-term amounts: rows are element indices as in BalanceResult::difference.
struct ElementMatrix {
  std::vector<std::string> symbol;            // index -> symbol
  std::vector<std::vector<double>> amount;    // [index][term], atoms per formula unit
  std::vector<char> used;                     // index occurs in some term
  std::string error;
};

ElementMatrix BuildMatrix(const ParsedEquation& eq) {
  const thermo::ElementTable& table = thermo::Elements();
  ElementMatrix m;
  const size_t n = eq.Species.size();
  m.symbol.assign(thermo::kElementCount + 1, std::string());
  for (int k = 1; k <= thermo::kElementCount; ++k) m.symbol[k] = table.symbol[k];
  m.symbol[thermo::kElectronEntry] = std::string(thermo::kElectron);
  m.amount.assign(m.symbol.size(), std::vector<double>(n, 0.0));
  m.used.assign(m.symbol.size(), 0);
  for (size_t j = 0; j < n; ++j) {
    thermo::FormulaComposition comp = thermo::ParseFormula(eq.Species[j]);
    if (!comp.ok()) {
      m.error = comp.error;
      return m;
    }
    for (const auto& e : comp.entries) {
      size_t k = e.symbol == thermo::kElectron ? thermo::kElectronEntry : static_cast<size_t>(table.Find(e.symbol));
      if (k == 0) {
        for (k = thermo::kElementCount + 1; k < m.symbol.size() && m.symbol[k] != e.symbol; ++k) {
        }
        if (k == m.symbol.size()) {
          m.symbol.push_back(e.symbol);
          m.amount.emplace_back(n, 0.0);
          m.used.push_back(0);
        }
      }
      m.amount[k][j] += e.amount;
      m.used[k] = 1;
    }
  }
  return m;
}

// Exact rational arithmetic for the coefficient suggestion; gives up (returns false) on overflow.
using i128 = __int128;
constexpr i128 kRationalLimit = static_cast<i128>(1) << 62;

struct Rational {
  i128 num = 0;
  i128 den = 1;
};

i128 Gcd(i128 a, i128 b) {
  if (a < 0) a = -a;
  if (b < 0) b = -b;
  while (b != 0) {
    i128 t = a % b;
    a = b;
    b = t;
  }
  return a;
}

bool Normalize(Rational& r) {
  if (r.den < 0) {
    r.num = -r.num;
    r.den = -r.den;
  }
  i128 g = Gcd(r.num, r.den);
  if (g > 1) {
    r.num /= g;
    r.den /= g;
  }
  if (r.num == 0) r.den = 1;
  return r.num < kRationalLimit && r.num > -kRationalLimit && r.den < kRationalLimit;
}

bool Sub(const Rational& a, const Rational& b, Rational& out) {
  out = {a.num * b.den - b.num * a.den, a.den * b.den};
  return Normalize(out);
}
bool Mul(const Rational& a, const Rational& b, Rational& out) {
  out = {a.num * b.num, a.den * b.den};
  return Normalize(out);
}
bool Div(const Rational& a, const Rational& b, Rational& out) {
  out = {a.num * b.den, a.den * b.num};
  return b.num != 0 && Normalize(out);
}

/// A decimal amount as a fraction with a denominator up to 1000 ("Fe0.947O" gives 947/1000).
bool ToRational(double x, Rational& r) {
  if (!std::isfinite(x) || std::fabs(x) > 1e12) return false;
  for (long long q = 1; q <= 1000; ++q) {
    double p = std::round(x * static_cast<double>(q));
    if (std::fabs(p / static_cast<double>(q) - x) <= 1e-9 * std::max(1.0, std::fabs(x))) {
      r = {static_cast<i128>(p), q};
      return Normalize(r);
    }
  }
  return false;
}

std::string FormatAmount(double x) { return fmt::format("{:.6g}", x); }

}  // namespace

BalanceResult CheckBalance(const ParsedEquation& eq) {
  BalanceResult r;
  if (!eq.ok()) {
    r.error = eq.error;
    return r;
  }
  ElementMatrix m = BuildMatrix(eq);
  if (!m.error.empty()) {
    r.error = m.error;
    return r;
  }
  r.symbol = m.symbol;
  r.difference.assign(m.symbol.size(), 0.0);
  for (size_t k = 1; k < m.symbol.size(); ++k) {
    if (!m.used[k]) continue;
    double left = 0, right = 0;
    for (int j = 0; j < eq.Count; ++j) {
      double v = eq.Coefficient(j) * m.amount[k][j];
      (eq.IsLeft(j) ? left : right) += v;
    }
    double d = left - right;
    r.difference[k] = d;
    // The slack keeps a difference typed as exactly 0.0016 balanced despite rounding.
    if (std::fabs(d) > kBalanceTolerance + 1e-9)
      r.unbalanced.push_back({m.symbol[k], std::fabs(d), d > 0 ? Side::Left : Side::Right});
  }
  if (r.unbalanced.empty()) return r;
  const ElementImbalance& last = r.unbalanced.back();
  r.message = fmt::format("Too much {}({}mol) on the {} side\n{}", last.symbol, FormatAmount(last.surplus),
                          last.side == Side::Left ? "left" : "right", kMsgPleaseEdit);
  if (auto c = SuggestCoefficients(eq)) {
    r.suggestion = EquationText(eq, *c);
    r.message += fmt::format("\nThese coefficients would balance it: {}", r.suggestion);
  }
  return r;
}

std::optional<std::vector<long long>> SuggestCoefficients(const ParsedEquation& eq, long long max_coefficient) {
  if (!eq.ok() || eq.Count < 2) return std::nullopt;
  ElementMatrix m = BuildMatrix(eq);
  if (!m.error.empty()) return std::nullopt;
  const size_t n = static_cast<size_t>(eq.Count);
  // Rows: elements present; columns: terms, right-side terms negated. A balanced set of
  // coefficients is a vector of the null space with all entries positive.
  std::vector<std::vector<Rational>> a;
  for (size_t k = 1; k < m.symbol.size(); ++k) {
    if (!m.used[k]) continue;
    std::vector<Rational> row(n);
    bool nonzero = false;
    for (size_t j = 0; j < n; ++j) {
      if (!ToRational(m.amount[k][j], row[j])) return std::nullopt;
      if (!eq.IsLeft(static_cast<int>(j))) row[j].num = -row[j].num;
      nonzero |= row[j].num != 0;
    }
    if (nonzero) a.push_back(std::move(row));
  }
  // Reduced row echelon form.
  std::vector<int> pivot_col;
  size_t rank = 0;
  for (size_t col = 0; col < n && rank < a.size(); ++col) {
    size_t p = rank;
    while (p < a.size() && a[p][col].num == 0) ++p;
    if (p == a.size()) continue;
    std::swap(a[p], a[rank]);
    Rational piv = a[rank][col];
    for (size_t j = 0; j < n; ++j)
      if (!Div(a[rank][j], piv, a[rank][j])) return std::nullopt;
    for (size_t i = 0; i < a.size(); ++i) {
      if (i == rank || a[i][col].num == 0) continue;
      Rational f = a[i][col];
      for (size_t j = 0; j < n; ++j) {
        Rational t;
        if (!Mul(f, a[rank][j], t) || !Sub(a[i][j], t, a[i][j])) return std::nullopt;
      }
    }
    pivot_col.push_back(static_cast<int>(col));
    ++rank;
  }
  if (rank + 1 != n) return std::nullopt;  // no solution, or many
  size_t free_col = 0;
  for (size_t r = 0; r < pivot_col.size() && pivot_col[r] == static_cast<int>(free_col); ++r) ++free_col;
  std::vector<Rational> x(n);
  x[free_col] = {1, 1};
  for (size_t r = 0; r < rank; ++r) {
    x[pivot_col[r]] = {-a[r][free_col].num, a[r][free_col].den};
    if (!Normalize(x[pivot_col[r]])) return std::nullopt;
  }
  i128 lcm = 1;
  for (const auto& v : x) {
    lcm = lcm / Gcd(lcm, v.den) * v.den;
    if (lcm > kRationalLimit) return std::nullopt;
  }
  std::vector<long long> out(n);
  i128 g = 0;
  int sign = 0;
  for (size_t j = 0; j < n; ++j) {
    i128 v = x[j].num * (lcm / x[j].den);
    if (v == 0) return std::nullopt;
    int s = v > 0 ? 1 : -1;
    if (sign != 0 && s != sign) return std::nullopt;
    sign = s;
    g = Gcd(g, v);
    x[j] = {v, 1};
  }
  for (size_t j = 0; j < n; ++j) {
    i128 v = x[j].num / g * sign;
    if (v > max_coefficient) return std::nullopt;
    out[j] = static_cast<long long>(v);
  }
  return out;
}

std::string EquationText(const ParsedEquation& eq, const std::vector<long long>& coefficients) {
  std::string s;
  for (int j = 0; j < eq.Count; ++j) {
    if (j == eq.LeftCount) s += '=';
    else if (j > 0) s += '+';
    if (coefficients[j] != 1) s += std::to_string(coefficients[j]);
    s += eq.Species[j];
  }
  return s;
}

}  // namespace zyl::reactions
