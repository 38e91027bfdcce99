#include <cctype>
#include <fstream>
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cell/cell.h"
#include "cell/cell_sheet.h"
#include "cli/commands.h"
#include "platform/messages.h"

namespace zyl::cli {

namespace {

namespace fs = std::filesystem;

struct CellOptions {
  std::string file;
  std::string write;
  std::string own_db, main_db;
  bool json = false;
};

// Database problems are printed; the command fails on its own message.
class QuietMessages : public platform::Messages {
 public:
  void Show(std::string_view text, std::string_view, platform::Icon) override {
    std::fprintf(stderr, "zyl: %.*s\n", static_cast<int>(text.size()), text.data());
  }
  platform::Answer AskYesNo(std::string_view, std::string_view) override { return platform::Answer::No; }
  platform::Answer AskYesNoCancel(std::string_view, std::string_view) override { return platform::Answer::No; }
  bool AskText(std::string_view, std::string_view, std::string&) override { return false; }
};

int RunCell(const CellOptions& o) {
  std::ifstream in(o.file, std::ios::binary);
  if (!in) return Fail("can not open " + o.file);
  std::stringstream ss;
  ss << in.rdbuf();
  std::string ext = fs::path(o.file).extension().string();
  for (char& ch : ext) ch = char(std::tolower(static_cast<unsigned char>(ch)));

  cell::CellSystem sys;
  std::string error;
  if (ext == ".json" || ext == ".xlsx") {
    if (ext == ".json") {
      error = cell::ParseCellJson(ss.str(), &sys);
    } else {
      platform::Workbook book;
      error = book.Load(o.file);
      if (error.empty()) error = cell::CellFromSheet(book, &sys);
    }
    if (!error.empty()) return Fail(error);
    thermo::SpeciesDatabases dbs;
    QuietMessages msgs;
    thermo::OpenSpeciesDatabases(dbs, o.own_db.empty() ? SettingsOwnDb() : fs::path(o.own_db),
                                 o.main_db.empty() ? SettingsMainDb() : fs::path(o.main_db), msgs);
    if (!dbs.own && !dbs.main) return Fail("no species database could be opened");
    auto source = cell::DatabaseSource(dbs);
    if (!o.write.empty()) {
      error = cell::WriteCellInput(sys, source, o.write);
      if (!error.empty()) return Fail(error);
    }
    error = cell::FillSpeciesData(&sys, source);
  } else {
    if (!o.write.empty()) return Fail("--write needs a JSON description or a cell sheet");
    error = cell::ParseCellInput(ss.str(), &sys);
  }
  if (!error.empty()) return Fail(error);
  cell::CellResult r = cell::CalculateCell(sys);
  if (!r.ok()) return Fail(r.error);
  if (o.json) {
    PrintJson({{"reaction", r.reaction},
               {"T", r.t_k},
               {"n_electrons", r.n_electrons},
               {"dG", r.dg_kj},
               {"E0", r.e0},
               {"E", r.e},
               {"charge", sys.charge}});
    return 0;
  }
  fmt::print("Cell reaction: {}\nT = {:.2f} K   n = {:g}\ndG = {:.3f} kJ/mol\nE0 = {:.4f} V\nE = {:.4f} V\n",
             r.reaction, r.t_k, r.n_electrons, r.dg_kj, r.e0, r.e);
  return 0;
}

}  // namespace

void RegisterCell(CLI::App& app) {
  auto opts = std::make_shared<CellOptions>();
  auto* cmd = app.add_subcommand("cell", "Cell reaction, dG, E0 and Nernst potential of an electrochemical cell");
  cmd->add_option("FILE", opts->file, "Cell input file (Cell folder), cell sheet (.xlsx) or JSON description")->required();
  cmd->add_option("--write", opts->write,
                  "Write the cell input file from a JSON description to this path, and CELL.INI beside it");
  cmd->add_option("--own-db", opts->own_db, "Own database file (default: <user data>/OwnDB6.ZYL)");
  cmd->add_option("--main-db", opts->main_db, "Main database file (default: <data>/Databases/MainDB6.ZYL)");
  cmd->add_flag("--json", opts->json,
                "Print JSON: {reaction, T (K), n_electrons, dG (kJ/mol), E0 (V), E (V), charge (mol e-)}");
  cmd->callback([opts] { RunCell(*opts); });
}

}  // namespace zyl::cli
