#include "tools/nasa_thermo.h"

#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include "platform/text.h"

namespace zyl::tools {

namespace {

using platform::TrimView;

constexpr double kRCal = kRNasa / kCalToJ;  // cal/(mol K)

/// Columns [from, from + len) of a line (0-based), clipped to the line.
std::string_view Cols(std::string_view line, size_t from, size_t len) {
  if (from >= line.size()) return {};
  return line.substr(from, std::min(len, line.size() - from));
}

bool ParseInt(std::string_view s, int* out) {
  s = TrimView(s);
  if (s.empty()) return false;
  int v = 0;
  bool neg = false;
  size_t i = 0;
  if (s[0] == '-' || s[0] == '+') {
    neg = s[0] == '-';
    i = 1;
  }
  if (i == s.size()) return false;
  for (; i < s.size(); ++i) {
    if (s[i] < '0' || s[i] > '9') return false;
    v = v * 10 + (s[i] - '0');
    if (v > 100000) return false;
  }
  *out = neg ? -v : v;
  return true;
}

}  // namespace

double ParseFortranDouble(std::string_view field) {
  field = TrimView(field);
  if (field.empty()) return 0;
  char buf[64];
  size_t n = std::min(field.size(), sizeof(buf) - 1);
  for (size_t i = 0; i < n; ++i) buf[i] = (field[i] == 'D' || field[i] == 'd') ? 'e' : field[i];
  buf[n] = 0;
  char* end = nullptr;
  double v = std::strtod(buf, &end);
  if (end == buf || !std::isfinite(v)) return 0;
  return v;
}

double NasaPolynomial::Cp(double T) const {
  const auto& a = iv_.a;
  double cp = a[0] / (T * T) + a[1] / T + a[2] + T * (a[3] + T * (a[4] + T * (a[5] + T * a[6])));
  return cp * kRCal;
}

double NasaPolynomial::H(double T) const {
  const auto& a = iv_.a;
  double h = -a[0] / (T * T) + a[1] * std::log(T) / T + a[2] +
             T * (a[3] / 2 + T * (a[4] / 3 + T * (a[5] / 4 + T * a[6] / 5))) + iv_.b1 / T;
  return h * kRCal * T;
}

double NasaPolynomial::S(double T) const {
  const auto& a = iv_.a;
  double s = -a[0] / (2 * T * T) - a[1] / T + a[2] * std::log(T) +
             T * (a[3] + T * (a[4] / 2 + T * (a[5] / 3 + T * a[6] / 4))) + iv_.b2;
  return s * kRCal;
}

NasaFile ParseNasaThermo(std::string_view text) {
  NasaFile out;
  std::vector<std::string_view> lines;
  for (size_t pos = 0; pos <= text.size();) {
    size_t nl = text.find('\n', pos);
    if (nl == std::string_view::npos) nl = text.size();
    std::string_view l = text.substr(pos, nl - pos);
    if (!l.empty() && l.back() == '\r') l.remove_suffix(1);
    lines.push_back(l);
    pos = nl + 1;
  }
  size_t i = 0;
  // Skip to the line "thermo" and the default ranges line after it.
  while (i < lines.size() && TrimView(lines[i]) != "thermo") ++i;
  if (i >= lines.size()) {
    out.warnings.push_back("no line \"thermo\" found");
    return out;
  }
  i += 2;
  bool reactants = false;
  while (i < lines.size()) {
    std::string_view l = lines[i];
    std::string_view tl = TrimView(l);
    if (tl.empty() || tl[0] == '!') {
      ++i;
      continue;
    }
    if (tl.rfind("END PRODUCTS", 0) == 0) {
      reactants = true;
      ++i;
      continue;
    }
    if (tl.rfind("END REACTANTS", 0) == 0) break;
    NasaRecord rec;
    rec.line = static_cast<int>(i + 1);
    rec.name = std::string(TrimView(Cols(l, 0, 18)));
    rec.comment = std::string(TrimView(Cols(l, 18, 200)));
    rec.reactant_only = reactants;
    if (i + 1 >= lines.size()) break;
    std::string_view l2 = lines[i + 1];
    int n = 0;
    if (rec.name.empty() || !ParseInt(Cols(l2, 0, 2), &n) || n < 0 || n > 20) {
      out.warnings.push_back(fmt::format("line {}: record header not understood, skipped", i + 1));
      ++i;
      continue;
    }
    rec.ref_code = std::string(TrimView(Cols(l2, 3, 6)));
    for (int k = 0; k < 5; ++k) {
      std::string_view sym = TrimView(Cols(l2, 10 + 8 * k, 2));
      double amount = ParseFortranDouble(Cols(l2, 12 + 8 * k, 6));
      if (!sym.empty() && amount != 0) rec.elements.emplace_back(std::string(sym), amount);
    }
    int phase = 0;
    ParseInt(Cols(l2, 51, 1), &phase);
    rec.phase = phase;
    rec.molar_mass = ParseFortranDouble(Cols(l2, 52, 13));
    rec.hf298 = ParseFortranDouble(Cols(l2, 65, 15));
    size_t next = i + 2;
    if (n == 0) next += 1;  // one line with the temperature of the assigned enthalpy
    bool ok = true;
    for (int k = 0; k < n; ++k) {
      size_t b = i + 2 + 3 * static_cast<size_t>(k);
      if (b + 2 >= lines.size()) {
        ok = false;
        break;
      }
      std::string_view r3 = lines[b], r4 = lines[b + 1], r5 = lines[b + 2];
      NasaInterval iv;
      iv.t_low = ParseFortranDouble(Cols(r3, 0, 11));
      iv.t_high = ParseFortranDouble(Cols(r3, 11, 11));
      for (int c = 0; c < 5; ++c) iv.a[c] = ParseFortranDouble(Cols(r4, 16 * c, 16));
      iv.a[5] = ParseFortranDouble(Cols(r5, 0, 16));
      iv.a[6] = ParseFortranDouble(Cols(r5, 16, 16));
      iv.b1 = ParseFortranDouble(Cols(r5, 48, 16));
      iv.b2 = ParseFortranDouble(Cols(r5, 64, 16));
      if (!(iv.t_low > 0) || !(iv.t_high > iv.t_low)) {
        out.warnings.push_back(fmt::format("line {}: {}: interval {:g}-{:g} K skipped", b + 1, rec.name,
                                           iv.t_low, iv.t_high));
        continue;
      }
      rec.intervals.push_back(iv);
    }
    if (!ok) {
      out.warnings.push_back(fmt::format("line {}: {}: file ends inside the record", rec.line, rec.name));
      break;
    }
    next = i + 2 + 3 * static_cast<size_t>(n) + (n == 0 ? 1 : 0);
    out.records.push_back(std::move(rec));
    i = next;
  }
  return out;
}

}  // namespace zyl::tools
