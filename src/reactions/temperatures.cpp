#include "reactions/temperatures.h"

#include <algorithm>
#include <cmath>

namespace zyl::reactions {

std::string_view UnitText(TempUnit unit) { return unit == TempUnit::Celsius ? "°C" : "K"; }

TemperatureList MakeTemperatureList(double t1, double t2, double step, TempUnit unit,
                                    std::span<const double> transitions) {
  TemperatureList list;
  if (!std::isfinite(t1) || !std::isfinite(t2) || !std::isfinite(step)) {
    list.error = kMsgBadNumber;
    return list;
  }
  const double a = ToKelvin(t1, unit);
  const double b = ToKelvin(t2, unit);
  if (a <= 0 || b <= 0) {
    list.error = kMsgBelowZero;
    return list;
  }
  if (a > kMaxTemperature || b > kMaxTemperature) {
    list.error = kMsgTooHot;
    return list;
  }
  const double span = std::fabs(b - a);
  step = std::fabs(step);
  if (span > 0 && step == 0) {
    list.error = kMsgBadStep;
    return list;
  }
  // The row count is what decides: a quotient of exactly 300 would give 301 rows.
  if (span > 0 && span / step >= kMaxRegularRows) {
    step = span / (kMaxRegularRows - 1);
    list.step_reset = true;
  }
  list.step = step;
  const double dir = b >= a ? 1.0 : -1.0;
  const long n = span > 0 ? static_cast<long>(std::floor(span / step * (1 + 1e-12) + 1e-9)) + 1 : 1;

  list.rows.reserve(static_cast<size_t>(n) + 2 * transitions.size());
  for (long i = 0; i < n; ++i) {
    double t = a + dir * step * static_cast<double>(i);
    if (std::fabs(t - b) <= 1e-9 * std::max(1.0, b)) t = b;
    list.rows.push_back({t, false});
  }
  std::vector<double> tr;
  for (double t : transitions)
    if (std::isfinite(t) && t > std::min(a, b) && t < std::max(a, b)) tr.push_back(t);
  std::sort(tr.begin(), tr.end());
  tr.erase(std::unique(tr.begin(), tr.end()), tr.end());
  for (double t : tr) {
    list.rows.push_back({t - kBelowTransition, true});
    list.rows.push_back({t + kAboveTransition, true});
  }
  if (!tr.empty())
    std::stable_sort(list.rows.begin(), list.rows.end(),
                     [dir](const TemperatureRow& x, const TemperatureRow& y) { return x.T * dir < y.T * dir; });
  return list;
}

}  // namespace zyl::reactions
