#include "cell/cell_sheet.h"

#include <fmt/format.h>

#include "platform/text.h"
#include "thermo/formula.h"

namespace zyl::cell {

namespace {

constexpr double kMolPerKmol = 1000;
constexpr const char* kCellSheet = "Cell";
constexpr const char* kCompSheet = "Compositions";

int EnsureSheet(platform::Workbook* book, const char* name) {
  int i = book->FindSheet(name);
  if (i < 0) {
    book->InsertSheet(name);
    i = book->FindSheet(name);
  }
  return i;
}

constexpr int kSpeciesCols = 7;  ///< A..G: species, T, amount, P, phase, extra name, extra amount
constexpr int kOptionRows = 4;   ///< T, P, Q, title

/// Where the reader finds the species rows and the options: through the names, else their default places.
struct CellAreas {
  int sheet = -1;
  platform::RangeRef species{"", kCellFirstRow, 0, kCellLastRow, kSpeciesCols - 1};
  platform::RangeRef options{"", 0, kOptionsCol - 1, kOptionRows - 1, kOptionsCol};
};

CellAreas FindAreas(const platform::Workbook& book) {
  CellAreas a;
  auto species = book.FindName(kSpeciesArea);
  if (species && species->c2 - species->c1 + 1 >= kSpeciesCols) a.species = *species;
  auto options = book.FindName(kOptionsArea);
  if (options && options->r2 - options->r1 + 1 >= kOptionRows) a.options = *options;
  a.sheet = species ? book.FindSheet(a.species.sheet) : book.FindSheet(kCellSheet);
  if (a.sheet < 0 && book.SheetCount() > 0) a.sheet = 0;
  return a;
}

}  // namespace

void DefineCellAreas(platform::Workbook* book) {
  CellAreas a;
  a.species.sheet = a.options.sheet = kCellSheet;
  book->DefineName(kSpeciesArea, a.species);
  book->DefineName(kOptionsArea, a.options);
}

void NewCellBook(platform::Workbook* book) {
  int ci = EnsureSheet(book, kCellSheet);
  if (book->SheetCount() > 1 && book->sheet(0).name() != kCellSheet) book->MoveSheet(ci, 0), ci = 0;
  platform::Sheet& s = book->sheet(ci);
  s.ClearAll(0, 0, platform::kMaxRows - 1, platform::kMaxCols - 1);
  const char* headers[] = {"Species", "Temper.", "Amount", "C bar", "Phase", "Extra"};
  for (int c = 0; c < 6; ++c) s.SetText(0, c, headers[c]);
  s.SetText(1, 1, "C°");
  s.SetText(1, 2, "kmol");
  s.SetText(0, 7, "T, C°");
  s.SetNumber(0, kOptionsCol, 25);
  s.SetText(1, 7, "P, bar");
  s.SetNumber(1, kOptionsCol, 1);
  s.SetText(2, 7, "Q, mol e-");
  s.SetNumber(2, kOptionsCol, 0);
  s.SetText(3, 7, "Title");
  s.SetText(3, kOptionsCol, "Daniell cell");
  s.SetBold(0, 0, 1, 7, true);
  int r = kCellFirstRow;
  auto phase = [&](const char* name) { s.SetText(r++, 4, name); };
  auto species = [&](const char* name, double kmol) {
    s.SetText(r, 0, name);
    s.SetNumber(r, 1, 25);
    s.SetNumber(r, 2, kmol);
    s.SetNumber(r, 3, 1);
    ++r;
  };
  phase("Anode");
  species("Zn", 0.001);
  species("Zn(+2a)", 0.001);
  phase("Cathode");
  species("Cu", 0.001);
  species("Cu(+2a)", 0.001);
  DefineCellAreas(book);
  UpdateCompositions(book);
}

std::string CellFromSheet(const platform::Workbook& book, CellSystem* out) {
  if (book.SheetCount() == 0) return "The workbook has no sheet.";
  const CellAreas a = FindAreas(book);
  const platform::Sheet& s = book.sheet(a.sheet);
  const int c0 = a.species.c1;                           // species name column
  const int header = std::max(0, a.species.r1 - kCellFirstRow);  // headers two rows above the first species
  if (platform::Trim(s.InputText(header, c0)) != "Species" || platform::Trim(s.InputText(header, c0 + 4)) != "Phase")
    return "This is not a cell sheet: A1 should read \"Species\" and E1 \"Phase\".";
  const platform::Sheet& o = book.sheet(std::max(0, book.FindSheet(a.options.sheet.empty() ? kCellSheet
                                                                                          : a.options.sheet)));
  const int orow = a.options.r1, ocol = a.options.c2;
  CellSystem sys;
  sys.t_c = o.Number(orow, ocol).value_or(25);
  sys.p_bar = o.Number(orow + 1, ocol).value_or(1);
  sys.charge = o.Number(orow + 2, ocol).value_or(0);
  sys.title = platform::Trim(o.DisplayText(orow + 3, ocol));
  for (int r = a.species.r1; r <= std::min(a.species.r2, s.LastRow()); ++r) {
    std::string phase = platform::Trim(s.InputText(r, c0 + 4));
    std::string name = platform::Trim(s.InputText(r, c0));
    if (!phase.empty()) sys.phases.push_back({phase, {}});
    if (!name.empty()) {
      if (sys.phases.empty()) return fmt::format("Row {}: {} comes before any phase row.", r + 1, name);
      CellSpecies sp;
      sp.name = name;
      sp.t_c = s.Number(r, c0 + 1).value_or(sys.t_c);
      auto amount = s.Number(r, c0 + 2);
      if (!amount) return fmt::format("Row {}: the amount of {} is not a number.", r + 1, name);
      sp.amount = *amount * kMolPerKmol;
      sys.phases.back().species.push_back(sp);
    }
    std::string extra = platform::Trim(s.InputText(r, c0 + 5));
    if (!extra.empty()) sys.extra.emplace_back(extra, s.Number(r, c0 + 6).value_or(0));
  }
  if (sys.phases.empty()) return "The cell sheet has no phase.";
  *out = std::move(sys);
  return {};
}

void UpdateCompositions(platform::Workbook* book) {
  int ci = EnsureSheet(book, kCellSheet);
  if (!book->FindName(kSpeciesArea)) DefineCellAreas(book);
  const CellAreas a = FindAreas(*book);
  ci = a.sheet;
  int pi = EnsureSheet(book, kCompSheet);
  const platform::Sheet& s = book->sheet(ci);
  const std::string sheet_ref = platform::QuoteSheetName(s.name()) + "!";
  const std::string amount_col = platform::ColumnName(a.species.c1 + 2);
  platform::Sheet& p = book->sheet(pi);
  p.ClearAll(0, 0, platform::kMaxRows - 1, platform::kMaxCols - 1);
  const char* headers[] = {"Species", "kmol", "kg", "mol-%", "wt-%"};
  p.SetText(0, 0, "Content");
  for (int c = 0; c < 5; ++c) p.SetText(1, c, headers[c]);
  int r = 2;
  for (int row = a.species.r1; row <= std::min(a.species.r2, s.LastRow()); ++row) {
    std::string name = platform::Trim(s.InputText(row, a.species.c1));
    if (name.empty()) continue;
    double mw = thermo::MolarMass(name);
    std::string cell = sheet_ref + amount_col + std::to_string(row + 1);
    p.SetText(r, 0, name);
    p.SetFormula(r, 1, cell);
    p.SetFormula(r, 2, fmt::format("{}*{:.6g}", cell, mw));
    ++r;
  }
  const int first = 3, last = r;  // 1-based rows of the species
  const int total = r;            // 0-based row of the totals
  p.SetText(total, 0, "Total");
  p.SetFormula(total, 1, fmt::format("SUM(B{}:B{})", first, last));
  p.SetFormula(total, 2, fmt::format("SUM(C{}:C{})", first, last));
  for (int i = 2; i < total; ++i) {
    p.SetFormula(i, 3, fmt::format("100*B{}/B{}", i + 1, total + 1));
    p.SetFormula(i, 4, fmt::format("100*C{}/C{}", i + 1, total + 1));
  }
  p.SetFormula(total, 3, fmt::format("SUM(D{}:D{})", first, last));
  p.SetFormula(total, 4, fmt::format("SUM(E{}:E{})", first, last));
  p.SetNumberFormat(2, 1, total, 4, "0.000");
  book->DefineName(kCompositionsArea, {p.name(), 0, 0, total, 4});
  book->Recalculate();
}

}  // namespace zyl::cell
