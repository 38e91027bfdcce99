#include "thermo/db_tools.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <map>

#include <fmt/format.h>

#include "platform/messages.h"
#include "thermo/formula.h"

namespace zyl::thermo {

namespace {

using platform::Answer;

std::string Str(std::string_view a, std::string_view b = {}, std::string_view c = {}) {
  std::string s(a);
  s += b;
  s += c;
  return s;
}

DbEditResult Refuse(platform::Messages& msgs, std::string text) {
  msgs.Error(text);
  return {false, 0, std::move(text)};
}

/// The main database may be changed only when the user insists and confirms.
bool MayChangeMain(DbRole role, platform::Messages& msgs, bool insist, DbEditResult& refusal) {
  if (role == DbRole::Own) return true;
  if (!insist) {
    refusal = Refuse(msgs, platform::JoinLines({kMsgCanNotSaveMain, kMsgChangeMainToOwn}));
    return false;
  }
  msgs.Show(kMsgNotRecommended, platform::kDefaultTitle, platform::Icon::Warning);
  if (msgs.AskYesNo(kMsgSaveToMain) != Answer::Yes) {
    refusal = {false, 0, std::string(kMsgSaveToMain) + " No"};
    return false;
  }
  return true;
}

DbEditResult Rewrite(SpeciesDb& db, std::vector<SpeciesRecord> records, int changed) {
  std::string error;
  if (!WriteSpeciesDatabase(db.path(), std::move(records), &error) || !db.Reload(&error))
    return {false, 0, fmt::format("Can not save: {}\n{}", db.path().string(), error)};
  return {true, changed, {}};
}

bool IsLess(float a, float b) { return a < b; }

}  // namespace

std::vector<SpeciesSpan> ListSpecies(const SpeciesDb& db) {
  std::vector<SpeciesSpan> out;
  const int n = db.RecordCount();
  for (int rec = 1; rec <= n;) {
    std::string_view f = db.Formula(rec);
    int end = rec;
    while (end < n && db.Formula(end + 1) == f) ++end;
    if (!f.empty()) out.push_back({std::string(f), rec, end});
    rec = end + 1;
  }
  return out;
}

std::vector<RangeProblem> CheckRanges(const SpeciesDb& db) {
  std::vector<RangeProblem> out;
  for (const SpeciesSpan& sp : ListSpecies(db)) {
    RangeProblem p{sp.formula, sp.first, sp.last, {}};
    float prev_t2 = 0;
    for (int rec = sp.first; rec <= sp.last; ++rec) {
      const SpeciesRecord r = *ReadSpeciesRecord(db, rec);
      const int k = rec - sp.first + 1;
      if (!std::isfinite(r.t1) || !std::isfinite(r.t2))
        p.problems.push_back(fmt::format("T1 or T2 not a number at Range: {}", k));
      else if (r.t1 > r.t2)
        p.problems.push_back(Str(kMsgT1GtT2, std::to_string(k)));
      else if (r.t1 == r.t2)
        p.problems.push_back(fmt::format("{} (Range: {})", kMsgT2Bigger, k));
      if (IsLess(r.t1, kT1Placeholder)) p.problems.push_back(fmt::format("T1 = {:g} at Range: {}", r.t1, k));
      if (k > 1 && prev_t2 != r.t1)
        p.problems.push_back(fmt::format("{}{}{}{}", kMsgT2AtRange, k - 1, kMsgNeT1AtRange, k));
      prev_t2 = r.t2;
    }
    if (!p.problems.empty()) out.push_back(std::move(p));
  }
  return out;
}

std::string FormatRangeReport(const std::vector<RangeProblem>& problems) {
  if (problems.empty()) return {};
  std::string s = fmt::format("{}\n{:<24} {:<13} {}\n", kMsgInvalidT, "Species", "Records", "Problem");
  for (const auto& p : problems) {
    std::string recs = fmt::format("{}-{}", p.first, p.last);
    for (size_t i = 0; i < p.problems.size(); ++i)
      s += fmt::format("{:<24} {:<13} {}\n", i == 0 ? p.formula : "", i == 0 ? recs : "", p.problems[i]);
  }
  s += "Please check which T1 and T2 Temperatures are not OK.";
  return s;
}

std::vector<RangeProblem> SearchInvalidRanges(const SpeciesDb& db, platform::Messages& msgs) {
  auto problems = CheckRanges(db);
  if (!problems.empty()) msgs.Show(FormatRangeReport(problems), kRangeCheckTitle, platform::Icon::Warning);
  return problems;
}

DbEditResult FixT1Placeholders(SpeciesDb& db, DbRole role, platform::Messages& msgs, bool insist) {
  DbEditResult refusal;
  if (!MayChangeMain(role, msgs, insist, refusal)) return refusal;
  if (msgs.AskYesNo(platform::JoinLines({db.path().string(), kMsgReplaceT1})) != Answer::Yes)
    return {false, 0, "Not replaced."};
  DbEditResult res{true, 0, {}};
  for (int rec = 1; rec <= db.RecordCount(); ++rec) {
    SpeciesRecord r = *ReadSpeciesRecord(db, rec);
    if (!IsLess(r.t1, kT1Placeholder)) continue;
    r.t1 = kT1Replacement;
    std::string error;
    if (!WriteSpeciesRecord(db, rec, r, &error)) return {false, res.changed, error};
    ++res.changed;
  }
  return res;
}

DbEditResult RecalcMolarMasses(SpeciesDb& db, DbRole role, platform::Messages& msgs, bool insist) {
  DbEditResult refusal;
  if (!MayChangeMain(role, msgs, insist, refusal)) return refusal;
  if (msgs.AskYesNo(platform::JoinLines({kMsgCalcMw, db.path().string()})) != Answer::Yes)
    return {false, 0, "Not calculated."};
  DbEditResult res{true, 0, {}};
  for (int rec = 1; rec <= db.RecordCount(); ++rec) {
    SpeciesRecord r = *ReadSpeciesRecord(db, rec);
    const double mw = MolarMass(r.formula);
    if (mw == 0) continue;
    r.mw = static_cast<float>(mw);
    std::string error;
    if (!WriteSpeciesRecord(db, rec, r, &error)) return {false, res.changed, error};
    ++res.changed;
  }
  return res;
}

DbEditResult SaveSpecies(SpeciesDb& db, DbRole role, const std::vector<SpeciesRecord>& ranges,
                         platform::Messages& msgs, bool replace, bool insist) {
  if (ranges.empty()) return {false, 0, "No ranges to save."};
  const std::string& formula = ranges.front().formula;
  for (const auto& r : ranges)
    if (r.formula != formula) return {false, 0, "All ranges of a species must have the same formula."};
  if (formula.empty()) return {false, 0, "The formula is empty."};
  for (size_t k = 0; k < ranges.size(); ++k)
    if (!(ranges[k].t2 > ranges[k].t1)) return Refuse(msgs, std::string(kMsgT2Bigger));
  const bool exists = FindSpeciesSpan(db, formula).first != 0;
  if (role == DbRole::Main && !exists)
    return Refuse(msgs, platform::JoinLines({kMsgNoNewSpeciesInMain, Str(kMsgPleaseSave, formula, kMsgToOwnDatabase)}));
  if (exists && !replace) return Refuse(msgs, "Species already in the database: " + formula);
  DbEditResult refusal;
  if (!MayChangeMain(role, msgs, insist, refusal)) return refusal;
  return ImportSpecies(db, DbRole::Own, ranges, false, msgs);  // already confirmed
}

DbEditResult DeleteSpecies(SpeciesDb& db, DbRole role, std::string_view formula, int range,
                           platform::Messages& msgs) {
  if (role == DbRole::Main) return Refuse(msgs, std::string(kMsgCanNotDeleteMain));
  const SpeciesSpan span = FindSpeciesSpan(db, formula);
  if (!span.first) return Refuse(msgs, Str("Species not found: ", formula));
  const int n = span.last - span.first + 1;
  if (range != 0 && (range < 1 || range > n))
    return Refuse(msgs, fmt::format("{} has no range {}", formula, range));
  if (range != 0 && n == 1) return Refuse(msgs, std::string(kMsgCanNotDeleteLast));
  if (msgs.AskYesNo(Str(kMsgDelete, formula, kMsgFromOwnDb)) != Answer::Yes) return {false, 0, "Not deleted."};
  auto all = *ReadAllSpeciesRecords(db);
  const int from = range ? span.first + range - 1 : span.first;
  const int to = range ? from : span.last;
  all.erase(all.begin() + (from - 1), all.begin() + to);
  return Rewrite(db, std::move(all), to - from + 1);
}

DbEditResult ImportSpecies(SpeciesDb& db, DbRole role, std::vector<SpeciesRecord> records, bool replace_all,
                           platform::Messages& msgs, bool insist) {
  DbEditResult refusal;
  if (!MayChangeMain(role, msgs, insist, refusal)) return refusal;
  const int changed = static_cast<int>(records.size());
  if (replace_all) return Rewrite(db, std::move(records), changed);
  std::map<std::string_view, bool> incoming;
  for (const auto& r : records) incoming[r.formula] = true;
  std::vector<SpeciesRecord> all;
  for (int rec = 1; rec <= db.RecordCount(); ++rec)
    if (!incoming.count(db.Formula(rec))) all.push_back(*ReadSpeciesRecord(db, rec));
  all.insert(all.end(), std::make_move_iterator(records.begin()), std::make_move_iterator(records.end()));
  return Rewrite(db, std::move(all), changed);
}

SpeciesSpan FindSpeciesSpan(const SpeciesDb& db, std::string_view formula) {
  for (int rec = 1; rec <= db.RecordCount(); ++rec) {
    if (db.Formula(rec) != formula) continue;
    int end = rec;
    while (end < db.RecordCount() && db.Formula(end + 1) == formula) ++end;
    return {std::string(formula), rec, end};
  }
  return {};
}

// ---- text format ----

namespace {

constexpr std::string_view kTextHeader =
    "Formula\tStructural Formula\tChemical Name\tCommon Name\tChem. Abstract Number\tMW g/mol\tMelting Point K\t"
    "Boiling Point K\tT1 K\tT2 K\tPhase\tH kcal/mol\tS cal/(mol*K)\tA\tB\tC\tD\tDensity kg/l\tColor RGB\t"
    "Solubility in H2O g/l\tReserved1\tReserved2\tReferences\tReliability Class";
constexpr int kTextFields = 24;

void AppendEscaped(std::string& out, std::string_view s) {
  for (unsigned char c : s) {
    switch (c) {
      case '\\': out += "\\\\"; break;
      case '\t': out += "\\t"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      default:
        if (c < 0x20 || c == 0x7f) out += fmt::format("\\x{:02X}", c);
        else out += static_cast<char>(c);
    }
  }
}

void AppendFloat(std::string& out, float v) {
  if (!std::isfinite(v)) {
    out += fmt::format("bits:{:08X}", std::bit_cast<uint32_t>(v));
    return;
  }
  char buf[32];
  auto [p, ec] = std::to_chars(buf, buf + sizeof(buf), v);
  out.append(buf, p);
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool Unescape(std::string_view s, std::string& out) {
  out.clear();
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] != '\\') {
      out += s[i];
      continue;
    }
    if (++i >= s.size()) return false;
    switch (s[i]) {
      case '\\': out += '\\'; break;
      case 't': out += '\t'; break;
      case 'n': out += '\n'; break;
      case 'r': out += '\r'; break;
      case 'x': {
        if (i + 2 >= s.size()) return false;
        int hi = HexDigit(s[i + 1]), lo = HexDigit(s[i + 2]);
        if (hi < 0 || lo < 0) return false;
        out += static_cast<char>(hi * 16 + lo);
        i += 2;
        break;
      }
      default: return false;
    }
  }
  return true;
}

std::string_view Strip(std::string_view s) {
  while (!s.empty() && (s.front() == ' ')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ')) s.remove_suffix(1);
  return s;
}

bool ParseFloat(std::string_view s, float& v) {
  s = Strip(s);
  if (s.empty()) {
    v = 0;
    return true;
  }
  if (s.starts_with("bits:")) {
    uint32_t bits = 0;
    auto [p, ec] = std::from_chars(s.data() + 5, s.data() + s.size(), bits, 16);
    if (ec != std::errc() || p != s.data() + s.size() || s.size() == 5) return false;
    v = std::bit_cast<float>(bits);
    return true;
  }
  if (s.front() == '+') s.remove_prefix(1);
  auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  return ec == std::errc() && p == s.data() + s.size() && std::isfinite(v);
}

template <typename Int>
bool ParseInt(std::string_view s, Int& v) {
  s = Strip(s);
  if (s.empty()) {
    v = 0;
    return true;
  }
  if (s.front() == '+') s.remove_prefix(1);
  auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  return ec == std::errc() && p == s.data() + s.size();
}

}  // namespace

std::string FormatSpeciesText(const std::vector<SpeciesRecord>& records) {
  std::string out = Str("# ZYL species database, text form: one record per line, tab-separated\n", kTextHeader, "\n");
  for (const SpeciesRecord& r : records) {
    auto text = [&](const std::string& s) {
      AppendEscaped(out, s);
      out += '\t';
    };
    auto num = [&](float v) {
      AppendFloat(out, v);
      out += '\t';
    };
    text(r.formula);
    text(r.structural_formula);
    text(r.chemical_name);
    text(r.common_name);
    text(r.cas_number);
    num(r.mw);
    num(r.melting_point);
    num(r.boiling_point);
    num(r.t1);
    num(r.t2);
    text(r.phase);
    num(r.h);
    num(r.s);
    num(r.a);
    num(r.b);
    num(r.c);
    num(r.d);
    num(r.density);
    out += std::to_string(r.color_rgb);
    out += '\t';
    num(r.solubility);
    num(r.reserved1);
    num(r.reserved2);
    text(r.references);
    out += std::to_string(r.reliability_class);
    out += '\n';
  }
  return out;
}

std::optional<std::vector<SpeciesRecord>> ParseSpeciesText(std::string_view text, std::string* error) {
  static constexpr const char* kNames[kTextFields] = {
      "Formula", "Structural Formula", "Chemical Name", "Common Name", "Chem. Abstract Number", "MW g/mol",
      "Melting Point K", "Boiling Point K", "T1 K", "T2 K", "Phase", "H kcal/mol", "S cal/(mol*K)", "A", "B", "C",
      "D", "Density kg/l", "Color RGB", "Solubility in H2O g/l", "Reserved1", "Reserved2", "References",
      "Reliability Class"};
  std::vector<SpeciesRecord> out;
  size_t pos = 0;
  int line_no = 0;
  std::string_view fields[kTextFields];
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(pos, end - pos);
    pos = end + 1;
    ++line_no;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (Strip(line).empty() || line.front() == '#' || line == kTextHeader) continue;
    int n = 0;
    size_t start = 0;
    bool too_many = false;
    for (;;) {
      size_t tab = line.find('\t', start);
      if (n == kTextFields) {
        too_many = true;
        break;
      }
      fields[n++] = line.substr(start, tab == std::string_view::npos ? std::string_view::npos : tab - start);
      if (tab == std::string_view::npos) break;
      start = tab + 1;
    }
    if (too_many || n != kTextFields) {
      if (error) *error = fmt::format("Line {}: {} tab-separated fields expected", line_no, kTextFields);
      return std::nullopt;
    }
    SpeciesRecord r;
    std::string* texts[] = {&r.formula, &r.structural_formula, &r.chemical_name, &r.common_name, &r.cas_number};
    float* floats[] = {&r.mw, &r.melting_point, &r.boiling_point, &r.t1, &r.t2, nullptr, &r.h, &r.s, &r.a,
                       &r.b,  &r.c,           &r.d,             &r.density};
    auto bad = [&](int f) {
      if (error) *error = fmt::format("Line {}: bad value in field \"{}\": {}", line_no, kNames[f], fields[f]);
      return std::nullopt;
    };
    for (int f = 0; f < 5; ++f)
      if (!Unescape(fields[f], *texts[f])) return bad(f);
    for (int f = 5; f < 18; ++f) {
      if (f == 10) {
        if (!Unescape(fields[f], r.phase)) return bad(f);
        continue;
      }
      if (!ParseFloat(fields[f], *floats[f - 5])) return bad(f);
    }
    if (!ParseInt(fields[18], r.color_rgb)) return bad(18);
    if (!ParseFloat(fields[19], r.solubility)) return bad(19);
    if (!ParseFloat(fields[20], r.reserved1)) return bad(20);
    if (!ParseFloat(fields[21], r.reserved2)) return bad(21);
    if (!Unescape(fields[22], r.references)) return bad(22);
    if (!ParseInt(fields[23], r.reliability_class)) return bad(23);
    out.push_back(std::move(r));
  }
  return out;
}

}  // namespace zyl::thermo
