#include <CLI/CLI.hpp>
#include <cmath>
#include <fmt/format.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "balance/balance_book.h"
#include "balance/balance_calc.h"
#include "balance/balance_io.h"
#include "balance/stream_editor.h"
#include "balance/target.h"
#include "cli/commands.h"
#include "thermo/lookup.h"

namespace zyl::cli {

namespace {

using nlohmann::json;
namespace bal = zyl::balance;

struct BalanceOptions {
  std::string file;
  std::string from;
  std::string to;
  std::string output;
  std::string own_db, main_db;
  std::string name;
  std::vector<std::string> rows;
  double temperature = 25;
  int area = 1;
  bool save = false;
  bool replace_formulas = false;
  bool json = false;
};

/// Databases, messages and the balance workbook of one command.
struct Session {
  thermo::SpeciesDatabases dbs;
  platform::HeadlessMessages msgs{false};
  std::unique_ptr<bal::DbSpeciesSource> species;
  std::unique_ptr<bal::BalanceBook> book;

  std::string Open(const BalanceOptions& o) {
    std::string err = bal::OpenReadOnlyDatabases(dbs, o.own_db, o.main_db);
    if (!err.empty()) return err;
    species = std::make_unique<bal::DbSpeciesSource>(&dbs);
    book = std::make_unique<bal::BalanceBook>(*species, msgs);
    return {};
  }
  /// Warnings the core showed (unknown species ...), printed on stderr.
  void Flush() {
    for (const auto& m : msgs.Log()) std::fprintf(stderr, "zyl: %s\n", m.text.c_str());
    msgs.Clear();
  }
};

json TotalsJson(const bal::Totals& t) {
  return {{"kmol", t.kmol}, {"kg", t.kg}, {"Nm3", t.nm3}, {"latent_H", t.lat_h}, {"total_H", t.tot_h}};
}

json ExtrapolatedJson(const std::vector<bal::ExtrapolatedRow>& rows) {
  json a = json::array();
  for (const auto& r : rows) a.push_back({{"cell", r.cell}, {"species", r.species}, {"T", r.t_display}, {"note", r.note}});
  return a;
}

/// "Note: OUT1!B5 FeO at 1800 °C: Extrapolated from 298.15-1650 K" lines.
std::string ExtrapolatedText(const std::vector<bal::ExtrapolatedRow>& rows, bal::TempUnit unit) {
  std::string text;
  for (const auto& r : rows)
    text += fmt::format("Note: {} {} at {:g} {}: {}\n", r.cell, r.species, r.t_display, bal::TempUnitName(unit), r.note);
  return text;
}

std::string TotalsLine(std::string_view name, const bal::Totals& t) {
  return fmt::format("{:<10}{:>14.3f}{:>14.3f}{:>14.3f}{:>16.3f}{:>16.3f}\n", name, t.kmol, t.kg, t.nm3, t.lat_h,
                     t.tot_h);
}

int RunNew(const BalanceOptions& o) {
  std::ifstream in(o.from, std::ios::binary);
  if (!in) return Fail("can not read " + o.from);
  std::stringstream ss;
  ss << in.rdbuf();
  bal::BalanceDescription desc;
  if (auto e = bal::ParseDescription(ss.str(), desc); !e.empty()) return Fail(o.from + ": " + e);
  Session s;
  if (auto e = s.Open(o); !e.empty()) return Fail(e);
  std::string err = bal::BuildBalance(*s.book, desc);
  s.Flush();
  if (!err.empty()) return Fail(err);
  for (const bal::BalanceProblem& p : bal::CheckBalance(*s.book)) Fail(o.from + ": " + p.message);
  if (ExitCode()) return ExitCode();
  if (auto e = s.book->Save(o.file); !e.empty()) return Fail(e);
  if (o.json) {
    json areas = json::array();
    for (const auto& a : bal::ReadBalSheet(*s.book))
      areas.push_back({{"in", TotalsJson(a.in)}, {"out", TotalsJson(a.out)}, {"balance", TotalsJson(a.balance)}});
    PrintJson({{"file", o.file}, {"areas", areas}});
  } else {
    fmt::print("{}: balance with {} area(s) written\n", o.file, s.book->AreaCount());
  }
  return 0;
}

int OpenBalance(Session& s, const BalanceOptions& o) {
  if (auto e = s.Open(o); !e.empty()) return Fail(e);
  if (auto e = s.book->Open(o.file); !e.empty()) {
    s.msgs.Clear();
    return Fail(o.file + ": " + e);
  }
  if (o.area < 1 || o.area > s.book->AreaCount())
    return Fail(fmt::format("there is no balance area {} (the workbook has {})", o.area, s.book->AreaCount()));
  return 0;
}

/// Refills and recalculates. Fails naming every cell of the areas (0: all) that leaves the results meaningless:
/// an unknown species, a temperature that is none, an error value.
int Recalculate(Session& s, const BalanceOptions& o, int area) {
  s.book->MReCalc(o.area);
  s.msgs.Clear();  // unknown species are among the problems
  std::vector<bal::BalanceProblem> problems = bal::CheckBalance(*s.book, area);
  for (const bal::BalanceProblem& p : problems) Fail(o.file + ": " + p.message);
  return problems.empty() ? 0 : ExitCode();
}

int RunRecalc(const BalanceOptions& o) {
  Session s;
  if (OpenBalance(s, o)) return ExitCode();
  if (Recalculate(s, o, 0)) return ExitCode();
  std::string unit(bal::EnergyUnitName(s.book->units().energy));
  auto areas = bal::ReadBalSheet(*s.book);
  bal::Totals total = bal::BalTot(*s.book);
  if (o.save)
    if (auto e = s.book->Save(o.file); !e.empty()) return Fail(e);
  if (o.json) {
    json a = json::array();
    for (const auto& t : areas)
      a.push_back({{"in", TotalsJson(t.in)}, {"out", TotalsJson(t.out)}, {"balance", TotalsJson(t.balance)}});
    PrintJson({{"energy_unit", unit},
               {"areas", a},
               {"total", TotalsJson(total)},
               {"extrapolated", ExtrapolatedJson(bal::ExtrapolatedRows(*s.book))}});
    return 0;
  }
  std::string text;
  for (size_t k = 0; k < areas.size(); ++k) {
    text += fmt::format("BALANCE ({})   Area {}\n", unit, k + 1);
    text += fmt::format("{:<10}{:>14}{:>14}{:>14}{:>16}{:>16}\n", "", "kmol", "kg", "Nm3", "Latent H", "Total H");
    text += TotalsLine(fmt::format("IN{}", k + 1), areas[k].in);
    text += TotalsLine(fmt::format("OUT{}", k + 1), areas[k].out);
    text += TotalsLine("BALANCE", areas[k].balance) + "\n";
  }
  text += fmt::format("Total Balance   Balance ({})\n", unit) + TotalsLine("", total);
  text += ExtrapolatedText(bal::ExtrapolatedRows(*s.book), s.book->units().temp);
  fmt::print("{}", text);
  return 0;
}

int RunTemperature(const BalanceOptions& o) {
  Session s;
  if (OpenBalance(s, o)) return ExitCode();
  if (Recalculate(s, o, o.area)) return ExitCode();
  s.msgs.SetDefaultAnswer(o.replace_formulas ? platform::Answer::Yes : platform::Answer::No);
  bal::TBalResult r = bal::CalTBal(*s.book, o.area, false);
  s.msgs.Clear();
  if (!r.done) return Fail(r.message);
  if (o.save && r.iterated)
    if (auto e = s.book->Save(o.file); !e.empty()) return Fail(e);
  std::string unit = s.book->units().temp == bal::TempUnit::C ? "C" : "K";
  const std::vector<bal::ExtrapolatedRow> extrapolated = bal::ExtrapolatedRows(*s.book, o.area);  // as solved
  if (o.json) {
    PrintJson({{"T", r.t_display},
               {"unit", unit},
               {"relation", r.relation},
               {"iterations", r.iterations},
               {"kept_formulas", r.kept_formulas},
               {"extrapolated", ExtrapolatedJson(extrapolated)},
               {"message", r.message}});
  } else {
    fmt::print("{}\n{}", r.message, ExtrapolatedText(extrapolated, s.book->units().temp));
  }
  return 0;
}

int RunElements(const BalanceOptions& o) {
  Session s;
  if (OpenBalance(s, o)) return ExitCode();
  if (Recalculate(s, o, o.area)) return ExitCode();
  bal::EleBal eb = bal::GetEleBal(*s.book, o.area);
  const std::vector<bal::ExtrapolatedRow> extrapolated = bal::ExtrapolatedRows(*s.book, o.area);
  // The report closes with the temperature of the products; finding it rewrites only temperatures, in this
  // copy of the workbook, so the compositions above keep the temperatures of the file.
  bal::TBalResult tbal = bal::CalTBal(*s.book, o.area, false);
  s.msgs.Clear();
  if (o.json) {
    json elements = json::array();
    for (const auto& e : eb.elements)
      elements.push_back({{"symbol", e.symbol},
                          {"in_kmol", e.in_kmol},
                          {"out_kmol", e.out_kmol},
                          {"in_kg", e.in_kg},
                          {"out_kg", e.out_kg},
                          {"diff_pct", e.diff_pct}});
    auto side = [](const bal::FloCon& fc) {
      json lines = json::array();
      for (const auto& l : fc.lines)
        lines.push_back({{"species", l.formula},
                         {"T", l.t_display},
                         {"kmol", l.kmol},
                         {"kg", l.kg},
                         {"mol_pct", l.mol_pct},
                         {"wt_pct", l.wt_pct}});
      return json{{"species", lines}, {"kmol", fc.kmol}, {"kg", fc.kg}};
    };
    PrintJson({{"area", o.area},
               {"product_T", tbal.done ? json(tbal.t_display) : json(nullptr)},
               {"elements", elements},
               {"errors", bal::ElementErrors(eb)},
               {"extrapolated", ExtrapolatedJson(extrapolated)},
               {"in", side(eb.in)},
               {"out", side(eb.out)}});
  } else {
    fmt::print("{}{}", bal::MaterialBalanceReport(eb, s.book->units(), o.file, tbal.done ? &tbal.t_display : nullptr),
               ExtrapolatedText(extrapolated, s.book->units().temp));
  }
  return 0;
}

int RunTarget(const BalanceOptions& o) {
  Session s;
  if (OpenBalance(s, o)) return ExitCode();
  if (s.book->book().FindSheet(bal::kTargetSheetName) < 0) return Fail(o.file + ": the workbook has no Target sheet");
  if (Recalculate(s, o, 0)) return ExitCode();
  s.msgs.SetDefaultAnswer(platform::Answer::No);  // a failed task does not stop the others
  std::vector<bal::TargetOutcome> outs = bal::MTargetCalS(*s.book);
  const platform::Sheet& tasks = s.book->book().sheet(s.book->book().FindSheet(bal::kTargetSheetName));
  if (o.save)
    if (auto e = s.book->Save(o.file); !e.empty()) return Fail(e);
  json rows = json::array();
  std::string text;
  for (const auto& t : outs) {
    bal::TargetTask task = bal::ReadTargetTask(tasks, t.row);
    json row = {{"row", t.row + 1},
                {"variable", task.var_ref},
                {"value", t.x},
                {"target", task.target_ref},
                {"reached", t.y},
                {"iterations", t.iterations}};
    row["message"] = t.message.empty() ? json(nullptr) : json(t.message);
    rows.push_back(row);
    text += fmt::format("row {}: {} = {:.6g} gives {} = {:.6g}{}\n", t.row + 1, task.var_ref, t.x, task.target_ref,
                        t.y, t.message.empty() ? "" : "\n  " + t.message);
  }
  if (o.json) PrintJson({{"tasks", rows}});
  else fmt::print("{}", text);
  return 0;
}

int RunImport(const BalanceOptions& o) {
  Session s;
  if (auto e = s.Open(o); !e.empty()) return Fail(e);
  std::string err = bal::ImportOhe(*s.book, o.from);
  s.msgs.Clear();
  if (!err.empty()) return Fail(err);
  for (const bal::BalanceProblem& p : bal::CheckBalance(*s.book)) Fail(o.from + ": " + p.message);
  if (ExitCode()) return ExitCode();
  if (auto e = s.book->Save(o.file); !e.empty()) return Fail(e);
  if (o.json) PrintJson({{"file", o.file}, {"energy_unit", bal::EnergyUnitName(s.book->units().energy)}});
  else fmt::print("{}: imported from {}\n", o.file, o.from);
  return 0;
}

int RunStreamConvert(const BalanceOptions& o) {
  auto unit = bal::ParseAmountUnit(o.to);
  if (!unit) return Fail("--to must be kmol, Nm3 or kg");
  Session s;
  if (auto e = s.Open(o); !e.empty()) return Fail(e);
  bal::StreamDoc doc(*s.species, s.msgs);
  if (auto e = doc.Open(o.file); !e.empty()) return Fail(o.file + ": " + e);
  bool found = doc.RefreshAll();
  doc.ChangeUnit(*unit);
  s.Flush();
  if (!found) return Fail("the stream holds species that are not in the databases");
  std::string out = o.output.empty() ? o.file : o.output;
  if (auto e = doc.Save(out); !e.empty()) return Fail(e);
  const platform::Sheet& sh = doc.sheet();
  json rows = json::array();
  std::string text = fmt::format("{}  ({}, {})\n", doc.Name(), bal::AmountUnitName(*unit), bal::ContentUnitName(*unit));
  int last = doc.LastSpeciesRow();
  double total = 0;
  for (int r = bal::kStreamFirstRow; r <= last; ++r) {
    const auto& v = sh.Value(r, bal::scol::kSpecies);
    if (!v.is_text() || v.text.empty()) continue;
    double amount = sh.Number(r, bal::scol::kAmount).value_or(0), content = sh.Number(r, bal::scol::kContent).value_or(0);
    double kmol = sh.Number(r, bal::scol::kKmol).value_or(0);
    total += amount;
    rows.push_back({{"species", v.text}, {"amount", amount}, {"kmol", kmol}, {"content", content}});
    text += fmt::format("{:<16}{:>14.3f}{:>10.3f}\n", v.text, amount, content);
  }
  text += fmt::format("{:<16}{:>14.3f}{:>10.3f}\n", "Total", total, 100.0);
  if (o.json)
    PrintJson({{"file", out},
               {"name", doc.Name()},
               {"unit", bal::AmountUnitName(*unit)},
               {"content_unit", bal::ContentUnitName(*unit)},
               {"rows", rows},
               {"total", total}});
  else
    fmt::print("{}", text);
  return 0;
}

int RunStreamNew(const BalanceOptions& o) {
  auto unit = bal::ParseAmountUnit(o.to.empty() ? "kmol" : o.to);
  if (!unit) return Fail("--unit must be kmol, Nm3 or kg");
  if (!std::isfinite(o.temperature) || o.temperature + bal::kCelsiusOffset <= 0)
    return Fail("the stream temperature must be a number above absolute zero (-273.15 °C)");
  Session s;
  if (auto e = s.Open(o); !e.empty()) return Fail(e);
  bal::StreamDoc doc(*s.species, s.msgs);
  doc.SetName(o.name);
  doc.SetTemperature(o.temperature);
  int i = 0;
  for (const std::string& r : o.rows) {
    size_t eq = r.rfind('=');
    char* end = nullptr;
    double v = eq == std::string::npos ? 0 : std::strtod(r.c_str() + eq + 1, &end);
    if (eq == std::string::npos || eq == 0 || !end || *end) return Fail("rows are SPECIES=AMOUNT, not " + r);
    if (!std::isfinite(v)) return Fail("amounts must be finite numbers, not " + r);
    doc.SetRow(i++, r.substr(0, eq), v);
  }
  const bool found = doc.RefreshAll();
  s.Flush();
  if (!found) return Fail("the stream holds species that are not in the databases; nothing written");
  if (*unit != bal::AmountUnit::kmol) {  // amounts were given in that unit
    doc.ChangeUnit(*unit);
    for (int k = 0; k < i; ++k) {
      const std::string& r = o.rows[k];
      doc.sheet().SetNumber(bal::kStreamFirstRow + k, bal::scol::kAmount, std::strtod(r.c_str() + r.rfind('=') + 1, nullptr));
    }
    doc.RefreshSUM();
  }
  if (auto e = doc.Save(o.file); !e.empty()) return Fail(e);
  if (o.json) PrintJson({{"file", o.file}, {"rows", i}});
  else fmt::print("{}: stream {} with {} species written\n", o.file, o.name, i);
  return 0;
}

void DbOptions(CLI::App* cmd, BalanceOptions& o) {
  cmd->add_option("--main-db", o.main_db, "Main species database (default: the shipped MainDB6.ZYL)");
  cmd->add_option("--own-db", o.own_db, "Own species database (default: the user's OwnDB6.ZYL when present)");
  cmd->add_flag("--json", o.json, "Print JSON");
}

}  // namespace

void RegisterBalance(CLI::App& app) {
  auto o = std::make_shared<BalanceOptions>();
  auto* balance = app.add_subcommand("balance", "Heat and material balance workbooks");
  balance->require_subcommand(1);

  auto* cnew = balance->add_subcommand("new", "Build a balance workbook from a JSON description");
  cnew->add_option("FILE", o->file, "Balance workbook to write (.xlsx)")->required();
  cnew->add_option("--from", o->from, "Description: {energy_unit, temperature_unit, areas: [{in: [ROW], out: [ROW]}]}")
      ->required();
  DbOptions(cnew, *o);
  cnew->callback([o] { RunNew(*o); });

  auto* recalc = balance->add_subcommand("recalc", "Refill and recalculate; print the BAL sheet totals");
  recalc->add_option("FILE", o->file, "Balance workbook")->required();
  recalc->add_option("--area", o->area, "Balance area whose block is reported first (default 1)");
  recalc->add_flag("--save", o->save, "Write the recalculated workbook back");
  DbOptions(recalc, *o);
  recalc->callback([o] { RunRecalc(*o); });

  auto* temp = balance->add_subcommand("temperature", "Temperature of the products when the heat balance is zero");
  temp->add_option("FILE", o->file, "Balance workbook")->required();
  temp->add_option("--area", o->area, "Balance area (default 1)");
  temp->add_flag("--save", o->save, "Write the temperatures back into the file");
  temp->add_flag("--replace-formulas", o->replace_formulas,
                 "Replace temperature formulas of output rows with the temperature found (default: keep them)");
  DbOptions(temp, *o);
  temp->callback([o] { RunTemperature(*o); });

  auto* ele = balance->add_subcommand("elements", "Element balance and compositions of a balance area");
  ele->add_option("FILE", o->file, "Balance workbook")->required();
  ele->add_option("--area", o->area, "Balance area (default 1)");
  DbOptions(ele, *o);
  ele->callback([o] { RunElements(*o); });

  auto* target = balance->add_subcommand("target", "Run the goal-seek tasks of the Target sheet");
  target->add_option("FILE", o->file, "Balance workbook")->required();
  target->add_flag("--save", o->save, "Write the workbook with the values found");
  DbOptions(target, *o);
  target->callback([o] { RunTarget(*o); });

  auto* import = balance->add_subcommand("import", "Import an old-format heat balance text file (.OHE)");
  import->add_option("FILE", o->file, "Balance workbook to write")->required();
  import->add_option("--from", o->from, "Old heat balance file")->required();
  DbOptions(import, *o);
  import->callback([o] { RunImport(*o); });

  auto* stream = app.add_subcommand("stream", "Stream files (.STR)");
  stream->require_subcommand(1);
  auto* convert = stream->add_subcommand("convert", "Convert the amounts of a stream to another unit");
  convert->add_option("FILE", o->file, "Stream file")->required();
  convert->add_option("--to", o->to, "kmol, Nm3 or kg")->required();
  convert->add_option("-o,--output", o->output, "Write here instead of back into FILE");
  DbOptions(convert, *o);
  convert->callback([o] { RunStreamConvert(*o); });

  auto* snew = stream->add_subcommand("new", "Write a stream file from SPECIES=AMOUNT pairs");
  snew->add_option("FILE", o->file, "Stream file to write (.STR)")->required();
  snew->add_option("ROWS", o->rows, "Species and amounts, e.g. \"O2(g)=21\" \"N2(g)=79\"")->required();
  snew->add_option("--name", o->name, "Stream name");
  snew->add_option("--unit", o->to, "Unit of the amounts: kmol (default), Nm3 or kg");
  snew->add_option("-T,--temperature", o->temperature, "Stream temperature, °C (default 25)");
  DbOptions(snew, *o);
  snew->callback([o] { RunStreamNew(*o); });
}

}  // namespace zyl::cli
