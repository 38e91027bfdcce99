#pragma once
// The species database as the diagram computation sees it.

#include "diagrams/predom.h"
#include "thermo/lookup.h"

namespace zyl::diagrams {

/// Species of the own and main databases (own first, as every lookup).
class DatabaseSpeciesSource : public SpeciesSource {
 public:
  explicit DatabaseSpeciesSource(const thermo::SpeciesDatabases& dbs) : dbs_(dbs) {}
  std::vector<CalorieRange> Read(const std::string& name) const override;
  /// Neutral, non-aqueous species made only of the given elements, in database order (own first).
  std::vector<std::string> SpeciesOf(const std::vector<std::string>& elements) const override;

 private:
  const thermo::SpeciesDatabases& dbs_;
};

/// Opens the databases for a command: the main database at main_path (default: the shipped
/// Databases/MainDB6.ZYL) and the user's own database when it exists. Returns an error text when the
/// main database can not be opened.
std::string OpenDatabasesForCommand(thermo::SpeciesDatabases& dbs, const std::filesystem::path& main_path = {});

}  // namespace zyl::diagrams
