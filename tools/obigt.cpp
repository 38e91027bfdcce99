#include "tools/obigt.h"

#include <cstdlib>
#include <fmt/format.h>

namespace zyl::tools {

namespace {

constexpr double kThetaHkf = 228.0;      // K, solvent singularity temperature of the HKF model
constexpr double kBornX298 = -3.090e-7;  // K^-2, Born function X of water at 25 °C, 1 bar

double ToNumber(const std::string& s) {
  if (s.empty() || s == "NA") return NAN;
  char* end = nullptr;
  double v = std::strtod(s.c_str(), &end);
  if (end == s.c_str()) return NAN;
  return v;
}

}  // namespace

std::vector<std::vector<std::string>> ParseCsv(std::string_view text) {
  std::vector<std::vector<std::string>> rows;
  std::vector<std::string> row;
  std::string field;
  bool quoted = false, any = false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (quoted) {
      if (c == '"') {
        if (i + 1 < text.size() && text[i + 1] == '"') {
          field += '"';
          ++i;
        } else {
          quoted = false;
        }
      } else {
        field += c;
      }
      continue;
    }
    if (c == '"') {
      quoted = true;
      any = true;
    } else if (c == ',') {
      row.push_back(std::move(field));
      field.clear();
      any = true;
    } else if (c == '\n') {
      if (any || !field.empty()) {
        row.push_back(std::move(field));
        rows.push_back(std::move(row));
      }
      row.clear();
      field.clear();
      any = false;
    } else if (c != '\r') {
      field += c;
      any = true;
    }
  }
  if (any || !field.empty()) {
    row.push_back(std::move(field));
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<ObigtRow> ParseObigtSpecies(std::string_view text, std::vector<std::string>* warnings) {
  std::vector<ObigtRow> out;
  auto rows = ParseCsv(text);
  for (size_t i = 1; i < rows.size(); ++i) {
    const auto& f = rows[i];
    if (f.size() < 22) {
      if (warnings) warnings->push_back(fmt::format("row {}: {} fields, 22 expected; skipped", i + 1, f.size()));
      continue;
    }
    ObigtRow r;
    r.line = static_cast<int>(i + 1);
    r.name = f[0];
    r.abbrv = f[1];
    r.formula = f[2];
    r.state = f[3];
    r.ref1 = f[4];
    r.ref2 = f[5];
    r.model = f[7];
    double unit = f[8] == "J" ? 1.0 / kCalToJ : 1.0;
    r.G = ToNumber(f[9]) * unit;
    r.H = ToNumber(f[10]) * unit;
    r.S = ToNumber(f[11]) * unit;
    r.Cp = ToNumber(f[12]) * unit;
    r.V = ToNumber(f[13]);
    for (int k = 0; k < 7; ++k) r.p[k] = ToNumber(f[14 + static_cast<size_t>(k)]);
    if (r.model.rfind("CGL", 0) == 0) {
      for (int k = 0; k < 6; ++k) r.p[k] *= unit;  // Cp coefficients; lambda is an exponent
    } else if (r.model == "HKF") {
      // a1..a4, c1, c2, omega all carry the energy unit.
      for (int k = 0; k < 7; ++k) r.p[k] *= unit;
    }
    r.zT = ToNumber(f[21]);
    out.push_back(std::move(r));
  }
  return out;
}

std::map<std::string, double> ParseElementEntropies(std::string_view text) {
  std::map<std::string, double> out;
  auto rows = ParseCsv(text);
  for (size_t i = 1; i < rows.size(); ++i) {
    const auto& f = rows[i];
    if (f.size() < 6) continue;
    double s = ToNumber(f[4]), n = ToNumber(f[5]);
    if (std::isnan(s) || std::isnan(n) || n == 0) continue;
    out.emplace(f[0], s / n);  // emplace keeps the first row
  }
  return out;
}

CglSource::CglSource(double h298, double s298, const double coef[7]) : h_(h298), s_(s298) {
  auto z = [](double v) { return std::isnan(v) ? 0.0 : v; };
  a_ = z(coef[0]);
  b_ = z(coef[1]);
  c_ = z(coef[2]);
  d_ = z(coef[3]);
  e_ = z(coef[4]);
  f_ = z(coef[5]);
  lambda_ = z(coef[6]);
  if (lambda_ == 0 || lambda_ == -1) f_ = 0;  // guards the closed-form integrals below
}

double CglSource::Cp(double T) const {
  return a_ + b_ * T + c_ / (T * T) + d_ / std::sqrt(T) + e_ * T * T + (f_ != 0 ? f_ * std::pow(T, lambda_) : 0);
}

double CglSource::IntCp(double T) const {
  return a_ * T + b_ * T * T / 2 - c_ / T + 2 * d_ * std::sqrt(T) + e_ * T * T * T / 3 +
         (f_ != 0 ? f_ * std::pow(T, lambda_ + 1) / (lambda_ + 1) : 0);
}

double CglSource::IntCpT(double T) const {
  return a_ * std::log(T) + b_ * T - c_ / (2 * T * T) - 2 * d_ / std::sqrt(T) + e_ * T * T / 2 +
         (f_ != 0 ? f_ * std::pow(T, lambda_) / lambda_ : 0);
}

double CglSource::H(double T) const { return h_ + IntCp(T) - IntCp(kTRef); }
double CglSource::S(double T) const { return s_ + IntCpT(T) - IntCpT(kTRef); }

double ConstantCpSource::S(double T) const { return s_ + cp_ * std::log(T / kTRef); }

double HkfCp298(double c1, double c2_scaled, double omega_scaled) {
  double c2 = c2_scaled * 1e4, omega = omega_scaled * 1e5;
  return c1 + c2 / ((kTRef - kThetaHkf) * (kTRef - kThetaHkf)) + omega * kTRef * kBornX298;
}

namespace {

/// Sum of n times the elements' entropies at 25 °C (cal/(mol K)), NAN when an element is missing.
double ElementEntropySum(const std::map<std::string, double>& composition,
                         const std::map<std::string, double>& element_entropy) {
  double sum = 0;
  for (const auto& [el, n] : composition) {
    auto it = element_entropy.find(el);
    if (it == element_entropy.end()) return NAN;
    sum += n * it->second;
  }
  return sum;
}

}  // namespace

double EnthalpyFromGibbs(double G, double S, const std::map<std::string, double>& composition, double charge,
                         const std::map<std::string, double>& element_entropy) {
  double sum = ElementEntropySum(composition, element_entropy);
  if (charge != 0) {
    auto it = element_entropy.find("Z");
    if (it == element_entropy.end()) return NAN;
    sum += charge * it->second;
  }
  return G + kTRef * (S - sum);
}

double EntropyFromGibbs(double G, double H, const std::map<std::string, double>& composition,
                        const std::map<std::string, double>& element_entropy) {
  return (H - G) / kTRef + ElementEntropySum(composition, element_entropy);
}

}  // namespace zyl::tools
