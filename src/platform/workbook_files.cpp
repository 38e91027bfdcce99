#include "platform/text.h"
#include "platform/workbook_files.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "platform/files.h"
#include "platform/workbook_formula.h"
#include "platform/workbook_impl.h"

namespace zyl::platform {

namespace fs = std::filesystem;

namespace {

std::string LowerExt(const fs::path& p) {
  std::string e = p.extension().string();
  std::transform(e.begin(), e.end(), e.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return e;
}

std::string CsvField(const std::string& s) {
  bool quote = s.find_first_of(",\"\n\r") != std::string::npos || (!s.empty() && (s.front() == ' ' || s.back() == ' '));
  if (!quote) return s;
  std::string q = "\"";
  for (char c : s) {
    if (c == '"') q += '"';
    q += c;
  }
  return q + "\"";
}


/// A sheet name made from a file name.
std::string SheetNameFrom(const fs::path& p) {
  std::string s = p.stem().string();
  std::string out;
  for (char c : s)
    if (std::string_view(":\\/?*[]'").find(c) == std::string_view::npos) out += c;
  if (out.size() > 31) out.resize(31);
  return out.empty() ? "Sheet1" : out;
}

}  // namespace

std::string CsvText(const Workbook& wb, int index, bool formatted) {
  const Sheet& s = wb.sheet(index);
  int rows = s.LastRow() + 1, cols = s.LastCol() + 1;
  std::string out;
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < cols; ++c) {
      if (c) out += ',';
      const CellValue& v = s.Value(r, c);
      std::string t;
      if (formatted) t = s.DisplayText(r, c);
      else if (v.is_number()) t = ShortestNumber(v.number);
      else t = FormatValue(v, "");
      out += CsvField(t);
    }
    out += '\n';
  }
  return out;
}

std::string ReadCsv(std::string_view text, Workbook* out) {
  if (text.size() > kMaxFileBytes) return "The file is too large for a workbook.";
  if (text.size() >= 3 && text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  Sheet& sheet = out->sheet(0);
  out->SetAutoRecalc(false);
  int row = 0, col = 0;
  std::string field;
  bool quoted = false, any = false;
  std::string error;
  auto put = [&]() {
    if (col >= kMaxCols) {
      error = "The CSV file has more than 256 columns.";
      return false;
    }
    if (row >= kMaxRows) {
      error = "The CSV file has more than 65,536 rows.";
      return false;
    }
    if (!field.empty()) {
      if (quoted) sheet.SetText(row, col, field);
      else sheet.SetInput(row, col, field);
    }
    field.clear();
    quoted = false;
    return true;
  };
  std::size_t i = 0;
  while (i < text.size()) {
    char c = text[i];
    if (c == '"' && field.empty() && !quoted) {
      quoted = true;
      ++i;
      for (;;) {
        if (i >= text.size()) return "The CSV file ends inside a quoted field.";
        if (text[i] == '"') {
          if (i + 1 < text.size() && text[i + 1] == '"') {
            field += '"';
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        field += text[i++];
      }
      any = true;
      continue;
    }
    if (c == ',') {
      if (!put()) return error;
      ++col;
    } else if (c == '\n' || c == '\r') {
      if (!put()) return error;
      if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
      ++row;
      col = 0;
    } else {
      field += c;
    }
    any = true;
    ++i;
  }
  if (any && (!field.empty() || col > 0) && !put()) return error;
  out->impl().auto_recalc = true;
  out->impl().RebuildAll();
  return {};
}

std::string Workbook::Load(const fs::path& path) {
  std::error_code ec;
  auto size = fs::file_size(path, ec);
  if (ec) return "Can not open " + path.string() + ": " + ec.message();
  if (size > kMaxFileBytes) return "The file " + path.string() + " is too large for a workbook.";
  std::string why;
  auto bytes = ReadFile(path, &why);
  if (!bytes) return "Can not read " + path.string() + ": " + why;
  Workbook fresh("");
  std::string error;
  if (LowerExt(path) == ".csv") {
    fresh.InsertSheet(SheetNameFrom(path));
    error = ReadCsv(*bytes, &fresh);
  } else {
    error = ReadXlsx(*bytes, &fresh);
  }
  if (!error.empty()) return error;
  // Keep the listeners of this workbook; everything else comes from the file.
  fresh.impl_->listeners = std::move(impl_->listeners);
  fresh.impl_->next_listener = impl_->next_listener;
  impl_.swap(fresh.impl_);
  impl_->owner = this;
  fresh.impl_->owner = &fresh;
  impl_->Emit({WorkbookEvent::Kind::Reset});
  return {};
}

std::string Workbook::Save(const fs::path& path) const {
  if (LowerExt(path) == ".csv") return SaveCsv(path, ActiveSheet());
  std::error_code ec;
  fs::path folder = path.parent_path().empty() ? fs::path(".") : path.parent_path();
  if (!fs::is_directory(folder, ec)) return "Can not write " + path.string() + ": no such folder.";
  fs::path tmp = TempNameBeside(path);
  std::string error = WriteXlsx(*this, tmp);
  if (!error.empty()) {
    fs::remove(tmp, ec);
    return error;
  }
  std::string why;
  if (!ReplaceFile(tmp, path, &why)) return "Can not write " + path.string() + ": " + why;
  return {};
}

std::string Workbook::SaveCsv(const fs::path& path, int sheet_index, bool formatted) const {
  if (sheet_index < 0 || sheet_index >= SheetCount()) return "No such sheet.";
  std::string why;
  if (!WriteFileAtomic(path, CsvText(*this, sheet_index, formatted), &why))
    return "Can not write " + path.string() + ": " + why;
  return {};
}

}  // namespace zyl::platform
