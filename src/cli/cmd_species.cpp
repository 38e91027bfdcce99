#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <fnmatch.h>
#include <iostream>
#include <sstream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "platform/files.h"
#include "platform/messages.h"
#include "thermo/db_tools.h"
#include "thermo/formula.h"
#include "thermo/lookup.h"

namespace zyl::cli {

namespace {

namespace fs = std::filesystem;
using thermo::kCalToJ;
using thermo::kCelsiusOffset;

/// Messages of the command line: information on stderr, questions answered by --yes or, on a
/// terminal, by the user; errors are left to the command (it fails with the message).
class CliMessages : public platform::Messages {
 public:
  explicit CliMessages(bool assume_yes = false, bool print_errors = false)
      : yes_(assume_yes), print_errors_(print_errors) {}
  void Show(std::string_view text, std::string_view, platform::Icon icon) override {
    if (icon == platform::Icon::Error) {
      if (print_errors_) std::fprintf(stderr, "zyl: %.*s\n", static_cast<int>(text.size()), text.data());
      return;
    }
    std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
  }
  platform::Answer AskYesNo(std::string_view text, std::string_view) override {
    std::fprintf(stderr, "%.*s", static_cast<int>(text.size()), text.data());
    if (yes_) {
      std::fprintf(stderr, " Yes\n");
      return platform::Answer::Yes;
    }
    if (!::isatty(STDIN_FILENO)) {
      std::fprintf(stderr, " No (no terminal; --yes answers Yes)\n");
      return platform::Answer::No;
    }
    std::fprintf(stderr, " [y/N] ");
    std::string line;
    std::getline(std::cin, line);
    return !line.empty() && (line[0] == 'y' || line[0] == 'Y') ? platform::Answer::Yes : platform::Answer::No;
  }
  platform::Answer AskYesNoCancel(std::string_view text, std::string_view title) override {
    return AskYesNo(text, title);
  }
  bool AskText(std::string_view, std::string_view, std::string&) override { return false; }

 private:
  bool yes_;
  bool print_errors_;
};

struct DbPaths {
  std::string own_db;
  std::string main_db;
  fs::path Own() const { return own_db.empty() ? SettingsOwnDb() : fs::path(own_db); }
  fs::path Main() const { return main_db.empty() ? SettingsMainDb() : fs::path(main_db); }
};

void AddDbPathOptions(CLI::App* cmd, DbPaths& p) {
  cmd->add_option("--own-db", p.own_db, "Own database file (default: <user data>/OwnDB6.ZYL)");
  cmd->add_option("--main-db", p.main_db, "Main database file (default: <data>/Databases/MainDB6.ZYL)");
}

/// A single-precision value as JSON, in its shortest decimal form (0.1f prints as 0.1).
nlohmann::json FloatJson(float v) {
  if (!std::isfinite(v)) return nullptr;
  char buf[32];
  auto [p, ec] = std::to_chars(buf, buf + sizeof(buf), v);
  double d = 0;
  std::from_chars(buf, p, d);
  return d;
}

// ---------------------------------------------------------------- zyl species

struct SpeciesOptions {
  std::vector<std::string> names;
  std::vector<double> temps;
  std::string tunit = "K";
  bool criss_cobble = false;
  bool json = false;
  DbPaths paths;
};

int RunSpecies(const SpeciesOptions& o) {
  CliMessages msgs(false, true);
  thermo::SpeciesDatabases dbs;
  thermo::OpenSpeciesDatabases(dbs, o.paths.Own(), o.paths.Main(), msgs);
  if (!dbs.own && !dbs.main) return Fail("no species database could be opened");
  thermo::SetCrissCobble(o.criss_cobble);
  const bool celsius = o.tunit == "C";
  std::vector<double> temps_k;
  for (double t : o.temps) temps_k.push_back(celsius ? t + kCelsiusOffset : t);
  if (temps_k.empty()) temps_k.push_back(thermo::kT0);
  for (double t : temps_k)
    if (!(t > 0)) return Fail(fmt::format("temperature must be above 0 K: {:g} K", t));
    else if (!(t <= thermo::kMaxTemperature)) return Fail(fmt::format("temperature must not exceed 20000 K: {:g} K", t));

  nlohmann::json out = nlohmann::json::array();
  std::string text;
  for (const std::string& name : o.names) {
    thermo::SpeciesLocation loc = thermo::FindSpecies(name, dbs);
    if (!loc) return Fail(fmt::format("species not found in the own or main database: {}", name));
    thermo::SpeciesData sp = thermo::ReadSpeciesData(loc, name);
    if (sp.ranges.empty()) return Fail(fmt::format("species records could not be read: {}", name));
    const char* db_name = loc.kind == thermo::DbKind::Own ? "own" : "main";
    nlohmann::json ranges = nlohmann::json::array();
    text += fmt::format("{}  ({} database {}, records {}-{}{})\n", name, db_name, loc.db->path().string(), loc.first,
                        loc.last, sp.derived_liquid ? ", liquid ranges of the plain species" : "");
    text += fmt::format("  {:>8} {:>8} {:<5} {:>12} {:>10} {:>10} {:>10} {:>10} {:>10}\n", "T1 K", "T2 K", "Phase",
                        "H kcal/mol", "S cal/mK", "A", "B", "C", "D");
    for (int rec = loc.first; rec <= loc.last; ++rec) {
      thermo::SpeciesRecord r = *thermo::ReadSpeciesRecord(*loc.db, rec);
      ranges.push_back({{"T1", FloatJson(r.t1)}, {"T2", FloatJson(r.t2)}, {"phase", r.phase},
                        {"H", FloatJson(r.h)},   {"S", FloatJson(r.s)},   {"A", FloatJson(r.a)},
                        {"B", FloatJson(r.b)},   {"C", FloatJson(r.c)},   {"D", FloatJson(r.d)}});
      text += fmt::format("  {:>8g} {:>8g} {:<5} {:>12g} {:>10g} {:>10g} {:>10g} {:>10g} {:>10g}\n", r.t1, r.t2,
                          r.phase, r.h, r.s, r.a, r.b, r.c, r.d);
    }
    nlohmann::json values = nlohmann::json::array();
    text += fmt::format("  {:>10} {:>12} {:>12} {:>12} {:>12}\n", celsius ? "T C" : "T K", "Cp J/(mol K)",
                        "H kJ/mol", "S J/(mol K)", "G kJ/mol");
    for (double t : temps_k) {
      thermo::SpeciesValues v = thermo::CalcSpeciesAtT(sp, t);
      const double cp = v.cp * kCalToJ, h = v.h * kCalToJ / 1000, s = v.s * kCalToJ, g = v.g * kCalToJ / 1000;
      nlohmann::json row = {{"T", t}, {"Cp", cp}, {"H", h}, {"S", s}, {"G", g}};
      std::string note = thermo::ExtrapolationNote(sp, v);
      if (v.extrapolated == thermo::Extrapolation::CrissCobble) {
        row["mean_Cp"] = v.mean_cp * kCalToJ;
        note += fmt::format(", mean Cp from 298.15 K {:.4f} J/(mol K)", v.mean_cp * kCalToJ);
      }
      if (!note.empty()) row["note"] = note;
      values.push_back(row);
      text += fmt::format("  {:>10.2f} {:>12.4f} {:>12.4f} {:>12.4f} {:>12.4f}{}\n", celsius ? t - kCelsiusOffset : t,
                          cp, h, s, g, note.empty() ? "" : "  " + note);
    }
    nlohmann::json item = {{"name", name},
                           {"database", db_name},
                           {"first_record", loc.first},
                           {"last_record", loc.last},
                           {"ranges", ranges},
                           {"values", values}};
    if (sp.derived_liquid && loc.base_first) item["liquid_of"] = std::string(loc.db->Formula(loc.base_first));
    out.push_back(std::move(item));
    text += "\n";
  }
  if (o.json) PrintJson(out);
  else fmt::print("{}", text);
  return 0;
}

// ---------------------------------------------------------------- zyl db

struct DbOptions {
  DbPaths paths;
  std::string db;  // --db
  bool json = false;
  bool yes = false;
  bool force = false;
  // subcommand arguments
  std::string pattern;
  std::string file;
  bool replace_all = false;
  bool replace = false;
  std::string formula;
  std::vector<std::string> ranges;
  int range = 0;
  std::string chemical_name, common_name, references;
  double mw = -1;
  double density = 0;
};

void AddDbOptions(CLI::App* cmd, DbOptions& o, bool writes) {
  AddDbPathOptions(cmd, o.paths);
  cmd->add_option("--db", o.db, "Database file to work on (default: the own database)");
  cmd->add_flag("--json", o.json, "Print JSON");
  if (writes) {
    cmd->add_flag("--yes,-y", o.yes, "Answer Yes to the questions");
    cmd->add_flag("--force", o.force, "Insist on changing the main database (asks first)");
  }
}

struct OpenedDb {
  std::unique_ptr<thermo::SpeciesDb> db;
  thermo::DbRole role = thermo::DbRole::Own;
};

bool SamePath(const fs::path& a, const fs::path& b) {
  std::error_code ec;
  if (fs::equivalent(a, b, ec)) return true;
  return fs::weakly_canonical(a, ec) == fs::weakly_canonical(b, ec);
}

/// Opens the --db file or the own database (created when missing); nullopt after Fail.
std::optional<OpenedDb> OpenDb(const DbOptions& o, bool writable) {
  fs::path path = o.db.empty() ? o.paths.Own() : fs::path(o.db);
  if (o.db.empty()) {
    std::string error;
    if (!thermo::EnsureOwnDb(path, &error)) {
      Fail(fmt::format("{} {}\n{}", thermo::kMsgCanNotOpen, path.string(), error));
      return std::nullopt;
    }
  }
  OpenedDb r;
  r.role = SamePath(path, o.paths.Main()) ? thermo::DbRole::Main : thermo::DbRole::Own;
  std::string error;
  r.db = thermo::OpenSpeciesDb(path, nullptr, writable && (r.role == thermo::DbRole::Own || o.force), &error);
  if (!r.db) {
    Fail(error);
    return std::nullopt;
  }
  return r;
}

int Finish(const DbOptions& o, const OpenedDb& db, const thermo::DbEditResult& res) {
  if (!res.ok) return Fail(res.message);
  if (o.json) PrintJson({{"database", db.db->path().string()}, {"changed", res.changed}, {"records", db.db->RecordCount()}});
  else fmt::print("{}: {} record(s) written, {} record(s) in the database\n", db.db->path().string(), res.changed,
                  db.db->RecordCount());
  return 0;
}

/// A role that refuses writes on the main database before anything is opened for writing.
int RefuseMainWrite(const OpenedDb& db, const DbOptions& o) {
  if (db.role == thermo::DbRole::Main && !o.force)
    return Fail(platform::JoinLines({thermo::kMsgCanNotSaveMain, thermo::kMsgChangeMainToOwn}));
  return 0;
}

int RunCheck(const DbOptions& o) {
  auto db = OpenDb(o, false);
  if (!db) return 1;
  auto problems = thermo::CheckRanges(*db->db);
  const bool cat_ok = db->db->catalogue_usable();
  const size_t species = thermo::ListSpecies(*db->db).size();
  if (o.json) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& p : problems)
      list.push_back({{"formula", p.formula}, {"first_record", p.first}, {"last_record", p.last}, {"problems", p.problems}});
    PrintJson({{"database", db->db->path().string()},
               {"records", db->db->RecordCount()},
               {"species", species},
               {"catalogue_ok", cat_ok},
               {"problems", list}});
  } else {
    fmt::print("{}\n{}: {} records, {} species, catalogue {}\n", thermo::kRangeCheckTitle,
               db->db->path().string(), db->db->RecordCount(), species,
               cat_ok ? "consistent" : "missing or inconsistent (lookups scan the whole file)");
    if (problems.empty()) fmt::print("No invalid ranges.\n");
    else fmt::print("{}\n", thermo::FormatRangeReport(problems));
  }
  if (!problems.empty()) ExitCode() = 1;
  return ExitCode();
}

int RunList(const DbOptions& o) {
  struct Part {
    std::string_view header;
    const char* kind;
    const thermo::SpeciesDb* db;
  };
  thermo::SpeciesDatabases dbs;
  std::unique_ptr<thermo::SpeciesDb> one;
  std::vector<Part> parts;
  CliMessages msgs(false, true);
  if (!o.db.empty()) {
    std::string error;
    one = thermo::OpenSpeciesDb(o.db, nullptr, false, &error);
    if (!one) return Fail(error);
    parts.push_back({"", "file", one.get()});
  } else {
    thermo::EnsureOwnDb(o.paths.Own());
    dbs.own = thermo::OpenSpeciesDb(o.paths.Own(), &msgs);
    dbs.main = thermo::OpenSpeciesDb(o.paths.Main(), &msgs);
    if (dbs.own) parts.push_back({thermo::kOwnDbHeader, "own", dbs.own.get()});
    if (dbs.main) parts.push_back({thermo::kMainDbHeader, "main", dbs.main.get()});
    if (parts.empty()) return Fail("no species database could be opened");
  }
  nlohmann::json out = nlohmann::json::array();
  for (const Part& part : parts) {
    if (!o.json && !part.header.empty()) fmt::print("{}\n", part.header);
    for (const auto& sp : thermo::ListSpecies(*part.db)) {
      if (!o.pattern.empty() && ::fnmatch(o.pattern.c_str(), sp.formula.c_str(), 0) != 0) continue;
      std::string phases;
      for (int rec = sp.first; rec <= sp.last; ++rec) {
        auto r = thermo::ReadSpeciesRecord(*part.db, rec);
        if (!phases.empty()) phases += ",";
        phases += r->phase;
      }
      auto first = *thermo::ReadSpeciesRecord(*part.db, sp.first);
      auto last = *thermo::ReadSpeciesRecord(*part.db, sp.last);
      if (o.json) {
        out.push_back({{"database", part.kind}, {"formula", sp.formula}, {"first_record", sp.first},
                       {"last_record", sp.last}, {"phases", phases}, {"T1", FloatJson(first.t1)},
                       {"T2", FloatJson(last.t2)}, {"name", first.chemical_name}});
      } else {
        fmt::print("{:<24} {:>6}-{:<6} {:<10} {:>8g}-{:<8g} {}\n", sp.formula, sp.first, sp.last, phases, first.t1,
                   last.t2, first.chemical_name);
      }
    }
  }
  if (o.json) PrintJson(out);
  return 0;
}

int RunExport(const DbOptions& o) {
  auto db = OpenDb(o, false);
  if (!db) return 1;
  std::string text = thermo::FormatSpeciesText(*thermo::ReadAllSpeciesRecords(*db->db));
  if (o.file.empty() || o.file == "-") {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
  }
  std::string error;
  if (!platform::WriteFileAtomic(o.file, text, &error))
    return Fail(fmt::format("Can not save: {}\n{}", o.file, error));
  if (o.json) PrintJson({{"database", db->db->path().string()}, {"file", o.file}, {"records", db->db->RecordCount()}});
  else fmt::print("{}: {} records written to {}\n", thermo::kTextTitle, db->db->RecordCount(), o.file);
  return 0;
}

int RunImport(const DbOptions& o) {
  std::string error;
  auto text = platform::ReadFile(o.file, &error);
  if (!text) return Fail(fmt::format("{} {}\n{}", thermo::kMsgCanNotOpen, o.file, error));
  auto records = thermo::ParseSpeciesText(*text, &error);
  if (!records) return Fail(fmt::format("{}: {}", o.file, error));
  CliMessages msgs(o.yes);
  auto db = OpenDb(o, true);
  if (!db) return 1;
  if (int rc = RefuseMainWrite(*db, o)) return rc;
  auto res = thermo::ImportSpecies(*db->db, db->role, std::move(*records), o.replace_all, msgs, o.force);
  return Finish(o, *db, res);
}

int RunRepair(const DbOptions& o, bool mw) {
  CliMessages msgs(o.yes);
  auto db = OpenDb(o, true);
  if (!db) return 1;
  if (int rc = RefuseMainWrite(*db, o)) return rc;
  auto res = mw ? thermo::RecalcMolarMasses(*db->db, db->role, msgs, o.force)
                : thermo::FixT1Placeholders(*db->db, db->role, msgs, o.force);
  return Finish(o, *db, res);
}

int RunAdd(const DbOptions& o) {
  std::vector<thermo::SpeciesRecord> ranges;
  const double mw = o.mw >= 0 ? o.mw : thermo::MolarMass(o.formula);
  for (const std::string& range_text : o.ranges) {
    std::istringstream in(range_text);
    thermo::SpeciesRecord r;
    double t1, t2, h, s, a, b, c, d;
    if (!(in >> t1 >> t2 >> r.phase >> h >> s >> a >> b >> c >> d))
      return Fail(fmt::format("--range needs \"T1 T2 PHASE H S A B C D\": {}", range_text));
    std::string extra;
    if (in >> extra) return Fail(fmt::format("--range needs \"T1 T2 PHASE H S A B C D\": {}", range_text));
    r.formula = o.formula;
    r.chemical_name = o.chemical_name;
    r.common_name = o.common_name;
    r.references = o.references;
    r.mw = static_cast<float>(mw);
    r.density = static_cast<float>(o.density);
    r.t1 = static_cast<float>(t1);
    r.t2 = static_cast<float>(t2);
    r.h = static_cast<float>(h);
    r.s = static_cast<float>(s);
    r.a = static_cast<float>(a);
    r.b = static_cast<float>(b);
    r.c = static_cast<float>(c);
    r.d = static_cast<float>(d);
    ranges.push_back(std::move(r));
  }
  if (o.formula.size() > static_cast<size_t>(thermo::kFormulaWidth))
    return Fail(fmt::format("formula longer than {} characters: {}", thermo::kFormulaWidth, o.formula));
  CliMessages msgs(o.yes);
  auto db = OpenDb(o, true);
  if (!db) return 1;
  if (db->role == thermo::DbRole::Main && !thermo::FindSpeciesSpan(*db->db, o.formula).first)
    return Fail(platform::JoinLines({thermo::kMsgNoNewSpeciesInMain,
                                     fmt::format("{}{}{}", thermo::kMsgPleaseSave, o.formula, thermo::kMsgToOwnDatabase)}));
  if (int rc = RefuseMainWrite(*db, o)) return rc;
  auto res = thermo::SaveSpecies(*db->db, db->role, ranges, msgs, o.replace, o.force);
  return Finish(o, *db, res);
}

int RunDelete(const DbOptions& o) {
  CliMessages msgs(o.yes);
  auto db = OpenDb(o, true);
  if (!db) return 1;
  auto res = thermo::DeleteSpecies(*db->db, db->role, o.formula, o.range, msgs);
  return Finish(o, *db, res);
}

}  // namespace

void RegisterSpecies(CLI::App& app) {
  auto so = std::make_shared<SpeciesOptions>();
  auto* sp = app.add_subcommand("species", "Database data and Cp, H, S, G of species at temperatures");
  sp->add_option("NAME", so->names, "Species names as in the database, e.g. \"H2O(g)\" \"SO4(-2a)\"")->required();
  sp->add_option("-T", so->temps, "Temperature (repeatable; default 298.15 K)")->allow_extra_args(false);
  sp->add_option("--tunit", so->tunit, "Unit of -T and of the printed T: C or K")
      ->check(CLI::IsMember({"C", "K"}));
  sp->add_flag("--criss-cobble", so->criss_cobble, "Criss-Cobble heat capacities for aqueous ions");
  sp->add_flag("--json", so->json,
               "Print JSON: [{name, database, first_record, last_record, ranges, values: [{T, Cp, H, S, G}]}]");
  AddDbPathOptions(sp, so->paths);
  sp->callback([so] { RunSpecies(*so); });

  auto* db = app.add_subcommand("db", "Species database tools (own database unless --db names a file)");
  db->require_subcommand(1);

  auto make = [db](const char* name, const char* help, bool writes) {
    auto o = std::make_shared<DbOptions>();
    auto* cmd = db->add_subcommand(name, help);
    AddDbOptions(cmd, *o, writes);
    return std::make_pair(cmd, o);
  };

  {
    auto [cmd, o] = make("check", "Search for invalid temperature ranges", false);
    cmd->callback([o = o] { RunCheck(*o); });
  }
  {
    auto [cmd, o] = make("list", "List the species (own and main database, or --db)", false);
    cmd->add_option("PATTERN", o->pattern, "Only formulas matching this wildcard pattern, e.g. \"Fe*\"");
    cmd->callback([o = o] { RunList(*o); });
  }
  {
    auto [cmd, o] = make("export", "Write the database in text form (tab-separated, one record per line)", false);
    cmd->add_option("FILE", o->file, "Text file to write (default: standard output)");
    cmd->callback([o = o] { RunExport(*o); });
  }
  {
    auto [cmd, o] = make("import", "Add or replace species from a text file", true);
    cmd->add_option("FILE", o->file, "Text file written by `zyl db export`")->required();
    cmd->add_flag("--replace-all", o->replace_all, "Make the database exactly the species of the file");
    cmd->callback([o = o] { RunImport(*o); });
  }
  {
    auto [cmd, o] = make("recalc-mw", "Recalculate every record's molar mass from its formula", true);
    cmd->callback([o = o] { RunRepair(*o, true); });
  }
  {
    auto [cmd, o] = make("fix-t1", "Replace placeholder T1 values (below 1 K) by 100 K", true);
    cmd->callback([o = o] { RunRepair(*o, false); });
  }
  {
    auto [cmd, o] = make("add", "Add (or with --replace, replace) a species", true);
    cmd->add_option("FORMULA", o->formula, "Formula, the search key, e.g. \"FeS2\"")->required();
    cmd->add_option("--range", o->ranges, "One range: \"T1 T2 PHASE H S A B C D\" (K, kcal/mol, cal/(mol K))")
        ->required()
        ->allow_extra_args(false);
    cmd->add_flag("--replace", o->replace, "Replace the species when the database holds it");
    cmd->add_option("--name", o->chemical_name, "Chemical name");
    cmd->add_option("--common-name", o->common_name, "Common name");
    cmd->add_option("--references", o->references, "Reference codes");
    cmd->add_option("--mw", o->mw, "Molar mass, g/mol (default: from the formula)");
    cmd->add_option("--density", o->density, "Density, kg/l");
    cmd->callback([o = o] { RunAdd(*o); });
  }
  {
    auto [cmd, o] = make("delete", "Delete a species or one of its ranges", true);
    cmd->add_option("FORMULA", o->formula, "Formula of the species")->required();
    cmd->add_option("--range", o->range, "Delete only this range (1-based)");
    cmd->callback([o = o] { RunDelete(*o); });
  }
}

}  // namespace zyl::cli
