#pragma once
// The temperature list of a reaction table: T1 towards T2 by a step, at most 300 regular rows,
// and optionally two rows around every phase transition inside the range.

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "thermo/constants.h"

namespace zyl::reactions {

enum class TempUnit { Celsius, Kelvin };

using thermo::kCelsiusOffset;                      ///< K at 0 °C
inline constexpr int kMaxRegularRows = 300;        ///< regular rows of one table
inline constexpr double kBelowTransition = 3e-5;   ///< K; row just below a transition
inline constexpr double kAboveTransition = 1e-5;   ///< K; row just above it (deliberately unequal)
using thermo::kMaxTemperature;                     ///< K; far beyond the range of any species data

inline constexpr std::string_view kMsgBadStep = "The temperature step must be greater than zero !";
inline constexpr std::string_view kMsgBelowZero = "Temperatures must be above absolute zero (0 K) !";
inline constexpr std::string_view kMsgTooHot = "Temperatures must not exceed 20000 K !";
inline constexpr std::string_view kMsgBadNumber = "Please, give the temperatures and the step as numbers !";

inline double ToKelvin(double t, TempUnit unit) { return unit == TempUnit::Celsius ? t + kCelsiusOffset : t; }
inline double FromKelvin(double t_kelvin, TempUnit unit) {
  return unit == TempUnit::Celsius ? t_kelvin - kCelsiusOffset : t_kelvin;
}
/// "°C" or "K".
std::string_view UnitText(TempUnit unit);

struct TemperatureRow {
  double T = 0;             ///< K
  bool transition = false;  ///< a row added around a phase transition
};

struct TemperatureList {
  std::vector<TemperatureRow> rows;  ///< in the order T1 towards T2
  double step = 0;                   ///< K (equal to °C) between regular rows, as used
  bool step_reset = false;           ///< the step was widened to keep 300 rows
  std::string error;

  bool ok() const { return error.empty(); }
};

/// Temperatures from t1 towards t2 (either may be the larger) by |step|, all three in `unit`.
/// When more than 300 rows would result the step becomes |t2 - t1| / 299. The last row is t2
/// only when the step lands on it. Every transition temperature (K) strictly between t1 and t2
/// adds the rows Ttr - 0.00003 K and Ttr + 0.00001 K, in the running order of the list.
TemperatureList MakeTemperatureList(double t1, double t2, double step, TempUnit unit,
                                    std::span<const double> transitions = {});

}  // namespace zyl::reactions
