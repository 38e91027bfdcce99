#pragma once
// Database tools: range check, T1 repair, molar-mass recalculation, adding, replacing and deleting
// species of the own database (database and catalogue kept consistent), and the text format.
//
// Text format ("Save OwnDB in Text Format", .TXT): UTF-8/ANSI text, one record per line, the 24
// fields of the record in their on-disk order separated by tabs. Lines starting with "#" and blank
// lines are ignored, and so is the column header line (it starts with "Formula<TAB>"). Numbers are
// written in the shortest form that reads back to the same single-precision value; an empty number
// field reads as 0. Text fields escape "\\", tab, line feed and carriage return as \\, \t, \n, \r
// and other control bytes as \xHH. Non-finite numbers are written as "bits:XXXXXXXX" (hex of the
// IEEE bits) so that export and import give back the same bytes.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "thermo/species_db.h"

namespace zyl::platform {
class Messages;
}

namespace zyl::thermo {

inline constexpr std::string_view kMsgCanNotSaveMain = "Can not save to MainDB !";
inline constexpr std::string_view kMsgChangeMainToOwn = "Change MainDB file to OwnDB if you want to edit it.";
inline constexpr std::string_view kMsgNoNewSpeciesInMain = "Sorry you can not save new Species to Main Database.";
inline constexpr std::string_view kMsgPleaseSave = "Please save ";
inline constexpr std::string_view kMsgToOwnDatabase = " to Own Database.";
inline constexpr std::string_view kMsgNotRecommended = "It is NOT recommended to save data to Main Database !";
inline constexpr std::string_view kMsgSaveToMain = "Save data to Main Database ?";
inline constexpr std::string_view kMsgCanNotDeleteMain = "Can not delete MainDB Species !";
inline constexpr std::string_view kMsgCanNotDeleteLast = "Can not delete last one !";
inline constexpr std::string_view kMsgDelete = "Delete: ";
inline constexpr std::string_view kMsgFromOwnDb = " from OwnDB ?";
inline constexpr std::string_view kOwnDbHeader = "------------ ZYL OWN DATABASE ---------------";
inline constexpr std::string_view kMainDbHeader = "------------ ZYL MAIN DATABASE --------------";
inline constexpr std::string_view kRangeCheckTitle = "Search for invalide Cp Ranges";
inline constexpr std::string_view kMsgInvalidT = "Invalide T1 or T2 Data:";
inline constexpr std::string_view kMsgT2AtRange = "T2 at Range: ";
inline constexpr std::string_view kMsgNeT1AtRange = " <> T1 at Range: ";
inline constexpr std::string_view kMsgT1GtT2 = "T1 > T2 at Range: ";
inline constexpr std::string_view kMsgT2Bigger = "T2 must be bigger than T1 !";
inline constexpr std::string_view kMsgReplaceT1 = "Replace 0.01 in T1 field ?";
inline constexpr std::string_view kMsgCalcMw = "Calculate new MW data for ZYL database file:";
inline constexpr std::string_view kTextTitle = "Save OwnDB in Text Format";

inline constexpr float kT1Placeholder = 1.0f;   ///< K; a T1 below this is a placeholder
inline constexpr float kT1Replacement = 100.0f; ///< K; what the repair writes

/// Which of the program's two databases a file is (decides what may be written).
enum class DbRole { Own, Main };

/// A species as a run of consecutive records with the same formula (blank formulas skipped).
struct SpeciesSpan {
  std::string formula;
  int first = 0;  ///< first record, 1-based
  int last = 0;   ///< last record
};
std::vector<SpeciesSpan> ListSpecies(const SpeciesDb& db);
/// The first run of records with this formula anywhere in the file (first = 0 when absent).
SpeciesSpan FindSpeciesSpan(const SpeciesDb& db, std::string_view formula);

/// Problems of the temperature ranges of one species.
struct RangeProblem {
  std::string formula;
  int first = 0, last = 0;            ///< records of the species
  std::vector<std::string> problems;  ///< e.g. "T2 at Range: 1 <> T1 at Range: 2"
};
std::vector<RangeProblem> CheckRanges(const SpeciesDb& db);
/// "Invalide T1 or T2 Data:" with a "Species / Records" table; empty when there are none.
std::string FormatRangeReport(const std::vector<RangeProblem>& problems);
/// Runs the check and shows the report titled "Search for invalide Cp Ranges"; returns the problems.
std::vector<RangeProblem> SearchInvalidRanges(const SpeciesDb& db, platform::Messages& msgs);

/// Result of an operation that changes a database.
struct DbEditResult {
  bool ok = false;      ///< done (false: refused, cancelled or failed; message says why)
  int changed = 0;      ///< records written
  std::string message;  ///< the refusal or failure text, empty when ok
};

/// Asks "<path>\nReplace 0.01 in T1 field ?"; on Yes every record with T1 < 1.0 gets T1 = 100.0.
DbEditResult FixT1Placeholders(SpeciesDb& db, DbRole role, platform::Messages& msgs, bool insist = false);
/// Asks "Calculate new MW data for ZYL database file:\n<path>"; on Yes every record gets the molar mass
/// of its formula (a result of zero keeps the stored value).
DbEditResult RecalcMolarMasses(SpeciesDb& db, DbRole role, platform::Messages& msgs, bool insist = false);

/// Saves a species (its ranges, all with the same formula). A species already in the database is
/// replaced only when `replace` is set. The main database refuses new species and, unless the user
/// insists and confirms, changed ones. The database is rewritten sorted, with a fresh catalogue.
DbEditResult SaveSpecies(SpeciesDb& db, DbRole role, const std::vector<SpeciesRecord>& ranges,
                         platform::Messages& msgs, bool replace, bool insist = false);
/// Deletes a whole species (range 0) or one of its ranges (1-based), after the question
/// "Delete: <formula> from OwnDB ?". The only range of a species is not deleted on its own.
DbEditResult DeleteSpecies(SpeciesDb& db, DbRole role, std::string_view formula, int range,
                           platform::Messages& msgs);
/// Adds or replaces every species of `records` (replace_all: the database becomes exactly them).
DbEditResult ImportSpecies(SpeciesDb& db, DbRole role, std::vector<SpeciesRecord> records, bool replace_all,
                           platform::Messages& msgs, bool insist = false);

/// Text format (see above).
std::string FormatSpeciesText(const std::vector<SpeciesRecord>& records);
/// nullopt with "Line N: ..." in *error on the first bad line.
std::optional<std::vector<SpeciesRecord>> ParseSpeciesText(std::string_view text, std::string* error = nullptr);

}  // namespace zyl::thermo
