#include "platform/workbook_formula.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <random>

#include "platform/workbook_impl.h"

namespace zyl::platform {

namespace {

bool IsAlpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsWordChar(char c) { return IsAlpha(c) || IsDigit(c) || c == '_' || c == '.' || c == '$' || c == '\\'; }
// ---------------------------------------------------------------------------------------------------------------
// Tokenizer

struct Token {
  enum Kind : std::uint8_t { Number, String, Bool, Error, Ref, Func, Name, Op, LParen, RParen, Comma, Space };
  Kind kind = Space;
  std::size_t pos = 0, len = 0;
  double num = 0;
  std::string text;  ///< String: unescaped; Func/Name: upper-case name; Op: operator
  CellError error = CellError::Value;
  RefToken ref;
  bool sheet_error = false;  ///< Error token written with a sheet prefix ("Sheet1!#REF!")
};

/// Parses a cell "$C$5" at the start of s; returns characters used or 0.
std::size_t ScanCell(std::string_view s, int* row, int* col, bool* row_abs, bool* col_abs) {
  std::size_t i = 0;
  *col_abs = i < s.size() && s[i] == '$';
  if (*col_abs) ++i;
  std::size_t letters = i;
  while (i < s.size() && IsAlpha(s[i]) && i - letters < 4) ++i;
  if (i == letters || i - letters > 3) return 0;
  int c = ColumnIndex(s.substr(letters, i - letters));
  if (c < 0) return 0;
  *row_abs = i < s.size() && s[i] == '$';
  if (*row_abs) ++i;
  std::size_t digits = i;
  long r = 0;
  while (i < s.size() && IsDigit(s[i])) {
    r = r * 10 + (s[i] - '0');
    if (r > kMaxRows) return 0;
    ++i;
  }
  if (i == digits || r < 1) return 0;
  if (i < s.size() && (IsWordChar(s[i]) || s[i] == '(')) return 0;
  *row = int(r - 1);
  *col = c;
  return i;
}

/// Parses "$C" or "12" (kind 'c' or 'r') at the start of s; returns characters used or 0.
std::size_t ScanLine(std::string_view s, char kind, int* index, bool* abs) {
  std::size_t i = 0;
  *abs = i < s.size() && s[i] == '$';
  if (*abs) ++i;
  std::size_t start = i;
  if (kind == 'c') {
    while (i < s.size() && IsAlpha(s[i]) && i - start < 4) ++i;
    if (i == start) return 0;
    *index = ColumnIndex(s.substr(start, i - start));
  } else {
    long r = 0;
    while (i < s.size() && IsDigit(s[i]) && r <= kMaxRows) r = r * 10 + (s[i++] - '0');
    if (i == start || r < 1 || r > kMaxRows) return 0;
    *index = int(r - 1);
  }
  if (*index < 0) return 0;
  if (i < s.size() && (IsWordChar(s[i]) || s[i] == '(')) return 0;
  return i;
}

/// Parses whole columns "C:D" or whole rows "3:5" at the start of s.
std::size_t ScanLines(std::string_view s, RefToken* t) {
  for (char kind : {'c', 'r'}) {
    int a, b;
    bool aa, ba;
    std::size_t n = ScanLine(s, kind, &a, &aa);
    if (!n || n >= s.size() || s[n] != ':') continue;
    std::size_t m = ScanLine(s.substr(n + 1), kind, &b, &ba);
    if (!m) continue;
    t->is_range = true;
    if (kind == 'c') {
      t->whole_cols = true;
      t->c1 = a, t->c2 = b, t->c1_abs = aa, t->c2_abs = ba;
      t->r1 = 0, t->r2 = kMaxRows - 1, t->r1_abs = t->r2_abs = true;
    } else {
      t->whole_rows = true;
      t->r1 = a, t->r2 = b, t->r1_abs = aa, t->r2_abs = ba;
      t->c1 = 0, t->c2 = kMaxCols - 1, t->c1_abs = t->c2_abs = true;
    }
    return n + 1 + m;
  }
  return 0;
}

/// Parses a cell, a cell:cell range or whole columns or rows at the start of s into t; returns characters used
/// or 0.
std::size_t ScanRef(std::string_view s, RefToken* t) {
  t->whole_cols = t->whole_rows = false;
  std::size_t n = ScanCell(s, &t->r1, &t->c1, &t->r1_abs, &t->c1_abs);
  if (!n) return ScanLines(s, t);
  t->r2 = t->r1, t->c2 = t->c1, t->r2_abs = t->r1_abs, t->c2_abs = t->c1_abs;
  t->is_range = false;
  if (n < s.size() && s[n] == ':') {
    std::size_t m = ScanCell(s.substr(n + 1), &t->r2, &t->c2, &t->r2_abs, &t->c2_abs);
    if (m) {
      t->is_range = true;
      n += 1 + m;
    }
  }
  return n;
}

bool ScanError(std::string_view s, CellError* e, std::size_t* len) {
  static constexpr CellError kAll[] = {CellError::Null, CellError::Div0, CellError::Value, CellError::Ref,
                                       CellError::Name, CellError::Num,  CellError::NA,    CellError::Circular};
  for (CellError c : kAll) {
    std::string_view t = ErrorText(c);
    if (s.size() >= t.size() && EqualsNoCase(s.substr(0, t.size()), t)) {
      *e = c;
      *len = t.size();
      return true;
    }
  }
  return false;
}

// Scanners of one token each: they start at s[i], advance i past the token and fill t; false with *error
// when the text is not a formula.

bool ScanNumberToken(std::string_view s, std::size_t& i, Token& t, std::string* error) {
  std::size_t j = i;
  while (j < s.size() && IsDigit(s[j])) ++j;
  if (j < s.size() && s[j] == '.') {
    ++j;
    while (j < s.size() && IsDigit(s[j])) ++j;
  }
  if (j < s.size() && (s[j] == 'e' || s[j] == 'E')) {
    std::size_t k = j + 1;
    if (k < s.size() && (s[k] == '+' || s[k] == '-')) ++k;
    if (k < s.size() && IsDigit(s[k])) {
      while (k < s.size() && IsDigit(s[k])) ++k;
      j = k;
    }
  }
  t.kind = Token::Number;
  auto r = std::from_chars(s.data() + i, s.data() + j, t.num);
  if (r.ec != std::errc() || (j < s.size() && (IsAlpha(s[j]) || s[j] == '_'))) {
    *error = "bad number";
    return false;
  }
  i = j;
  return true;
}

bool ScanStringToken(std::string_view s, std::size_t& i, Token& t, std::string* error) {
  ++i;  // opening quote
  for (;;) {
    if (i >= s.size()) {
      *error = "unterminated text";
      return false;
    }
    if (s[i] == '"') {
      if (i + 1 < s.size() && s[i + 1] == '"') {
        t.text += '"';
        i += 2;
        continue;
      }
      ++i;
      break;
    }
    t.text += s[i++];
  }
  t.kind = Token::String;
  return true;
}

/// A quoted sheet name 'It''s' at s[j] (j at the opening quote); j ends after the closing quote.
bool ScanQuotedSheet(std::string_view s, std::size_t& j, std::string& sheet, std::string* error) {
  ++j;
  for (;;) {
    if (j >= s.size()) {
      *error = "unterminated sheet name";
      return false;
    }
    if (s[j] == '\'') {
      if (j + 1 < s.size() && s[j + 1] == '\'') {
        sheet += '\'';
        j += 2;
        continue;
      }
      ++j;
      break;
    }
    sheet += s[j++];
  }
  if (j >= s.size() || s[j] != '!') {
    *error = "sheet name without reference";
    return false;
  }
  return true;
}

/// A sheet prefix with its reference (or error value), a reference, a function name, TRUE/FALSE or a name.
bool ScanWordToken(std::string_view s, std::size_t& i, Token& t, std::string* error) {
  std::size_t j = i;
  std::string sheet;
  const bool quoted = s[i] == '\'';
  if (quoted) {
    if (!ScanQuotedSheet(s, j, sheet, error)) return false;
  } else {
    while (j < s.size() && IsWordChar(s[j])) ++j;
  }
  if (quoted || (j < s.size() && s[j] == '!')) {
    if (!quoted) sheet = std::string(s.substr(i, j - i));
    ++j;  // '!'
    t.ref.has_sheet = true;
    t.ref.sheet = sheet;
    std::size_t n = ScanRef(s.substr(j), &t.ref);
    if (n) {
      t.kind = Token::Ref;
    } else if (ScanError(s.substr(j), &t.error, &n)) {
      t.kind = Token::Error;
      t.sheet_error = true;
    } else {
      *error = "bad reference";
      return false;
    }
    i = j + n;
    return true;
  }
  if (std::size_t n = ScanRef(s.substr(i), &t.ref)) {
    t.kind = Token::Ref;
    i += n;
    return true;
  }
  std::string word(s.substr(i, j - i));
  std::transform(word.begin(), word.end(), word.begin(), Upper);
  std::size_t k = j;
  while (k < s.size() && s[k] == ' ') ++k;
  if (k < s.size() && s[k] == '(') {
    t.kind = Token::Func;
  } else if (word == "TRUE" || word == "FALSE") {
    t.kind = Token::Bool;
    t.num = word == "TRUE";
  } else {
    t.kind = Token::Name;
  }
  t.text = std::move(word);
  i = j;
  return true;
}

/// Parentheses, the comma and the operators (two-character comparisons first).
bool ScanPunctuationToken(std::string_view s, std::size_t& i, Token& t, std::string* error) {
  const char c = s[i];
  if (c == '(' || c == ')' || c == ',') {
    t.kind = c == '(' ? Token::LParen : c == ')' ? Token::RParen : Token::Comma;
    ++i;
  } else if (c == '<' || c == '>') {
    t.kind = Token::Op;
    const bool two = i + 1 < s.size() && (s[i + 1] == '=' || (c == '<' && s[i + 1] == '>'));
    t.text = std::string(s.substr(i, two ? 2 : 1));
    i += two ? 2 : 1;
  } else if (std::strchr("+-*/^&%=", c)) {
    t.kind = Token::Op;
    t.text = std::string(1, c);
    ++i;
  } else {
    *error = "unexpected character";
    return false;
  }
  return true;
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool Tokenize(std::string_view s, std::vector<Token>* out, std::string* error) {
  std::size_t i = 0;
  while (i < s.size()) {
    Token t;
    t.kind = Token::Space;
    t.pos = i;
    const char c = s[i];
    bool ok = true;
    if (IsBlank(c)) {
      while (i < s.size() && IsBlank(s[i])) ++i;
    } else if (IsDigit(c) && ScanLines(s.substr(i), &t.ref)) {  // a whole-row range such as 3:5
      t.kind = Token::Ref;
      i += ScanLines(s.substr(i), &t.ref);
    } else if (IsDigit(c) || (c == '.' && i + 1 < s.size() && IsDigit(s[i + 1]))) {
      ok = ScanNumberToken(s, i, t, error);
    } else if (c == '"') {
      ok = ScanStringToken(s, i, t, error);
    } else if (c == '#') {
      std::size_t n;
      ok = ScanError(s.substr(i), &t.error, &n);
      if (!ok) *error = "unknown error value";
      t.kind = Token::Error;
      i += ok ? n : 0;
    } else if (c == '\'' || IsAlpha(c) || c == '_' || c == '$' || c == '\\') {
      ok = ScanWordToken(s, i, t, error);
    } else {
      ok = ScanPunctuationToken(s, i, t, error);
    }
    if (!ok) return false;
    t.len = i - t.pos;
    out->push_back(std::move(t));
  }
  return true;
}

// ---------------------------------------------------------------------------------------------------------------
// Functions

enum Fn : std::uint8_t {
  F_SUM, F_AVERAGE, F_MIN, F_MAX, F_COUNT, F_COUNTA, F_PRODUCT, F_ABS, F_SQRT, F_EXP, F_LN, F_LOG, F_LOG10,
  F_POWER, F_IF, F_AND, F_OR, F_NOT, F_ROUND, F_ROUNDUP, F_ROUNDDOWN, F_INT, F_TRUNC, F_MOD, F_PI, F_SIGN,
  F_SIN, F_COS, F_TAN, F_ASIN, F_ACOS, F_ATAN, F_ATAN2, F_DEGREES, F_RADIANS, F_ISERROR, F_ISNUMBER, F_ISTEXT,
  F_ISBLANK, F_IFERROR, F_CONCATENATE, F_LEN, F_LEFT, F_RIGHT, F_MID, F_UPPER, F_LOWER, F_TRIM, F_VALUE,
  F_TEXT, F_NA, F_TRUE, F_FALSE, F_NOW, F_TODAY, F_RAND, F_SUMSQ, F_CEILING, F_FLOOR, F_ISERR, F_ISNA,
  F_UNKNOWN,
};

struct FnInfo {
  const char* name;
  Fn id;
  int min_args, max_args;
};

constexpr FnInfo kFunctions[] = {
    {"SUM", F_SUM, 1, 255},          {"AVERAGE", F_AVERAGE, 1, 255}, {"MIN", F_MIN, 1, 255},
    {"MAX", F_MAX, 1, 255},          {"COUNT", F_COUNT, 1, 255},     {"COUNTA", F_COUNTA, 1, 255},
    {"PRODUCT", F_PRODUCT, 1, 255},  {"ABS", F_ABS, 1, 1},           {"SQRT", F_SQRT, 1, 1},
    {"EXP", F_EXP, 1, 1},            {"LN", F_LN, 1, 1},             {"LOG", F_LOG, 1, 2},
    {"LOG10", F_LOG10, 1, 1},        {"POWER", F_POWER, 2, 2},       {"IF", F_IF, 1, 3},
    {"AND", F_AND, 1, 255},          {"OR", F_OR, 1, 255},           {"NOT", F_NOT, 1, 1},
    {"ROUND", F_ROUND, 2, 2},        {"ROUNDUP", F_ROUNDUP, 2, 2},   {"ROUNDDOWN", F_ROUNDDOWN, 2, 2},
    {"INT", F_INT, 1, 1},            {"TRUNC", F_TRUNC, 1, 2},       {"MOD", F_MOD, 2, 2},
    {"PI", F_PI, 0, 0},              {"SIGN", F_SIGN, 1, 1},         {"SIN", F_SIN, 1, 1},
    {"COS", F_COS, 1, 1},            {"TAN", F_TAN, 1, 1},           {"ASIN", F_ASIN, 1, 1},
    {"ACOS", F_ACOS, 1, 1},          {"ATAN", F_ATAN, 1, 1},         {"ATAN2", F_ATAN2, 2, 2},
    {"DEGREES", F_DEGREES, 1, 1},    {"RADIANS", F_RADIANS, 1, 1},   {"ISERROR", F_ISERROR, 1, 1},
    {"ISNUMBER", F_ISNUMBER, 1, 1},  {"ISTEXT", F_ISTEXT, 1, 1},     {"ISBLANK", F_ISBLANK, 1, 1},
    {"IFERROR", F_IFERROR, 2, 2},    {"CONCATENATE", F_CONCATENATE, 1, 255},
    {"LEN", F_LEN, 1, 1},            {"LEFT", F_LEFT, 1, 2},         {"RIGHT", F_RIGHT, 1, 2},
    {"MID", F_MID, 3, 3},            {"UPPER", F_UPPER, 1, 1},       {"LOWER", F_LOWER, 1, 1},
    {"TRIM", F_TRIM, 1, 1},          {"VALUE", F_VALUE, 1, 1},       {"TEXT", F_TEXT, 2, 2},
    {"NA", F_NA, 0, 0},              {"TRUE", F_TRUE, 0, 0},         {"FALSE", F_FALSE, 0, 0},
    {"NOW", F_NOW, 0, 0},            {"TODAY", F_TODAY, 0, 0},       {"RAND", F_RAND, 0, 0},
    {"SUMSQ", F_SUMSQ, 1, 255},      {"CEILING", F_CEILING, 2, 2},   {"FLOOR", F_FLOOR, 2, 2},
    {"ISERR", F_ISERR, 1, 1},        {"ISNA", F_ISNA, 1, 1},
};

const FnInfo* FindFunction(std::string_view name) {
  for (const auto& f : kFunctions)
    if (name == f.name) return &f;
  return nullptr;
}

// ---------------------------------------------------------------------------------------------------------------
// Compiler: recursive descent over the tokens, emitting postfix code.

class Compiler {
 public:
  Compiler(const std::vector<Token>& toks, FormulaCode* code, std::uint32_t self, const SheetResolver& resolve,
           const NameResolver& names)
      : toks_(toks), code_(code), self_(self), resolve_(resolve), names_(names) {}

  bool Run() {
    Skip();
    if (pos_ >= toks_.size()) return Fail("empty formula");
    if (!Comparison(0)) return false;
    Skip();
    if (pos_ < toks_.size()) return Fail("unexpected text after the formula");
    return true;
  }

 private:
  void Skip() {
    while (pos_ < toks_.size() && toks_[pos_].kind == Token::Space) ++pos_;
  }
  const Token* Peek() {
    Skip();
    return pos_ < toks_.size() ? &toks_[pos_] : nullptr;
  }
  bool PeekOp(const char* op) {
    const Token* t = Peek();
    return t && t->kind == Token::Op && t->text == op;
  }
  bool Fail(std::string msg) {
    if (code_->error.empty()) code_->error = std::move(msg);
    return false;
  }
  void Emit(FormulaOp::Kind k) {
    FormulaOp op;
    op.kind = k;
    code_->ops.push_back(op);
  }

  bool Comparison(int depth) {
    if (!Concat(depth)) return false;
    for (;;) {
      const Token* t = Peek();
      if (!t || t->kind != Token::Op) return true;
      FormulaOp::Kind k;
      if (t->text == "=") k = FormulaOp::Eq;
      else if (t->text == "<>") k = FormulaOp::Ne;
      else if (t->text == "<") k = FormulaOp::Lt;
      else if (t->text == "<=") k = FormulaOp::Le;
      else if (t->text == ">") k = FormulaOp::Gt;
      else if (t->text == ">=") k = FormulaOp::Ge;
      else return true;
      ++pos_;
      if (!Concat(depth)) return false;
      Emit(k);
    }
  }
  bool Concat(int depth) {
    if (!Additive(depth)) return false;
    while (PeekOp("&")) {
      ++pos_;
      if (!Additive(depth)) return false;
      Emit(FormulaOp::Concat);
    }
    return true;
  }
  bool Additive(int depth) {
    if (!Term(depth)) return false;
    for (;;) {
      bool add = PeekOp("+");
      if (!add && !PeekOp("-")) return true;
      ++pos_;
      if (!Term(depth)) return false;
      Emit(add ? FormulaOp::Add : FormulaOp::Sub);
    }
  }
  bool Term(int depth) {
    if (!Power(depth)) return false;
    for (;;) {
      bool mul = PeekOp("*");
      if (!mul && !PeekOp("/")) return true;
      ++pos_;
      if (!Power(depth)) return false;
      Emit(mul ? FormulaOp::Mul : FormulaOp::Div);
    }
  }
  bool Power(int depth) {
    if (!Unary(depth)) return false;
    while (PeekOp("^")) {
      ++pos_;
      if (!Unary(depth)) return false;
      Emit(FormulaOp::Pow);
    }
    return true;
  }
  bool Unary(int depth) {
    if (depth > kMaxFormulaDepth) return Fail("formula nested too deeply");
    if (PeekOp("-")) {
      ++pos_;
      if (!Unary(depth + 1)) return false;
      Emit(FormulaOp::Neg);
      return true;
    }
    if (PeekOp("+")) {
      ++pos_;
      return Unary(depth + 1);
    }
    if (!Primary(depth)) return false;
    while (PeekOp("%")) {
      ++pos_;
      Emit(FormulaOp::Percent);
    }
    return true;
  }
  bool Primary(int depth) {
    const Token* t = Peek();
    if (!t) return Fail("formula ends too early");
    FormulaOp op;
    switch (t->kind) {
      case Token::Number:
        op.kind = FormulaOp::Num;
        op.num = t->num;
        code_->ops.push_back(op);
        ++pos_;
        return true;
      case Token::Bool:
        op.kind = FormulaOp::Bool;
        op.num = t->num;
        code_->ops.push_back(op);
        ++pos_;
        return true;
      case Token::String:
        op.kind = FormulaOp::Str;
        op.index = std::uint32_t(code_->strings.size());
        code_->strings.push_back(t->text);
        code_->ops.push_back(op);
        ++pos_;
        return true;
      case Token::Error:
        op.kind = FormulaOp::Err;
        op.fn = std::uint8_t(t->error);
        code_->ops.push_back(op);
        ++pos_;
        return true;
      case Token::Name: {
        RefArea a;
        if (names_ && names_(t->text, &a)) {
          op.kind = a.r1 == a.r2 && a.c1 == a.c2 ? FormulaOp::Ref : FormulaOp::Area;
          op.index = std::uint32_t(code_->refs.size());
          code_->refs.push_back(a);
        } else {
          op.kind = FormulaOp::Err;
          op.fn = std::uint8_t(CellError::Name);
        }
        code_->ops.push_back(op);
        ++pos_;
        return true;
      }
      case Token::Ref: {
        std::uint32_t sheet = self_;
        if (t->ref.has_sheet && !resolve_(t->ref.sheet, &sheet)) {
          op.kind = FormulaOp::Err;
          op.fn = std::uint8_t(CellError::Ref);
          code_->ops.push_back(op);
          ++pos_;
          return true;
        }
        RefArea a{sheet, std::min(t->ref.r1, t->ref.r2), std::min(t->ref.c1, t->ref.c2),
                  std::max(t->ref.r1, t->ref.r2), std::max(t->ref.c1, t->ref.c2)};
        op.kind = t->ref.is_range ? FormulaOp::Area : FormulaOp::Ref;
        op.index = std::uint32_t(code_->refs.size());
        code_->refs.push_back(a);
        code_->ops.push_back(op);
        ++pos_;
        return true;
      }
      case Token::LParen: {
        if (depth > kMaxFormulaDepth) return Fail("formula nested too deeply");
        ++pos_;
        if (!Comparison(depth + 1)) return false;
        const Token* r = Peek();
        if (!r || r->kind != Token::RParen) return Fail("missing )");
        ++pos_;
        return true;
      }
      case Token::Func: {
        if (depth > kMaxFormulaDepth) return Fail("formula nested too deeply");
        std::string name = t->text;
        if (name.rfind("_XLFN.", 0) == 0) name = name.substr(6);
        ++pos_;
        const Token* l = Peek();
        if (!l || l->kind != Token::LParen) return Fail("missing (");
        ++pos_;
        int argc = 0;
        const Token* r = Peek();
        if (r && r->kind == Token::RParen) {
          ++pos_;
        } else {
          for (;;) {
            const Token* a = Peek();
            if (a && (a->kind == Token::Comma || a->kind == Token::RParen)) {
              // An omitted argument counts as empty (0).
              op = FormulaOp{};
              op.kind = FormulaOp::Num;
              code_->ops.push_back(op);
            } else if (!Comparison(depth + 1)) {
              return false;
            }
            ++argc;
            const Token* sep = Peek();
            if (!sep) return Fail("missing )");
            if (sep->kind == Token::Comma) {
              ++pos_;
              continue;
            }
            if (sep->kind == Token::RParen) {
              ++pos_;
              break;
            }
            return Fail("missing )");
          }
        }
        if (argc > 255) return Fail("too many arguments");
        const FnInfo* f = FindFunction(name);
        op = FormulaOp{};
        op.kind = FormulaOp::Call;
        op.argc = std::uint16_t(argc);
        if (!f) {
          op.fn = F_UNKNOWN;
        } else {
          if (argc < f->min_args || argc > f->max_args)
            return Fail("wrong number of arguments to " + name);
          op.fn = f->id;
          if (f->id == F_NOW || f->id == F_TODAY || f->id == F_RAND) code_->volatile_fn = true;
        }
        code_->ops.push_back(op);
        return true;
      }
      default:
        return Fail("unexpected " + std::string(t->kind == Token::RParen ? ")" : t->kind == Token::Comma ? ","
                                                                                                    : t->text));
    }
  }

  const std::vector<Token>& toks_;
  FormulaCode* code_;
  std::uint32_t self_;
  const SheetResolver& resolve_;
  const NameResolver& names_;
  std::size_t pos_ = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// Evaluator

struct StackValue {
  enum Kind : std::uint8_t { Empty, Number, Text, Bool, Error, Area };
  Kind kind = Empty;
  CellError error = CellError::Value;
  double num = 0;
  std::string text;
  RefArea area;
};

StackValue FromCell(const CellValue* v) {
  StackValue s;
  if (!v) return s;
  switch (v->type) {
    case ValueType::Empty: break;
    case ValueType::Number: s.kind = StackValue::Number; s.num = v->number; break;
    case ValueType::Bool: s.kind = StackValue::Bool; s.num = v->number; break;
    case ValueType::Text: s.kind = StackValue::Text; s.text = v->text; break;
    case ValueType::Error: s.kind = StackValue::Error; s.error = v->error; break;
  }
  return s;
}

StackValue Num(double d) {
  StackValue s;
  if (!std::isfinite(d)) {
    s.kind = StackValue::Error;
    s.error = CellError::Num;
    return s;
  }
  s.kind = StackValue::Number;
  s.num = d == 0 ? 0.0 : d;  // no negative zero
  return s;
}
StackValue Err(CellError e) {
  StackValue s;
  s.kind = StackValue::Error;
  s.error = e;
  return s;
}
StackValue Txt(std::string t) {
  StackValue s;
  s.kind = StackValue::Text;
  s.text = std::move(t);
  return s;
}
StackValue BoolV(bool b) {
  StackValue s;
  s.kind = StackValue::Bool;
  s.num = b;
  return s;
}

// A number joined into text: up to 15 significant digits, as a spreadsheet does ("0.333333333333333").
std::string NumberToText(double d) {
  if (d == 0) return "0";
  double a = std::fabs(d);
  if (a >= 1e-5 && a < 1e15) {
    char buf[64];
    int decimals = std::max(0, 15 - (int(std::floor(std::log10(a))) + 1));
    std::snprintf(buf, sizeof buf, "%.*f", decimals, d);
    std::string s(buf);
    if (s.find('.') != std::string::npos) {
      while (s.back() == '0') s.pop_back();
      if (s.back() == '.') s.pop_back();
    }
    return s;
  }
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.14E", d);
  std::string s(buf);
  std::size_t e = s.find('E');
  std::string m = s.substr(0, e), x = s.substr(e + 1);
  while (m.back() == '0') m.pop_back();
  if (m.back() == '.') m.pop_back();
  return m + "E" + x;
}

class Evaluator {
 public:
  Evaluator(const FormulaCode& code, const WorkbookImpl& book) : code_(code), book_(book) {}

  CellValue Run() {
    stack_.clear();
    for (const FormulaOp& op : code_.ops) Step(op);
    if (stack_.size() != 1) return CellValue::Error(CellError::Value);
    StackValue v = Deref(std::move(stack_.back()));
    switch (v.kind) {
      case StackValue::Empty: return CellValue::Number(0);
      case StackValue::Number: return CellValue::Number(v.num);
      case StackValue::Bool: return CellValue::Bool(v.num != 0);
      case StackValue::Text: return CellValue::Text(std::move(v.text));
      case StackValue::Error: return CellValue::Error(v.error);
      default: return CellValue::Error(CellError::Value);
    }
  }

 private:
  // A block used as one value: a single cell gives its value, a larger block #VALUE!.
  StackValue Deref(StackValue v) const {
    if (v.kind != StackValue::Area) return v;
    if (!book_.SheetById(v.area.sheet)) return Err(CellError::Ref);
    if (v.area.r1 != v.area.r2 || v.area.c1 != v.area.c2) return Err(CellError::Value);
    return FromCell(book_.ValueAt(v.area.sheet, v.area.r1, v.area.c1));
  }

  // Number for arithmetic; texts that read as numbers convert, other texts give #VALUE!.
  static bool ToNumber(const StackValue& v, double* d, CellError* e) {
    switch (v.kind) {
      case StackValue::Empty: *d = 0; return true;
      case StackValue::Number:
      case StackValue::Bool: *d = v.num; return true;
      case StackValue::Text:
        if (ParseNumber(v.text, d)) return true;
        *e = CellError::Value;
        return false;
      case StackValue::Error: *e = v.error; return false;
      default: *e = CellError::Value; return false;
    }
  }
  static bool ToBool(const StackValue& v, bool* b, CellError* e) {
    switch (v.kind) {
      case StackValue::Empty: *b = false; return true;
      case StackValue::Number:
      case StackValue::Bool: *b = v.num != 0; return true;
      case StackValue::Text:
        if (EqualsNoCase(v.text, "TRUE")) { *b = true; return true; }
        if (EqualsNoCase(v.text, "FALSE")) { *b = false; return true; }
        *e = CellError::Value;
        return false;
      case StackValue::Error: *e = v.error; return false;
      default: *e = CellError::Value; return false;
    }
  }
  static std::string ToText(const StackValue& v) {
    switch (v.kind) {
      case StackValue::Number: return NumberToText(v.num);
      case StackValue::Bool: return v.num != 0 ? "TRUE" : "FALSE";
      case StackValue::Text: return v.text;
      default: return {};
    }
  }

  StackValue Pop() {
    StackValue v = std::move(stack_.back());
    stack_.pop_back();
    return v;
  }

  template <class Fn>
  void Arith(Fn&& fn) {
    StackValue b = Deref(Pop()), a = Deref(Pop());
    double x, y;
    CellError e = CellError::Value;
    if (!ToNumber(a, &x, &e) || !ToNumber(b, &y, &e)) {
      stack_.push_back(Err(e));
      return;
    }
    stack_.push_back(fn(x, y));
  }

  // Spreadsheet ordering: numbers < texts < booleans; texts compare without case; empty equals 0, "" or FALSE.
  static int Compare(const StackValue& a, const StackValue& b) {
    auto rank = [](const StackValue& v) { return v.kind == StackValue::Number ? 0 : v.kind == StackValue::Text ? 1 : 2; };
    StackValue x = a, y = b;
    if (x.kind == StackValue::Empty) {
      if (y.kind == StackValue::Text) x = Txt("");
      else if (y.kind == StackValue::Bool) x = BoolV(false);
      else x = Num(0);
    }
    if (y.kind == StackValue::Empty) {
      if (x.kind == StackValue::Text) y = Txt("");
      else if (x.kind == StackValue::Bool) y = BoolV(false);
      else y = Num(0);
    }
    int rx = rank(x), ry = rank(y);
    if (rx != ry) return rx < ry ? -1 : 1;
    if (rx == 1) {
      std::string p = x.text, q = y.text;
      std::transform(p.begin(), p.end(), p.begin(), Upper);
      std::transform(q.begin(), q.end(), q.begin(), Upper);
      return p < q ? -1 : p > q ? 1 : 0;
    }
    return x.num < y.num ? -1 : x.num > y.num ? 1 : 0;
  }

  void Cmp(FormulaOp::Kind k) {
    StackValue b = Deref(Pop()), a = Deref(Pop());
    if (a.kind == StackValue::Error) return stack_.push_back(a);
    if (b.kind == StackValue::Error) return stack_.push_back(b);
    int c = Compare(a, b);
    bool r = false;
    switch (k) {
      case FormulaOp::Eq: r = c == 0; break;
      case FormulaOp::Ne: r = c != 0; break;
      case FormulaOp::Lt: r = c < 0; break;
      case FormulaOp::Le: r = c <= 0; break;
      case FormulaOp::Gt: r = c > 0; break;
      default: r = c >= 0; break;
    }
    stack_.push_back(BoolV(r));
  }

  void Step(const FormulaOp& op) {
    switch (op.kind) {
      case FormulaOp::Num: stack_.push_back(Num(op.num)); break;
      case FormulaOp::Bool: stack_.push_back(BoolV(op.num != 0)); break;
      case FormulaOp::Str: stack_.push_back(Txt(code_.strings[op.index])); break;
      case FormulaOp::Err: stack_.push_back(Err(CellError(op.fn))); break;
      case FormulaOp::Ref:
      case FormulaOp::Area: {
        StackValue v;
        v.kind = StackValue::Area;
        v.area = code_.refs[op.index];
        stack_.push_back(v);
        break;
      }
      case FormulaOp::Neg: {
        StackValue a = Deref(Pop());
        double x;
        CellError e = CellError::Value;
        stack_.push_back(ToNumber(a, &x, &e) ? Num(-x) : Err(e));
        break;
      }
      case FormulaOp::Percent: {
        StackValue a = Deref(Pop());
        double x;
        CellError e = CellError::Value;
        stack_.push_back(ToNumber(a, &x, &e) ? Num(x / 100) : Err(e));
        break;
      }
      case FormulaOp::Add: Arith([](double x, double y) { return Num(x + y); }); break;
      case FormulaOp::Sub: Arith([](double x, double y) { return Num(x - y); }); break;
      case FormulaOp::Mul: Arith([](double x, double y) { return Num(x * y); }); break;
      case FormulaOp::Div:
        Arith([](double x, double y) { return y == 0 ? Err(CellError::Div0) : Num(x / y); });
        break;
      case FormulaOp::Pow:
        Arith([](double x, double y) {
          if (x == 0 && y == 0) return Err(CellError::Num);
          if (x == 0 && y < 0) return Err(CellError::Div0);
          return Num(std::pow(x, y));
        });
        break;
      case FormulaOp::Concat: {
        StackValue b = Deref(Pop()), a = Deref(Pop());
        if (a.kind == StackValue::Error) stack_.push_back(a);
        else if (b.kind == StackValue::Error) stack_.push_back(b);
        else stack_.push_back(Txt(ToText(a) + ToText(b)));
        break;
      }
      case FormulaOp::Eq:
      case FormulaOp::Ne:
      case FormulaOp::Lt:
      case FormulaOp::Le:
      case FormulaOp::Gt:
      case FormulaOp::Ge: Cmp(op.kind); break;
      case FormulaOp::Call: Call(Fn(op.fn), op.argc); break;
    }
  }

  // Visits the numbers an aggregate takes from its arguments: from blocks only numbers (texts, booleans and
  // empty cells skipped), direct arguments converted. Returns false with *e on the first error met.
  template <class Visit>
  bool Numbers(std::size_t first, std::size_t argc, CellError* e, Visit&& visit) {
    for (std::size_t i = first; i < first + argc; ++i) {
      const StackValue& a = stack_[i];
      if (a.kind == StackValue::Area) {
        const Sheet* s = book_.SheetById(a.area.sheet);
        if (!s) { *e = CellError::Ref; return false; }
        bool ok = true;
        ForEachInArea(a.area, [&](const CellValue& v) {
          if (!ok) return;
          if (v.type == ValueType::Number) visit(v.number);
          else if (v.type == ValueType::Error) { *e = v.error; ok = false; }
        });
        if (!ok) return false;
      } else if (a.kind == StackValue::Error) {
        *e = a.error;
        return false;
      } else if (a.kind != StackValue::Empty) {
        double d;
        if (!ToNumber(a, &d, e)) return false;
        visit(d);
      } else {
        visit(0);
      }
    }
    return true;
  }

  template <class Visit>
  void ForEachInArea(const RefArea& a, Visit&& visit) const {
    const Sheet* s = book_.SheetById(a.sheet);
    if (!s) return;
    s->ForEachInBlock(a.r1, a.c1, a.r2, a.c2, visit);
  }

  void Call(Fn fn, std::size_t argc) {
    std::size_t first = stack_.size() - argc;
    StackValue r = CallImpl(fn, first, argc);
    stack_.resize(first);
    stack_.push_back(std::move(r));
  }

  StackValue Arg(std::size_t i) { return Deref(stack_[i]); }

  bool NumArg(std::size_t i, double* d, StackValue* err) {
    CellError e = CellError::Value;
    if (ToNumber(Arg(i), d, &e)) return true;
    *err = Err(e);
    return false;
  }

  StackValue Math1(std::size_t first, double (*f)(double)) {
    double x;
    StackValue err;
    if (!NumArg(first, &x, &err)) return err;
    return Num(f(x));
  }

  static double RoundTo(double x, double digits, int mode) {
    double p = std::pow(10.0, std::trunc(digits));
    double y = x * p;
    // Nudge by a relative epsilon so that 2.675 rounds to 2.68 as typed.
    double eps = std::nextafter(std::fabs(y), INFINITY) - std::fabs(y);
    double a = std::fabs(y);
    if (mode == 0) a = std::floor(a + 0.5 + 4 * eps);
    else if (mode > 0) a = std::ceil(a - 4 * eps);
    else a = std::floor(a + 4 * eps);
    return std::copysign(a, y) / p;
  }

  /// Sums, means, extremes and counts over numbers and areas.
  StackValue CallAggregate(Fn fn, std::size_t first, std::size_t argc) {
    CellError e = CellError::Value;
    switch (fn) {
      case F_SUM: {
        double s = 0;
        if (!Numbers(first, argc, &e, [&](double d) { s += d; })) return Err(e);
        return Num(s);
      }
      case F_SUMSQ: {
        double s = 0;
        if (!Numbers(first, argc, &e, [&](double d) { s += d * d; })) return Err(e);
        return Num(s);
      }
      case F_PRODUCT: {
        double p = 1;
        std::size_t n = 0;
        if (!Numbers(first, argc, &e, [&](double d) { p *= d; ++n; })) return Err(e);
        return Num(n ? p : 0);
      }
      case F_AVERAGE: {
        double s = 0;
        std::size_t n = 0;
        if (!Numbers(first, argc, &e, [&](double d) { s += d; ++n; })) return Err(e);
        return n ? Num(s / double(n)) : Err(CellError::Div0);
      }
      case F_MIN:
      case F_MAX: {
        double m = 0;
        bool any = false;
        if (!Numbers(first, argc, &e, [&](double d) {
              if (!any || (fn == F_MIN ? d < m : d > m)) m = d;
              any = true;
            }))
          return Err(e);
        return Num(any ? m : 0);
      }
      case F_COUNT:
      case F_COUNTA: {
        double n = 0;
        for (std::size_t i = first; i < first + argc; ++i) {
          const StackValue& a = stack_[i];
          if (a.kind == StackValue::Area) {
            ForEachInArea(a.area, [&](const CellValue& v) {
              if (fn == F_COUNT ? v.type == ValueType::Number : v.type != ValueType::Empty) n += 1;
            });
          } else if (fn == F_COUNTA) {
            n += a.kind != StackValue::Empty;
          } else {
            double d;
            n += a.kind == StackValue::Number || a.kind == StackValue::Bool ||
                 (a.kind == StackValue::Text && ParseNumber(a.text, &d));
          }
        }
        return Num(n);
      }
      default: break;
    }
    return Err(CellError::Value);
  }

  /// Arithmetic, rounding and trigonometry of numbers.
  StackValue CallMath(Fn fn, std::size_t first, std::size_t argc) {
    StackValue err;
    double x, y;
    switch (fn) {
      case F_ABS: return Math1(first, [](double d) { return std::fabs(d); });
      case F_SQRT:
        if (!NumArg(first, &x, &err)) return err;
        return x < 0 ? Err(CellError::Num) : Num(std::sqrt(x));
      case F_EXP: return Math1(first, [](double d) { return std::exp(d); });
      case F_LN:
        if (!NumArg(first, &x, &err)) return err;
        return x <= 0 ? Err(CellError::Num) : Num(std::log(x));
      case F_LOG10:
        if (!NumArg(first, &x, &err)) return err;
        return x <= 0 ? Err(CellError::Num) : Num(std::log10(x));
      case F_LOG:
        if (!NumArg(first, &x, &err)) return err;
        y = 10;
        if (argc > 1 && !NumArg(first + 1, &y, &err)) return err;
        if (x <= 0 || y <= 0) return Err(CellError::Num);
        if (y == 1) return Err(CellError::Div0);
        return Num(y == 10 ? std::log10(x) : std::log(x) / std::log(y));
      case F_POWER:
        if (!NumArg(first, &x, &err) || !NumArg(first + 1, &y, &err)) return err;
        if (x == 0 && y == 0) return Err(CellError::Num);
        if (x == 0 && y < 0) return Err(CellError::Div0);
        return Num(std::pow(x, y));
      case F_ROUND:
      case F_ROUNDUP:
      case F_ROUNDDOWN:
        if (!NumArg(first, &x, &err) || !NumArg(first + 1, &y, &err)) return err;
        return Num(RoundTo(x, y, fn == F_ROUND ? 0 : fn == F_ROUNDUP ? 1 : -1));
      case F_TRUNC:
        if (!NumArg(first, &x, &err)) return err;
        y = 0;
        if (argc > 1 && !NumArg(first + 1, &y, &err)) return err;
        return Num(RoundTo(x, y, -1));
      case F_INT: return Math1(first, [](double d) { return std::floor(d); });
      case F_MOD:
        if (!NumArg(first, &x, &err) || !NumArg(first + 1, &y, &err)) return err;
        if (y == 0) return Err(CellError::Div0);
        return Num(x - y * std::floor(x / y));
      case F_PI: return Num(M_PI);
      case F_SIGN: return Math1(first, [](double d) { return d > 0 ? 1.0 : d < 0 ? -1.0 : 0.0; });
      case F_SIN: return Math1(first, [](double d) { return std::sin(d); });
      case F_COS: return Math1(first, [](double d) { return std::cos(d); });
      case F_TAN: return Math1(first, [](double d) { return std::tan(d); });
      case F_ATAN: return Math1(first, [](double d) { return std::atan(d); });
      case F_ASIN:
      case F_ACOS:
        if (!NumArg(first, &x, &err)) return err;
        if (x < -1 || x > 1) return Err(CellError::Num);
        return Num(fn == F_ASIN ? std::asin(x) : std::acos(x));
      case F_ATAN2:
        if (!NumArg(first, &x, &err) || !NumArg(first + 1, &y, &err)) return err;
        if (x == 0 && y == 0) return Err(CellError::Div0);
        return Num(std::atan2(y, x));
      case F_DEGREES: return Math1(first, [](double d) { return d * 180.0 / M_PI; });
      case F_RADIANS: return Math1(first, [](double d) { return d * M_PI / 180.0; });
      case F_CEILING:
      case F_FLOOR:
        if (!NumArg(first, &x, &err) || !NumArg(first + 1, &y, &err)) return err;
        if (y == 0) return Num(0);
        if (x > 0 && y < 0) return Err(CellError::Num);
        return Num((fn == F_CEILING ? std::ceil(x / y) : std::floor(x / y)) * y);
      default: break;
    }
    return Err(CellError::Value);
  }

  /// Conditions, logical operators and type tests.
  StackValue CallLogical(Fn fn, std::size_t first, std::size_t argc) {
    CellError e = CellError::Value;
    switch (fn) {
      case F_IF: {
        bool c;
        if (!ToBool(Arg(first), &c, &e)) return Err(e);
        if (c) return argc > 1 ? Arg(first + 1) : BoolV(true);
        return argc > 2 ? Arg(first + 2) : BoolV(false);
      }
      case F_AND:
      case F_OR: {
        bool acc = fn == F_AND, any = false;
        for (std::size_t i = first; i < first + argc; ++i) {
          const StackValue& a = stack_[i];
          auto take = [&](bool b) {
            any = true;
            acc = fn == F_AND ? (acc && b) : (acc || b);
          };
          if (a.kind == StackValue::Area) {
            bool ok = true;
            ForEachInArea(a.area, [&](const CellValue& v) {
              if (v.type == ValueType::Number || v.type == ValueType::Bool) take(v.number != 0);
              else if (v.type == ValueType::Error && ok) { e = v.error; ok = false; }
            });
            if (!ok) return Err(e);
          } else {
            bool b;
            if (!ToBool(a, &b, &e)) return Err(e);
            take(b);
          }
        }
        return any ? BoolV(acc) : Err(CellError::Value);
      }
      case F_NOT: {
        bool b;
        if (!ToBool(Arg(first), &b, &e)) return Err(e);
        return BoolV(!b);
      }
      case F_ISERROR: return BoolV(Arg(first).kind == StackValue::Error);
      case F_ISERR: {
        StackValue a = Arg(first);
        return BoolV(a.kind == StackValue::Error && a.error != CellError::NA);
      }
      case F_ISNA: {
        StackValue a = Arg(first);
        return BoolV(a.kind == StackValue::Error && a.error == CellError::NA);
      }
      case F_ISNUMBER: return BoolV(Arg(first).kind == StackValue::Number);
      case F_ISTEXT: return BoolV(Arg(first).kind == StackValue::Text);
      case F_ISBLANK: return BoolV(Arg(first).kind == StackValue::Empty);
      case F_IFERROR: {
        StackValue a = Arg(first);
        return a.kind == StackValue::Error ? Arg(first + 1) : a;
      }
      default: break;
    }
    return Err(CellError::Value);
  }

  /// Text functions and conversions between text and numbers.
  StackValue CallText(Fn fn, std::size_t first, std::size_t argc) {
    CellError e = CellError::Value;
    StackValue err;
    double x;
    switch (fn) {
      case F_CONCATENATE: {
        std::string s;
        for (std::size_t i = first; i < first + argc; ++i) {
          StackValue a = Arg(i);
          if (a.kind == StackValue::Error) return a;
          s += ToText(a);
        }
        return Txt(std::move(s));
      }
      case F_LEN:
      case F_UPPER:
      case F_LOWER:
      case F_TRIM: {
        StackValue a = Arg(first);
        if (a.kind == StackValue::Error) return a;
        std::string s = ToText(a);
        if (fn == F_LEN) return Num(double(s.size()));
        if (fn == F_UPPER) std::transform(s.begin(), s.end(), s.begin(), Upper);
        if (fn == F_LOWER)
          std::transform(s.begin(), s.end(), s.begin(), [](char c) { return (c >= 'A' && c <= 'Z') ? char(c + 32) : c; });
        if (fn == F_TRIM) {
          std::string t;
          for (char c : s)
            if (c != ' ' || (!t.empty() && t.back() != ' ')) t += c;
          while (!t.empty() && t.back() == ' ') t.pop_back();
          s = t;
        }
        return Txt(std::move(s));
      }
      case F_LEFT:
      case F_RIGHT:
      case F_MID: {
        StackValue a = Arg(first);
        if (a.kind == StackValue::Error) return a;
        std::string s = ToText(a);
        double start = 1, n = 1;
        if (fn == F_MID) {
          if (!NumArg(first + 1, &start, &err) || !NumArg(first + 2, &n, &err)) return err;
          if (start < 1 || n < 0) return Err(CellError::Value);
          std::size_t st = std::size_t(start) - 1;
          if (st >= s.size()) return Txt("");
          return Txt(s.substr(st, std::size_t(std::min<double>(n, 1e9))));
        }
        if (argc > 1 && !NumArg(first + 1, &n, &err)) return err;
        if (n < 0) return Err(CellError::Value);
        std::size_t k = std::size_t(std::min<double>(n, double(s.size())));
        return Txt(fn == F_LEFT ? s.substr(0, k) : s.substr(s.size() - k));
      }
      case F_VALUE: {
        StackValue a = Arg(first);
        if (a.kind == StackValue::Error) return a;
        if (a.kind == StackValue::Number) return a;
        if (a.kind == StackValue::Empty) return Num(0);
        if (a.kind == StackValue::Text && ParseNumber(a.text, &x)) return Num(x);
        return Err(CellError::Value);
      }
      case F_TEXT: {
        StackValue a = Arg(first), f = Arg(first + 1);
        if (a.kind == StackValue::Error) return a;
        if (f.kind == StackValue::Error) return f;
        if (a.kind == StackValue::Text && !ParseNumber(a.text, &x)) return a;
        if (!ToNumber(a, &x, &e)) return Err(e);
        return Txt(FormatNumber(x, ToText(f)));
      }
      default: break;
    }
    return Err(CellError::Value);
  }

  /// Error, boolean and date constants and random numbers.
  StackValue CallConstant(Fn fn) {
    switch (fn) {
      case F_NA: return Err(CellError::NA);
      case F_TRUE: return BoolV(true);
      case F_FALSE: return BoolV(false);
      case F_NOW:
      case F_TODAY: {
        std::time_t t = std::time(nullptr);
        std::tm tm{};
        localtime_r(&t, &tm);
        double d = DateSerial(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday);
        if (fn == F_NOW) d += (tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec) / 86400.0;
        return Num(d);
      }
      case F_RAND: {
        static thread_local std::mt19937_64 gen{std::random_device{}()};
        return Num(std::uniform_real_distribution<double>(0, 1)(gen));
      }

      default: break;
    }
    return Err(CellError::Value);
  }

  StackValue CallImpl(Fn fn, std::size_t first, std::size_t argc) {
    switch (fn) {
      case F_SUM:
      case F_SUMSQ:
      case F_PRODUCT:
      case F_AVERAGE:
      case F_MIN:
      case F_MAX:
      case F_COUNT:
      case F_COUNTA:
        return CallAggregate(fn, first, argc);
      case F_ABS:
      case F_SQRT:
      case F_EXP:
      case F_LN:
      case F_LOG10:
      case F_LOG:
      case F_POWER:
      case F_ROUND:
      case F_ROUNDUP:
      case F_ROUNDDOWN:
      case F_TRUNC:
      case F_INT:
      case F_MOD:
      case F_PI:
      case F_SIGN:
      case F_SIN:
      case F_COS:
      case F_TAN:
      case F_ATAN:
      case F_ASIN:
      case F_ACOS:
      case F_ATAN2:
      case F_DEGREES:
      case F_RADIANS:
      case F_CEILING:
      case F_FLOOR:
        return CallMath(fn, first, argc);
      case F_IF:
      case F_AND:
      case F_OR:
      case F_NOT:
      case F_ISERROR:
      case F_ISERR:
      case F_ISNA:
      case F_ISNUMBER:
      case F_ISTEXT:
      case F_ISBLANK:
      case F_IFERROR:
        return CallLogical(fn, first, argc);
      case F_CONCATENATE:
      case F_LEN:
      case F_UPPER:
      case F_LOWER:
      case F_TRIM:
      case F_LEFT:
      case F_RIGHT:
      case F_MID:
      case F_VALUE:
      case F_TEXT:
        return CallText(fn, first, argc);
      case F_NA:
      case F_TRUE:
      case F_FALSE:
      case F_NOW:
      case F_TODAY:
      case F_RAND:
        return CallConstant(fn);
      case F_UNKNOWN: return Err(CellError::Name);
    }
    return Err(CellError::Value);
  }


  const FormulaCode& code_;
  const WorkbookImpl& book_;
  // Evaluation never nests, so one stack per thread serves every formula without allocating.
  static thread_local std::vector<StackValue> stack_;
};

thread_local std::vector<StackValue> Evaluator::stack_;

}  // namespace

// ---------------------------------------------------------------------------------------------------------------

std::string RefToken::ToString() const { return ToString({}); }

std::string RefToken::ToString(const std::function<std::string(std::string_view)>& quote) const {
  std::string s;
  if (has_sheet) s = (quote ? quote(sheet) : QuoteSheetName(sheet)) + "!";
  if (whole_cols || whole_rows) {
    auto line = [&](int i, bool abs) {
      if (abs) s += '$';
      s += whole_cols ? ColumnName(i) : std::to_string(i + 1);
    };
    line(whole_cols ? c1 : r1, whole_cols ? c1_abs : r1_abs);
    s += ':';
    line(whole_cols ? c2 : r2, whole_cols ? c2_abs : r2_abs);
    return s;
  }
  auto cell = [&](int r, int c, bool ra, bool ca) {
    if (ca) s += '$';
    s += ColumnName(c);
    if (ra) s += '$';
    s += std::to_string(r + 1);
  };
  cell(r1, c1, r1_abs, c1_abs);
  if (is_range) {
    s += ':';
    cell(r2, c2, r2_abs, c2_abs);
  }
  return s;
}

std::string RewriteRefs(std::string_view formula, const std::function<bool(RefToken&)>& fn,
                        const std::function<std::string(std::string_view)>& quote) {
  std::vector<Token> toks;
  std::string error;
  if (!Tokenize(formula, &toks, &error)) return std::string(formula);
  std::string out;
  out.reserve(formula.size() + 8);
  for (Token& t : toks) {
    if (t.kind != Token::Ref) {
      out.append(formula.substr(t.pos, t.len));
      continue;
    }
    RefToken r = t.ref;
    if (fn(r)) {
      out += r.ToString(quote);
    } else {
      if (r.has_sheet) out += (quote ? quote(r.sheet) : QuoteSheetName(r.sheet)) + "!";
      out += "#REF!";
    }
  }
  return out;
}

std::string NormalizeFormula(std::string_view formula) {
  std::vector<Token> toks;
  std::string error;
  if (formula.size() > kMaxFormulaLength || !Tokenize(formula, &toks, &error)) return std::string(formula);
  std::string out;
  out.reserve(formula.size());
  for (const Token& t : toks) {
    switch (t.kind) {
      case Token::Ref: out += t.ref.ToString(); break;
      case Token::Func:
      case Token::Bool: out += t.text; break;
      case Token::Error:
        if (t.sheet_error) out.append(formula.substr(t.pos, t.len - ErrorText(t.error).size()));
        out += ErrorText(t.error);
        break;
      default: out.append(formula.substr(t.pos, t.len)); break;
    }
  }
  return out;
}

std::shared_ptr<const FormulaCode> CompileFormula(std::string_view formula, std::uint32_t self,
                                                  const SheetResolver& resolve, const NameResolver& names) {
  auto code = std::make_shared<FormulaCode>();
  std::vector<Token> toks;
  bool ok = formula.size() <= kMaxFormulaLength;
  if (!ok) code->error = "formula too long";
  if (ok) ok = Tokenize(formula, &toks, &code->error);
  if (ok) {
    Compiler c(toks, code.get(), self, resolve, names);
    ok = c.Run();
  }
  if (!ok) {
    code->ops.clear();
    code->refs.clear();
    code->strings.clear();
    FormulaOp op;
    op.kind = FormulaOp::Err;
    op.fn = std::uint8_t(CellError::Name);
    code->ops.push_back(op);
    if (code->error.empty()) code->error = "bad formula";
  }
  return code;
}

CellValue EvaluateFormula(const FormulaCode& code, const WorkbookImpl& book) {
  Evaluator ev(code, book);
  return ev.Run();
}

bool ParseNumber(std::string_view text, double* out) {
  std::size_t b = 0, e = text.size();
  while (b < e && text[b] == ' ') ++b;
  while (e > b && text[e - 1] == ' ') --e;
  text = text.substr(b, e - b);
  if (text.empty()) return false;
  bool percent = text.back() == '%';
  if (percent) text.remove_suffix(1);
  bool neg = false;
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
    neg = text[0] == '-';
    text.remove_prefix(1);
  }
  if (text.empty() || !(IsDigit(text[0]) || text[0] == '.')) return false;
  double v;
  auto r = std::from_chars(text.data(), text.data() + text.size(), v);
  if (r.ec != std::errc() || r.ptr != text.data() + text.size() || !std::isfinite(v)) return false;
  if (neg) v = -v;
  if (percent) v /= 100;
  *out = v;
  return true;
}

}  // namespace zyl::platform

namespace zyl::platform {

namespace {

// Splits "Sheet!rest" or "'My sheet'!rest"; returns false when a sheet prefix is malformed.
bool SplitSheet(std::string_view text, std::string* sheet, std::string_view* rest) {
  sheet->clear();
  *rest = text;
  if (!text.empty() && text[0] == '\'') {
    std::size_t i = 1;
    for (;;) {
      if (i >= text.size()) return false;
      if (text[i] == '\'') {
        if (i + 1 < text.size() && text[i + 1] == '\'') {
          *sheet += '\'';
          i += 2;
          continue;
        }
        break;
      }
      *sheet += text[i++];
    }
    if (i + 1 >= text.size() || text[i + 1] != '!' || sheet->empty()) return false;
    *rest = text.substr(i + 2);
    return true;
  }
  std::size_t bang = text.rfind('!');
  if (bang == std::string_view::npos) return true;
  if (bang == 0) return false;
  *sheet = std::string(text.substr(0, bang));
  *rest = text.substr(bang + 1);
  return true;
}

}  // namespace

std::optional<CellRef> ParseCellRef(std::string_view text) {
  CellRef r;
  std::string_view rest;
  if (!SplitSheet(text, &r.sheet, &rest)) return std::nullopt;
  std::size_t n = ScanCell(rest, &r.row, &r.col, &r.row_abs, &r.col_abs);
  if (!n || n != rest.size()) return std::nullopt;
  return r;
}

std::optional<RangeRef> ParseRangeRef(std::string_view text) {
  RangeRef r;
  std::string_view rest;
  if (!SplitSheet(text, &r.sheet, &rest)) return std::nullopt;
  RefToken t;
  std::size_t n = ScanRef(rest, &t);
  if (!n || n != rest.size()) return std::nullopt;
  r.r1 = std::min(t.r1, t.r2);
  r.r2 = std::max(t.r1, t.r2);
  r.c1 = std::min(t.c1, t.c2);
  r.c2 = std::max(t.c1, t.c2);
  return r;
}

}  // namespace zyl::platform
