#pragma once
// Species lookup: which database holds a species and which consecutive records are its ranges.
// The own database is searched first, then the main database. Only the 24-byte Formula field is
// scanned, and only inside the catalogue block of the formula's first element. Comparison is exact
// and case-sensitive after removing trailing blanks.
//
// A name ending in "(l)" that neither database holds is served from the liquid ranges (Phase "l")
// of the same name without the suffix: the first run of consecutive "l" ranges, with its first
// range's H and S recomputed to 298.15 K values so that the evaluation gives the liquid's
// absolute values. The plain name is never answered by a "(l)" species and vice versa.

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "thermo/species_data.h"
#include "thermo/species_db.h"

namespace zyl::platform {
class Messages;
}

namespace zyl::thermo {

enum class DbKind { None, Own, Main };

/// Result of a lookup; "not found" has db == nullptr.
struct SpeciesLocation {
  const SpeciesDb* db = nullptr;
  DbKind kind = DbKind::None;
  int first = 0;  ///< first record (1-based)
  int last = 0;   ///< last record
  /// For a "(l)" name served from the plain species: first record of the plain species
  /// (first..last are its liquid ranges); 0 otherwise.
  int base_first = 0;

  bool found() const { return db != nullptr; }
  explicit operator bool() const { return found(); }
};

/// First and last record of `name` in one database (first = last = 0 when absent).
struct RecordSpan {
  int first = 0;
  int last = 0;
};
RecordSpan FindSpeciesInDb(std::string_view name, const SpeciesDb& db);

/// The two open databases of the running program.
struct SpeciesDatabases {
  std::unique_ptr<SpeciesDb> own;
  std::unique_ptr<SpeciesDb> main;
};

/// Own first, then main; then the "(l)" rule. Either database may be missing.
SpeciesLocation FindSpecies(std::string_view name, const SpeciesDatabases& dbs);
/// The same on the shared pair.
SpeciesLocation FindSpecies(std::string_view name);

/// One record in the working form (H in cal/mol, double precision).
SpeciesRange RangeOf(const SpeciesRecord& r);

/// Reads the located records into the working form (H times 1000, double precision).
/// Empty ranges when the location is not found or a record can not be read.
SpeciesData ReadSpeciesData(const SpeciesLocation& loc, std::string_view name = {});

/// Default paths: main = DataDir()/Databases/MainDB6.ZYL, own = UserDataDir()/OwnDB6.ZYL.
std::filesystem::path DefaultMainDbPath();
std::filesystem::path DefaultOwnDbPath();

/// Creates an own database that is missing: a copy of the shipped empty template
/// (Databases/OwnDB6.ZYL and .CAT) or, without a template, an empty file and catalogue.
bool EnsureOwnDb(const std::filesystem::path& own_path, std::string* error = nullptr);

/// Opens the pair (own writable, main read-only); problems go to msgs. A database that can not
/// be opened is left null. Returns true when both opened.
bool OpenSpeciesDatabases(SpeciesDatabases& dbs, const std::filesystem::path& own_path,
                          const std::filesystem::path& main_path, platform::Messages& msgs);

/// The shared pair of the running program (empty until OpenSharedSpeciesDatabases).
SpeciesDatabases& SharedSpeciesDatabases();
bool OpenSharedSpeciesDatabases(const std::filesystem::path& own_path, const std::filesystem::path& main_path,
                                platform::Messages& msgs);

}  // namespace zyl::thermo
