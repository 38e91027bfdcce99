#pragma once
// The equilibrium sheet (phase rows and species rows with amounts in three raw-material columns),
// the checks made before a solver file is written, the five solver-file writers and the readers
// of the formats the solver reads (JSON description, gem, igi, isg, da2, dat).
#include <array>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "equilibrium/description.h"
#include "thermo/lookup.h"

namespace zyl::equilibrium {

inline constexpr int kMaxSpeciesPerPhase = 150;
inline constexpr int kMaxElements = 20;
inline constexpr int kMaxMixturePhases = 31;
inline constexpr int kMaxPureSubstances = 30;
inline constexpr std::string_view kMayNotWork = "WARNING: This file may not work.";
inline constexpr std::string_view kPhaseSuffix = "-PHASE:";

enum class SolverFormat { Gem, Igi, Isg, Da2, Dat };

struct SolverFormatInfo {
  SolverFormat format;
  const char* ext;     ///< without the dot
  const char* filter;  ///< file-dialog filter text
};
/// The formats in the order they are offered.
inline constexpr std::array<SolverFormatInfo, 5> kSolverFormats{{
    {SolverFormat::Gem, "gem", "Gibbs (*.gem)"},
    {SolverFormat::Igi, "igi", "Gibbs (*.igi)"},
    {SolverFormat::Isg, "isg", "SGM (*.isg)"},
    {SolverFormat::Da2, "da2", "ChemSAGE 2 (*.da2)"},
    {SolverFormat::Dat, "dat", "ChemSAGE 3 (*.dat)"},
}};
/// Format of an extension ("gem", ".GEM", ...); false when none.
bool SolverFormatFromExtension(std::string_view ext, SolverFormat& out);
const char* SolverFormatExtension(SolverFormat f);

enum class SheetRowKind { Empty, Phase, Species };

struct SheetRow {
  SheetRowKind kind = SheetRowKind::Empty;
  std::string name;                    ///< phase name, or species name with its phase suffix
  PhaseType type = PhaseType::Gas;     ///< of a phase row
  std::array<double, 3> amount{};      ///< mol in columns C, D and E (species rows)
  double step = 0;                     ///< mol added per amount point (species rows)
  double Total() const { return amount[0] + amount[1] + amount[2]; }
};

struct Sheet {
  std::string title;
  double T = 298.15;   ///< in K or °C (celsius)
  double T_step = 0;   ///< K or °C
  int T_count = 1;
  int amount_count = 1;  ///< amount points: C + D + E + k·step, k = 0..amount_count-1
  double P = 1;        ///< atm or bar
  bool celsius = false;
  bool bar = false;
  int first_row = 1;  ///< number of the first row in messages (the editor's sheet row)
  std::vector<SheetRow> rows;
};

/// The sheet of a description: a phase row, then its species rows (amount in column C).
Sheet SheetFromDescription(const Description& d);
/// The description of a sheet: species amount = C + D + E; empty rows and species before the
/// first phase row are left out.
Description DescriptionFromSheet(const Sheet& s);

/// One message of the checks. `step` is the check's number (1..10) in the order they run.
struct CheckMessage {
  int step = 0;
  bool stops = false;  ///< the file is not written
  std::string text;
};

struct CheckReport {
  std::vector<CheckMessage> messages;
  bool refused = false;  ///< some message stops writing
  bool marked = false;   ///< the file carries kMayNotWork
};

/// Every check, in order, on a sheet about to be written as `format`. Species are looked up in dbs.
CheckReport CheckSheet(const Sheet& s, SolverFormat format, const thermo::SpeciesDatabases& dbs);

struct WriteResult {
  std::string text;  ///< the file's contents (empty when refused)
  CheckReport report;
  std::string error;  ///< set when refused or a species has no data
  bool ok() const { return error.empty(); }
};

/// The checks, then the file text in the format.
WriteResult WriteSolverText(const Sheet& s, SolverFormat format, const thermo::SpeciesDatabases& dbs);

/// The G(T) intervals of a species, exact for its Cp form (one interval per range).
std::vector<GibbsInterval> GibbsIntervals(const thermo::SpeciesData& sp);
/// G in J/mol of an interval at T (K).
double GibbsAt(const GibbsInterval& g, double T);

/// Reads a description from the text of a file with the given extension (json, gem, igi, isg, da2,
/// dat). Species read from da2/dat carry the file's G(T) data and stoichiometry.
DescriptionRead ReadDescriptionText(const std::string& text, std::string_view extension);
/// Reads the file; the format follows its extension (anything unknown is read as JSON).
DescriptionRead ReadDescriptionFile(const std::filesystem::path& path);
/// Reads a ChemSage data file (da2 or dat) as written by WriteSolverText. Without the conditions
/// block our writer appends, species get zero amounts, gas species form phase "GAS" type gas, other
/// solution phases type solution and each pure substance its own pure phase.
DescriptionRead ReadChemSage(const std::string& text);

}  // namespace zyl::equilibrium
