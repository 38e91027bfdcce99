#pragma once
// Formulas of the workbook: tokenizer, compiler to a stack program, evaluator, and the reference rewriter used
// by structural edits, sheet renames and copy/paste. Internal to the platform library.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/workbook.h"

namespace zyl::platform {

/// Deepest nesting of parentheses and unary operators a formula may have.
inline constexpr int kMaxFormulaDepth = 200;
/// Longest formula text accepted.
inline constexpr std::size_t kMaxFormulaLength = 8192;

/// A reference as written in a formula: a cell or a rectangle, with its optional sheet prefix.
struct RefToken {
  bool has_sheet = false;
  std::string sheet;  ///< unquoted name
  int r1 = 0, c1 = 0, r2 = 0, c2 = 0;
  bool r1_abs = false, c1_abs = false, r2_abs = false, c2_abs = false;
  bool is_range = false;  ///< written with ':'
  bool whole_cols = false;  ///< written as columns only ("C:D"): all rows
  bool whole_rows = false;  ///< written as rows only ("3:5"): all columns
  /// The reference written back ("IN1!$C$1:$C$65536", "'A b'!C5", "B2").
  std::string ToString() const;
  std::string ToString(const std::function<std::string(std::string_view)>& quote) const;
};

/// Rewrites every reference of a formula text (without '='). fn may change the reference; returning false turns
/// it into #REF! (keeping its sheet prefix). Returns the text unchanged when it does not tokenize.
/// `quote` writes sheet names (QuoteSheetName when not given).
std::string RewriteRefs(std::string_view formula, const std::function<bool(RefToken&)>& fn,
                        const std::function<std::string(std::string_view)>& quote = {});

/// A formula written the way spreadsheets show it: function names, references, booleans and error values in
/// upper case, everything else as typed. Returns the text unchanged when it does not tokenize.
std::string NormalizeFormula(std::string_view formula);

/// A block of cells a formula reads.
struct RefArea {
  std::uint32_t sheet = 0;  ///< sheet id
  int r1 = 0, c1 = 0, r2 = 0, c2 = 0;
};

/// One instruction of a compiled formula.
struct FormulaOp {
  enum Kind : std::uint8_t {
    Num, Str, Bool, Err, Ref, Area, Neg, Percent,
    Add, Sub, Mul, Div, Pow, Concat, Eq, Ne, Lt, Le, Gt, Ge,
    Call,
  };
  Kind kind = Num;
  std::uint8_t fn = 0;      ///< Call: function id; Err: CellError
  std::uint16_t argc = 0;   ///< Call: argument count
  std::uint32_t index = 0;  ///< Str: string index; Ref/Area: index into refs
  double num = 0;           ///< Num, Bool
};

struct FormulaCode {
  std::vector<FormulaOp> ops;
  std::vector<std::string> strings;
  std::vector<RefArea> refs;  ///< every cell or block read, for the dependency graph
  std::string error;          ///< why the text did not compile (then the value is #NAME?)
  bool volatile_fn = false;   ///< uses NOW, TODAY or RAND
};

/// Resolves a sheet name (unquoted) to a sheet id; returns false when there is no such sheet.
using SheetResolver = std::function<bool(std::string_view name, std::uint32_t* id)>;

/// Resolves a defined name (upper case) to its block; returns false when the name is not defined.
using NameResolver = std::function<bool(std::string_view name, RefArea* area)>;

/// Compiles a formula (without '=') written on sheet `self`. A name that `names` does not resolve is #NAME?.
std::shared_ptr<const FormulaCode> CompileFormula(std::string_view formula, std::uint32_t self,
                                                  const SheetResolver& resolve, const NameResolver& names = {});

/// Evaluates compiled code against the workbook's current cell values.
CellValue EvaluateFormula(const FormulaCode& code, const WorkbookImpl& book);

/// Parses a typed number such as "12", "-1.5E+3", "50%" (point as separator); false when not a number.
bool ParseNumber(std::string_view text, double* out);

}  // namespace zyl::platform
