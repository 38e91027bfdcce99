#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "equilibrium/description.h"
#include "equilibrium/solver_files.h"
#include "platform/files.h"
#include "thermo/lookup.h"
#include "thermo/species_db.h"

namespace zyl::cli {

namespace {

namespace fs = std::filesystem;

struct EquilibriumCliOptions {
  std::string file;
  std::string out;
  std::string elements;
  bool gas = false, condensed = false, aqueous = false;
  std::string own_db, main_db;
  bool json = false;
  std::string to;        ///< convert: target format
  std::string conv_in;   ///< convert: input file
  std::string conv_out;  ///< convert: output file
};

bool OpenDatabases(const EquilibriumCliOptions& o, thermo::SpeciesDatabases& dbs) {
  const fs::path own = o.own_db.empty() ? SettingsOwnDb() : fs::path(o.own_db);
  const fs::path main = o.main_db.empty() ? SettingsMainDb() : fs::path(o.main_db);
  std::string error;
  if (std::error_code ec; fs::exists(own, ec)) dbs.own = thermo::OpenSpeciesDb(own, nullptr, false, &error);
  dbs.main = thermo::OpenSpeciesDb(main, nullptr, false, &error);
  if (!dbs.main && !dbs.own) {
    Fail("no species database could be opened: " + main.string());
    return false;
  }
  return true;
}

void PrintText(const equilibrium::CalcResult& r) {
  for (const auto& p : r.points) {
    std::printf("T = %.2f K   P = %.6g atm   G = %.6f kJ   element residual %.3g   iterations %d\n", p.T, p.P, p.G,
                p.element_residual, p.iterations);
    for (const auto& a : p.amounts)
      std::printf("  amount point %d: %s %s = %.6g mol\n", p.amount_index + 1, a.phase.c_str(), a.name.c_str(), a.amount);
    for (const auto& ph : p.phases) {
      std::printf("  %-20s %-8s %14.6e mol%s\n", ph.name.c_str(), equilibrium::PhaseTypeText(ph.type), ph.amount,
                  ph.stable ? "" : "   (absent)");
      if (ph.species.size() > 1 || ph.type != equilibrium::PhaseType::Pure)
        for (const auto& s : ph.species)
          std::printf("    %-24s %14.6e mol   x = %.6e\n", s.name.c_str(), s.amount, s.mole_fraction);
    }
  }
}

int RunEquilibrium(const EquilibriumCliOptions& o) {
  std::string error;
  auto text = platform::ReadFile(o.file, &error);
  if (!text) return Fail(o.file + ": " + (error.empty() ? std::string("can not read the file") : error));
  auto read = equilibrium::ReadDescriptionText(*text, fs::path(o.file).extension().string());
  if (!read.ok()) return Fail(o.file + ": " + read.error);
  thermo::SpeciesDatabases dbs;
  if (!OpenDatabases(o, dbs)) return ExitCode();
  auto r = equilibrium::Calculate(read.desc, dbs);
  if (!r.ok()) return Fail(r.error);
  if (o.json) PrintJson(equilibrium::ResultJson(r));
  else PrintText(r);
  return 0;
}

int RunNew(const EquilibriumCliOptions& o) {
  std::vector<std::string> elements;
  std::string cur;
  for (char c : o.elements + ",") {
    if (c == ',' || c == ' ') {
      if (!cur.empty()) elements.push_back(cur);
      cur.clear();
    } else {
      cur += c;
    }
  }
  if (elements.empty()) return Fail("--elements needs at least one element symbol, e.g. H,O,N");
  const bool any = o.gas || o.condensed || o.aqueous;
  thermo::SpeciesDatabases dbs;
  if (!OpenDatabases(o, dbs)) return ExitCode();
  auto d = equilibrium::NewDescription(elements, any ? o.gas : true, any ? o.condensed : true,
                                       any ? o.aqueous : false, dbs);
  if (d.phases.empty()) return Fail("no database species is made only of " + o.elements);
  std::string error;
  if (!platform::WriteFileAtomic(o.out, equilibrium::DescriptionJson(d).dump(2) + "\n", &error))
    return Fail(error.empty() ? "can not write " + o.out : error);
  size_t n = 0;
  for (const auto& p : d.phases) n += p.species.size();
  if (o.json) PrintJson({{"file", o.out}, {"phases", d.phases.size()}, {"species", n}});
  else std::printf("%s: %zu phases, %zu species\n", o.out.c_str(), d.phases.size(), n);
  return 0;
}

int RunConvert(const EquilibriumCliOptions& o) {
  equilibrium::SolverFormat format{};
  if (!equilibrium::SolverFormatFromExtension(o.to, format))
    return Fail("--to must be one of gem, igi, isg, da2, dat (got \"" + o.to + "\")");
  auto read = equilibrium::ReadDescriptionFile(o.conv_in);
  if (!read.ok()) return Fail(o.conv_in + ": " + read.error);
  thermo::SpeciesDatabases dbs;
  if (!OpenDatabases(o, dbs)) return ExitCode();
  auto sheet = equilibrium::SheetFromDescription(read.desc);
  sheet.title = "Equilibrium Calculations " + fs::path(o.conv_in).filename().string();
  auto w = equilibrium::WriteSolverText(sheet, format, dbs);
  nlohmann::ordered_json warnings = nlohmann::json::array();
  for (const auto& m : w.report.messages)
    if (!m.stops) warnings.push_back(m.text);
  if (!o.json)
    for (const auto& m : w.report.messages) std::fprintf(stderr, "%s\n", m.text.c_str());
  if (!w.ok()) return Fail(o.conv_in + ": " + w.error);
  std::string error;
  if (!platform::WriteFileAtomic(o.conv_out, w.text, &error))
    return Fail(error.empty() ? "can not write " + o.conv_out : error);
  if (o.json)
    PrintJson({{"input", o.conv_in},
               {"output", o.conv_out},
               {"format", equilibrium::SolverFormatExtension(format)},
               {"warnings", warnings}});
  else std::printf("%s: written as %s\n", o.conv_out.c_str(), equilibrium::SolverFormatExtension(format));
  return 0;
}

}  // namespace

void RegisterEquilibrium(CLI::App& app) {
  auto o = std::make_shared<EquilibriumCliOptions>();
  auto* cmd = app.add_subcommand("equilibrium", "Equilibrium composition by Gibbs-energy minimisation");
  cmd->add_option("FILE", o->file, "Description of the system: .json, .gem, .igi, .isg, .da2 or .dat");
  cmd->add_option("--own-db", o->own_db, "Own database file (default: <user data>/OwnDB6.ZYL)");
  cmd->add_option("--main-db", o->main_db, "Main database file (default: <data>/Databases/MainDB6.ZYL)");
  cmd->add_flag("--json", o->json,
                "Print JSON: {results: [{T (K), P (atm), G (kJ), element_residual, iterations, "
                "[amount_index, amounts: [{phase, name, amount (mol)}] with an amount sweep], "
                "phases: [{name, type, amount (mol), stable, species: [{name, amount (mol), mole_fraction}]}]}]}");
  auto* nw = cmd->add_subcommand("new", "Write a description holding every database species of the given elements");
  nw->add_option("OUT", o->out, "Description file to write")->required();
  nw->add_option("--elements", o->elements, "Element symbols, e.g. H,O,N")->required();
  nw->add_flag("--gas", o->gas, "Gases (one ideal-gas phase)");
  nw->add_flag("--condensed", o->condensed, "Condensed species (each a pure phase)");
  nw->add_flag("--aqueous", o->aqueous, "Aqueous species (one aqueous phase)");
  nw->add_option("--own-db", o->own_db, "Own database file");
  nw->add_option("--main-db", o->main_db, "Main database file");
  nw->add_flag("--json", o->json, "Print JSON: {file, phases, species}");
  nw->callback([o] { RunNew(*o); });
  auto* cv = cmd->add_subcommand("convert", "Write a description as a solver file (gem, igi, isg, da2, dat)");
  cv->add_option("FILE", o->conv_in, "Description to convert (.json, .gem, .igi, .isg, .da2, .dat)")->required();
  cv->add_option("OUT", o->conv_out, "Solver file to write")->required();
  cv->add_option("--to", o->to, "Target format: gem, igi, isg, da2 or dat")->required();
  cv->add_option("--own-db", o->own_db, "Own database file");
  cv->add_option("--main-db", o->main_db, "Main database file");
  cv->add_flag("--json", o->json, "Print JSON: {input, output, format, warnings: [text]}");
  cv->callback([o] { RunConvert(*o); });
  cmd->callback([o, cmd, nw, cv] {
    if (cmd->got_subcommand(nw) || cmd->got_subcommand(cv)) return;
    if (o->file.empty()) {
      Fail("equilibrium needs a description FILE (or: equilibrium new OUT.json --elements ...)");
      return;
    }
    RunEquilibrium(*o);
  });
}

}  // namespace zyl::cli
