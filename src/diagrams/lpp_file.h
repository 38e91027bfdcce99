#pragma once
// The phase stability set-up (*.lpp) for three elements against two gases, text, one item a line:
//
//   Lpp - Diagram 1.0
//   the three elements, ", "-separated
//   the X-axis gas, then the Y-axis gas (names ending in "g)")
//   the temperature in K, "#####0.00"
//   "x min, x max, y min, y max", log10 of the pressures in bar
//   one species name a line to the end of the file
//
// The diagram is computed by the predominance engine with the temperature as its constant.

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "diagrams/predom.h"

namespace zyl::diagrams {

inline constexpr std::string_view kLppHeader = "Lpp - Diagram 1.0";
inline constexpr std::string_view kMsgSelectThreeElements = "Please, select THREE Elements";

struct LppSetup {
  std::array<std::string, 3> elements;
  std::string x_gas, y_gas;
  double T = 1000;  ///< K
  double xmin = -20, xmax = 0, ymin = -20, ymax = 0;  ///< log10(p/bar)
  std::vector<std::string> species;
};

std::string FormatLpp(const LppSetup& s);
std::string WriteLpp(const std::filesystem::path& path, const LppSetup& s);

struct LppReadResult {
  std::optional<LppSetup> setup;
  std::string error;
};
LppReadResult ParseLpp(std::string_view text);
LppReadResult ReadLpp(const std::filesystem::path& path);

/// The same diagram as a predominance set-up (gases on the axes, temperature constant, in K).
PredomSetup ToPredomSetup(const LppSetup& s, int resolution = kResolutionLow);

}  // namespace zyl::diagrams
