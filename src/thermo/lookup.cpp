#include "thermo/lookup.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <system_error>

#include "platform/files.h"
#include "platform/messages.h"
#include "platform/paths.h"

namespace zyl::thermo {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kLiquidSuffix = "(l)";

std::string_view TrimRight(std::string_view s) {
  while (!s.empty() && (s.back() == ' ' || s.back() == '\0')) s.remove_suffix(1);
  return s;
}

/// True when the 24-byte field at f holds exactly name (blank or NUL padded).
inline bool FieldEquals(const char* f, std::string_view name) {
  if (f[0] != name[0] || std::memcmp(f, name.data(), name.size()) != 0) return false;
  for (size_t i = name.size(); i < static_cast<size_t>(kFormulaWidth); ++i)
    if (f[i] != ' ' && f[i] != '\0') return false;
  return true;
}

RecordSpan ScanRecords(const SpeciesDb& db, std::string_view name, int first, int last) {
  if (first > last) return {};
  // First 8 bytes of the blank-padded field: one load and compare rejects almost every record.
  char padded[8];
  std::memset(padded, ' ', sizeof(padded));
  std::memcpy(padded, name.data(), std::min(name.size(), sizeof(padded)));
  uint64_t head;
  std::memcpy(&head, padded, sizeof(head));
  const char* base = reinterpret_cast<const char*>(db.RecordData(1));
  const bool nul_padded_possible = name.size() < sizeof(padded);  // "H2\0\0..." must match too
  for (int rec = first; rec <= last; ++rec) {
    const char* f = base + static_cast<size_t>(rec - 1) * kRecordSize;
    uint64_t word;
    std::memcpy(&word, f, sizeof(word));
    if (word != head && !(nul_padded_possible && f[0] == name[0])) continue;
    if (!FieldEquals(f, name)) continue;
    int end = rec;
    const int count = db.RecordCount();
    while (end < count && FieldEquals(base + static_cast<size_t>(end) * kRecordSize, name)) ++end;
    return {rec, end};
  }
  return {};
}

bool IsLiquidPhase(const SpeciesDb& db, int rec) {
  const char* p = reinterpret_cast<const char*>(db.RecordData(rec)) + record_layout::kPhase;
  return TrimField(std::string_view(p, record_layout::kPhaseLen)) == "l";
}

SpeciesLocation Locate(std::string_view name, const SpeciesDatabases& dbs) {
  if (dbs.own) {
    RecordSpan s = FindSpeciesInDb(name, *dbs.own);
    if (s.first) return {dbs.own.get(), DbKind::Own, s.first, s.last, 0};
  }
  if (dbs.main) {
    RecordSpan s = FindSpeciesInDb(name, *dbs.main);
    if (s.first) return {dbs.main.get(), DbKind::Main, s.first, s.last, 0};
  }
  return {};
}


}  // namespace

SpeciesRange RangeOf(const SpeciesRecord& r) {
  SpeciesRange x;
  x.mw = r.mw;
  x.h = static_cast<double>(r.h) * 1000.0;
  CopyRangeCoefficients(r, x);
  std::memcpy(x.phase, r.phase.data(), std::min<size_t>(r.phase.size(), 2));
  return x;
}

RecordSpan FindSpeciesInDb(std::string_view name, const SpeciesDb& db) {
  name = TrimRight(name);
  if (name.empty() || name.size() > static_cast<size_t>(kFormulaWidth) || db.RecordCount() == 0) return {};
  if (!db.catalogue_usable()) return ScanRecords(db, name, 1, db.RecordCount());
  const SpeciesCatalogue& cat = db.catalogue();
  const int block = CatalogueBlockOf(name);
  RecordSpan s = ScanRecords(db, name, cat.BlockFirst(block), cat.BlockLast(block));
  // Records appended after the catalogue was written.
  if (!s.first && cat.entry[kCatalogueEntries] < db.RecordCount())
    s = ScanRecords(db, name, cat.entry[kCatalogueEntries] + 1, db.RecordCount());
  return s;
}

SpeciesLocation FindSpecies(std::string_view name, const SpeciesDatabases& dbs) {
  name = TrimRight(name);
  SpeciesLocation loc = Locate(name, dbs);
  if (loc || name.size() <= kLiquidSuffix.size() || !name.ends_with(kLiquidSuffix)) return loc;
  // "(l)" missing from both: the liquid ranges of the plain species.
  SpeciesLocation plain = Locate(name.substr(0, name.size() - kLiquidSuffix.size()), dbs);
  if (!plain) return {};
  for (int rec = plain.first; rec <= plain.last; ++rec) {
    if (!IsLiquidPhase(*plain.db, rec)) continue;
    int end = rec;
    while (end < plain.last && IsLiquidPhase(*plain.db, end + 1)) ++end;
    return {plain.db, plain.kind, rec, end, plain.first};
  }
  return {};
}

SpeciesLocation FindSpecies(std::string_view name) { return FindSpecies(name, SharedSpeciesDatabases()); }

SpeciesData ReadSpeciesData(const SpeciesLocation& loc, std::string_view name) {
  SpeciesData sp;
  if (!loc) return sp;
  const int from = loc.base_first ? loc.base_first : loc.first;
  std::vector<SpeciesRange> all;
  all.reserve(static_cast<size_t>(loc.last - from + 1));
  std::string formula;
  for (int rec = from; rec <= loc.last; ++rec) {
    auto r = ReadSpeciesRecord(*loc.db, rec);
    if (!r) return SpeciesData{};
    if (rec == loc.first) {
      sp.density = r->density;
      formula = r->formula;
    }
    all.push_back(RangeOf(*r));
  }
  SetSpeciesName(sp, name.empty() ? std::string_view(formula) : name);
  if (!loc.base_first || loc.base_first == loc.first) {
    sp.ranges = std::move(all);
    sp.derived_liquid = loc.base_first != 0;
    if (sp.derived_liquid && name.empty()) SetSpeciesName(sp, formula + "(l)");
    return sp;
  }
  // Liquid ranges of a species whose earlier ranges are other phases: the first liquid range gets
  // 298.15 K values that lead, through its own Cp, to the absolute H and S at its T1.
  const size_t k = static_cast<size_t>(loc.first - from);
  SpeciesData before;
  before.ranges.assign(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(k));
  SpeciesRange liquid = all[k];
  const SpeciesValues at_t1 = CalcSpeciesAtTPlain(before, liquid.t1);
  const double h_abs = at_t1.h + liquid.h, s_abs = at_t1.s + liquid.s;
  liquid.h = h_abs - RangeDeltaH(liquid, kT0, liquid.t1);
  liquid.s = s_abs - RangeDeltaS(liquid, kT0, liquid.t1);
  sp.ranges.push_back(liquid);
  sp.ranges.insert(sp.ranges.end(), all.begin() + static_cast<std::ptrdiff_t>(k) + 1, all.end());
  sp.derived_liquid = true;
  if (name.empty()) SetSpeciesName(sp, formula + "(l)");
  return sp;
}

fs::path DefaultMainDbPath() { return platform::DataDir() / "Databases" / "MainDB6.ZYL"; }
fs::path DefaultOwnDbPath() { return platform::UserDataDir() / "OwnDB6.ZYL"; }

bool EnsureOwnDb(const fs::path& own_path, std::string* error) {
  std::error_code ec;
  if (fs::exists(own_path, ec)) return true;
  if (own_path.has_parent_path()) fs::create_directories(own_path.parent_path(), ec);
  const fs::path tmpl = platform::DataDir() / "Databases" / "OwnDB6.ZYL";
  std::string db_bytes, cat_text;
  if (fs::is_regular_file(tmpl, ec)) {
    auto b = platform::ReadFile(tmpl, error);
    if (!b) return false;
    db_bytes = std::move(*b);
    if (auto c = platform::ReadFile(CataloguePath(tmpl))) cat_text = std::move(*c);
  }
  if (cat_text.empty()) cat_text = FormatCatalogue(SpeciesCatalogue{});
  if (!platform::WriteFileAtomic(own_path, db_bytes, error)) return false;
  const fs::path cat = CataloguePath(own_path);
  if (!fs::exists(cat, ec) && !platform::WriteFileAtomic(cat, cat_text, error)) return false;
  return true;
}

bool OpenSpeciesDatabases(SpeciesDatabases& dbs, const fs::path& own_path, const fs::path& main_path,
                          platform::Messages& msgs) {
  dbs.own.reset();
  dbs.main.reset();
  std::string error;
  if (!EnsureOwnDb(own_path, &error)) {
    msgs.Error(std::string(kMsgCanNotOpen) + " " + own_path.string() + "\n" + error);
  } else {
    // The own database is edited: open it for writing, read-only when that is not allowed.
    const bool may_write = ::access(own_path.c_str(), W_OK) == 0;
    dbs.own = OpenSpeciesDb(own_path, &msgs, may_write);
  }
  dbs.main = OpenSpeciesDb(main_path, &msgs, false);
  return dbs.own && dbs.main;
}

SpeciesDatabases& SharedSpeciesDatabases() {
  static SpeciesDatabases dbs;
  return dbs;
}

bool OpenSharedSpeciesDatabases(const fs::path& own_path, const fs::path& main_path, platform::Messages& msgs) {
  return OpenSpeciesDatabases(SharedSpeciesDatabases(), own_path, main_path, msgs);
}

}  // namespace zyl::thermo
