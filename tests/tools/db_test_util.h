#pragma once
// Helpers shared by the database tests: reading the shipped database into species.

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "thermo/lookup.h"
#include "thermo/species_data.h"
#include "thermo/species_db.h"

namespace zyl::tools::testing {

inline std::filesystem::path ShippedDbDir() { return std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases"; }

/// The public sources, or empty when they are not present (beside the project, or named by
/// ZYL_SHARED_DATA for a work tree elsewhere).
inline std::filesystem::path SourcesDir() {
  std::filesystem::path p = ZYL_SHARED_DATA_DIR;
  if (std::filesystem::exists(p / "nasa/thermo.inp")) return p;
  if (const char* env = std::getenv("ZYL_SHARED_DATA")) {
    p = env;
    if (std::filesystem::exists(p / "nasa/thermo.inp")) return p;
  }
  return {};
}

struct DbSpecies {
  thermo::SpeciesData data;
  std::vector<thermo::SpeciesRecord> records;
};

/// All species of a database file in file order (consecutive records with the same formula).
inline std::vector<DbSpecies> ReadDbSpecies(const std::filesystem::path& path) {
  std::vector<DbSpecies> out;
  auto db = thermo::OpenSpeciesDb(path);
  if (!db) return out;
  auto recs = thermo::ReadAllSpeciesRecords(*db);
  if (!recs) return out;
  for (const auto& r : *recs) {
    if (out.empty() || out.back().data.name != r.formula) {
      out.emplace_back();
      thermo::SetSpeciesName(out.back().data, r.formula);
      out.back().data.density = r.density;
    }
    out.back().data.ranges.push_back(thermo::RangeOf(r));
    out.back().records.push_back(r);
  }
  return out;
}

}  // namespace zyl::tools::testing
