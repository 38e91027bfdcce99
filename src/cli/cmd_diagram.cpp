#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "diagrams/hscg.h"
#include "diagrams/hscg_picture.h"
#include "diagrams/render_process.h"
#include "reactions/reaction.h"
#include "thermo/lookup.h"

namespace zyl::cli {

namespace {

namespace fs = std::filesystem;

struct DiagramCliOptions {
  std::string quantity;
  std::vector<std::string> species;
  diagrams::HscgOptions calc;
  std::string tunit = "C";
  std::string eunit = "J";
  std::string own_db, main_db, png;
  bool json = false, csv = false;
  bool scales = false;  ///< Ellingham nomographic scales
};

nlohmann::ordered_json Values(const std::vector<double>& v) {
  nlohmann::ordered_json a = nlohmann::ordered_json::array();
  for (double x : v) a.push_back(std::isfinite(x) ? nlohmann::ordered_json(x) : nlohmann::ordered_json(nullptr));
  return a;
}

int RunDiagram(DiagramCliOptions o) {
  const auto q = diagrams::ParseHscgQuantity(o.quantity);
  if (!q) {
    std::string known;
    for (auto k : diagrams::kHscgKeys) known += (known.empty() ? "" : ", ") + std::string(k);
    return Fail("unknown quantity \"" + o.quantity + "\"; give a list entry or one of " + known);
  }
  o.calc.temp_unit = reactions::ParseTempUnit(o.tunit).value_or(reactions::TempUnit::Celsius);
  o.calc.joule = o.eunit == "J" || o.eunit == "j";
  thermo::SpeciesDatabases dbs;
  const fs::path own = o.own_db.empty() ? SettingsOwnDb() : fs::path(o.own_db);
  const fs::path main = o.main_db.empty() ? SettingsMainDb() : fs::path(o.main_db);
  std::string error;
  if (std::error_code ec; fs::exists(own, ec)) dbs.own = thermo::OpenSpeciesDb(own, nullptr, false, &error);
  dbs.main = thermo::OpenSpeciesDb(main, nullptr, false, &error);
  if (!dbs.main && !dbs.own) return Fail("no species database could be opened: " + main.string());

  const diagrams::HscgTable t = diagrams::CalcHscgTable(*q, o.species, o.calc, dbs);
  if (!t.ok()) return Fail(t.error);

  diagrams::DiagramPicture pic = diagrams::BuildHscgPicture(t);
  if (o.scales && !diagrams::AddEllinghamScales(pic, t, dbs))
    return Fail("--scales needs \"Delta G (Ellingham)\" of oxides (lines per mole O2)");
  if (!o.png.empty()) {
    const std::string err = diagrams::RenderPicture(pic, o.png);
    if (!err.empty()) return Fail(err);
  }
  if (o.json) {
    using Json = nlohmann::ordered_json;
    Json series = Json::array();
    for (const auto& s : t.series) {
      Json js = {{"species", s.species}, {"values", Values(s.values)}};
      if (*q == diagrams::HscgQuantity::All) {
        js["Cp"] = Values(s.cp);
        js["H"] = Values(s.h);
        js["S"] = Values(s.s);
        js["G"] = Values(s.g);
        js["logK"] = Values(s.log_k);
      }
      if (!s.gas.empty() && *q == diagrams::HscgQuantity::DeltaG) js["gas"] = s.gas;
      Json marks = Json::array();
      for (const auto& m : s.marks) marks.push_back({{"T", m.T}, {"value", m.value}});
      js["transitions"] = marks;
      series.push_back(std::move(js));
    }
    std::string gas = t.series.front().gas;
    if (auto p = gas.find('('); p != std::string::npos) gas.erase(p);
    Json out = {{"quantity", std::string(diagrams::EntryText(*q))},
                {"unit", diagrams::HscgUnit(*q, o.calc.per_kg, o.calc.joule, gas.empty() ? "O2" : gas)},
                {"tunit", std::string(reactions::UnitText(o.calc.temp_unit))},
                {"T", Values(t.T)},
                {"series", series},
                {"notes", t.notes}};
    if (o.scales) {
      // The scales as drawn: each with its origin point (0 K, a), its line a + b T, and ticks where
      // the whole powers of ten leave the plot on the right (y) or at the bottom (x).
      const auto scales = diagrams::EllinghamScales(t, dbs, pic.x.min, pic.x.max, pic.y.min, pic.y.max);
      Json js = Json::array();
      for (const auto& sc : scales) {
        Json ticks = Json::array();
        for (const auto& tk : sc.ticks)
          ticks.push_back({{"log_value", tk.log_value}, {"edge", tk.right ? "right" : "bottom"}, {"at", tk.at}});
        js.push_back({{"scale", sc.title}, {"origin", sc.origin}, {"a", sc.a}, {"b", sc.b}, {"ticks", ticks}});
      }
      out["scales"] = js;
    }
    std::string text = out.dump(2);
    text += '\n';
    std::fwrite(text.data(), 1, text.size(), stdout);
  } else {
    const std::string text = o.csv ? diagrams::FormatHscgCsv(t) : diagrams::FormatHscgText(t);
    std::fwrite(text.data(), 1, text.size(), stdout);
  }
  return 0;
}

}  // namespace

void RegisterDiagram(CLI::App& app) {
  auto o = std::make_shared<DiagramCliOptions>();
  auto* cmd = app.add_subcommand("diagram", "H, S, Cp, G, formation and Ellingham values of species against temperature");
  cmd->add_option("QUANTITY", o->quantity,
                  "\"H  Enthalpy (total)\", \"Delta G (Ellingham)\", ... or H, Hlatent, S, Cp, G, dH, dS, dG, all")
      ->required();
  cmd->add_option("SPECIES", o->species, "Species formulas, e.g. Al2O3 MgO")->required();
  auto* from = cmd->add_option("--from", o->calc.t1, "First temperature (default 25 °C)");
  auto* to = cmd->add_option("--to", o->calc.t2, "Last temperature (default 1000 °C)");
  cmd->add_option("--step", o->calc.step, "Temperature step (default 50)");
  cmd->add_option("--tunit", o->tunit, "Temperature unit: C or K (default C)")
      ->check(CLI::IsMember({"C", "K"}, CLI::ignore_case));
  cmd->add_option("--eunit", o->eunit, "Energy unit: J (kJ) or cal (kcal) (default J)")
      ->check(CLI::IsMember({"J", "cal"}, CLI::ignore_case));
  cmd->add_flag("--per-kg", o->calc.per_kg, "Per kilogram instead of per mole (not for Delta G (Ellingham))");
  cmd->add_option("--element", o->calc.gas_element,
                  "Ellingham element (O, S, Cl, ...); default: the first of O, S, Se, Te, Cl, F, Br, I, N, C, H");
  cmd->add_flag("--no-transitions", [o](int64_t) { o->calc.transitions = false; },
                "No rows just below and above the phase changes");
  cmd->add_flag("--scales", o->scales, "Ellingham diagram: pO2, CO/CO2 and H2/H2O scales on the picture and in the JSON");
  cmd->add_option("--png", o->png, "Also draw the diagram into this file (.png, .svg or .pdf)");
  cmd->add_option("--own-db", o->own_db, "Own database file");
  cmd->add_option("--main-db", o->main_db, "Main database file");
  auto* json = cmd->add_flag("--json", o->json,
                             "Print JSON: {quantity, unit, tunit, T: [...], series: [{species, values, gas?, "
                             "Cp?, H?, S?, G?, logK?, transitions: [{T, value}]}], notes}");
  auto* csv = cmd->add_flag("--csv", o->csv, "Print CSV with a header row");
  json->excludes(csv);
  cmd->callback([o, from, to] {
    if (reactions::ParseTempUnit(o->tunit) == reactions::TempUnit::Kelvin) {
      if (from->count() == 0) o->calc.t1 = reactions::ToKelvin(o->calc.t1, reactions::TempUnit::Celsius);
      if (to->count() == 0) o->calc.t2 = reactions::ToKelvin(o->calc.t2, reactions::TempUnit::Celsius);
    }
    RunDiagram(*o);
  });
}

}  // namespace zyl::cli
