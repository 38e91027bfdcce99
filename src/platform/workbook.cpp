#include "platform/text.h"
#include "platform/workbook.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <deque>

#include "platform/workbook_formula.h"
#include "platform/workbook_impl.h"

namespace zyl::platform {

namespace {

bool InSheet(int row, int col) { return row >= 0 && row < kMaxRows && col >= 0 && col < kMaxCols; }

void Order(int& r1, int& c1, int& r2, int& c2) {
  if (r1 > r2) std::swap(r1, r2);
  if (c1 > c2) std::swap(c1, c2);
  r1 = std::max(r1, 0);
  c1 = std::max(c1, 0);
  r2 = std::min(r2, kMaxRows - 1);
  c2 = std::min(c2, kMaxCols - 1);
}

const CellValue& EmptyValue() {
  static const CellValue v;
  return v;
}


// Moves the span lo..hi for an insert (n > 0) or delete (n < 0) of |n| lines at `at` on a sheet of `limit`
// lines. A span covering the whole sheet stays whole. Returns false when the span is deleted or pushed off.
bool AdjustSpan(int& lo, int& hi, int at, int n, int limit) {
  if (lo == 0 && hi == limit - 1) return true;
  if (n > 0) {
    if (lo >= at) lo += n;
    if (hi >= at) hi += n;
    if (lo >= limit) return false;
    if (hi >= limit) hi = limit - 1;
    return true;
  }
  int count = -n, end = at + count;  // deleted lines at..end-1
  if (lo >= at && hi < end) return false;
  int nlo = lo < at ? lo : (lo < end ? at : lo - count);
  int nhi = hi < at ? hi : (hi < end ? at - 1 : hi - count);
  lo = nlo;
  hi = nhi;
  return lo <= hi;
}

/// Collects edits and recalculates once when the outermost batch ends.
class Batch {
 public:
  explicit Batch(WorkbookImpl& b) : b_(b) { ++b_.batch; }
  ~Batch() {
    if (--b_.batch == 0 && b_.auto_recalc && !b_.pending.empty()) {
      std::vector<std::uint64_t> seeds(b_.pending.begin(), b_.pending.end());
      b_.pending.clear();
      b_.Recalc(seeds, false);
    }
  }

 private:
  WorkbookImpl& b_;
};

}  // namespace

// ---------------------------------------------------------------------------------------------------------------
// Values and references

std::string_view ErrorText(CellError e) {
  switch (e) {
    case CellError::Null: return "#NULL!";
    case CellError::Div0: return "#DIV/0!";
    case CellError::Value: return "#VALUE!";
    case CellError::Ref: return "#REF!";
    case CellError::Name: return "#NAME?";
    case CellError::Num: return "#NUM!";
    case CellError::NA: return "#N/A";
    case CellError::Circular: return "#CIRC!";
  }
  return "#VALUE!";
}

std::optional<CellError> ParseErrorText(std::string_view text) {
  for (int i = 0; i <= int(CellError::Circular); ++i)
    if (EqualsNoCase(text, ErrorText(CellError(i)))) return CellError(i);
  return std::nullopt;
}

std::optional<double> CellValue::AsNumber() const {
  switch (type) {
    case ValueType::Empty: return 0.0;
    case ValueType::Number:
    case ValueType::Bool: return number;
    default: return std::nullopt;
  }
}

bool CellValue::operator==(const CellValue& o) const {
  if (type != o.type) return false;
  switch (type) {
    case ValueType::Empty: return true;
    case ValueType::Number:
    case ValueType::Bool: return number == o.number;
    case ValueType::Text: return text == o.text;
    case ValueType::Error: return error == o.error;
  }
  return false;
}

std::string ColumnName(int col) {
  std::string s;
  if (col < 0) return s;
  ++col;
  while (col > 0) {
    int r = (col - 1) % 26;
    s.insert(s.begin(), char('A' + r));
    col = (col - 1) / 26;
  }
  return s;
}

int ColumnIndex(std::string_view name) {
  if (name.empty() || name.size() > 3) return -1;
  int c = 0;
  for (char ch : name) {
    ch = Upper(ch);
    if (ch < 'A' || ch > 'Z') return -1;
    c = c * 26 + (ch - 'A' + 1);
  }
  return c - 1 < kMaxCols ? c - 1 : -1;
}

std::string QuoteSheetName(std::string_view name) {
  bool plain = !name.empty() && !(name[0] >= '0' && name[0] <= '9');
  for (char c : name)
    if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '.'))
      plain = false;
  if (plain) return std::string(name);
  std::string s = "'";
  for (char c : name) {
    if (c == '\'') s += '\'';
    s += c;
  }
  return s + "'";
}

std::string CellName(int row, int col, std::string_view sheet) {
  std::string s;
  if (!sheet.empty()) s = QuoteSheetName(sheet) + "!";
  return s + ColumnName(col) + std::to_string(row + 1);
}

std::string CellRef::ToString() const {
  std::string s;
  if (!sheet.empty()) s = QuoteSheetName(sheet) + "!";
  if (col_abs) s += '$';
  s += ColumnName(col);
  if (row_abs) s += '$';
  return s + std::to_string(row + 1);
}

std::string RangeRef::ToString() const {
  std::string s;
  if (!sheet.empty()) s = QuoteSheetName(sheet) + "!";
  s += ColumnName(c1) + std::to_string(r1 + 1);
  if (r1 != r2 || c1 != c2) s += ":" + ColumnName(c2) + std::to_string(r2 + 1);
  return s;
}

std::string Clip::ToTsv() const {
  std::vector<std::vector<std::string>> grid(static_cast<std::size_t>(rows), std::vector<std::string>(static_cast<std::size_t>(cols)));
  for (const Item& it : items)
    if (it.dr < rows && it.dc < cols) grid[std::size_t(it.dr)][std::size_t(it.dc)] = FormatValue(it.value, it.style.number_format);
  std::string out;
  for (const auto& row : grid) {
    for (std::size_t c = 0; c < row.size(); ++c) {
      if (c) out += '\t';
      out += row[c];
    }
    out += '\n';
  }
  return out;
}

// ---------------------------------------------------------------------------------------------------------------
// Sheet

Sheet::Sheet(WorkbookImpl* book, std::uint32_t id, std::string name)
    : book_(book), id_(id), name_(std::move(name)), cols_(kMaxCols), hidden_(kMaxCols, false),
      col_style_(kMaxCols, 0) {}

int Sheet::Index() const { return book_->IndexOf(this); }

const Cell* Sheet::Find(int row, int col) const {
  if (!InSheet(row, col)) return nullptr;
  const auto& m = cols_[std::size_t(col)];
  auto it = m.find(row);
  return it == m.end() ? nullptr : &it->second;
}

const CellValue& Sheet::Value(int row, int col) const {
  const Cell* c = Find(row, col);
  return c ? c->value : EmptyValue();
}

std::optional<double> Sheet::Number(int row, int col) const { return Value(row, col).AsNumber(); }

std::string Sheet::Formula(int row, int col) const {
  const Cell* c = Find(row, col);
  return c && c->has_formula() ? "=" + c->formula : std::string();
}

std::string Sheet::InputText(int row, int col) const {
  const Cell* c = Find(row, col);
  if (!c) return {};
  if (c->has_formula()) return "=" + c->formula;
  switch (c->value.type) {
    case ValueType::Empty: return {};
    case ValueType::Number: return ShortestNumber(c->value.number);
    case ValueType::Bool: return c->value.number != 0 ? "TRUE" : "FALSE";
    case ValueType::Text: return c->value.text;
    case ValueType::Error: return std::string(ErrorText(c->value.error));
  }
  return {};
}

std::string Sheet::DisplayText(int row, int col) const {
  const Cell* c = Find(row, col);
  if (!c) return {};
  return FormatValue(c->value, book_->styles[std::size_t(c->style)].number_format);
}

const CellStyle& Sheet::Style(int row, int col) const {
  const Cell* c = Find(row, col);
  return book_->styles[std::size_t(c ? c->style : ColumnStyle(col))];
}

int Sheet::LastRow() const {
  int r = -1;
  for (const auto& m : cols_)
    if (!m.empty()) r = std::max(r, m.rbegin()->first);
  return r;
}

int Sheet::LastCol() const {
  for (int c = kMaxCols - 1; c >= 0; --c)
    if (!cols_[std::size_t(c)].empty()) return c;
  return -1;
}

void Sheet::ForEachCell(const std::function<void(int, int, const Cell&)>& fn) const {
  for (int c = 0; c < kMaxCols; ++c)
    for (const auto& [r, cell] : cols_[std::size_t(c)]) fn(r, c, cell);
}

std::size_t Sheet::CellCount() const {
  std::size_t n = 0;
  for (const auto& m : cols_) n += m.size();
  return n;
}

void Sheet::SetNumber(int row, int col, double v) {
  if (!InSheet(row, col)) return;
  if (!std::isfinite(v)) {
    Cell& c = book_->Touch(*this, row, col);
    auto old = std::move(c.code);
    c.formula.clear();
    c.value = CellValue::Error(CellError::Num);
    book_->ContentChanged(*this, row, col, old);
    return;
  }
  Cell& c = book_->Touch(*this, row, col);
  auto old = std::move(c.code);
  c.formula.clear();
  c.value = CellValue::Number(v == 0 ? 0.0 : v);
  book_->ContentChanged(*this, row, col, old);
}

void Sheet::SetText(int row, int col, std::string_view text) {
  if (!InSheet(row, col)) return;
  if (text.empty()) return ClearContents(row, col, row, col);
  Cell& c = book_->Touch(*this, row, col);
  auto old = std::move(c.code);
  c.formula.clear();
  c.value = CellValue::Text(std::string(text));
  book_->ContentChanged(*this, row, col, old);
}

void Sheet::SetBool(int row, int col, bool v) {
  if (!InSheet(row, col)) return;
  Cell& c = book_->Touch(*this, row, col);
  auto old = std::move(c.code);
  c.formula.clear();
  c.value = CellValue::Bool(v);
  book_->ContentChanged(*this, row, col, old);
}

std::string Sheet::SetFormula(int row, int col, std::string_view formula) {
  if (!InSheet(row, col)) return "The cell is off the sheet.";
  if (!formula.empty() && formula[0] == '=') formula.remove_prefix(1);
  if (formula.empty()) {
    ClearContents(row, col, row, col);
    return {};
  }
  std::string text = NormalizeFormula(formula);
  auto code = book_->Compile(text, id_);
  Cell& c = book_->Touch(*this, row, col);
  auto old = std::move(c.code);
  c.formula = std::move(text);
  c.code = code;
  c.value = CellValue::Error(CellError::Name);
  std::string error = code->error;
  book_->ContentChanged(*this, row, col, old);
  return error;
}

std::string Sheet::SetInput(int row, int col, std::string_view input) {
  if (!InSheet(row, col)) return "The cell is off the sheet.";
  if (input.empty()) {
    ClearContents(row, col, row, col);
    return {};
  }
  if (input[0] == '=' && input.size() > 1) return SetFormula(row, col, input);
  if (input[0] == '\'') {
    SetText(row, col, input.substr(1));
    return {};
  }
  double d;
  if (ParseNumber(input, &d)) {
    SetNumber(row, col, d);
  } else if (EqualsNoCase(input, "TRUE") || EqualsNoCase(input, "FALSE")) {
    SetBool(row, col, EqualsNoCase(input, "TRUE"));
  } else {
    SetText(row, col, input);
  }
  return {};
}

std::string Sheet::Edit(int row, int col, std::string_view input) {
  if (!Editable(row, col)) return std::string(kCellLocked);
  return SetInput(row, col, input);
}

void Sheet::ClearContents(int r1, int c1, int r2, int c2) {
  Order(r1, c1, r2, c2);
  Batch batch(*book_);
  for (int c = c1; c <= c2; ++c) {
    auto& m = cols_[std::size_t(c)];
    for (auto it = m.lower_bound(r1); it != m.end() && it->first <= r2;) {
      int r = it->first;
      Cell& cell = it->second;
      auto old = std::move(cell.code);
      bool had = !cell.value.empty() || !cell.formula.empty();
      cell.formula.clear();
      cell.value = CellValue();
      ++it;
      if (cell.style == col_style_[std::size_t(c)]) m.erase(r);
      if (had || old) book_->ContentChanged(*this, r, c, old);
    }
  }
  book_->EmitCells(*this, r1, c1, r2, c2);
}

void Sheet::ClearAll(int r1, int c1, int r2, int c2) {
  Order(r1, c1, r2, c2);
  ClearContents(r1, c1, r2, c2);
  for (int c = c1; c <= c2; ++c) {
    auto& m = cols_[std::size_t(c)];
    m.erase(m.lower_bound(r1), m.upper_bound(r2));
  }
  book_->Emit({WorkbookEvent::Kind::Styles, Index(), r1, c1, r2, c2});
}

void Sheet::SetStyle(int row, int col, const CellStyle& style) {
  ModifyStyle(row, col, row, col, [&](CellStyle& s) { s = style; });
}

void Sheet::ModifyStyle(int r1, int c1, int r2, int c2, const std::function<void(CellStyle&)>& change) {
  Order(r1, c1, r2, c2);
  std::map<int, int> memo;  // old style -> new style
  auto restyle = [&](int old) {
    auto f = memo.find(old);
    if (f == memo.end()) {
      CellStyle s = book_->styles[std::size_t(old)];
      change(s);
      f = memo.emplace(old, book_->owner->StyleIndex(s)).first;
    }
    return f->second;
  };
  if (r1 == 0 && r2 == kMaxRows - 1) {
    for (int c = c1; c <= c2; ++c) {
      col_style_[std::size_t(c)] = restyle(col_style_[std::size_t(c)]);
      for (auto& [r, cell] : cols_[std::size_t(c)]) cell.style = restyle(cell.style);
    }
    book_->Emit({WorkbookEvent::Kind::Styles, Index(), r1, c1, r2, c2});
    return;
  }
  for (int c = c1; c <= c2; ++c) {
    auto& m = cols_[std::size_t(c)];
    for (int r = r1; r <= r2; ++r) {
      auto it = m.find(r);
      int old = it == m.end() ? col_style_[std::size_t(c)] : it->second.style;
      int now = restyle(old);
      if (now == old) continue;
      if (it == m.end()) it = m.emplace(r, Cell{}).first;
      it->second.style = now;
    }
  }
  book_->Emit({WorkbookEvent::Kind::Styles, Index(), r1, c1, r2, c2});
}

void Sheet::SetNumberFormat(int r1, int c1, int r2, int c2, std::string_view pattern) {
  ModifyStyle(r1, c1, r2, c2, [&](CellStyle& s) { s.number_format = std::string(pattern); });
}
void Sheet::SetFontColor(int r1, int c1, int r2, int c2, std::uint32_t rgb) {
  ModifyStyle(r1, c1, r2, c2, [&](CellStyle& s) { s.color = rgb & 0xFFFFFF; });
}
void Sheet::SetBold(int r1, int c1, int r2, int c2, bool bold) {
  ModifyStyle(r1, c1, r2, c2, [&](CellStyle& s) { s.bold = bold; });
}
void Sheet::SetLocked(int r1, int c1, int r2, int c2, bool locked) {
  ModifyStyle(r1, c1, r2, c2, [&](CellStyle& s) { s.locked = locked; });
}

double Sheet::ColumnWidth(int col) const {
  auto it = widths_.find(col);
  return it == widths_.end() ? kDefaultColumnWidth : it->second;
}

void Sheet::SetColumnWidth(int col, double width) {
  if (col < 0 || col >= kMaxCols || !std::isfinite(width)) return;
  width = std::clamp(width, 0.0, 255.0);
  if (width == kDefaultColumnWidth) widths_.erase(col);
  else widths_[col] = width;
  book_->Emit({WorkbookEvent::Kind::Styles, Index(), 0, col, kMaxRows - 1, col});
}

bool Sheet::ColumnHidden(int col) const { return col >= 0 && col < kMaxCols && hidden_[std::size_t(col)]; }

void Sheet::SetColumnHidden(int col, bool hidden) {
  if (col < 0 || col >= kMaxCols) return;
  hidden_[std::size_t(col)] = hidden;
  book_->Emit({WorkbookEvent::Kind::Styles, Index(), 0, col, kMaxRows - 1, col});
}

void Sheet::SetProtected(bool on) {
  protected_ = on;
  book_->Emit({WorkbookEvent::Kind::Styles, Index(), 0, 0, kMaxRows - 1, kMaxCols - 1});
}

bool Sheet::Editable(int row, int col) const { return !protected_ || !Style(row, col).locked; }

namespace {

bool HasContent(const Cell& c) { return c.has_formula() || !c.value.empty(); }

}  // namespace

std::string Sheet::InsertRows(int at, int count) {
  if (at < 0 || at >= kMaxRows || count < 1) return "Invalid row.";
  if (count > kMaxRows - at) return std::string(kInsertOffSheet);
  for (const auto& m : cols_)
    for (auto it = m.lower_bound(kMaxRows - count); it != m.end(); ++it)
      if (HasContent(it->second)) return std::string(kInsertOffSheet);
  std::uint32_t sid = id_;
  book_->RewriteAll([&](RefToken& t, std::uint32_t self) {
    if (book_->ResolveSheet(t, self) != sid) return true;
    int lo = std::min(t.r1, t.r2), hi = std::max(t.r1, t.r2);
    if (!t.is_range) return AdjustSpan(t.r1, t.r2, at, count, kMaxRows) && (t.r2 = t.r1, true);
    if (!AdjustSpan(lo, hi, at, count, kMaxRows)) return false;
    t.r1 = lo, t.r2 = hi;
    return true;
  });
  for (auto& m : cols_) {
    std::map<int, Cell> moved;
    for (auto it = m.lower_bound(at); it != m.end();) {
      auto node = m.extract(it++);
      if (node.key() + count < kMaxRows) {
        node.key() += count;
        moved.insert(std::move(node));
      }
    }
    m.merge(moved);
  }
  book_->RebuildAll();
  book_->Emit({WorkbookEvent::Kind::Structure, Index(), at, 0, kMaxRows - 1, kMaxCols - 1});
  return {};
}

std::string Sheet::DeleteRows(int at, int count) {
  if (at < 0 || at >= kMaxRows || count < 1) return "Invalid row.";
  count = std::min(count, kMaxRows - at);
  std::uint32_t sid = id_;
  book_->RewriteAll([&](RefToken& t, std::uint32_t self) {
    if (book_->ResolveSheet(t, self) != sid) return true;
    int lo = std::min(t.r1, t.r2), hi = std::max(t.r1, t.r2);
    if (!AdjustSpan(lo, hi, at, -count, kMaxRows)) return false;
    t.r1 = lo, t.r2 = t.is_range ? hi : lo;
    return true;
  });
  for (auto& m : cols_) {
    m.erase(m.lower_bound(at), m.lower_bound(at + count));
    std::map<int, Cell> moved;
    for (auto it = m.lower_bound(at + count); it != m.end();) {
      auto node = m.extract(it++);
      node.key() -= count;
      moved.insert(std::move(node));
    }
    m.merge(moved);
  }
  book_->RebuildAll();
  book_->Emit({WorkbookEvent::Kind::Structure, Index(), at, 0, kMaxRows - 1, kMaxCols - 1});
  return {};
}

std::string Sheet::InsertColumns(int at, int count) {
  if (at < 0 || at >= kMaxCols || count < 1) return "Invalid column.";
  if (count > kMaxCols - at) return std::string(kInsertOffSheet);
  for (int c = kMaxCols - count; c < kMaxCols; ++c)
    for (const auto& [r, cell] : cols_[std::size_t(c)])
      if (HasContent(cell)) return std::string(kInsertOffSheet);
  std::uint32_t sid = id_;
  book_->RewriteAll([&](RefToken& t, std::uint32_t self) {
    if (book_->ResolveSheet(t, self) != sid) return true;
    int lo = std::min(t.c1, t.c2), hi = std::max(t.c1, t.c2);
    if (!AdjustSpan(lo, hi, at, count, kMaxCols)) return false;
    t.c1 = lo, t.c2 = t.is_range ? hi : lo;
    return true;
  });
  std::rotate(cols_.begin() + at, cols_.end() - count, cols_.end());
  for (int c = at; c < at + count; ++c) cols_[std::size_t(c)].clear();
  std::rotate(hidden_.begin() + at, hidden_.end() - count, hidden_.end());
  for (int c = at; c < at + count; ++c) hidden_[std::size_t(c)] = false;
  std::rotate(col_style_.begin() + at, col_style_.end() - count, col_style_.end());
  for (int c = at; c < at + count; ++c) col_style_[std::size_t(c)] = at > 0 ? col_style_[std::size_t(at - 1)] : 0;
  std::map<int, double> w;
  for (auto [c, v] : widths_)
    if (c < at) w[c] = v;
    else if (c + count < kMaxCols) w[c + count] = v;
  widths_ = std::move(w);
  book_->RebuildAll();
  book_->Emit({WorkbookEvent::Kind::Structure, Index(), 0, at, kMaxRows - 1, kMaxCols - 1});
  return {};
}

std::string Sheet::DeleteColumns(int at, int count) {
  if (at < 0 || at >= kMaxCols || count < 1) return "Invalid column.";
  count = std::min(count, kMaxCols - at);
  std::uint32_t sid = id_;
  book_->RewriteAll([&](RefToken& t, std::uint32_t self) {
    if (book_->ResolveSheet(t, self) != sid) return true;
    int lo = std::min(t.c1, t.c2), hi = std::max(t.c1, t.c2);
    if (!AdjustSpan(lo, hi, at, -count, kMaxCols)) return false;
    t.c1 = lo, t.c2 = t.is_range ? hi : lo;
    return true;
  });
  for (int c = at; c < at + count; ++c) cols_[std::size_t(c)].clear();
  std::rotate(cols_.begin() + at, cols_.begin() + at + count, cols_.end());
  std::rotate(hidden_.begin() + at, hidden_.begin() + at + count, hidden_.end());
  for (int c = kMaxCols - count; c < kMaxCols; ++c) hidden_[std::size_t(c)] = false;
  std::rotate(col_style_.begin() + at, col_style_.begin() + at + count, col_style_.end());
  for (int c = kMaxCols - count; c < kMaxCols; ++c) col_style_[std::size_t(c)] = 0;
  std::map<int, double> w;
  for (auto [c, v] : widths_)
    if (c < at) w[c] = v;
    else if (c >= at + count) w[c - count] = v;
  widths_ = std::move(w);
  book_->RebuildAll();
  book_->Emit({WorkbookEvent::Kind::Structure, Index(), 0, at, kMaxRows - 1, kMaxCols - 1});
  return {};
}

Clip Sheet::Copy(int r1, int c1, int r2, int c2) const {
  Order(r1, c1, r2, c2);
  Clip clip;
  clip.source_sheet = Index();
  clip.source_sheet_name = name_;
  clip.row = r1;
  clip.col = c1;
  clip.rows = r2 - r1 + 1;
  clip.cols = c2 - c1 + 1;
  for (int c = c1; c <= c2; ++c) {
    const auto& m = cols_[std::size_t(c)];
    for (auto it = m.lower_bound(r1); it != m.end() && it->first <= r2; ++it)
      clip.items.push_back({it->first - r1, c - c1, it->second.value, it->second.formula,
                            book_->styles[std::size_t(it->second.style)]});
  }
  return clip;
}

std::string Sheet::Paste(int row, int col, const Clip& clip, PasteMode mode) {
  if (!InSheet(row, col) || clip.rows < 1 || clip.cols < 1 || row + clip.rows > kMaxRows ||
      col + clip.cols > kMaxCols)
    return std::string(kPasteOffSheet);
  int dr = row - clip.row, dc = col - clip.col;
  Batch batch(*book_);
  int r2 = row + clip.rows - 1, c2 = col + clip.cols - 1;
  if (mode != PasteMode::Formats) ClearContents(row, col, r2, c2);
  if (mode == PasteMode::All || mode == PasteMode::Formats)
    ModifyStyle(row, col, r2, c2, [](CellStyle& s) { s = CellStyle{}; });
  for (const Clip::Item& it : clip.items) {
    int r = row + it.dr, c = col + it.dc;
    if (mode == PasteMode::All || mode == PasteMode::Formats) SetStyle(r, c, it.style);
    if (mode == PasteMode::Formats) continue;
    if (mode != PasteMode::Values && !it.formula.empty()) {
      std::string f = RewriteRefs(it.formula, [&](RefToken& t) {
        if (!t.r1_abs) t.r1 += dr;
        if (!t.r2_abs) t.r2 += dr;
        if (!t.c1_abs) t.c1 += dc;
        if (!t.c2_abs) t.c2 += dc;
        return InSheet(t.r1, t.c1) && InSheet(t.r2, t.c2);
      });
      SetFormula(r, c, f);
      continue;
    }
    switch (it.value.type) {
      case ValueType::Empty: break;
      case ValueType::Number: SetNumber(r, c, it.value.number); break;
      case ValueType::Bool: SetBool(r, c, it.value.number != 0); break;
      case ValueType::Text: SetText(r, c, it.value.text); break;
      case ValueType::Error: SetFormula(r, c, ErrorText(it.value.error)); break;
    }
  }
  book_->EmitCells(*this, row, col, r2, c2);
  return {};
}

std::string Sheet::PasteLink(int row, int col, const Clip& clip) {
  if (!InSheet(row, col) || clip.rows < 1 || clip.cols < 1 || row + clip.rows > kMaxRows ||
      col + clip.cols > kMaxCols)
    return std::string(kPasteOffSheet);
  const Sheet* src = clip.source_sheet >= 0 && clip.source_sheet < book_->owner->SheetCount()
                         ? &book_->owner->sheet(clip.source_sheet)
                         : nullptr;
  std::string name = src ? src->name() : clip.source_sheet_name;
  Batch batch(*book_);
  for (int r = 0; r < clip.rows; ++r)
    for (int c = 0; c < clip.cols; ++c)
      SetFormula(row + r, col + c, CellName(clip.row + r, clip.col + c, name));
  book_->EmitCells(*this, row, col, row + clip.rows - 1, col + clip.cols - 1);
  return {};
}

std::string Sheet::PasteText(int row, int col, std::string_view tsv) {
  std::vector<std::vector<std::string_view>> lines;
  while (!tsv.empty()) {
    std::size_t nl = tsv.find('\n');
    std::string_view line = tsv.substr(0, nl);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    std::vector<std::string_view> fields;
    for (;;) {
      std::size_t tab = line.find('\t');
      fields.push_back(line.substr(0, tab));
      if (tab == std::string_view::npos) break;
      line.remove_prefix(tab + 1);
    }
    lines.push_back(std::move(fields));
    if (nl == std::string_view::npos) break;
    tsv.remove_prefix(nl + 1);
  }
  std::size_t width = 0;
  for (const auto& l : lines) width = std::max(width, l.size());
  if (!InSheet(row, col) || row + int(lines.size()) > kMaxRows || col + int(width) > kMaxCols)
    return std::string(kPasteOffSheet);
  Batch batch(*book_);
  for (std::size_t r = 0; r < lines.size(); ++r)
    for (std::size_t c = 0; c < lines[r].size(); ++c) SetInput(row + int(r), col + int(c), lines[r][c]);
  if (!lines.empty()) book_->EmitCells(*this, row, col, row + int(lines.size()) - 1, col + int(width) - 1);
  return {};
}

// ---------------------------------------------------------------------------------------------------------------
// WorkbookImpl

const CellValue* WorkbookImpl::ValueAt(std::uint32_t sheet, int row, int col) const {
  const Sheet* s = SheetById(sheet);
  if (!s) return nullptr;
  const Cell* c = s->Find(row, col);
  return c ? &c->value : nullptr;
}

Cell& WorkbookImpl::Touch(Sheet& s, int row, int col) {
  auto [it, made] = s.cols_[std::size_t(col)].try_emplace(row);
  if (made) it->second.style = s.col_style_[std::size_t(col)];
  return it->second;
}

int WorkbookImpl::IndexOf(const Sheet* s) const {
  for (std::size_t i = 0; i < sheets.size(); ++i)
    if (sheets[i].get() == s) return int(i);
  return -1;
}

std::shared_ptr<const FormulaCode> WorkbookImpl::Compile(std::string_view text, std::uint32_t sheet) const {
  auto resolve_sheet = [this](std::string_view name, std::uint32_t* id) {
    for (const auto& s : sheets)
      if (EqualsNoCase(s->name_, name)) {
        *id = s->id_;
        return true;
      }
    return false;
  };
  NameResolver resolve_name;
  if (!names.empty())
    resolve_name = [this](std::string_view name, RefArea* area) {
      const DefinedName* n = FindName(name);
      if (!n) return false;
      *area = {n->sheet, n->r1, n->c1, n->r2, n->c2};
      return true;
    };
  return CompileFormula(text, sheet, resolve_sheet, resolve_name);
}

const WorkbookImpl::DefinedName* WorkbookImpl::FindName(std::string_view name) const {
  for (const auto& n : names)
    if (EqualsNoCase(n.name, name)) return &n;
  return nullptr;
}

std::uint32_t WorkbookImpl::ResolveSheet(const RefToken& t, std::uint32_t self) const {
  if (!t.has_sheet) return self;
  for (const auto& s : sheets)
    if (EqualsNoCase(s->name_, t.sheet)) return s->id_;
  return UINT32_MAX;
}

void WorkbookImpl::Register(std::uint64_t key, Cell* cell, const FormulaCode& code) {
  for (const RefArea& a : code.refs) {
    if (std::int64_t(a.r2 - a.r1 + 1) * (a.c2 - a.c1 + 1) <= kExpandArea) {
      for (int c = a.c1; c <= a.c2; ++c)
        for (int r = a.r1; r <= a.r2; ++r) dependents[CellKey(a.sheet, r, c)].push_back({key, cell});
    } else {
      big_ranges[a.sheet].push_back({a.r1, a.c1, a.r2, a.c2, {key, cell}});
    }
  }
}

void WorkbookImpl::Unregister(std::uint64_t key, const FormulaCode& code) {
  for (const RefArea& a : code.refs) {
    if (std::int64_t(a.r2 - a.r1 + 1) * (a.c2 - a.c1 + 1) <= kExpandArea) {
      for (int c = a.c1; c <= a.c2; ++c)
        for (int r = a.r1; r <= a.r2; ++r) {
          auto it = dependents.find(CellKey(a.sheet, r, c));
          if (it == dependents.end()) continue;
          auto& v = it->second;
          auto f = std::find_if(v.begin(), v.end(), [key](const Dep& d) { return d.key == key; });
          if (f != v.end()) {
            *f = v.back();
            v.pop_back();
          }
          if (v.empty()) dependents.erase(it);
        }
    } else {
      auto it = big_ranges.find(a.sheet);
      if (it == big_ranges.end()) continue;
      auto& v = it->second;
      for (std::size_t i = 0; i < v.size(); ++i)
        if (v[i].formula.key == key && v[i].r1 == a.r1 && v[i].c1 == a.c1 && v[i].r2 == a.r2 && v[i].c2 == a.c2) {
          v[i] = v.back();
          v.pop_back();
          break;
        }
    }
  }
}

template <class Fn>
void WorkbookImpl::ForEachDependent(std::uint64_t key, Fn&& fn) const {
  auto it = dependents.find(key);
  if (it != dependents.end())
    for (const Dep& d : it->second) fn(d);
  if (big_ranges.empty()) return;
  auto b = big_ranges.find(KeySheet(key));
  if (b == big_ranges.end()) return;
  int r = KeyRow(key), c = KeyCol(key);
  for (const BigRange& br : b->second)
    if (r >= br.r1 && r <= br.r2 && c >= br.c1 && c <= br.c2) fn(br.formula);
}

void WorkbookImpl::ContentChanged(Sheet& s, int row, int col, const std::shared_ptr<const FormulaCode>& old_code) {
  std::uint64_t key = CellKey(s.id_, row, col);
  if (old_code) {
    Unregister(key, *old_code);
    formulas.erase(key);
    volatiles.erase(key);
  }
  Cell* c = const_cast<Cell*>(s.Find(row, col));
  if (c && c->code) {
    Register(key, c, *c->code);
    formulas[key] = c;
    if (c->code->volatile_fn) volatiles.insert(key);
  }
  if (batch > 0 || !auto_recalc) {
    pending.insert(key);
    return;
  }
  Recalc({key}, false);
  EmitCells(s, row, col, row, col);
}

void WorkbookImpl::Recalc(const std::vector<std::uint64_t>& seeds, bool all) {
  // Affected formulas, each with its count of affected precedents, are evaluated in dependency order (Kahn), so
  // no recursion however long the chains; whatever is left over is on or behind a cycle.
  ++epoch;
  struct Node {
    std::uint64_t key;
    Cell* cell;
    const std::vector<Dep>* direct;   // formulas reading this cell
    const std::vector<BigRange>* big;  // large blocks on its sheet
  };
  std::vector<Node> nodes;
  auto visit = [&](const Dep& d) {
    if (d.cell->rc_epoch == epoch) return;
    d.cell->rc_epoch = epoch;
    d.cell->rc_indeg = 0;
    d.cell->rc_index = int(nodes.size());
    auto it = dependents.find(d.key);
    auto b = big_ranges.empty() ? big_ranges.end() : big_ranges.find(KeySheet(d.key));
    nodes.push_back({d.key, d.cell, it == dependents.end() ? nullptr : &it->second,
                     b == big_ranges.end() || b->second.empty() ? nullptr : &b->second});
  };
  auto each = [](const Node& n, auto&& fn) {
    if (n.direct)
      for (const Dep& d : *n.direct) fn(d);
    if (n.big) {
      int r = KeyRow(n.key), c = KeyCol(n.key);
      for (const BigRange& br : *n.big)
        if (r >= br.r1 && r <= br.r2 && c >= br.c1 && c <= br.c2) fn(br.formula);
    }
  };
  if (all) {
    // Walk the sheets rather than the formula set: cells lie in memory roughly in the order they were made.
    nodes.reserve(formulas.size());
    for (const auto& sheet : sheets)
      for (int c = 0; c < kMaxCols; ++c)
        for (auto& [r, cell] : sheet->cols_[std::size_t(c)])
          if (cell.code) visit({CellKey(sheet->id_, r, c), &cell});
  } else {
    for (std::uint64_t s : seeds) {
      auto f = formulas.find(s);
      if (f != formulas.end()) visit({s, f->second});
      else ForEachDependent(s, visit);
    }
    for (std::uint64_t k : volatiles) visit({k, formulas.at(k)});
    for (std::size_t i = 0; i < nodes.size(); ++i) each(Node(nodes[i]), visit);
  }
  for (const Node& n : nodes) each(n, [](const Dep& d) { ++d.cell->rc_indeg; });
  std::vector<int> ready;
  for (const Node& n : nodes)
    if (n.cell->rc_indeg == 0) ready.push_back(n.cell->rc_index);
  struct Box {
    int r1 = kMaxRows, c1 = kMaxCols, r2 = -1, c2 = -1;
  };
  std::unordered_map<std::uint32_t, Box> changed;
  auto note = [&](std::uint64_t k) {
    Box& b = changed[KeySheet(k)];
    b.r1 = std::min(b.r1, KeyRow(k));
    b.r2 = std::max(b.r2, KeyRow(k));
    b.c1 = std::min(b.c1, KeyCol(k));
    b.c2 = std::max(b.c2, KeyCol(k));
  };
  std::size_t done = 0;
  while (!ready.empty()) {
    const Node& n = nodes[std::size_t(ready.back())];
    ready.pop_back();
    ++done;
    if (n.cell->code) {
      CellValue v = EvaluateFormula(*n.cell->code, *this);
      if (!(v == n.cell->value)) {
        n.cell->value = std::move(v);
        note(n.key);
      }
    }
    each(n, [&](const Dep& e) {
      if (--e.cell->rc_indeg == 0) ready.push_back(e.cell->rc_index);
    });
  }
  if (done < nodes.size()) {
    for (const Node& n : nodes) {
      if (n.cell->rc_indeg <= 0) continue;
      if (!(n.cell->value.is_error() && n.cell->value.error == CellError::Circular)) {
        n.cell->value = CellValue::Error(CellError::Circular);
        note(n.key);
      }
    }
  }
  for (const auto& [sid, b] : changed) {
    Sheet* s = SheetById(sid);
    if (s && b.r2 >= 0) Emit({WorkbookEvent::Kind::Cells, IndexOf(s), b.r1, b.c1, b.r2, b.c2});
  }
}

void WorkbookImpl::RebuildAll() {
  dependents.clear();
  big_ranges.clear();
  formulas.clear();
  volatiles.clear();
  pending.clear();
  for (auto& s : sheets)
    for (int c = 0; c < kMaxCols; ++c)
      for (auto& [r, cell] : s->cols_[std::size_t(c)]) {
        if (!cell.has_formula()) {
          cell.code.reset();
          continue;
        }
        cell.code = Compile(cell.formula, s->id_);
        std::uint64_t key = CellKey(s->id_, r, c);
        Register(key, &cell, *cell.code);
        formulas[key] = &cell;
        if (cell.code->volatile_fn) volatiles.insert(key);
      }
  if (auto_recalc) Recalc({}, true);
  else
    for (const auto& [k, c] : formulas) pending.insert(k);
}

void WorkbookImpl::RewriteAll(const std::function<bool(RefToken&, std::uint32_t)>& fn) {
  for (auto& s : sheets)
    for (auto& col : s->cols_)
      for (auto& [r, cell] : col)
        if (cell.has_formula())
          cell.formula = RewriteRefs(cell.formula, [&](RefToken& t) { return fn(t, s->id_); });
  // Names move with their blocks as an absolute reference on their sheet would; one that loses it is dropped.
  std::erase_if(names, [&](DefinedName& n) {
    const Sheet* s = SheetById(n.sheet);
    if (!s) return true;
    RefToken t;
    t.has_sheet = true;
    t.sheet = s->name_;
    t.is_range = true;
    t.r1 = n.r1, t.c1 = n.c1, t.r2 = n.r2, t.c2 = n.c2;
    t.r1_abs = t.c1_abs = t.r2_abs = t.c2_abs = true;
    if (!fn(t, n.sheet)) return true;
    n.r1 = std::min(t.r1, t.r2), n.r2 = std::max(t.r1, t.r2);
    n.c1 = std::min(t.c1, t.c2), n.c2 = std::max(t.c1, t.c2);
    return false;
  });
}

void WorkbookImpl::Emit(const WorkbookEvent& e) {
  auto copy = listeners;  // a listener may remove itself
  for (auto& [id, fn] : copy) fn(e);
}

void WorkbookImpl::EmitCells(const Sheet& s, int r1, int c1, int r2, int c2) {
  Emit({WorkbookEvent::Kind::Cells, IndexOf(&s), r1, c1, r2, c2});
}

// ---------------------------------------------------------------------------------------------------------------
// Workbook

Workbook::Workbook(std::string_view sheet_name) : impl_(std::make_unique<WorkbookImpl>()) {
  impl_->owner = this;
  if (!sheet_name.empty()) InsertSheet(sheet_name);
}

Workbook::~Workbook() = default;

Workbook::Workbook(Workbook&& o) noexcept : impl_(std::move(o.impl_)) {
  impl_->owner = this;
  o.impl_ = std::make_unique<WorkbookImpl>();
  o.impl_->owner = &o;
}

Workbook& Workbook::operator=(Workbook&& o) noexcept {
  if (this != &o) {
    impl_ = std::move(o.impl_);
    impl_->owner = this;
    o.impl_ = std::make_unique<WorkbookImpl>();
    o.impl_->owner = &o;
  }
  return *this;
}

int Workbook::SheetCount() const { return int(impl_->sheets.size()); }
Sheet& Workbook::sheet(int index) { return *impl_->sheets.at(std::size_t(index)); }
const Sheet& Workbook::sheet(int index) const { return *impl_->sheets.at(std::size_t(index)); }

int Workbook::FindSheet(std::string_view name) const {
  for (std::size_t i = 0; i < impl_->sheets.size(); ++i)
    if (EqualsNoCase(impl_->sheets[i]->name(), name)) return int(i);
  return -1;
}

std::string Workbook::CheckSheetName(std::string_view name) {
  if (name.empty()) return "A sheet name can not be empty.";
  if (name.size() > 31) return "A sheet name can have at most 31 characters.";
  for (char c : name)
    if (std::string_view(":\\/?*[]").find(c) != std::string_view::npos || c == '\0' || c == '\n' || c == '\r')
      return "A sheet name can not contain : \\ / ? * [ or ].";
  if (name.front() == '\'' || name.back() == '\'') return "A sheet name can not begin or end with '.";
  return {};
}

std::string Workbook::InsertSheet(std::string_view name, int index) {
  std::string err = CheckSheetName(name);
  if (!err.empty()) return err;
  if (FindSheet(name) >= 0) return "A sheet named " + std::string(name) + " already exists.";
  int n = SheetCount();
  if (index < 0 || index > n) index = n;
  auto id = std::uint32_t(impl_->by_id.size());
  std::unique_ptr<Sheet> s(new Sheet(impl_.get(), id, std::string(name)));
  impl_->by_id.push_back(s.get());
  impl_->sheets.insert(impl_->sheets.begin() + index, std::move(s));
  if (n > 0 && index <= impl_->active) ++impl_->active;
  if (impl_->formulas.size()) impl_->RebuildAll();
  impl_->Emit({WorkbookEvent::Kind::Sheets, index});
  return {};
}

std::string Workbook::DeleteSheet(int index) {
  if (index < 0 || index >= SheetCount()) return "No such sheet.";
  if (SheetCount() == 1) return "A workbook must keep at least one sheet.";
  std::uint32_t sid = impl_->sheets[std::size_t(index)]->id_;
  impl_->RewriteAll([&](RefToken& t, std::uint32_t self) {
    if (impl_->ResolveSheet(t, self) != sid) return true;
    t.has_sheet = false;
    return false;
  });
  impl_->by_id[sid] = nullptr;
  impl_->sheets.erase(impl_->sheets.begin() + index);
  if (impl_->active > index || impl_->active >= SheetCount()) --impl_->active;
  impl_->active = std::max(impl_->active, 0);
  impl_->RebuildAll();
  impl_->Emit({WorkbookEvent::Kind::Sheets, index});
  return {};
}

std::string Workbook::RenameSheet(int index, std::string_view name) {
  if (index < 0 || index >= SheetCount()) return "No such sheet.";
  std::string err = CheckSheetName(name);
  if (!err.empty()) return err;
  int other = FindSheet(name);
  if (other >= 0 && other != index) return "A sheet named " + std::string(name) + " already exists.";
  Sheet& s = sheet(index);
  std::uint32_t sid = s.id_;
  impl_->RewriteAll([&](RefToken& t, std::uint32_t self) {
    if (t.has_sheet && impl_->ResolveSheet(t, self) == sid) t.sheet = std::string(name);
    return true;
  });
  s.name_ = std::string(name);
  impl_->RebuildAll();
  impl_->Emit({WorkbookEvent::Kind::Sheets, index});
  return {};
}

std::string Workbook::MoveSheet(int from, int to) {
  int n = SheetCount();
  if (from < 0 || from >= n || to < 0 || to >= n) return "No such sheet.";
  if (from == to) return {};
  Sheet* active = impl_->sheets[std::size_t(impl_->active)].get();
  auto s = std::move(impl_->sheets[std::size_t(from)]);
  impl_->sheets.erase(impl_->sheets.begin() + from);
  impl_->sheets.insert(impl_->sheets.begin() + to, std::move(s));
  impl_->active = impl_->IndexOf(active);
  impl_->Emit({WorkbookEvent::Kind::Sheets, to});
  return {};
}

int Workbook::ActiveSheet() const { return impl_->active; }

void Workbook::SetActiveSheet(int index) {
  if (index < 0 || index >= SheetCount() || index == impl_->active) return;
  impl_->active = index;
  impl_->Emit({WorkbookEvent::Kind::Sheets, index});
}

int Workbook::StyleIndex(const CellStyle& style) {
  auto& v = impl_->styles;
  for (std::size_t i = 0; i < v.size(); ++i)
    if (v[i] == style) return int(i);
  v.push_back(style);
  return int(v.size() - 1);
}

const CellStyle& Workbook::StyleAt(int index) const {
  const auto& v = impl_->styles;
  return index >= 0 && std::size_t(index) < v.size() ? v[std::size_t(index)] : v[0];
}

int Workbook::StyleCount() const { return int(impl_->styles.size()); }

void Workbook::SetAutoRecalc(bool on) {
  impl_->auto_recalc = on;
  if (on) RecalculateDirty();
}

bool Workbook::AutoRecalc() const { return impl_->auto_recalc; }

void Workbook::Recalculate() {
  impl_->pending.clear();
  impl_->Recalc({}, true);
}

void Workbook::RecalculateDirty() {
  if (impl_->pending.empty()) return;
  std::vector<std::uint64_t> seeds(impl_->pending.begin(), impl_->pending.end());
  impl_->pending.clear();
  impl_->Recalc(seeds, false);
}

CellValue Workbook::Evaluate(std::string_view formula, int sheet_index) const {
  if (sheet_index < 0 || sheet_index >= SheetCount()) return CellValue::Error(CellError::Ref);
  if (!formula.empty() && formula[0] == '=') formula.remove_prefix(1);
  auto code = impl_->Compile(formula, sheet(sheet_index).id_);
  return EvaluateFormula(*code, *impl_);
}

std::optional<CellValue> Workbook::ValueOf(std::string_view ref, int default_sheet) const {
  auto r = ParseCellRef(ref);
  if (!r) return std::nullopt;
  int s = r->sheet.empty() ? default_sheet : FindSheet(r->sheet);
  if (s < 0 || s >= SheetCount()) return std::nullopt;
  return sheet(s).Value(r->row, r->col);
}

std::size_t Workbook::FormulaCount() const { return impl_->formulas.size(); }

// ---------------------------------------------------------------------------------------------------------------
// Defined names

std::string Workbook::CheckName(std::string_view name) {
  constexpr std::size_t kMaxNameLength = 255;
  if (name.empty()) return "A name can not be empty.";
  if (name.size() > kMaxNameLength) return "A name can have at most 255 characters.";
  auto alpha = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
  auto digit = [](char c) { return c >= '0' && c <= '9'; };
  if (!alpha(name[0])) return "A name must begin with a letter or _.";
  for (char c : name)
    if (!alpha(c) && !digit(c) && c != '.') return "A name can hold only letters, digits, _ and \".\".";
  if (ParseCellRef(name) || EqualsNoCase(name, "TRUE") || EqualsNoCase(name, "FALSE"))
    return "\"" + std::string(name) + "\" is a cell reference or a value, not a name.";
  return {};
}

std::string Workbook::DefineName(std::string_view name, const RangeRef& range) {
  std::string err = CheckName(name);
  if (!err.empty()) return err;
  int si = FindSheet(range.sheet);
  if (si < 0) return "No sheet named \"" + range.sheet + "\" for the name " + std::string(name) + ".";
  if (range.r1 < 0 || range.c1 < 0 || range.r2 >= kMaxRows || range.c2 >= kMaxCols || range.r1 > range.r2 ||
      range.c1 > range.c2)
    return "The block of the name " + std::string(name) + " is not on the sheet.";
  WorkbookImpl::DefinedName n{std::string(name), sheet(si).id_, range.r1, range.c1, range.r2, range.c2};
  auto it = std::find_if(impl_->names.begin(), impl_->names.end(),
                         [&](const auto& d) { return EqualsNoCase(d.name, name); });
  if (it != impl_->names.end()) *it = std::move(n);
  else impl_->names.push_back(std::move(n));
  if (!impl_->formulas.empty()) impl_->RebuildAll();
  return {};
}

bool Workbook::DeleteName(std::string_view name) {
  auto removed = std::erase_if(impl_->names, [&](const auto& d) { return EqualsNoCase(d.name, name); });
  if (removed && !impl_->formulas.empty()) impl_->RebuildAll();
  return removed > 0;
}

std::optional<RangeRef> Workbook::FindName(std::string_view name) const {
  const WorkbookImpl::DefinedName* n = impl_->FindName(name);
  if (!n) return std::nullopt;
  return RangeRef{impl_->SheetById(n->sheet)->name(), n->r1, n->c1, n->r2, n->c2};
}

std::vector<std::pair<std::string, RangeRef>> Workbook::Names() const {
  std::vector<std::pair<std::string, RangeRef>> out;
  for (const auto& n : impl_->names)
    out.emplace_back(n.name, RangeRef{impl_->SheetById(n.sheet)->name(), n.r1, n.c1, n.r2, n.c2});
  return out;
}

int Workbook::AddListener(Listener fn) {
  int id = impl_->next_listener++;
  impl_->listeners.emplace_back(id, std::move(fn));
  return id;
}

void Workbook::RemoveListener(int id) {
  auto& v = impl_->listeners;
  v.erase(std::remove_if(v.begin(), v.end(), [id](const auto& p) { return p.first == id; }), v.end());
}

}  // namespace zyl::platform
