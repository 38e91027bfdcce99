#pragma once
// The species database as the diagram computation sees it.

#include <functional>
#include <string_view>

#include "diagrams/predom.h"
#include "thermo/formula.h"
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

/// Calls visit(formula, composition) once for each distinct formula of the own and main databases
/// that parses, in database order (own first).
void ForEachDatabaseFormula(const thermo::SpeciesDatabases& dbs,
                            const std::function<void(std::string_view, const thermo::FormulaComposition&)>& visit);

/// Opens the databases for a command: the main database at main_path (default: the shipped
/// Databases/MainDB6.ZYL) and the user's own database when it exists. Returns an error text when the
/// main database can not be opened.
std::string OpenDatabasesForCommand(thermo::SpeciesDatabases& dbs, const std::filesystem::path& main_path = {});

}  // namespace zyl::diagrams
