#pragma once
// Electrochemical cells: the cell input file (fixed columns), CELL.INI, and the cell calculation of the
// companion zyl-cell (cell reaction, electrons, dG, E0 and the Nernst potential).

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "thermo/constants.h"
#include "thermo/lookup.h"
#include "thermo/species_data.h"

namespace zyl::cell {

inline constexpr std::string_view kHeader1 =
    "Species                   T in         Amount       MW      deltaG      H in      H eq";
inline constexpr std::string_view kHeader2 =
    "                             K            mol    g/mol      kJ/mol    kJ/mol    kJ/mol";
inline constexpr std::string_view kNotFound = " was not found from the database !";
inline constexpr std::string_view kIniName = "CELL.INI";
inline constexpr std::string_view kAnode = "Anode";
inline constexpr std::string_view kCathode = "Cathode";
inline constexpr double kFaraday = 96485.33212;       ///< C/mol, CODATA 2018
inline constexpr double kGasConstant = thermo::kMolarGasConstant;  ///< J/(mol K)
inline constexpr double kKcalToKj = thermo::kCalToJ;  ///< kJ per kcal

struct CellSpecies {
  std::string name;
  double t_c = 25;     ///< input temperature, °C
  double amount = 0;   ///< mol
  // Filled from the database when written, or read back from an input file:
  double mw = 0;       ///< g/mol
  double g = 0;        ///< G = H - T S at the cell temperature, kJ/mol
  double h_in = 0;     ///< H at the input temperature, kJ/mol
  double h_eq = 0;     ///< H at the cell temperature, kJ/mol
};

struct CellPhase {
  std::string name;  ///< "Anode" and "Cathode" for the electrodes
  std::vector<CellSpecies> species;
};

struct CellSystem {
  std::string title;
  std::string file_name;
  double t_c = 25;      ///< cell temperature, °C
  double p_bar = 1;     ///< bar
  double charge = 0;    ///< Q: charge passed through the cell, mol of electrons (0: open circuit)
  std::vector<CellPhase> phases;
  std::vector<std::pair<std::string, double>> extra;  ///< extra balances: name and amount
};

/// Looks a species up; an empty `ranges` means not found.
using SpeciesSource = std::function<thermo::SpeciesData(std::string_view name)>;
/// The species of an own and main database pair (kept open by the caller).
SpeciesSource DatabaseSource(const thermo::SpeciesDatabases& dbs);

/// Fills mw, g, h_in and h_eq of every species. Returns "<name> was not found from the database !" for the
/// first unknown species.
std::string FillSpeciesData(CellSystem* sys, const SpeciesSource& source);

/// The input file text of a system whose species data are filled.
std::string CellInputText(const CellSystem& sys);

/// Looks up the data, writes the input file and then CELL.INI (in the file's folder) naming it. Nothing is
/// written when a species is unknown.
std::string WriteCellInput(CellSystem sys, const SpeciesSource& source, const std::filesystem::path& file);

/// Reads an input file back (the companion's side).
std::string ParseCellInput(std::string_view text, CellSystem* out);

/// Reads {"T", "temperature_unit", "P", "charge", "phases": [{"name", "species": [{"name", "amount", "T"}]}]}.
std::string ParseCellJson(std::string_view text, CellSystem* out);

struct CellResult {
  std::string reaction;      ///< "Zn + Cu(+2a) = Zn(+2a) + Cu"
  std::vector<std::pair<std::string, double>> coefficients;  ///< species and coefficients (products > 0)
  double t_k = 0;
  double n_electrons = 0;
  double dg_kj = 0;          ///< standard reaction Gibbs energy, kJ/mol
  double e0 = 0;             ///< V
  double e = 0;              ///< V, Nernst at the amounts (after the charge Q has passed)
  double ln_q = 0;           ///< ln of the activity quotient
  std::string error;
  bool ok() const { return error.empty(); }
};

/// The cell reaction from the anode (oxidation) and cathode (reduction) phases and its potentials.
/// Activities: aqueous species (name ending in "a)") their molality, the amount in mol per kg of the
/// phase's H2O (1 kg when it has none); gases ("(g)") their partial pressure, bar; other species 1.
CellResult CalculateCell(const CellSystem& sys);

}  // namespace zyl::cell
