#pragma once
// The shared program state: one object owned by the shell for the whole run, read by every
// module when it calculates (folders, settings, element table, database handles, units).

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/messages.h"
#include "shell/settings.h"
#include "thermo/elements.h"

namespace zyl::thermo {
struct SpeciesDatabases;
}

namespace zyl::shell {

inline constexpr std::string_view kProgramName = "ZYL";
inline constexpr std::string_view kProgramFullName = "ZYL Chemical Thermodynamics";
inline constexpr std::string_view kWriteTestFile = "ReadOnlyTest.tmp";
inline constexpr std::string_view kBalanceFileName = "HeatBal.ohe";
inline constexpr std::string_view kBalanceBaseName = "HeatBal";
inline constexpr std::string_view kAtomicWeightsFile = "Databases/AWDB4.ZYL";

struct ProgramState {
  std::filesystem::path program_dir;    ///< folder of the executable
  std::filesystem::path data_dir;       ///< shipped data: "Databases", "Reaction", "Tpp", ...
  std::filesystem::path write_dir;      ///< where the program writes its settings (write-tested at start-up)
  std::filesystem::path work_dir;       ///< the user's working folder (balances, results)
  std::filesystem::path settings_path;  ///< the settings file read at start-up
  Settings settings;                    ///< database and solver paths, fonts, margins, units, warnings
  std::string os_version;               ///< operating system name and version

  bool elements_loaded = false;  ///< the element table came from the atomic weights file
  bool own_db_open = false;      ///< the own species database and its catalogue are loaded
  bool main_db_open = false;     ///< the main species database and its catalogue are loaded
  /// Both open species databases with their catalogues (the shared pair), null before start-up.
  thermo::SpeciesDatabases* databases = nullptr;

  std::filesystem::path balance_file;  ///< current balance file: work_dir / "HeatBal.ohe"
  std::string balance_name;            ///< its base name, "HeatBal"

  /// A data path: data_dir joined with a relative path ("Reaction/Results.ORE").
  std::filesystem::path DataPath(std::string_view relative) const;
  /// Temperature unit chosen: true for degrees Celsius ("C"), false for kelvin.
  bool Celsius() const { return settings.temperature != "K"; }
  /// Energy unit chosen: true for calories ("cal"), false for joules.
  bool Calories() const { return settings.energy != "J"; }
};

/// The running program's state.
ProgramState& ZYL5main();

/// Start-up step 1: writes "ReadOnlyTest.tmp" in folder (created when missing) and leaves it there.
/// On failure shows "ZYL cannot save INI files to 'Read Only' folder: " + folder and
/// "Please give Write permissions to this folder!" titled " " + the program's full name; returns false.
bool WriteTest(const std::filesystem::path& folder, platform::Messages& messages);

/// Start-up step 3: true when a number formatted with the pattern "0.0" (given here) holds a point.
/// Otherwise shows the three-line warning and returns false.
bool CheckDecimalSeparator(std::string_view formatted, platform::Messages& messages);

/// Start-up step 7: reads the settings file at state.settings_path. A missing file gives the defaults,
/// written there by SetIni; a damaged one shows "Can not find valid ZYL6.INI file," ... and asks for
/// the folder holding a valid file (cancel keeps the defaults).
void LoadSettingsStep(ProgramState& state, platform::Messages& messages);

/// Start-up step 8: the element table from data_dir/Databases/AWDB4.ZYL, installed as the shared table.
bool LoadElementsStep(ProgramState& state, platform::Messages& messages);

/// Start-up step 9: opens the own database (made from the shipped empty one when missing) and the main
/// database with their catalogues as the shared pair; problems are reported, none is fatal.
void OpenDatabasesStep(ProgramState& state, platform::Messages& messages);

/// Sets the current balance file (work_dir / "HeatBal.ohe", name "HeatBal").
void SetBalanceFile(ProgramState& state);

}  // namespace zyl::shell
