// zyl db fit: a table of T with Cp, H - H298, S or G fitted to database ranges; zyl db convert and merge.

#include <CLI/CLI.hpp>
#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/cli_common.h"
#include "cli/commands.h"
#include "platform/files.h"
#include "platform/messages.h"
#include "platform/text.h"
#include "thermo/cp_table_fit.h"
#include "thermo/db_maintenance.h"
#include "thermo/db_tools.h"
#include "thermo/lookup.h"

namespace zyl::cli {

namespace {

namespace fs = std::filesystem;
using thermo::kCalToJ;

constexpr double kCalPerKcal = 1000.0;

struct DbFitOptions {
  std::string table;
  std::string name;
  std::string phase = "s";
  std::vector<double> breaks;
  bool add = false;
  bool replace = false;
  bool cal = false;
  bool json = false;
  std::string own_db;
  std::optional<double> h298, s298;  // in the table's units
};

/// Optional JSON number (null when absent).
nlohmann::json Num(const std::optional<double>& v) { return v ? nlohmann::json(*v) : nlohmann::json(nullptr); }

int RunDbFit(const DbFitOptions& o) {
  if (platform::Trim(o.name).empty()) return Fail("--name: the species needs a name (its formula)");
  if (o.name.size() > static_cast<size_t>(thermo::kFormulaWidth))
    return Fail(fmt::format("--name: \"{}\" is longer than {} characters", o.name, thermo::kFormulaWidth));
  std::string error;
  auto text = platform::ReadFile(o.table, &error);
  if (!text) return Fail(fmt::format("{} {}\n{}", thermo::kMsgCanNotOpen, o.table, error));
  auto table = thermo::ParseCpTable(*text, o.cal, &error);
  if (!table) return Fail(fmt::format("{}: {}", o.table, error));

  // Display units of the table: J or cal; energies in kJ or kcal.
  const double to_entropy = o.cal ? 1.0 : kCalToJ;                  // cal/(mol K) -> table unit
  const double to_energy = o.cal ? 1.0 / kCalPerKcal : kCalToJ / kCalPerKcal;  // cal/mol -> table unit
  thermo::CpFitOptions opt;
  opt.breaks = o.breaks;
  opt.phase = o.phase;
  if (o.h298) opt.h298 = *o.h298 / to_energy;
  if (o.s298) opt.s298 = *o.s298 / to_entropy;
  thermo::CpFitResult res = thermo::FitCpTable(*table, opt);
  if (!res.ok) return Fail(fmt::format("{}: {}", o.table, res.error));

  std::string added;
  if (o.add) {
    fs::path own = o.own_db.empty() ? SettingsOwnDb() : fs::path(o.own_db);
    if (!thermo::EnsureOwnDb(own, &error)) return Fail(fmt::format("{} {}\n{}", thermo::kMsgCanNotOpen, own.string(), error));
    auto db = thermo::OpenSpeciesDb(own, nullptr, true, &error);
    if (!db) return Fail(error);
    if (thermo::FindSpeciesSpan(*db, o.name).first && !o.replace)
      return Fail(fmt::format("{} is already in {} (--replace replaces it)", o.name, own.string()));
    platform::HeadlessMessages msgs(false);
    auto save = thermo::SaveSpecies(*db, thermo::DbRole::Own, thermo::FitToRecords(res.ranges, o.name), msgs, o.replace);
    if (!save.ok) return Fail(save.message);
    added = own.string();
  }

  if (o.json) {
    nlohmann::json ranges = nlohmann::json::array();
    for (const auto& r : res.ranges)
      ranges.push_back({{"T1", r.t1}, {"T2", r.t2}, {"phase", r.phase}, {"H", r.h}, {"S", r.s}, {"A", r.a},
                        {"B", r.b}, {"C", r.c}, {"D", r.d}, {"transition", r.transition}, {"points", r.points},
                        {"max_cp_error", r.max_cp_error}});
    nlohmann::json points = nlohmann::json::array();
    for (const auto& p : res.points) {
      const auto& g = p.given;
      nlohmann::json j = {{"T", g.t}, {"range", p.range + 1}};
      if (g.cp) j["Cp"] = {*g.cp * to_entropy, p.cp * to_entropy, (p.cp - *g.cp) * to_entropy};
      if (g.dh) j["H-H298"] = {*g.dh * to_energy, p.dh * to_energy, (p.dh - *g.dh) * to_energy};
      if (g.s) j["S"] = {*g.s * to_entropy, p.s * to_entropy, (p.s - *g.s) * to_entropy};
      if (g.g) j["G"] = {*g.g * to_energy, p.g * to_energy, (p.g - *g.g) * to_energy};
      points.push_back(std::move(j));
    }
    nlohmann::json out = {{"name", o.name},
                          {"ranges", ranges},
                          {"max_cp_error", table->has_cp ? nlohmann::json(res.max_cp_error) : nlohmann::json(nullptr)},
                          {"max_h_error", Num(table->has_dh ? std::optional(res.max_dh_error * to_energy) : std::nullopt)},
                          {"max_s_error", Num(table->has_s ? std::optional(res.max_s_error * to_entropy) : std::nullopt)},
                          {"max_g_error", Num(table->has_g ? std::optional(res.max_g_error * to_energy) : std::nullopt)},
                          {"units", o.cal ? "cal" : "J"},
                          {"points", points},
                          {"notes", res.notes}};
    if (o.add) out["added"] = added;
    PrintJson(out);
    return 0;
  }
  const char* eu = o.cal ? "kcal/mol" : "kJ/mol";
  const char* su = o.cal ? "cal/(mol K)" : "J/(mol K)";
  fmt::print("{}: {} range(s) from {} row(s)\n", o.name, res.ranges.size(), res.points.size());
  fmt::print("{:>9} {:>9} {:>3} {:>12} {:>12} {:>13} {:>13} {:>13} {:>13}\n", "T1 K", "T2 K", "ph", "H kcal/mol",
             "S cal/molK", "A", "B", "C", "D");
  for (const auto& r : res.ranges)
    fmt::print("{:>9.2f} {:>9.2f} {:>3} {:>12.6g} {:>12.6g} {:>13.7g} {:>13.7g} {:>13.7g} {:>13.7g}\n", r.t1, r.t2,
               r.phase, r.h, r.s, r.a, r.b, r.c, r.d);
  fmt::print("\n{:>9} {:>5}", "T K", "range");
  if (table->has_cp) fmt::print(" {:>12} {:>10}", fmt::format("Cp {}", su), "dCp %");
  if (table->has_dh) fmt::print(" {:>14} {:>10}", fmt::format("H-H298 {}", eu), "dH");
  if (table->has_s) fmt::print(" {:>12} {:>10}", fmt::format("S {}", su), "dS");
  if (table->has_g) fmt::print(" {:>12} {:>10}", fmt::format("G {}", eu), "dG");
  fmt::print("\n");
  for (const auto& p : res.points) {
    const auto& g = p.given;
    fmt::print("{:>9.2f} {:>5}", g.t, p.range + 1);
    if (table->has_cp) {
      if (g.cp) fmt::print(" {:>12.5g} {:>10.4f}", *g.cp * to_entropy, *g.cp ? 100 * (p.cp - *g.cp) / *g.cp : 0.0);
      else fmt::print(" {:>12} {:>10}", "", "");
    }
    if (table->has_dh) {
      if (g.dh) fmt::print(" {:>14.6g} {:>10.3g}", *g.dh * to_energy, (p.dh - *g.dh) * to_energy);
      else fmt::print(" {:>14} {:>10}", "", "");
    }
    if (table->has_s) {
      if (g.s) fmt::print(" {:>12.6g} {:>10.3g}", *g.s * to_entropy, (p.s - *g.s) * to_entropy);
      else fmt::print(" {:>12} {:>10}", "", "");
    }
    if (table->has_g) {
      if (g.g) fmt::print(" {:>12.6g} {:>10.3g}", *g.g * to_energy, (p.g - *g.g) * to_energy);
      else fmt::print(" {:>12} {:>10}", "", "");
    }
    fmt::print("\n");
  }
  if (table->has_cp) fmt::print("\nworst Cp deviation: {:.4f} %\n", res.max_cp_error);
  for (const auto& n : res.notes) fmt::print("{}\n", n);
  if (o.add) fmt::print("stored in {}\n", added);
  return 0;
}

struct DbConvertOptions {
  std::string in, out;
  bool json = false;
};

int RunDbConvert(const DbConvertOptions& o) {
  const fs::path src = o.in, dst = o.out;
  const thermo::DbFormat format = thermo::CheckDbFormat(src);
  if (format == thermo::DbFormat::Current)
    return Fail(fmt::format("{}\nThis file is in the current format already.", src.string()));
  if (format == thermo::DbFormat::Unknown) return Fail(thermo::DbFormatMessage(src, format));
  std::error_code ec;
  if (fs::exists(dst, ec)) return Fail(fmt::format("{} exists already: choose a new file name", dst.string()));
  std::string error;
  auto bytes = platform::ReadFile(src, &error);
  if (!bytes) return Fail(fmt::format("{} {}\n{}", thermo::kMsgCanNotOpen, src.string(), error));
  auto recs = thermo::DecodeOldDatabase(*bytes, &error);
  if (!recs) return Fail(fmt::format("{}\n{}", src.string(), error));
  const size_t n = recs->size();
  if (!thermo::WriteSpeciesDatabase(dst, std::move(*recs), &error))
    return Fail(fmt::format("Can not save: {}\n{}", dst.string(), error));
  if (o.json) PrintJson({{"in", src.string()}, {"out", dst.string()}, {"records", n}});
  else fmt::print("{}: {} records converted to {}\n", src.string(), n, dst.string());
  return 0;
}

struct DbMergeOptions {
  std::string file;
  std::string on_clash = "keep";
  std::string own_db;
  bool json = false;
};

int RunDbMerge(const DbMergeOptions& o) {
  fs::path own = o.own_db.empty() ? SettingsOwnDb() : fs::path(o.own_db);
  std::string error;
  if (!thermo::EnsureOwnDb(own, &error)) return Fail(fmt::format("{} {}\n{}", thermo::kMsgCanNotOpen, own.string(), error));
  std::error_code ec;
  if (fs::equivalent(own, o.file, ec)) return Fail("The file to merge is the own database itself");
  auto other = thermo::OpenSpeciesDb(o.file, nullptr, false, &error);
  if (!other) return Fail(error);
  auto db = thermo::OpenSpeciesDb(own, nullptr, true, &error);
  if (!db) return Fail(error);
  auto incoming = thermo::ReadAllSpeciesRecords(*other);
  auto mine = thermo::ReadAllSpeciesRecords(*db);
  if (!incoming || !mine) return Fail("Can not read the databases");
  const auto choice = o.on_clash == "take" ? thermo::ClashChoice::TakeIncoming : thermo::ClashChoice::KeepOwn;
  std::vector<std::string> clashes;
  thermo::MergeResult m = thermo::MergeSpecies(*mine, *incoming, [&](const std::string& f) {
    clashes.push_back(f);
    return choice;
  });
  platform::HeadlessMessages msgs(false);
  auto res = thermo::ImportSpecies(*db, thermo::DbRole::Own, std::move(m.records), true, msgs);
  if (!res.ok) return Fail(res.message);
  if (o.json) {
    PrintJson({{"database", own.string()}, {"added", m.added}, {"replaced", m.replaced}, {"kept", m.kept},
               {"clashes", clashes}, {"records", db->RecordCount()}});
  } else {
    fmt::print("{}: {} species added, {} replaced, {} kept; {} records\n", own.string(), m.added, m.replaced, m.kept,
               db->RecordCount());
  }
  return 0;
}

CLI::App* DbGroup(CLI::App& app) { return SubcommandGroup(app, "db", "Species database files"); }

}  // namespace

void RegisterDbFit(CLI::App& app) {
  auto o = std::make_shared<DbFitOptions>();
  auto* cmd = DbGroup(app)->add_subcommand("fit", "Fit a table of T with Cp, H-H298, S or G to database ranges");
  cmd->add_option("table", o->table, "CSV table with a header: T and any of Cp, H-H298, S, G, Phase")->required();
  cmd->add_option("--name", o->name, "Formula of the species (the database's search key)")->required();
  cmd->add_option("--phase", o->phase, "Phase of rows without a Phase column (s, l, g, ...)")
      ->check(CLI::IsMember({"s", "l", "g", "a", "ia", "ao", "ig"}));
  cmd->add_option("--breaks", o->breaks, "Range breaks, K (default: proposed at phase changes and by the fit error)")
      ->delimiter(',');
  cmd->add_option("--h298", o->h298, "H at 298.15 K, kJ/mol (kcal/mol with --cal) when the table has no G");
  cmd->add_option("--s298", o->s298, "S at 298.15 K, J/(mol K) (cal/(mol K) with --cal) when the table has no S or G");
  cmd->add_flag("--cal", o->cal, "Table in cal/(mol K) and kcal/mol instead of J/(mol K) and kJ/mol");
  cmd->add_flag("--add", o->add, "Store the result in the own database");
  cmd->add_flag("--replace", o->replace, "With --add: replace a species of that name");
  cmd->add_option("--own-db", o->own_db, "Own database file (default: <user data>/OwnDB6.ZYL)");
  cmd->add_flag("--json", o->json,
                "Print JSON: {name, ranges: [{T1, T2, phase, H (kcal/mol), S, A, B, C, D (cal/(mol K)), transition, "
                "points, max_cp_error}], max_cp_error (%), max_h_error, max_s_error, max_g_error (table units), units, "
                "points: [{T, range, Cp|H-H298|S|G: [given, fitted, residual]}], notes, added}");
  cmd->callback([o] { RunDbFit(*o); });

  auto c = std::make_shared<DbConvertOptions>();
  auto* conv = DbGroup(app)->add_subcommand("convert", "Convert a ZYL 2.0 file (110-byte records) into a new database file");
  conv->add_option("file", c->in, "The old file")->required();
  conv->add_option("--out", c->out, "New database file to write (must not exist)")->required();
  conv->add_flag("--json", c->json, "Print JSON: {in, out, records}");
  conv->callback([c] { RunDbConvert(*c); });

  auto m = std::make_shared<DbMergeOptions>();
  auto* merge = DbGroup(app)->add_subcommand("merge", "Merge the species of another database file into the own database");
  merge->add_option("file", m->file, "Database file to merge (current format)")->required();
  merge->add_option("--on-clash", m->on_clash, "Species in both: keep the own data or take the file's")
      ->check(CLI::IsMember({"keep", "take"}));
  merge->add_option("--own-db", m->own_db, "Own database file (default: <user data>/OwnDB6.ZYL)");
  merge->add_flag("--json", m->json, "Print JSON: {database, added, replaced, kept, clashes, records}");
  merge->callback([m] { RunDbMerge(*m); });
}

}  // namespace zyl::cli
