#include <fstream>
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "balance/heat_loss.h"
#include "cli/commands.h"

namespace zyl::cli {

namespace {

struct HeatLossOptions {
  std::string file;
  bool json = false;
};

int RunHeatLoss(const HeatLossOptions& o) {
  std::ifstream in(o.file, std::ios::binary);
  if (!in) return Fail("can not open " + o.file);
  std::stringstream ss;
  ss << in.rdbuf();
  balance::WallInput wall;
  std::string error = balance::ParseWallJson(ss.str(), &wall);
  if (!error.empty()) return Fail(error);
  balance::WallResult r = balance::SolveWall(wall);
  if (!r.ok()) return Fail(r.error);
  if (o.json) {
    PrintJson({{"Q", r.q_w},
               {"Q_kW", r.q_w / 1000},
               {"flux_outer", r.flux_outer},
               {"T_inner_surface", r.t_inner_surface},
               {"T_outer_surface", r.t_outer_surface},
               {"interfaces", r.interfaces},
               {"wall_resistance", r.wall_resistance},
               {"inner_area", r.inner_area},
               {"outer_area", r.outer_area},
               {"h_rad_inside", r.h_rad_inside},
               {"h_rad_outside", r.h_rad_outside},
               {"balance_line", balance::HeatLossLine(r)}});
    return 0;
  }
  fmt::print("Heat loss:              {:.6g} W ({:.6g} kW)\n", r.q_w, r.q_w / 1000);
  fmt::print("Flux at outer surface:  {:.6g} W/m2\n", r.flux_outer);
  fmt::print("Inner surface:          {:.2f} °C\n", r.t_inner_surface);
  for (std::size_t i = 0; i < r.interfaces.size(); ++i)
    fmt::print("Interface {}/{}:          {:.2f} °C\n", i + 1, i + 2, r.interfaces[i]);
  fmt::print("Outer surface:          {:.2f} °C\n", r.t_outer_surface);
  return 0;
}

}  // namespace

void RegisterHeatLoss(CLI::App& app) {
  auto opts = std::make_shared<HeatLossOptions>();
  auto* cmd = app.add_subcommand("heatloss", "Steady heat loss through a flat or cylindrical wall of up to 10 layers");
  cmd->add_option("FILE", opts->file, "Wall description (JSON, see the help chapter Heat Loss)")->required();
  cmd->add_flag("--json", opts->json,
                "Print JSON: {Q (W), Q_kW, flux_outer (W/m2), T_inner_surface, T_outer_surface, interfaces (°C), "
                "wall_resistance (K/W), inner_area, outer_area (m2), h_rad_inside, h_rad_outside, balance_line}");
  cmd->callback([opts] { RunHeatLoss(*opts); });
}

}  // namespace zyl::cli
