#pragma once
// Steady heat loss through a flat or cylindrical wall of up to ten layers, with convection and radiation on
// both faces. Temperatures in °C at the interface, K inside the solver.

#include <string>
#include <string_view>
#include <vector>

namespace zyl::balance {

inline constexpr int kMaxWallLayers = 10;
inline constexpr std::string_view kWallLossText = "Wall heat loss";  ///< description of the balance's heat row
inline constexpr double kStefanBoltzmann = 5.670374419e-8;  ///< W/(m2 K4), CODATA 2018 exact

enum class WallShape { Flat, Cylinder };

struct WallLayer {
  std::string name;
  double thickness = 0;     ///< m
  double conductivity = 0;  ///< W/(m K)
};

/// One face of the wall: a gas (or room) at temperature T with a convection coefficient, and radiation
/// exchanged with surroundings at T. With h = 0 and emissivity = 0 the face has no film: T is the surface
/// temperature itself (a hot face of known temperature).
struct WallFace {
  double t_c = 25;         ///< °C
  double h = 0;            ///< convection coefficient, W/(m2 K)
  double emissivity = 0;   ///< 0..1
};

struct WallInput {
  WallShape shape = WallShape::Flat;
  double area = 1;          ///< m2, flat wall
  double inner_radius = 0;  ///< m, cylinder
  double length = 1;        ///< m, cylinder
  std::vector<WallLayer> layers;
  WallFace inside{1000, 0, 0};
  WallFace outside{25, 10, 0.8};
};

struct WallResult {
  double q_w = 0;                    ///< heat flow from inside to outside, W
  double flux_outer = 0;             ///< W/m2 of the outer surface
  double t_inner_surface = 0;        ///< °C
  double t_outer_surface = 0;        ///< °C
  std::vector<double> interfaces;    ///< °C between layers i and i+1 (layers - 1 values)
  double wall_resistance = 0;        ///< K/W of the layers
  double inner_area = 0, outer_area = 0;  ///< m2
  double h_rad_inside = 0, h_rad_outside = 0;  ///< linearised radiation coefficients at the solution, W/(m2 K)
  int iterations = 0;
  std::string error;  ///< the user's message when the input can not be solved
  bool ok() const { return error.empty(); }
};

/// Checks the input ranges; empty when the wall can be solved.
std::string CheckWall(const WallInput& in);

WallResult SolveWall(const WallInput& in);

/// Reads {"shape": "flat"|"cylinder", "area", "inner_radius", "length", "temperature_unit": "C"|"K",
/// "layers": [{"name", "thickness", "conductivity"}], "inside": {"T", "h", "emissivity"}, "outside": {...}}.
std::string ParseWallJson(std::string_view text, WallInput* out);

/// The balance's heat-loss line "description value" with the flow in kW (kWh per hour of operation).
std::string HeatLossLine(const WallResult& r, std::string_view description = kWallLossText);

}  // namespace zyl::balance
