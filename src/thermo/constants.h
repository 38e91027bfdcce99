#pragma once
// Physical constants and limits shared by every subsystem and the data builders: one definition each.

namespace zyl::thermo {

inline constexpr double kT0 = 298.15;               ///< K, reference temperature
inline constexpr double kCelsiusOffset = 273.15;    ///< K at 0 °C
inline constexpr double kCalToJ = 4.184;            ///< J per thermochemical calorie
inline constexpr double kMolarGasConstant = 8.31446261815324;  ///< J/(mol K), CODATA 2018 (exact)
inline constexpr double kMolarVolume = 22.4136;     ///< l/mol (= Nm3/kmol) of an ideal gas at 0 °C and 1 atm
inline constexpr double kMaxTemperature = 20000.0;  ///< K, far beyond the range of any species data

}  // namespace zyl::thermo
