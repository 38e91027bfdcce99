#pragma once
// Where the balance module gets species data: formula weight, density, database location and the
// working form for enthalpies. The program reads the species databases; tests may supply their own.

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "thermo/species_data.h"

namespace zyl::thermo {
struct SpeciesDatabases;
}
namespace zyl::platform {
class Messages;
}

namespace zyl::balance {

/// One species as the balance sees it.
struct SpeciesInfo {
  std::string name;
  thermo::SpeciesData data;  ///< ranges for CalcSpeciesAtT
  double mw = 0;             ///< kg/kmol, from the formula (element table)
  double db_density = 0;     ///< as stored in the database (kg/l; gases per the database's own convention)
  int db_no = 0;             ///< 1 own database, 2 main database
  int first_rec = 0;         ///< first database record
  int last_rec = 0;          ///< last database record
};

class SpeciesSource {
 public:
  virtual ~SpeciesSource() = default;
  /// The species of that exact name, nullptr when no database holds it. The pointer stays valid
  /// until Clear().
  virtual const SpeciesInfo* Lookup(std::string_view name) = 0;
  /// Forgets cached species (after a database changed).
  virtual void Clear() {}
};

/// Species from the two species databases (own first, then main), cached by name.
class DbSpeciesSource : public SpeciesSource {
 public:
  /// Uses the given pair; without one, the shared pair of the running program.
  explicit DbSpeciesSource(const thermo::SpeciesDatabases* dbs = nullptr) : dbs_(dbs) {}
  const SpeciesInfo* Lookup(std::string_view name) override;
  void Clear() override { cache_.clear(); }

 private:
  const thermo::SpeciesDatabases* dbs_;
  std::map<std::string, std::unique_ptr<SpeciesInfo>, std::less<>> cache_;
};

/// Species held in memory (tests, examples, benchmarks).
class MapSpeciesSource : public SpeciesSource {
 public:
  /// Adds a species; mw 0 means: from the formula.
  void Add(std::string name, thermo::SpeciesData data, double db_density = 0, double mw = 0);
  const SpeciesInfo* Lookup(std::string_view name) override;

 private:
  std::map<std::string, std::unique_ptr<SpeciesInfo>, std::less<>> species_;
};

/// Opens a pair of databases read-only for the command line: the main database (an empty path: the shipped
/// one) must open; the own database (an empty path: the user's) is opened when it exists. Returns the error.
std::string OpenReadOnlyDatabases(thermo::SpeciesDatabases& dbs, std::string own, std::string main);

}  // namespace zyl::balance
