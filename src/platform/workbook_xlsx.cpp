// The zipped spreadsheet container: written with libxlsxwriter (each formula with its computed result), read with
// minizip and pugixml (shared and inline strings, styles and number formats, shared formulas, cached values).

#include <minizip/unzip.h>
#include <pugixml.hpp>
#include <xlsxwriter.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <map>
#include <unordered_map>

#include "platform/workbook_files.h"
#include "platform/workbook_formula.h"
#include "platform/workbook_impl.h"

namespace zyl::platform {

namespace {

// ---------------------------------------------------------------------------------------------------------------
// Writing

constexpr std::size_t kMaxTextLength = 32767;  ///< longest text a cell of the file format holds

std::uint8_t Align(HAlign a) {
  switch (a) {
    case HAlign::Left: return LXW_ALIGN_LEFT;
    case HAlign::Center: return LXW_ALIGN_CENTER;
    case HAlign::Right: return LXW_ALIGN_RIGHT;
    default: return LXW_ALIGN_NONE;
  }
}

/// Other programs read a bare sheet name that looks like a cell ("IN1") as a cell: quote such names in files.
bool CellLikeName(std::string_view name) {
  std::size_t i = 0;
  while (i < name.size() && std::isalpha(static_cast<unsigned char>(name[i]))) ++i;
  if (i == 0 || i > 3 || i == name.size()) return false;
  for (std::size_t j = i; j < name.size(); ++j)
    if (!std::isdigit(static_cast<unsigned char>(name[j]))) return false;
  return true;
}

std::string ForeignFormula(const std::string& formula, bool quote_cell_like) {
  if (!quote_cell_like) return "=" + formula;
  return "=" + RewriteRefs(formula, [](RefToken&) { return true; }, [](std::string_view sheet) {
           std::string q = QuoteSheetName(sheet);
           return CellLikeName(sheet) && q[0] != '\'' ? "'" + q + "'" : q;
         });
}

/// A defined name's block as the file writes it: "=Cell!$A$3:$G$200".
std::string NameFormula(const RangeRef& r, bool quote_cell_like) {
  std::string sheet = QuoteSheetName(r.sheet);
  if (quote_cell_like && CellLikeName(r.sheet) && sheet[0] != '\'') sheet = "'" + sheet + "'";
  auto cell = [](int row, int col) { return "$" + ColumnName(col) + "$" + std::to_string(row + 1); };
  std::string s = "=" + sheet + "!" + cell(r.r1, r.c1);
  if (r.r1 != r.r2 || r.c1 != r.c2) s += ":" + cell(r.r2, r.c2);
  return s;
}

}  // namespace

std::string WriteXlsx(const Workbook& wb, const std::filesystem::path& path) {
  lxw_workbook_options options{};
  options.constant_memory = LXW_FALSE;
  options.use_zip64 = LXW_FALSE;
  lxw_workbook* book = workbook_new_opt(path.c_str(), &options);
  if (!book) return "Could not create " + path.string();
  std::vector<lxw_format*> formats(std::size_t(wb.StyleCount()), nullptr);
  for (int i = 1; i < wb.StyleCount(); ++i) {
    const CellStyle& s = wb.StyleAt(i);
    lxw_format* f = workbook_add_format(book);
    if (!s.number_format.empty()) format_set_num_format(f, s.number_format.c_str());
    if (s.bold) format_set_bold(f);
    if (s.italic) format_set_italic(f);
    if (s.color != kBlack) format_set_font_color(f, s.color);
    if (s.align != HAlign::General) format_set_align(f, Align(s.align));
    if (!s.locked) format_set_unlocked(f);
    formats[std::size_t(i)] = f;
  }
  std::string error;
  bool quote = false;
  for (int si = 0; si < wb.SheetCount(); ++si) quote |= CellLikeName(wb.sheet(si).name());
  for (int si = 0; si < wb.SheetCount() && error.empty(); ++si) {
    const Sheet& sh = wb.sheet(si);
    lxw_worksheet* ws = workbook_add_worksheet(book, sh.name().c_str());
    if (!ws) {
      error = "Could not write sheet " + sh.name();
      break;
    }
    if (si == wb.ActiveSheet()) worksheet_activate(ws);
    for (int c = 0; c < kMaxCols; ++c) {
      double w = sh.ColumnWidth(c);
      bool hidden = sh.ColumnHidden(c);
      int style = sh.ColumnStyle(c);
      if (w == Sheet::kDefaultColumnWidth && !hidden && style == 0) continue;
      lxw_row_col_options o{};
      o.hidden = hidden;
      worksheet_set_column_opt(ws, lxw_col_t(c), lxw_col_t(c), w, formats[std::size_t(style)], &o);
    }
    sh.ForEachCell([&](int r, int c, const Cell& cell) {
      lxw_format* f = formats[std::size_t(cell.style)];
      auto row = lxw_row_t(r);
      auto col = lxw_col_t(c);
      if (cell.value.is_text() && !cell.has_formula() && cell.value.text.size() > kMaxTextLength) {
        if (error.empty()) error = "The text in " + CellName(r, c, sh.name()) + " is too long for a workbook file.";
        return;
      }
      if (cell.has_formula()) {
        std::string formula = ForeignFormula(cell.formula, quote);
        const CellValue& v = cell.value;
        if (v.is_number() || v.is_bool())
          worksheet_write_formula_num(ws, row, col, formula.c_str(), f, v.number);
        else if (v.is_text())
          worksheet_write_formula_str(ws, row, col, formula.c_str(), f, v.text.c_str());
        else if (v.is_error())
          worksheet_write_formula_str(ws, row, col, formula.c_str(), f, std::string(ErrorText(v.error)).c_str());
        else
          worksheet_write_formula_num(ws, row, col, formula.c_str(), f, 0);
        return;
      }
      switch (cell.value.type) {
        case ValueType::Empty: worksheet_write_blank(ws, row, col, f); break;
        case ValueType::Number: worksheet_write_number(ws, row, col, cell.value.number, f); break;
        case ValueType::Bool: worksheet_write_boolean(ws, row, col, cell.value.number != 0, f); break;
        case ValueType::Text: worksheet_write_string(ws, row, col, cell.value.text.c_str(), f); break;
        case ValueType::Error: {
          std::string e(ErrorText(cell.value.error));
          worksheet_write_formula_str(ws, row, col, ("=" + e).c_str(), f, e.c_str());
          break;
        }
      }
    });
    if (sh.Protected()) worksheet_protect(ws, nullptr, nullptr);
  }
  for (const auto& [name, range] : wb.Names()) {
    if (!error.empty()) break;
    if (workbook_define_name(book, name.c_str(), NameFormula(range, true).c_str()) != LXW_NO_ERROR)
      error = "Could not write the name " + name + ".";
  }
  lxw_error e = workbook_close(book);
  if (error.empty() && e != LXW_NO_ERROR) error = std::string("Could not write the workbook: ") + lxw_strerror(e);
  return error;
}

namespace {

// ---------------------------------------------------------------------------------------------------------------
// Reading: a zip archive in memory

struct MemFile {
  std::string_view data;
  std::size_t pos = 0;
  bool error = false;
};

voidpf MemOpen(voidpf opaque, const void*, int) {
  auto* m = static_cast<MemFile*>(opaque);
  m->pos = 0;
  return m;
}
uLong MemRead(voidpf, voidpf stream, void* buf, uLong size) {
  auto* m = static_cast<MemFile*>(stream);
  std::size_t n = std::min<std::size_t>(size, m->data.size() - std::min(m->pos, m->data.size()));
  if (n) std::memcpy(buf, m->data.data() + m->pos, n);
  m->pos += n;
  return uLong(n);
}
uLong MemWrite(voidpf, voidpf stream, const void*, uLong) {
  static_cast<MemFile*>(stream)->error = true;
  return 0;
}
ZPOS64_T MemTell(voidpf, voidpf stream) { return static_cast<MemFile*>(stream)->pos; }
long MemSeek(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
  auto* m = static_cast<MemFile*>(stream);
  std::uint64_t base = origin == ZLIB_FILEFUNC_SEEK_SET ? 0 : origin == ZLIB_FILEFUNC_SEEK_CUR ? m->pos : m->data.size();
  std::uint64_t p = base + offset;
  if (p > m->data.size()) return -1;
  m->pos = std::size_t(p);
  return 0;
}
int MemClose(voidpf, voidpf) { return 0; }
int MemError(voidpf, voidpf stream) { return static_cast<MemFile*>(stream)->error ? 1 : 0; }

class Zip {
 public:
  explicit Zip(std::string_view data) {
    mem_.data = data;
    zlib_filefunc64_def f{};
    f.zopen64_file = MemOpen;
    f.zread_file = MemRead;
    f.zwrite_file = MemWrite;
    f.ztell64_file = MemTell;
    f.zseek64_file = MemSeek;
    f.zclose_file = MemClose;
    f.zerror_file = MemError;
    f.opaque = &mem_;
    zip_ = unzOpen2_64("memory", &f);
  }
  ~Zip() {
    if (zip_) unzClose(zip_);
  }
  bool ok() const { return zip_ != nullptr; }

  /// Reads a part; false with *error when missing (only if required), too large or damaged.
  bool Read(const std::string& name, std::string* out, std::string* error, bool required = true) {
    out->clear();
    if (unzLocateFile(zip_, name.c_str(), 2) != UNZ_OK) {
      if (required) *error = "The file is damaged: part " + name + " is missing.";
      return false;
    }
    unz_file_info64 info{};
    if (unzGetCurrentFileInfo64(zip_, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) {
      *error = "The file is damaged: can not read part " + name + ".";
      return false;
    }
    if (info.uncompressed_size > kMaxEntryBytes || total_ + info.uncompressed_size > kMaxUnpackedBytes) {
      *error = "The file unpacks to more data than a workbook may hold (" + name + ").";
      return false;
    }
    if (unzOpenCurrentFile(zip_) != UNZ_OK) {
      *error = "The file is damaged: can not open part " + name + ".";
      return false;
    }
    char buf[65536];
    for (;;) {
      int n = unzReadCurrentFile(zip_, buf, sizeof buf);
      if (n < 0) {
        unzCloseCurrentFile(zip_);
        *error = "The file is damaged: part " + name + " can not be unpacked.";
        return false;
      }
      if (n == 0) break;
      out->append(buf, std::size_t(n));
      // The declared size may lie: stop at the limits whatever it says.
      if (out->size() > info.uncompressed_size || out->size() > kMaxEntryBytes ||
          total_ + out->size() > kMaxUnpackedBytes) {
        unzCloseCurrentFile(zip_);
        *error = "The file unpacks to more data than a workbook may hold (" + name + ").";
        return false;
      }
    }
    if (unzCloseCurrentFile(zip_) != UNZ_OK) {
      *error = "The file is damaged: part " + name + " fails its checksum.";
      return false;
    }
    total_ += out->size();
    return true;
  }

 private:
  MemFile mem_;
  unzFile zip_ = nullptr;
  std::size_t total_ = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// XML helpers that ignore namespace prefixes ("x:sheet" and "sheet" alike).

std::string_view Local(const char* name) {
  std::string_view s(name);
  std::size_t colon = s.find(':');
  return colon == std::string_view::npos ? s : s.substr(colon + 1);
}

pugi::xml_node Child(pugi::xml_node n, std::string_view name) {
  for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
    if (c.type() == pugi::node_element && Local(c.name()) == name) return c;
  return {};
}

template <class Fn>
void Children(pugi::xml_node n, std::string_view name, Fn&& fn) {
  for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
    if (c.type() == pugi::node_element && Local(c.name()) == name) fn(c);
}

pugi::xml_attribute Attr(pugi::xml_node n, std::string_view name) {
  for (pugi::xml_attribute a = n.first_attribute(); a; a = a.next_attribute())
    if (Local(a.name()) == name) return a;
  return {};
}

bool Parse(pugi::xml_document& doc, const std::string& text, const std::string& part, std::string* error) {
  pugi::xml_parse_result r = doc.load_buffer(text.data(), text.size(), pugi::parse_default | pugi::parse_ws_pcdata_single);
  if (!r) {
    *error = "The file is damaged: bad XML in " + part + " (" + r.description() + ").";
    return false;
  }
  return true;
}

/// Text of a string item: <t> directly, or the <t> of each rich-text run (phonetic runs skipped).
std::string ItemText(pugi::xml_node si) {
  std::string s;
  for (pugi::xml_node c = si.first_child(); c; c = c.next_sibling()) {
    std::string_view n = Local(c.name());
    if (n == "t") s += c.text().get();
    else if (n == "r") {
      pugi::xml_node t = Child(c, "t");
      if (t) s += t.text().get();
    }
  }
  return s;
}

std::string ResolvePath(std::string target) {
  if (!target.empty() && target[0] == '/') return target.substr(1);
  std::string base = "xl/";
  while (target.rfind("../", 0) == 0) {
    target = target.substr(3);
    base = "";
  }
  return base + target;
}

std::string BuiltinFormat(int id) {
  switch (id) {
    case 1: return "0";
    case 2: return "0.00";
    case 3: return "#,##0";
    case 4: return "#,##0.00";
    case 9: return "0%";
    case 10: return "0.00%";
    case 11: return "0.00E+00";
    case 12: return "# ?/?";
    case 13: return "# ?""?/?""?";
    case 14: return "m/d/yyyy";
    case 15: return "d-mmm-yy";
    case 16: return "d-mmm";
    case 17: return "mmm-yy";
    case 18: return "h:mm AM/PM";
    case 19: return "h:mm:ss AM/PM";
    case 20: return "h:mm";
    case 21: return "h:mm:ss";
    case 22: return "m/d/yyyy h:mm";
    case 37: return "#,##0 ;(#,##0)";
    case 38: return "#,##0 ;[Red](#,##0)";
    case 39: return "#,##0.00;(#,##0.00)";
    case 40: return "#,##0.00;[Red](#,##0.00)";
    case 45: return "mm:ss";
    case 46: return "[h]:mm:ss";
    case 47: return "mm:ss.0";
    case 48: return "##0.0E+0";
    case 49: return "@";
    default: return "";
  }
}

std::uint32_t ParseColor(pugi::xml_node color) {
  if (!color) return kBlack;
  if (pugi::xml_attribute rgb = Attr(color, "rgb")) {
    std::string_view s = rgb.value();
    if (s.size() == 8) s.remove_prefix(2);  // ARGB
    std::uint32_t v = 0;
    auto r = std::from_chars(s.data(), s.data() + s.size(), v, 16);
    return r.ec == std::errc() ? (v & 0xFFFFFF) : kBlack;
  }
  if (pugi::xml_attribute idx = Attr(color, "indexed")) {
    static constexpr std::uint32_t kPalette[] = {0x000000, 0xFFFFFF, 0xFF0000, 0x00FF00, 0x0000FF,
                                                 0xFFFF00, 0xFF00FF, 0x00FFFF};
    int i = idx.as_int();
    if (i >= 8 && i < 16) return kPalette[i - 8];
    if (i < 8 && i >= 0) return kPalette[i];
  }
  return kBlack;
}

/// Style table of the file: cellXfs index -> our style.
bool ReadStyles(Zip& zip, Workbook* out, std::vector<int>* xf_style, std::string* error) {
  std::string text;
  if (!zip.Read("xl/styles.xml", &text, error, false)) return error->empty();
  pugi::xml_document doc;
  if (!Parse(doc, text, "xl/styles.xml", error)) return false;
  pugi::xml_node root = doc.document_element();
  std::unordered_map<int, std::string> numfmts;
  Children(Child(root, "numFmts"), "numFmt", [&](pugi::xml_node n) {
    numfmts[Attr(n, "numFmtId").as_int()] = Attr(n, "formatCode").value();
  });
  struct Font {
    bool bold = false, italic = false;
    std::uint32_t color = kBlack;
  };
  std::vector<Font> fonts;
  Children(Child(root, "fonts"), "font", [&](pugi::xml_node n) {
    Font f;
    pugi::xml_node b = Child(n, "b"), i = Child(n, "i");
    f.bold = b && (!Attr(b, "val") || Attr(b, "val").as_bool());
    f.italic = i && (!Attr(i, "val") || Attr(i, "val").as_bool());
    f.color = ParseColor(Child(n, "color"));
    fonts.push_back(f);
  });
  Children(Child(root, "cellXfs"), "xf", [&](pugi::xml_node n) {
    CellStyle s;
    int fmt = Attr(n, "numFmtId").as_int();
    auto it = numfmts.find(fmt);
    s.number_format = it != numfmts.end() ? it->second : BuiltinFormat(fmt);
    if (s.number_format == "General") s.number_format.clear();
    std::size_t font = std::size_t(Attr(n, "fontId").as_uint());
    if (font < fonts.size()) {
      s.bold = fonts[font].bold;
      s.italic = fonts[font].italic;
      s.color = fonts[font].color;
    }
    if (pugi::xml_node al = Child(n, "alignment")) {
      std::string_view h = Attr(al, "horizontal").value();
      s.align = h == "left" ? HAlign::Left : h == "center" ? HAlign::Center : h == "right" ? HAlign::Right : HAlign::General;
    }
    if (pugi::xml_node pr = Child(n, "protection"))
      if (pugi::xml_attribute l = Attr(pr, "locked")) s.locked = l.as_bool();
    xf_style->push_back(out->StyleIndex(s));
  });
  return true;
}

bool ParseCellName(std::string_view s, int* row, int* col) {
  auto r = ParseCellRef(s);
  if (!r || !r->sheet.empty()) return false;
  *row = r->row;
  *col = r->col;
  return true;
}

/// Like ParseCellName but without the sheet limits: tells cells beyond IV65536 from malformed names.
bool BeyondLimits(std::string_view s) {
  std::size_t i = 0;
  while (i < s.size() && std::isalpha(static_cast<unsigned char>(s[i]))) ++i;
  if (i == 0 || i == s.size()) return false;
  for (std::size_t j = i; j < s.size(); ++j)
    if (!std::isdigit(static_cast<unsigned char>(s[j]))) return false;
  return true;
}

/// A file's column width holds the cell padding (5 pixels at 7 pixels per character); ours does not.
double CharsFromFileWidth(double w) {
  if (!(w > 0)) return 0;
  double pixels = std::round(w * 7);
  double chars = pixels <= 12 ? pixels / 12.0 : (pixels - 5) / 7.0;
  return std::round(chars * 100) / 100;
}

struct SharedFormula {
  std::string text;
  int row = 0, col = 0;
};

bool ReadSheet(Zip& zip, const std::string& part, Workbook* out, int index, const std::vector<std::string>& strings,
               const std::vector<int>& xf_style, std::size_t* cells, std::string* error) {
  std::string text;
  if (!zip.Read(part, &text, error)) return false;
  pugi::xml_document doc;
  if (!Parse(doc, text, part, error)) return false;
  text.clear();
  text.shrink_to_fit();
  pugi::xml_node root = doc.document_element();
  Sheet& sheet = out->sheet(index);
  WorkbookImpl& impl = out->impl();
  const std::string beyond = "The workbook has cells beyond IV65536 (sheet " + sheet.name() +
                             "); this program holds 65,536 rows and 256 columns.";

  Children(Child(root, "cols"), "col", [&](pugi::xml_node n) {
    int lo = Attr(n, "min").as_int() - 1, hi = Attr(n, "max").as_int() - 1;
    lo = std::max(lo, 0);
    hi = std::min(hi, kMaxCols - 1);
    pugi::xml_attribute w = Attr(n, "width");
    bool hidden = Attr(n, "hidden").as_bool();
    std::size_t xf = std::size_t(Attr(n, "style").as_uint());
    int style = xf < xf_style.size() ? xf_style[xf] : 0;
    if (style) {
      const CellStyle cs = out->StyleAt(style);
      sheet.ModifyStyle(0, lo, kMaxRows - 1, hi, [&](CellStyle& s) { s = cs; });
    }
    for (int c = lo; c <= hi; ++c) {
      if (w) sheet.SetColumnWidth(c, CharsFromFileWidth(w.as_double()));
      if (hidden) sheet.SetColumnHidden(c, true);
    }
  });
  if (pugi::xml_node p = Child(root, "sheetProtection")) sheet.SetProtected(Attr(p, "sheet").as_bool());

  std::unordered_map<int, SharedFormula> shared;
  int row = -1;
  bool ok = true;
  for (pugi::xml_node rn = Child(Child(root, "sheetData"), "row"); rn && ok; rn = rn.next_sibling()) {
    if (Local(rn.name()) != "row") continue;
    if (pugi::xml_attribute ra = Attr(rn, "r")) {
      long r = ra.as_llong() - 1;
      if (r < 0) {
        *error = "The file is damaged: bad row number in " + part + ".";
        return false;
      }
      if (r >= kMaxRows) {
        *error = beyond;
        return false;
      }
      row = int(r);
    } else {
      ++row;
      if (row >= kMaxRows) {
        *error = beyond;
        return false;
      }
    }
    int col = -1;
    for (pugi::xml_node cn = rn.first_child(); cn; cn = cn.next_sibling()) {
      if (Local(cn.name()) != "c") continue;
      int r = row, c;
      if (pugi::xml_attribute ref = Attr(cn, "r")) {
        if (!ParseCellName(ref.value(), &r, &c)) {
          *error = BeyondLimits(ref.value()) ? beyond : "The file is damaged: bad cell name in " + part + ".";
          return false;
        }
      } else {
        c = col + 1;
        if (c >= kMaxCols) {
          *error = beyond;
          return false;
        }
      }
      col = c;
      if (++*cells > kMaxCells) {
        *error = "The workbook has more cells than this program can hold.";
        return false;
      }
      std::size_t xf = std::size_t(Attr(cn, "s").as_uint());
      int style = xf < xf_style.size() ? xf_style[xf] : 0;
      std::string_view type = Attr(cn, "t").value();
      pugi::xml_node v = Child(cn, "v");
      const char* vt = v.text().get();
      CellValue value;
      if (type == "s") {
        if (v) {
          std::size_t i = std::size_t(v.text().as_ullong(~0ull));
          if (i >= strings.size()) {
            *error = "The file is damaged: a cell of " + part + " names a missing shared string.";
            return false;
          }
          value = CellValue::Text(strings[i]);
        }
      } else if (type == "inlineStr") {
        value = CellValue::Text(ItemText(Child(cn, "is")));
      } else if (type == "str") {
        if (v) value = CellValue::Text(vt);
      } else if (type == "b") {
        if (v) value = CellValue::Bool(std::strcmp(vt, "0") != 0 && std::strcmp(vt, "false") != 0);
      } else if (type == "e") {
        if (v) value = CellValue::Error(ParseErrorText(vt).value_or(CellError::Value));
      } else if (type == "d") {
        if (v) value = CellValue::Text(vt);
      } else if (v) {
        double d;
        std::string_view s(vt);
        auto res = std::from_chars(s.data(), s.data() + s.size(), d);
        if (res.ec != std::errc() || !std::isfinite(d)) {
          *error = "The file is damaged: a cell of " + part + " holds a bad number.";
          return false;
        }
        value = CellValue::Number(d);
      }
      std::string formula;
      if (pugi::xml_node f = Child(cn, "f")) {
        formula = f.text().get();
        std::string_view ft = Attr(f, "t").value();
        if (ft == "shared") {
          int si = Attr(f, "si").as_int(-1);
          if (!formula.empty()) {
            shared[si] = {formula, r, c};
          } else if (auto it = shared.find(si); it != shared.end()) {
            int dr = r - it->second.row, dc = c - it->second.col;
            formula = RewriteRefs(it->second.text, [&](RefToken& t) {
              if (!t.r1_abs) t.r1 += dr;
              if (!t.r2_abs) t.r2 += dr;
              if (!t.c1_abs) t.c1 += dc;
              if (!t.c2_abs) t.c2 += dc;
              return t.r1 >= 0 && t.r2 >= 0 && t.c1 >= 0 && t.c2 >= 0 && t.r1 < kMaxRows && t.r2 < kMaxRows &&
                     t.c1 < kMaxCols && t.c2 < kMaxCols;
            });
          }
        } else if (ft == "dataTable") {
          formula.clear();
        }
        if (!formula.empty() && formula[0] == '=') formula.erase(0, 1);
        // Sheet names come back in our own quoting ("IN1!C5", not "'IN1'!C5").
        if (formula.find('\'') != std::string::npos) formula = RewriteRefs(formula, [](RefToken&) { return true; });
      }
      if (value.empty() && formula.empty() && style == 0) continue;
      Cell& cell = impl.Touch(sheet, r, c);
      cell.value = std::move(value);
      cell.formula = std::move(formula);
      cell.style = style;
    }
  }
  return ok;
}

/// Workbook-wide names of blocks; names of one sheet, built-in names (print areas) and names of constants or
/// formulas are left out. Read before the cells, so no formula is recompiled per name.
void ReadDefinedNames(pugi::xml_node names, Workbook* out) {
  constexpr int kMaxNames = 10000;
  int count = 0;
  Children(names, "definedName", [&](pugi::xml_node n) {
    std::string name = Attr(n, "name").value();
    if (count >= kMaxNames || Attr(n, "localSheetId") || name.rfind("_xlnm.", 0) == 0) return;
    std::string_view text = n.child_value();
    if (!text.empty() && text[0] == '=') text.remove_prefix(1);
    auto range = ParseRangeRef(text);
    if (!range || range->sheet.empty()) return;
    if (out->DefineName(name, *range).empty()) ++count;
  });
}

}  // namespace

std::string ReadXlsx(std::string_view bytes, Workbook* out) {
  if (bytes.size() > kMaxFileBytes) return "The file is too large for a workbook.";
  Zip zip(bytes);
  if (!zip.ok()) return "Not a workbook file (not a zip container, or the file is truncated).";
  std::string error, text;
  if (!zip.Read("xl/workbook.xml", &text, &error)) return error;
  pugi::xml_document book;
  if (!Parse(book, text, "xl/workbook.xml", &error)) return error;

  std::unordered_map<std::string, std::string> targets;  // relationship id -> part
  if (zip.Read("xl/_rels/workbook.xml.rels", &text, &error, false)) {
    pugi::xml_document rels;
    if (!Parse(rels, text, "xl/_rels/workbook.xml.rels", &error)) return error;
    Children(rels.document_element(), "Relationship", [&](pugi::xml_node n) {
      targets[Attr(n, "Id").value()] = ResolvePath(Attr(n, "Target").value());
    });
  } else if (!error.empty()) {
    return error;
  }

  std::vector<std::string> strings;
  if (zip.Read("xl/sharedStrings.xml", &text, &error, false)) {
    pugi::xml_document sst;
    if (!Parse(sst, text, "xl/sharedStrings.xml", &error)) return error;
    Children(sst.document_element(), "si", [&](pugi::xml_node si) { strings.push_back(ItemText(si)); });
  } else if (!error.empty()) {
    return error;
  }

  std::vector<int> xf_style;
  if (!ReadStyles(zip, out, &xf_style, &error)) return error;

  pugi::xml_node root = book.document_element();
  std::vector<std::pair<std::string, std::string>> sheets;  // name, part
  int n = 0;
  Children(Child(root, "sheets"), "sheet", [&](pugi::xml_node s) {
    ++n;
    std::string id = Attr(s, "id").value();
    auto it = targets.find(id);
    std::string part = it != targets.end() ? it->second : "xl/worksheets/sheet" + std::to_string(n) + ".xml";
    sheets.emplace_back(Attr(s, "name").value(), part);
  });
  if (sheets.empty()) return "The file holds no sheets.";
  if (sheets.size() > 4096) return "The file holds more sheets than a workbook may hold.";
  for (const auto& [name, part] : sheets) {
    std::string e = out->InsertSheet(name);
    if (!e.empty()) return "Bad sheet name \"" + name + "\" in the file: " + e;
  }
  ReadDefinedNames(Child(root, "definedNames"), out);
  std::size_t cells = 0;
  for (std::size_t i = 0; i < sheets.size(); ++i)
    if (!ReadSheet(zip, sheets[i].second, out, int(i), strings, xf_style, &cells, &error)) return error;
  if (pugi::xml_node view = Child(Child(root, "bookViews"), "workbookView"))
    out->SetActiveSheet(std::clamp(Attr(view, "activeTab").as_int(), 0, out->SheetCount() - 1));
  out->impl().RebuildAll();
  return {};
}

}  // namespace zyl::platform
