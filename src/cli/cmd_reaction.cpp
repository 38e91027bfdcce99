#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "reactions/reaction.h"
#include "thermo/lookup.h"

namespace zyl::cli {

namespace {

namespace fs = std::filesystem;

struct ReactionCliOptions {
  std::string equation;
  reactions::ReactionOptions calc;
  std::string tunit = "C";
  std::string eunit = "kJ";
  std::string own_db;
  std::string main_db;
  bool no_log_k = false;
  bool json = false;
  bool csv = false;
};

/// Opens the databases read-only; a missing own database is simply absent.
bool OpenDatabases(const ReactionCliOptions& o, thermo::SpeciesDatabases& dbs) {
  const fs::path own = o.own_db.empty() ? SettingsOwnDb() : fs::path(o.own_db);
  const fs::path main = o.main_db.empty() ? SettingsMainDb() : fs::path(o.main_db);
  std::string error;
  if (std::error_code ec; fs::exists(own, ec)) {
    dbs.own = thermo::OpenSpeciesDb(own, nullptr, false, &error);
    if (!dbs.own) std::fprintf(stderr, "zyl: %s\n", error.c_str());
  }
  dbs.main = thermo::OpenSpeciesDb(main, nullptr, false, &error);
  if (!dbs.main) {
    if (!dbs.own) {
      Fail("no species database could be opened: " + main.string());
      return false;
    }
    std::fprintf(stderr, "zyl: %s\n", error.c_str());
  }
  return true;
}

nlohmann::ordered_json TableJson(const reactions::ReactionTable& t) {
  using reactions::Column;
  using Json = nlohmann::ordered_json;
  Json terms = Json::array();
  for (int i = 0; i < t.parsed.Count; ++i)
    terms.push_back({{"species", t.parsed.Species[i]},
                     {"coefficient", t.parsed.Coefficient(i)},
                     {"side", t.parsed.IsLeft(i) ? "left" : "right"}});
  Json rows = Json::array();
  auto value = [](std::optional<double> v) -> Json {
    if (!v || !std::isfinite(*v)) return nullptr;
    return *v;
  };
  for (const auto& r : t.rows) {
    Json row = {{"T", value(t.Cell(r, Column::T))},       {"dH", value(t.Cell(r, Column::DeltaH))},
                          {"dS", value(t.Cell(r, Column::DeltaS))}, {"dG", value(t.Cell(r, Column::DeltaG))},
                          {"K", value(t.Cell(r, Column::K))},       {"logK", value(t.Cell(r, Column::LogK))}};
    if (t.has_potential) row["E"] = value(t.Cell(r, Column::E));
    row["transition"] = r.transition;
    rows.push_back(std::move(row));
  }
  return {{"equation", t.equation},
          {"terms", terms},
          {"units",
           {{"T", reactions::UnitText(t.temp_unit)},
            {"energy", reactions::UnitText(t.energy_unit)},
            {"entropy", reactions::EntropyUnitText(t.energy_unit)}}},
          {"step", t.step},
          {"rows", rows},
          {"notes", t.notes}};
}

int RunReaction(ReactionCliOptions o) {
  o.calc.temp_unit = reactions::ParseTempUnit(o.tunit).value_or(reactions::TempUnit::Celsius);
  o.calc.energy_unit = reactions::ParseEnergyUnit(o.eunit).value_or(reactions::EnergyUnit::kJ);
  o.calc.show_log_k = !o.no_log_k;
  // Equation errors need no database: report them first.
  reactions::ParsedEquation eq = reactions::ParseEquation(o.equation);
  if (!eq.ok()) return Fail(eq.error);
  thermo::SpeciesDatabases dbs;
  if (!OpenDatabases(o, dbs)) return ExitCode();
  reactions::ReactionTable table = reactions::CalcReaction(o.equation, o.calc, dbs);
  if (!table.ok()) return Fail(table.error);
  if (o.json) {
    // Keys in the documented order (PrintJson would sort them).
    std::string out = TableJson(table).dump(2);
    out += '\n';
    std::fwrite(out.data(), 1, out.size(), stdout);
  } else {
    std::string out = o.csv ? reactions::FormatReactionCsv(table) : reactions::FormatReactionText(table);
    std::fwrite(out.data(), 1, out.size(), stdout);
  }
  return 0;
}

}  // namespace

void RegisterReaction(CLI::App& app) {
  auto o = std::make_shared<ReactionCliOptions>();
  auto* cmd = app.add_subcommand("reaction", "ΔH, ΔS, ΔG, K and log K of a reaction equation over a temperature range");
  cmd->add_option("EQUATION", o->equation, "Reaction equation, e.g. \"2H2(g)+O2(g)=2H2O(g)\" or \"Fe(+3a)+e-=Fe(+2a)\"")
      ->required();
  auto* from = cmd->add_option("--from", o->calc.T1, "First temperature (default 25 °C)");
  auto* to = cmd->add_option("--to", o->calc.T2, "Last temperature (default 1000 °C)");
  cmd->add_option("--step", o->calc.step, "Temperature step (default 100); at most 300 rows are made");
  cmd->add_option("--tunit", o->tunit, "Temperature unit of input and output: C or K (default C)")
      ->check(CLI::IsMember({"C", "K"}, CLI::ignore_case));
  cmd->add_option("--eunit", o->eunit, "Energy unit of output: kJ or kcal (default kJ)")
      ->check(CLI::IsMember({"kJ", "kcal"}));
  cmd->add_flag("--transitions", o->calc.transitions, "Add rows just below and above every phase transition");
  cmd->add_flag("--criss", o->calc.criss_cobble, "Extrapolate heat capacities of aqueous ions (Criss-Cobble)");
  cmd->add_flag("--no-logk", o->no_log_k, "Leave the log K column out of text and CSV output");
  cmd->add_option("--own-db", o->own_db, "Own database file (default: <user data>/OwnDB6.ZYL)");
  cmd->add_option("--main-db", o->main_db, "Main database file (default: <data>/Databases/MainDB6.ZYL)");
  auto* json = cmd->add_flag("--json", o->json,
                             "Print JSON: {equation, terms, units, step, rows: [{T, dH, dS, dG, K, logK, E?, "
                             "transition}], notes}");
  auto* csv = cmd->add_flag("--csv", o->csv, "Print CSV with a header row");
  json->excludes(csv);
  cmd->callback([o, from, to] {
    // The default range is 25 to 1000 °C, also when the unit is kelvin.
    if (reactions::ParseTempUnit(o->tunit) == reactions::TempUnit::Kelvin) {
      if (from->count() == 0) o->calc.T1 = reactions::ToKelvin(o->calc.T1, reactions::TempUnit::Celsius);
      if (to->count() == 0) o->calc.T2 = reactions::ToKelvin(o->calc.T2, reactions::TempUnit::Celsius);
    }
    RunReaction(*o);
  });
}

}  // namespace zyl::cli
