#pragma once
// The cell sheet of the ZYLcell editor.
//
// Sheet "Cell": row 1 headers, row 2 units; from row 3 a phase row holds the phase name in E ("Phase") and
// the species rows below it hold the name in A, the input temperature in B (°C), the amount in C (kmol) and
// the pressure in D (bar, for the record). Extra balances: name in F, amount in G, on any row.
// Options in I1:I4: cell temperature °C, pressure bar, charge Q mol e-, title (labels in H).
// Sheet "Compositions": kmol, kg, mol-% and wt-% of every species as live formulas.

#include <string>

#include "cell/cell.h"
#include "platform/workbook.h"

namespace zyl::cell {

inline constexpr int kCellFirstRow = 2;  ///< row 3
inline constexpr int kCellLastRow = 199;
inline constexpr int kOptionsCol = 8;    ///< I

/// A new cell workbook: headers, units and options, with the Daniell cell as an example.
void NewCellBook(platform::Workbook* book);

/// Reads the system from the "Cell" sheet; error text when it can not be read.
std::string CellFromSheet(const platform::Workbook& book, CellSystem* out);

/// Rewrites the "Compositions" sheet from the species of the "Cell" sheet and their molar masses.
void UpdateCompositions(platform::Workbook* book);

}  // namespace zyl::cell
