#include "thermo/db_maintenance.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <cmath>
#include <fmt/format.h>
#include <map>

#include "thermo/db_tools.h"

namespace zyl::thermo {

std::vector<RangeIssue> ValidateSpecies(const std::vector<SpeciesRecord>& ranges) {
  std::vector<RangeIssue> out;
  if (ranges.empty()) {
    out.push_back({true, 0, "No ranges to save."});
    return out;
  }
  const std::string& formula = ranges.front().formula;
  if (formula.empty()) out.push_back({true, 0, "The formula is empty."});
  if (formula.size() > static_cast<size_t>(kFormulaWidth))
    out.push_back({true, 0, fmt::format("The formula is longer than {} characters.", kFormulaWidth)});
  for (size_t k = 0; k < ranges.size(); ++k) {
    const SpeciesRecord& r = ranges[k];
    const int n = static_cast<int>(k) + 1;
    if (r.formula != formula) out.push_back({true, n, "All ranges of a species must have the same formula."});
    if (!std::isfinite(r.t1) || !std::isfinite(r.t2) || !(r.t1 > 0))
      out.push_back({true, n, fmt::format("Range {}: T1 and T2 must be temperatures above 0 K.", n)});
    else if (!(r.t2 > r.t1))
      out.push_back({true, n, fmt::format("{}{} ({} K, {} K): {}", kMsgT1GtT2, n, r.t1, r.t2, kMsgT2Bigger)});
    for (float v : {r.h, r.s, r.a, r.b, r.c, r.d})
      if (!std::isfinite(v)) {
        out.push_back({true, n, fmt::format("Range {}: H, S and A to D must be numbers.", n)});
        break;
      }
    if (k == 0) continue;
    const SpeciesRecord& p = ranges[k - 1];
    if (p.t2 != r.t1)
      out.push_back({true, n, fmt::format("{}{} ({} K){}{} ({} K)", kMsgT2AtRange, n - 1, p.t2, kMsgNeT1AtRange, n, r.t1)});
    if (p.phase == r.phase && (std::fabs(r.h) > kJumpTolerance || std::fabs(r.s) > kJumpTolerance))
      out.push_back({false, n,
                     fmt::format("Range {}: H and S jump at {} K ({} kcal/mol, {} cal/(mol K)) but the phase stays \"{}\".",
                                 n, r.t1, r.h, r.s, r.phase)});
  }
  return out;
}

bool HasErrors(const std::vector<RangeIssue>& issues) {
  for (const auto& i : issues)
    if (i.error) return true;
  return false;
}

std::vector<SpeciesRecord> ReadSpeciesRanges(const SpeciesDb& db, int first, int last) {
  std::vector<SpeciesRecord> out;
  for (int rec = first; rec <= last && first > 0; ++rec)
    if (auto r = ReadSpeciesRecord(db, rec)) out.push_back(std::move(*r));
  return out;
}

std::vector<SpeciesSummary> SummariseSpecies(const SpeciesDb& db) {
  std::vector<SpeciesSummary> out;
  for (const SpeciesSpan& span : ListSpecies(db)) {
    SpeciesSummary s;
    s.formula = span.formula;
    s.first = span.first;
    s.last = span.last;
    for (int rec = span.first; rec <= span.last; ++rec) {
      auto r = ReadSpeciesRecord(db, rec);
      if (!r) continue;
      if (rec == span.first) {
        s.chemical_name = r->chemical_name;
        s.references = r->references;
        s.reliability = r->reliability_class;
        s.t_min = r->t1;
      }
      s.t_max = r->t2;
      std::string ph = r->phase.empty() ? "?" : r->phase;
      bool seen = false;
      for (size_t pos = 0; pos < s.phases.size();) {
        size_t end = s.phases.find(',', pos);
        if (end == std::string::npos) end = s.phases.size();
        seen |= s.phases.compare(pos, end - pos, ph) == 0;
        pos = end + 1;
      }
      if (!seen) s.phases += (s.phases.empty() ? "" : ",") + ph;
    }
    out.push_back(std::move(s));
  }
  return out;
}

namespace {
std::string Lower(std::string_view s) {
  std::string out(s);
  for (char& ch : out) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  return out;
}
}  // namespace

std::vector<std::string> SpeciesSearchKeys(const std::vector<SpeciesSummary>& list) {
  std::vector<std::string> keys;
  keys.reserve(list.size());
  for (const auto& s : list)
    keys.push_back(s.formula + '\n' + Lower(s.formula + '\n' + s.chemical_name + '\n' + s.phases + '\n' + s.references));
  return keys;
}

std::vector<int> FilterSpecies(const std::vector<std::string>& keys, std::string_view query) {
  // A word that looks like a formula (capital first letter, or a digit or bracket in it) is looked
  // for in the formula as written; any other word anywhere, ignoring case.
  struct Word {
    std::string text;
    bool formula;
  };
  std::vector<Word> words;
  const std::string q(query);
  for (size_t pos = 0; pos < q.size();) {
    size_t end = q.find_first_of(" \t", pos);
    if (end == std::string::npos) end = q.size();
    if (end > pos) {
      std::string w = q.substr(pos, end - pos);
      bool formula = std::isupper(static_cast<unsigned char>(w[0])) || w.find_first_of("0123456789()+-") != std::string::npos;
      words.push_back({formula ? w : Lower(w), formula});
    }
    pos = end + 1;
  }
  std::vector<int> out;
  out.reserve(keys.size());
  for (size_t i = 0; i < keys.size(); ++i) {
    const std::string& k = keys[i];
    const size_t split = k.find('\n');
    bool all = true;
    for (const auto& w : words) {
      size_t at = k.find(w.text, w.formula ? 0 : split + 1);
      if (at == std::string::npos || (w.formula && at >= split)) {
        all = false;
        break;
      }
    }
    if (all) out.push_back(static_cast<int>(i));
  }
  return out;
}

MergeResult MergeSpecies(const std::vector<SpeciesRecord>& own, const std::vector<SpeciesRecord>& incoming,
                         const std::function<ClashChoice(const std::string& formula)>& choose) {
  // Species as runs of records with the same formula, in file order.
  auto group = [](const std::vector<SpeciesRecord>& recs) {
    std::vector<std::pair<std::string, std::vector<SpeciesRecord>>> out;
    for (const auto& r : recs) {
      if (r.formula.empty()) continue;
      if (out.empty() || out.back().first != r.formula) out.push_back({r.formula, {}});
      out.back().second.push_back(r);
    }
    return out;
  };
  auto mine = group(own);
  std::map<std::string, size_t> index;
  for (size_t i = 0; i < mine.size(); ++i) index.emplace(mine[i].first, i);
  MergeResult res;
  for (auto& [formula, ranges] : group(incoming)) {
    auto it = index.find(formula);
    if (it == index.end()) {
      index.emplace(formula, mine.size());
      mine.push_back({formula, std::move(ranges)});
      ++res.added;
    } else if (choose(formula) == ClashChoice::TakeIncoming) {
      mine[it->second].second = std::move(ranges);
      ++res.replaced;
    } else {
      ++res.kept;
    }
  }
  for (auto& [formula, ranges] : mine)
    for (auto& r : ranges) res.records.push_back(std::move(r));
  return res;
}

namespace {
constexpr float kOldMaxT = 100000.0f;  // K; beyond this a "temperature" is garbage

float OldSingle(std::string_view rec, size_t at) {
  uint32_t bits = 0;
  for (size_t i = 0; i < 4; ++i) bits |= static_cast<uint32_t>(static_cast<unsigned char>(rec[at + i])) << (8 * i);
  float v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

bool OldText(std::string_view rec, size_t at, size_t width, std::string* out) {
  std::string_view f = rec.substr(at, width);
  for (char ch : f) {
    auto u = static_cast<unsigned char>(ch);
    if (u < 0x20 && u != 0) return false;
  }
  std::string t(f);
  std::replace(t.begin(), t.end(), '\0', ' ');
  *out = std::string(TrimField(t));
  return true;
}
}  // namespace

std::optional<std::vector<SpeciesRecord>> DecodeOldDatabase(std::string_view bytes, std::string* error) {
  auto fail = [&](std::string msg) -> std::optional<std::vector<SpeciesRecord>> {
    if (error) *error = std::move(msg);
    return std::nullopt;
  };
  if (bytes.size() % kOldRecordSize != 0)
    return fail(fmt::format("{} bytes are not a whole number of {}-byte records", bytes.size(), kOldRecordSize));
  std::vector<SpeciesRecord> out;
  const size_t n = bytes.size() / kOldRecordSize;
  for (size_t i = 0; i < n; ++i) {
    std::string_view rec = bytes.substr(i * kOldRecordSize, kOldRecordSize);
    SpeciesRecord r;
    const int no = static_cast<int>(i) + 1;
    if (!OldText(rec, 0, 24, &r.formula) || !OldText(rec, 24, 2, &r.phase) || !OldText(rec, 74, 36, &r.references))
      return fail(fmt::format("Record {}: its text fields hold control characters; this is not a ZYL 2.0 file", no));
    if (r.formula.empty()) continue;
    r.t1 = OldSingle(rec, 26);
    r.t2 = OldSingle(rec, 30);
    r.h = OldSingle(rec, 34);
    r.s = OldSingle(rec, 38);
    r.a = OldSingle(rec, 42);
    r.b = OldSingle(rec, 46);
    r.c = OldSingle(rec, 50);
    r.d = OldSingle(rec, 54);
    r.mw = OldSingle(rec, 58);
    r.density = OldSingle(rec, 62);
    r.melting_point = OldSingle(rec, 66);
    r.boiling_point = OldSingle(rec, 70);
    if (!(r.t1 > 0 && r.t1 < r.t2 && r.t2 <= kOldMaxT))
      return fail(fmt::format("Record {} ({}): T1 = {} K and T2 = {} K are not a temperature range", no, r.formula, r.t1, r.t2));
    for (float v : {r.h, r.s, r.a, r.b, r.c, r.d, r.mw, r.density, r.melting_point, r.boiling_point})
      if (!std::isfinite(v)) return fail(fmt::format("Record {} ({}): a number field is not a number", no, r.formula));
    out.push_back(std::move(r));
  }
  return out;
}

std::string FormatSpeciesCsv(const std::vector<SpeciesRecord>& records) {
  const std::string text = FormatSpeciesText(records);
  std::string out;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::string_view line(text.data() + pos, end - pos);
    pos = end + 1;
    if (line.empty() || line.front() == '#') continue;
    size_t f = 0;
    bool first = true;
    for (;;) {
      size_t tab = line.find('\t', f);
      std::string_view cell = line.substr(f, tab == std::string_view::npos ? std::string_view::npos : tab - f);
      if (!first) out += ',';
      first = false;
      out += '"';
      for (char ch : cell) {
        if (ch == '"') out += '"';
        out += ch;
      }
      out += '"';
      if (tab == std::string_view::npos) break;
      f = tab + 1;
    }
    out += "\r\n";
  }
  return out;
}

std::optional<std::vector<SpeciesRecord>> ParseSpeciesCsv(std::string_view text, std::string* error) {
  // RFC 4180 records turned into the tab-separated text form (its escapes keep tabs and line ends
  // out of the fields), then read by the text parser.
  std::string tsv;
  size_t i = 0;
  int line = 1;
  while (i < text.size()) {
    bool in_quotes = false;
    std::string row;
    for (; i < text.size(); ++i) {
      char ch = text[i];
      if (in_quotes) {
        if (ch == '"') {
          if (i + 1 < text.size() && text[i + 1] == '"') {
            row += '"';
            ++i;
          } else {
            in_quotes = false;
          }
        } else if (ch == '\n' || ch == '\t') {
          if (error) *error = fmt::format("Line {}: a line end or tab inside a quoted field", line);
          return std::nullopt;
        } else {
          row += ch;
        }
      } else if (ch == '"') {
        in_quotes = true;
      } else if (ch == ',') {
        row += '\t';
      } else if (ch == '\n') {
        ++i;
        break;
      } else if (ch == '\t') {
        if (error) *error = fmt::format("Line {}: a tab outside a quoted field", line);
        return std::nullopt;
      } else if (ch != '\r') {
        row += ch;
      }
    }
    if (in_quotes) {
      if (error) *error = fmt::format("Line {}: a quoted field is not closed", line);
      return std::nullopt;
    }
    tsv += row;
    tsv += '\n';
    ++line;
  }
  return ParseSpeciesText(tsv, error);
}

}  // namespace zyl::thermo
