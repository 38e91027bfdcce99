#include <CLI/CLI.hpp>
#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/predom_report.h"
#include "diagrams/picture.h"
#include "diagrams/predom.h"
#include "diagrams/render_process.h"
#include "diagrams/species_source.h"
#include "diagrams/tpp_file.h"
#include "platform/paths.h"

namespace zyl::cli {

namespace {

namespace fs = std::filesystem;
using namespace zyl::diagrams;

struct TppOptions {
  std::string file;
  std::string resolution;
  std::string output;
  std::string size = "1000x800";
  std::string db;
  std::string palette;
  bool no_fill = false;
  bool box_lines = false;
  bool swap_gases = false;
  bool json = false;
};

nlohmann::json AxisJson(const PredomModel& m, bool x_axis) {
  const AxisDescription a = DescribeAxis(m, x_axis);
  return {{"title", a.title}, {"name", a.name}, {"unit", a.unit}, {"min", a.min}, {"max", a.max}};
}

int RunTpp(const TppOptions& o) {
  const fs::path file = FindSetupFile(o.file, "Tpp");
  thermo::SpeciesDatabases dbs;
  if (std::string e = OpenDatabasesForCommand(dbs, o.db); !e.empty()) return Fail(e);
  DatabaseSpeciesSource source(dbs);

  TppReadResult read = ParseFile(file, source);
  if (!read.setup) return Fail(read.error);
  for (const std::string& m : read.messages) fmt::print(stderr, "zyl: {}\n", m);
  PredomSetup setup = *read.setup;
  if (!o.resolution.empty()) {
    if (o.resolution == "low") setup.resolution = kResolutionLow;
    else if (o.resolution == "medium") setup.resolution = kResolutionMedium;
    else if (o.resolution == "high") setup.resolution = kResolutionHigh;
    else return Fail("--resolution takes low, medium or high");
  }
  setup.swap_gases = o.swap_gases;
  PredomReportOptions report;
  report.output = o.output;
  report.size = o.size;
  report.json = o.json;
  report.picture.fill_areas = !o.no_fill;
  report.picture.box_lines = o.box_lines;
  if (!o.palette.empty()) {
    std::string error;
    auto pal = LoadPalette(o.palette, &error);
    if (!pal) return Fail(error);
    report.picture.palette = *pal;
  }
  return CollectAndReport(setup, source, report);
}

}  // namespace

fs::path FindSetupFile(const std::string& name, const char* subfolder) {
  fs::path file = name;
  std::error_code ec;
  if (!fs::exists(file, ec) && file.is_relative() && fs::exists(platform::DataDir() / subfolder / file, ec))
    file = platform::DataDir() / subfolder / file;
  return file;
}

bool ParsePictureSize(const std::string& size, int* width, int* height) {
  constexpr int kMin = 50, kMax = 20000;
  return std::sscanf(size.c_str(), "%dx%d", width, height) == 2 && *width >= kMin && *height >= kMin &&
         *width <= kMax && *height <= kMax;
}

int CollectAndReport(const PredomSetup& setup, const SpeciesSource& source, const PredomReportOptions& o) {
  CollectResult collected = CollectData(setup, source);
  if (!collected.model) return Fail(collected.error);
  for (const std::string& w : collected.warnings) fmt::print(stderr, "zyl: {}\n", w);
  return ReportPredom(*collected.model, o);
}

int ReportPredom(const PredomModel& m, const PredomReportOptions& o) {
  auto start = std::chrono::steady_clock::now();
  PredomResult r = MakePicture(m);
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::vector<AreaSummary> areas = PlaceLabels(r);

  if (!o.output.empty()) {
    int w = 0, h = 0;
    if (!ParsePictureSize(o.size, &w, &h)) return Fail(kMsgPictureSize);
    if (std::string e = RenderPicture(BuildPicture(m, r, o.picture), o.output, w, h); !e.empty()) return Fail(e);
  }

  const std::string title = DiagramTitle(m.elements);
  if (o.json) {
    nlohmann::json cells = nlohmann::json::array();
    for (const BoundaryCell& c : r.cells) cells.push_back({{"x", c.x}, {"y", c.y}, {"species", m.names[c.species - 1]}});
    nlohmann::json area_list = nlohmann::json::array();
    for (const AreaSummary& a : areas)
      area_list.push_back(
          {{"species", m.names[a.species - 1]}, {"weight", a.weight}, {"label_x", a.x}, {"label_y", a.y}});
    nlohmann::json constant = {{"value", m.TemperatureAxis() ? m.log_p_constant : m.T}};
    if (m.TemperatureAxis()) {
      constant["name"] = m.swap_gases ? m.gas1 : m.gas2;
      constant["unit"] = "log10(p/bar)";
    } else {
      constant["name"] = std::string(kTemperature);
      constant["unit"] = "K";
    }
    nlohmann::json out = {
        {"title", title},
        {"elements", m.elements},
        {"species", m.names},
        {"axes",
         {{"x", AxisJson(m, true)},
          {"y", AxisJson(m, false)},
          {"constant", constant}}},
        {"resolution", m.resolution},
        {"boundary_points", r.BoundaryPoints()},
        {"boundary_cells", cells},
        {"areas", area_list},
        {"seconds", seconds},
    };
    out["extrapolated"] = ExtrapolationNotes(m);
    if (!o.output.empty()) out["output"] = o.output;
    PrintJson(out);
    return 0;
  }
  // The report shows temperatures in the set-up's unit, as the axis title says; JSON keeps kelvin.
  const double x_shift = m.TemperatureAxis() && m.celsius ? kCelsiusOffset : 0.0;
  fmt::print("{}\n{}\n", title, ConstantText(m));
  fmt::print("X axis: {} from {:g} to {:g}\n", AxisTitle(m, true), m.xmin - x_shift, m.xmax - x_shift);
  fmt::print("Y axis: {} from {:g} to {:g}\n", AxisTitle(m, false), m.ymin, m.ymax);
  fmt::print("Resolution {} (final cell {:g} x {:g})\n", m.resolution, r.cell_w, r.cell_h);
  fmt::print("\n{:<24}{:>12}{:>14}{:>14}\n", "Species", "weight", "label x", "label y");
  for (const AreaSummary& a : areas)
    fmt::print("{:<24}{:>12.4g}{:>14.4f}{:>14.4f}\n", m.names[a.species - 1], a.weight, a.x - x_shift, a.y);
  for (int k = 1; k <= m.Count(); ++k)
    if (std::none_of(areas.begin(), areas.end(), [k](const AreaSummary& a) { return a.species == k; }))
      fmt::print("{:<24}{:>12}\n", m.names[k - 1], "absent");
  fmt::print("\n{} boundary points, {} points evaluated, {:.2f} ms\n", r.BoundaryPoints(), r.evaluations,
             seconds * 1e3);
  for (const std::string& note : ExtrapolationNotes(m)) fmt::print("Note: {}\n", note);
  if (!o.output.empty()) fmt::print("Picture written to {}\n", o.output);
  return 0;
}


void RegisterTpp(CLI::App& app) {
  auto opts = std::make_shared<TppOptions>();
  auto* cmd = app.add_subcommand("tpp", "Compute a predominance (phase stability) diagram from a set-up file");
  cmd->add_option("FILE", opts->file, "Set-up file (*.tpp); looked for in the data folder's Tpp too")->required();
  cmd->add_option("--resolution", opts->resolution, "low, medium or high (default low, as the window starts)");
  cmd->add_option("-o,--output", opts->output, "Write the picture: OUT.png, OUT.svg or OUT.pdf");
  cmd->add_option("--size", opts->size, "Picture size WIDTHxHEIGHT in pixels (default 1000x800)");
  cmd->add_option("--palette", opts->palette, "Colour palette file (*.pal) for the areas");
  cmd->add_flag("--no-fill", opts->no_fill, "Draw the borders only, without area colours");
  cmd->add_flag("--box-lines", opts->box_lines, "Draw the border as the search's final cells instead of lines");
  cmd->add_flag("--swap-gases", opts->swap_gases, "Give each axis pressure to the other gas");
  cmd->add_option("--db", opts->db, "Main species database to use (default: the shipped one; no own database)");
  cmd->add_flag("--json", opts->json,
                "Print JSON: {title, elements, species, axes, boundary_points, boundary_cells, areas, seconds}");
  cmd->callback([opts] { RunTpp(*opts); });
}

}  // namespace zyl::cli
