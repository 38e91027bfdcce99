#include <CLI/CLI.hpp>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/predom_report.h"
#include "diagrams/eph_setup.h"
#include "thermo/constants.h"
#include "diagrams/lpp_file.h"
#include "diagrams/picture.h"
#include "diagrams/render_process.h"
#include "diagrams/species_source.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "thermo/species_data.h"

namespace zyl::cli {

namespace {

namespace fs = std::filesystem;
using namespace zyl::diagrams;

struct EphOptions {
  std::string file;
  std::string db;
  std::string png, svg, pdf;
  std::string size = "1000x800";
  bool json = false;
};

struct EphNewOptions {
  std::string out;
  std::string elements;
  std::string activity = "1e-6";
  std::string pressure = "1";
  std::string temperatures = "25";
  std::string tunit = "C";
  std::string species;
  std::string db;
  bool json = false;
};

std::vector<std::string> SplitList(const std::string& s) {
  std::vector<std::string> out;
  size_t start = 0;
  while (start <= s.size()) {
    size_t comma = s.find(',', start);
    std::string item = platform::Trim(s.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    if (!item.empty()) out.push_back(item);
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return out;
}

nlohmann::json PointsJson(const std::vector<EphPoint>& pts) {
  nlohmann::json a = nlohmann::json::array();
  for (const EphPoint& p : pts) a.push_back({p[0], p[1]});
  return a;
}

int RunEph(const EphOptions& o) {
  IepReadResult read = ReadIep(FindSetupFile(o.file, "EpH"));
  if (!read.setup) return Fail(read.error);
  const IepSetup& s = *read.setup;
  if (s.elements.empty()) return Fail("The set-up names no element.");
  thermo::SpeciesDatabases dbs;
  if (std::string e = OpenDatabasesForCommand(dbs, o.db); !e.empty()) return Fail(e);
  std::vector<EphDiagram> diagrams = ComputeSetup(s, DatabaseReader(dbs));
  for (const EphDiagram& d : diagrams)
    if (!d.error.empty()) return Fail(d.error);
  for (const std::string& w : diagrams.front().warnings) fmt::print(stderr, "zyl: {}\n", w);

  const std::string out = !o.png.empty() ? o.png : !o.svg.empty() ? o.svg : o.pdf;
  std::vector<std::string> written;
  if (!out.empty()) {
    int w = 0, h = 0;
    if (!ParsePictureSize(o.size, &w, &h)) return Fail(kMsgPictureSize);
    for (size_t i = 0; i < diagrams.size(); ++i) {
      // One picture per temperature: OUT for the first, OUT's stem with "-2", "-3", "-4" for the others.
      fs::path p = out;
      if (i > 0) p.replace_filename(p.stem().string() + fmt::format("-{}", i + 1) + p.extension().string());
      if (std::string e = RenderPicture(BuildEphPicture(s, i, diagrams[i]), p, w, h); !e.empty()) return Fail(e);
      written.push_back(p.string());
    }
  }
  std::string system = s.elements[0].symbol;
  for (size_t k = 1; k < s.elements.size(); ++k) system += "-" + s.elements[k].symbol;
  const std::string title = fmt::format("Eh - pH Diagram of the {}-O-H System", system);
  if (o.json) {
    nlohmann::json temps = nlohmann::json::array();
    for (const EphDiagram& d : diagrams) {
      nlohmann::json areas = nlohmann::json::array();
      for (const EphArea& a : d.areas) {
        nlohmann::json area = {{"species", a.species}, {"polygon", PointsJson(a.polygon)}, {"label", {a.label[0], a.label[1]}}};
        // The other elements' predominant species over the field, keyed by element.
        if (!a.secondary.empty()) {
          nlohmann::json basis = nlohmann::json::object();
          for (size_t k = 0; k < a.secondary.size() && k + 1 < s.elements.size(); ++k)
            basis[s.elements[k + 1].symbol] = a.secondary[k];
          area["secondary"] = basis;
        }
        areas.push_back(area);
      }
      temps.push_back({{"T", d.T},
                       {"nernst", d.nernst},
                       {"neutral_pH", d.neutral_ph},
                       {"water_lines",
                        {{"O2", PointsJson({d.o2_line[0], d.o2_line[1]})}, {"H2", PointsJson({d.h2_line[0], d.h2_line[1]})}}},
                       {"areas", areas}});
      if (!d.secondary_areas.empty()) {
        nlohmann::json fields = nlohmann::json::object();
        for (size_t k = 0; k < d.secondary_areas.size() && k + 1 < s.elements.size(); ++k) {
          nlohmann::json list = nlohmann::json::array();
          for (const EphArea& a : d.secondary_areas[k])
            list.push_back({{"species", a.species}, {"polygon", PointsJson(a.polygon)}, {"label", {a.label[0], a.label[1]}}});
          fields[s.elements[k + 1].symbol] = list;
        }
        temps.back()["secondary_areas"] = fields;
      }
    }
    nlohmann::json j = {{"title", title}, {"temperatures", temps}};
    if (!written.empty()) j["output"] = written;
    PrintJson(j);
    return 0;
  }
  fmt::print("{}\n", title);
  for (size_t i = 0; i < diagrams.size(); ++i) {
    const EphDiagram& d = diagrams[i];
    fmt::print("\n{}\nT = {:.2f} K, Nernst slope {:.5f} V/pH, neutral pH {:.3f}\n", EphTitle(s, i), d.T, d.nernst,
               d.neutral_ph);
    fmt::print("O2/H2O: Eh = {:.4f} - {:.5f} pH;  H+/H2: Eh = {:.4f} - {:.5f} pH\n", d.o2_line[0][1] + d.nernst * d.o2_line[0][0],
               d.nernst, d.h2_line[0][1] + d.nernst * d.h2_line[0][0], d.nernst);
    fmt::print("{:<24}{:>10}{:>10}{:>12}\n", "Species", "label pH", "label Eh", "area");
    for (size_t k = 0; k < d.secondary_areas.size() && k + 1 < s.elements.size(); ++k) {
      fmt::print("{} over its own species:", s.elements[k + 1].symbol);
      for (const EphArea& a : d.secondary_areas[k]) fmt::print(" {}", a.species);
      fmt::print("\n");
    }
    for (const EphArea& a : d.areas)
      fmt::print("{:<24}{:>10.3f}{:>10.3f}{:>12.4f}{}{}\n", a.species, a.label[0], a.label[1], a.area,
                 a.secondary.empty() ? "  " : "  with ", fmt::join(a.secondary, ", "));
  }
  for (const std::string& p : written) fmt::print("Picture written to {}\n", p);
  return 0;
}

/// One positive number per element, or one for all; empty on error.
std::vector<double> PerElement(const std::string& list, size_t elements) {
  std::vector<double> out;
  for (const std::string& t : SplitList(list)) {
    char* end = nullptr;
    const double v = std::strtod(t.c_str(), &end);
    if (end == t.c_str() || *end != '\0' || !std::isfinite(v) || !(v > 0)) return {};
    out.push_back(v);
  }
  if (out.size() == 1) out.assign(elements, out[0]);
  return out.size() == elements ? out : std::vector<double>{};
}

int RunEphNew(const EphNewOptions& o) {
  IepSetup s;
  const std::vector<std::string> symbols = SplitList(o.elements);
  if (symbols.empty()) return Fail("--elements names no element");
  const std::vector<double> act = PerElement(o.activity, symbols.size()), pres = PerElement(o.pressure, symbols.size());
  if (act.empty() || pres.empty())
    return Fail("--activity and --pressure take one positive number, or one per element");
  for (size_t k = 0; k < symbols.size(); ++k) s.elements.push_back({symbols[k], std::log10(act[k]), std::log10(pres[k])});
  if (o.tunit != "C" && o.tunit != "K") return Fail("--tunit takes C or K");
  s.celsius = o.tunit == "C";
  for (const std::string& t : SplitList(o.temperatures)) {
    char* end = nullptr;
    double v = std::strtod(t.c_str(), &end);
    if (end == t.c_str() || *end != '\0' || !std::isfinite(v)) return Fail(fmt::format("--T: not a number: {}", t));
    s.temperatures.push_back(v);
  }
  if (s.temperatures.size() > kMaxEphTemperatures) return Fail("--T takes one to four temperatures");
  for (size_t i = 0; i < s.temperatures.size(); ++i)
    if (s.Kelvin(i) <= 0) return Fail("Temperatures must be above 0 K");
  s.log_activity.assign(s.temperatures.size(), s.elements[0].log_activity);
  s.log_pressure.assign(s.temperatures.size(), s.elements[0].log_pressure);

  thermo::SpeciesDatabases dbs;
  if (std::string e = OpenDatabasesForCommand(dbs, o.db); !e.empty()) return Fail(e);
  s.species = o.species.empty() ? EphSpeciesOf(symbols, dbs) : SplitList(o.species);
  auto read = DatabaseReader(dbs);
  for (const std::string& name : s.species) {
    thermo::SpeciesData sp = read(name);
    if (sp.ranges.empty()) return Fail(fmt::format("The Specie: {} is not in the database.", name));
    std::vector<double> g;
    for (size_t i = 0; i < s.temperatures.size(); ++i) g.push_back(thermo::CalcSpeciesAtT(sp, s.Kelvin(i)).g * thermo::kCalToJ / 1000);
    s.species_g.push_back(g);
  }
  if (std::string e = ValidateIep(s); !e.empty()) return Fail(e);
  if (std::string e = WriteIep(o.out, s); !e.empty()) return Fail(e);
  if (o.json) {
    PrintJson({{"file", o.out}, {"elements", SplitList(o.elements)}, {"temperatures", s.temperatures},
               {"unit", o.tunit}, {"species", s.species}});
  } else {
    fmt::print("{} written: {} species, {} temperature(s)\n", o.out, s.species.size(), s.temperatures.size());
  }
  return 0;
}

struct LppOptions {
  std::string file, db, output;
  std::string size = "1000x800";
  bool json = false;
};

int RunLpp(const LppOptions& o) {
  LppReadResult read = ReadLpp(FindSetupFile(o.file, "Lpp"));
  if (!read.setup) return Fail(read.error);
  thermo::SpeciesDatabases dbs;
  if (std::string e = OpenDatabasesForCommand(dbs, o.db); !e.empty()) return Fail(e);
  DatabaseSpeciesSource source(dbs);
  const PredomSetup setup = ToPredomSetup(*read.setup);
  if (std::string e = ValidateSetup(setup); !e.empty()) return Fail(e);
  return CollectAndReport(setup, source, {o.output, o.size, {}, o.json});
}

}  // namespace

void RegisterEph(CLI::App& app) {
  auto lopts = std::make_shared<LppOptions>();
  auto* lpp = app.add_subcommand("lpp", "Compute a phase stability diagram from an Lpp set-up file (*.lpp)");
  lpp->add_option("FILE", lopts->file, "Set-up file (*.lpp); looked for in the data folder's Lpp too")->required();
  lpp->add_option("-o,--output", lopts->output, "Write the picture: OUT.png, OUT.svg or OUT.pdf");
  lpp->add_option("--size", lopts->size, "Picture size WIDTHxHEIGHT in pixels (default 1000x800)");
  lpp->add_option("--db", lopts->db, "Main species database to use (default: the shipped one)");
  lpp->add_flag("--json", lopts->json,
                "Print JSON, the keys of zyl tpp: {title, elements, species, axes, resolution, boundary_points, "
                "boundary_cells, areas, seconds, extrapolated}");
  lpp->callback([lopts] { RunLpp(*lopts); });

  auto opts = std::make_shared<EphOptions>();
  auto* cmd = app.add_subcommand("eph", "Compute Eh-pH diagrams from a set-up file (*.iep)");
  cmd->add_option("FILE", opts->file, "Set-up file (*.iep); looked for in the data folder's EpH too");
  cmd->add_option("--db", opts->db, "Main species database to use (default: the shipped one)");
  cmd->add_option("--png", opts->png, "Write the picture as PNG (more temperatures: OUT-2.png, ...)");
  cmd->add_option("--svg", opts->svg, "Write the picture as SVG");
  cmd->add_option("--pdf", opts->pdf, "Write the picture as PDF");
  cmd->add_option("--size", opts->size, "Picture size WIDTHxHEIGHT in pixels (default 1000x800)");
  cmd->add_flag("--json", opts->json,
                "Print JSON: {title, temperatures: [{T, nernst, neutral_pH, water_lines: {O2, H2}, areas: "
                "[{species, polygon, label, secondary: {element: species}}], secondary_areas: {element: [{species, polygon, "
                "label}]} (the last two with more elements)}]}");

  auto nopts = std::make_shared<EphNewOptions>();
  auto* nw = cmd->add_subcommand("new", "Write an Eh-pH set-up file");
  nw->add_option("OUT", nopts->out, "The set-up file to write (*.iep)")->required();
  nw->add_option("--elements", nopts->elements, "Main element first, then others distributed over their own species, e.g. Cu,S")->required();
  nw->add_option("--activity", nopts->activity, "Activity of the aqueous species of each element (total dissolved activity of the others): "
                 "one number, or one per element (default 1e-6)");
  nw->add_option("--pressure", nopts->pressure, "Pressure of the elements' gases, bar: one number, or one per element (default 1)");
  nw->add_option("--T", nopts->temperatures, "One to four temperatures, comma-separated (default 25)");
  nw->add_option("--tunit", nopts->tunit, "C or K (default C)");
  nw->add_option("--species", nopts->species, "Species, comma-separated (default: every species of the elements with O and H)");
  nw->add_option("--db", nopts->db, "Main species database to use (default: the shipped one)");
  nw->add_flag("--json", nopts->json, "Print JSON: {file, elements, temperatures, unit, species}");
  nw->callback([nopts] { RunEphNew(*nopts); });
  cmd->callback([opts, cmd] {
    if (cmd->got_subcommand("new")) return;
    if (opts->file.empty()) {
      Fail("eph: a set-up file (*.iep) is needed, or `zyl eph new`");
      return;
    }
    RunEph(*opts);
  });
}

}  // namespace zyl::cli
