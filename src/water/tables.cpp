#include "water/tables.h"

#include <cmath>

namespace zyl::water {

std::vector<Saturation> SaturationSeries(bool by_pressure, double from, double to, double step) {
  std::vector<Saturation> out;
  if (!(std::isfinite(from) && std::isfinite(to) && std::isfinite(step)) || step <= 0) return out;
  if (to < from) std::swap(from, to);
  const int n = static_cast<int>(std::floor((to - from) / step + 1e-9)) + 1;
  for (int i = 0; i < n && static_cast<int>(out.size()) < kMaxTableRows; ++i) {
    const double x = i + 1 == n && std::fabs(from + i * step - to) < 1e-9 * std::max(1.0, to) ? to : from + i * step;
    auto s = by_pressure ? SaturationAtP(x) : SaturationAtT(x);
    if (s.ok()) out.push_back(*s);
  }
  return out;
}

std::vector<Saturation> SaturationDome(int points) {
  std::vector<Saturation> out;
  for (int i = 0; i <= points; ++i) {
    // u^2 spacing from the critical point down: more points where the dome turns
    const double u = static_cast<double>(i) / points;
    const double T = kTc - (kTc - kTTriple) * u * u;
    auto s = SaturationAtT(std::max(T, kTTriple));
    if (s.ok()) out.insert(out.begin(), *s);
  }
  return out;
}

std::vector<State> Isobar(double P, double t_min, double t_max, int points) {
  std::vector<State> out;
  double t_sat = 0;
  if (P < kPc) {
    auto s = SaturationAtP(P);
    if (s.ok()) t_sat = s->T;
  }
  bool crossed = t_sat == 0;
  for (int i = 0; i <= points; ++i) {
    const double T = t_min + (t_max - t_min) * i / points;
    if (!crossed && T >= t_sat) {
      auto s = SaturationAtP(P);
      if (s.ok()) {
        out.push_back(s->liquid);
        out.push_back(s->vapour);
      }
      crossed = true;
      if (std::fabs(T - t_sat) < 1e-9) continue;
    }
    auto st = StateAtTP(T, P);
    if (st.ok()) out.push_back(*st);
  }
  return out;
}

}  // namespace zyl::water
