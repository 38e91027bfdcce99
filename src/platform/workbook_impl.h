#pragma once
// Inside of Workbook: sheets by id, the style table, the dependency graph and the recalculation engine.
// Internal to the platform library (the formula evaluator and the file readers use it).

#include <string_view>
#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/workbook.h"
#include "platform/workbook_formula.h"

namespace zyl::platform {

/// Key of a cell in the dependency graph: sheet id, row, column.
inline std::uint64_t CellKey(std::uint32_t sheet, int row, int col) {
  return (std::uint64_t(sheet) << 32) | (std::uint64_t(std::uint32_t(row)) << 8) | std::uint64_t(col);
}
inline std::uint32_t KeySheet(std::uint64_t k) { return std::uint32_t(k >> 32); }
inline int KeyRow(std::uint64_t k) { return int((k >> 8) & 0xFFFFFF); }
inline int KeyCol(std::uint64_t k) { return int(k & 0xFF); }

/// Blocks larger than this are kept as whole ranges in the graph instead of cell by cell.
inline constexpr int kExpandArea = 64;

/// ASCII upper case of one character.
inline char Upper(char c) { return (c >= 'a' && c <= 'z') ? char(c - 'a' + 'A') : c; }

/// Equal but for ASCII case (sheet names, function names, TRUE/FALSE).
inline bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (Upper(a[i]) != Upper(b[i])) return false;
  return true;
}

struct WorkbookImpl {
  Workbook* owner = nullptr;
  std::vector<std::unique_ptr<Sheet>> sheets;  ///< tab order
  std::vector<Sheet*> by_id;                   ///< id -> sheet (nullptr once deleted)
  int active = 0;
  std::vector<CellStyle> styles{CellStyle{}};
  bool auto_recalc = true;

  // Dependency graph. Formula cells are named by key and reached by pointer (map nodes do not move while a
  // formula is registered; structural edits rebuild the graph).
  struct Dep {
    std::uint64_t key;
    Cell* cell;
  };
  std::unordered_map<std::uint64_t, std::vector<Dep>> dependents;  ///< cell -> formulas reading it
  struct BigRange {
    int r1, c1, r2, c2;
    Dep formula;
  };
  std::unordered_map<std::uint32_t, std::vector<BigRange>> big_ranges;  ///< sheet id -> large blocks read
  std::unordered_map<std::uint64_t, Cell*> formulas;                    ///< every formula cell
  std::unordered_set<std::uint64_t> volatiles;                          ///< formulas using NOW, TODAY, RAND
  std::uint32_t epoch = 0;                                              ///< recalculation pass counter
  std::unordered_set<std::uint64_t> pending;  ///< changed cells not yet recalculated (manual mode)

  /// A defined name: its block on a sheet (by id, so renames and moves keep it).
  struct DefinedName {
    std::string name;  ///< as defined (looked up without case)
    std::uint32_t sheet = 0;
    int r1 = 0, c1 = 0, r2 = 0, c2 = 0;
  };
  std::vector<DefinedName> names;
  const DefinedName* FindName(std::string_view name) const;

  // Listeners
  std::vector<std::pair<int, Workbook::Listener>> listeners;
  int next_listener = 1;
  int batch = 0;  ///< >0 while a compound edit runs (events and recalculation deferred)

  Sheet* SheetById(std::uint32_t id) const { return id < by_id.size() ? by_id[id] : nullptr; }
  const CellValue* ValueAt(std::uint32_t sheet, int row, int col) const;
  Cell& Touch(Sheet& s, int row, int col);
  int IndexOf(const Sheet* s) const;

  std::shared_ptr<const FormulaCode> Compile(std::string_view text, std::uint32_t sheet) const;
  void Register(std::uint64_t key, Cell* cell, const FormulaCode& code);
  void Unregister(std::uint64_t key, const FormulaCode& code);
  template <class Fn>
  void ForEachDependent(std::uint64_t key, Fn&& fn) const;

  /// A cell's content changed: keep the graph right and recalculate (or remember it).
  void ContentChanged(Sheet& s, int row, int col, const std::shared_ptr<const FormulaCode>& old_code);
  /// Recalculates the formulas affected by `seeds` (all formulas when `all`).
  void Recalc(const std::vector<std::uint64_t>& seeds, bool all);
  /// Recompiles every formula and rebuilds the graph (after structural edits), then recalculates all.
  void RebuildAll();
  /// Rewrites the references of every formula in the workbook; `self` is the id of the formula's sheet.
  void RewriteAll(const std::function<bool(RefToken&, std::uint32_t self)>& fn);
  std::uint32_t ResolveSheet(const RefToken& t, std::uint32_t self) const;

  void Emit(const WorkbookEvent& e);
  void EmitCells(const Sheet& s, int r1, int c1, int r2, int c2);
};

}  // namespace zyl::platform
