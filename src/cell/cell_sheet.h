#pragma once
// The cell sheet of the ZYLcell editor.
//
// Sheet "Cell": row 1 headers, row 2 units; from row 3 a phase row holds the phase name in E ("Phase") and
// the species rows below it hold the name in A, the input temperature in B (°C), the amount in C (kmol) and
// the pressure in D (bar, for the record). Extra balances: name in F, amount in G, on any row.
// Options in I1:I4: cell temperature °C, pressure bar, charge Q mol e-, title (labels in H).
// Sheet "Compositions": kmol, kg, mol-% and wt-% of every species as live formulas.
// The workbook names its areas: SPECIES (Cell!A3:G200, the columns A..G above), OPTIONS (Cell!H1:I4, labels
// and values) and COMPOSITIONS (the table of the "Compositions" sheet). Reading goes through the names, so a
// sheet whose rows or columns were moved still reads; a sheet without them reads the places above.

#include <string>

#include "cell/cell.h"
#include "platform/workbook.h"

namespace zyl::cell {

inline constexpr int kCellFirstRow = 2;  ///< row 3
inline constexpr int kCellLastRow = 199;
inline constexpr int kOptionsCol = 8;    ///< I
inline constexpr std::string_view kSpeciesArea = "SPECIES";
inline constexpr std::string_view kOptionsArea = "OPTIONS";
inline constexpr std::string_view kCompositionsArea = "COMPOSITIONS";

/// A new cell workbook: headers, units and options, with the Daniell cell as an example.
void NewCellBook(platform::Workbook* book);

/// Reads the system from the "Cell" sheet; error text when it can not be read.
std::string CellFromSheet(const platform::Workbook& book, CellSystem* out);

/// Defines SPECIES and OPTIONS at their places on the "Cell" sheet (a new sheet, or one from a file without
/// the names).
void DefineCellAreas(platform::Workbook* book);

/// Rewrites the "Compositions" sheet from the species of the "Cell" sheet and their molar masses.
void UpdateCompositions(platform::Workbook* book);

}  // namespace zyl::cell
