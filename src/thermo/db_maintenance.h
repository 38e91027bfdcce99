#pragma once
// Maintenance of species databases: validation of a species' ranges before it is saved, merging
// another database into the own one, a species list for browsing, and the CSV form of the text
// format (same fields and escapes as the TXT export, one quoted CSV cell per field).

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "thermo/species_db.h"
#include "thermo/species_record.h"

namespace zyl::thermo {

/// One finding of ValidateSpecies; errors stop a save, warnings are asked about.
struct RangeIssue {
  bool error = true;
  int range = 0;  ///< 1-based range the finding is about (0: the species)
  std::string text;
};

/// A jump of H (kcal/mol) or S (cal/(mol K)) smaller than this at a break is rounding, not a transition.
inline constexpr double kJumpTolerance = 1e-3;

/// Checks the ranges of one species as the editor saves them: a formula that fits its field and is
/// the same in every range, T1 < T2 ("T2 must be bigger than T1 !"), contiguous ranges
/// ("T2 at Range: 1 <> T1 at Range: 2"); a jump of H or S at a break where the phase stays the same
/// is a warning (solid-solid transitions are stored that way).
std::vector<RangeIssue> ValidateSpecies(const std::vector<SpeciesRecord>& ranges);
bool HasErrors(const std::vector<RangeIssue>& issues);

/// A species of a database for the browser.
struct SpeciesSummary {
  std::string formula;
  std::string chemical_name;
  std::string phases;       ///< distinct phases in range order, e.g. "s,l"
  double t_min = 0, t_max = 0;  ///< K
  std::string references;   ///< of the first range
  int reliability = 0;      ///< of the first range
  int first = 0, last = 0;  ///< records, 1-based
};
std::vector<SpeciesSummary> SummariseSpecies(const SpeciesDb& db);

/// Search text of each summary (the formula as written, then formula, chemical name, phases and
/// references in lower case), made once per list.
std::vector<std::string> SpeciesSearchKeys(const std::vector<SpeciesSummary>& list);
/// Indices of the species that contain every blank-separated word of `query`: a word that looks like
/// a formula ("Fe", "SO4", "(l)") in the formula as written, any other word anywhere, ignoring case.
std::vector<int> FilterSpecies(const std::vector<std::string>& keys, std::string_view query);

/// The ranges of one species (records first..last).
std::vector<SpeciesRecord> ReadSpeciesRanges(const SpeciesDb& db, int first, int last);

/// What to do with a species that both databases hold.
enum class ClashChoice { KeepOwn, TakeIncoming };

struct MergeResult {
  std::vector<SpeciesRecord> records;  ///< the merged database
  int added = 0;     ///< species new to the own database
  int replaced = 0;  ///< clashing species taken from the incoming file
  int kept = 0;      ///< clashing species kept as they were
};

/// Merges the species of `incoming` into `own`; `choose` decides every clash (formula in both).
MergeResult MergeSpecies(const std::vector<SpeciesRecord>& own, const std::vector<SpeciesRecord>& incoming,
                         const std::function<ClashChoice(const std::string& formula)>& choose);

/// Records of the previous generation's files ("ZYL 2.0 DATABASE"): 110 bytes each, little-endian,
/// packed, no header:
///   Formula text 24 @0, Phase text 2 @24, then singles T1 @26, T2 @30, H (kcal/mol) @34, S @38,
///   A @42, B @46, C @50, D @54, MW @58, Density @62, Melting Point @66, Boiling Point @70,
///   References text 36 @74.
/// Fields the old record lacks (names, CAS number, colour, solubility, class) are left empty or 0.
/// Converts a whole old file's bytes; blank records are skipped. nullopt with the reason in *error
/// when the length is not a whole number of records or a record does not read as one (text that is
/// not printable, a T1 or T2 outside 0..100000 K or T1 >= T2, a coefficient that is not a number).
std::optional<std::vector<SpeciesRecord>> DecodeOldDatabase(std::string_view bytes, std::string* error = nullptr);

/// CSV form of the text format (header line of field names, every field quoted).
std::string FormatSpeciesCsv(const std::vector<SpeciesRecord>& records);
/// nullopt with "Line N: ..." in *error on the first bad line.
std::optional<std::vector<SpeciesRecord>> ParseSpeciesCsv(std::string_view text, std::string* error = nullptr);

}  // namespace zyl::thermo
