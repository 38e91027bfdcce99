#pragma once
// Series of water states for tables and charts: the saturation line and isobars.

#include <vector>

#include "water/iapws95.h"

namespace zyl::water {

/// Saturation states from `from` to `to` in steps of `step` (temperatures in K, or pressures in MPa
/// when by_pressure), the end included; points outside the saturation line are left out. At most
/// kMaxTableRows rows.
inline constexpr int kMaxTableRows = 2000;
std::vector<Saturation> SaturationSeries(bool by_pressure, double from, double to, double step);

/// The saturation dome for charts: both phases from the triple point to the critical point, denser
/// near the top.
std::vector<Saturation> SaturationDome(int points = 120);

/// One isobar from t_min to t_max (K), with both saturated states inserted where it crosses the
/// saturation line (so that a polyline through the states draws the two-phase part).
std::vector<State> Isobar(double P, double t_min, double t_max, int points = 160);

}  // namespace zyl::water
