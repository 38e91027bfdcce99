#pragma once
// Building a balance workbook from a description (the command line's JSON) and importing old-format heat
// balance text files (".OHE").
//
// Description JSON:
//   {"energy_unit": "kcal"|"Mcal"|"kJ"|"MJ"|"kWh", "temperature_unit": "C"|"K", "ideal_gas": false,
//    "areas": [{"in": [ROW...], "out": [ROW...]}]}
//   ROW = {"species": "CH4(g)", "T": 25, "kmol": 1} with exactly one of kmol, kg, Nm3 and an optional
//   "stream": "name" grouping consecutive rows under a stream row; or a heat row {"heat": "text", "value": E}
//   with E in the energy unit. "T" may be left out (25 °C). An amount may be a formula text ("=2*IN1!C4").
//   "targets": [{"name", "variable": "IN1!C4", "min", "max", "target_name", "target": "BAL!G6", "value",
//   "iterations"}] makes the Target sheet.
//
// Old heat balance file (".OHE"), plain text, one item per line, fields separated by blanks, tabs or ';':
//   # or ! starts a comment line; blank lines are ignored
//   UNIT Mcal|MJ|kWh          energy unit of the file (default Mcal); "UNIT:" also accepted
//   TITLE any text            ignored
//   COMPONENT                 section: lines "IN|OUT formula T amount [kmol|kg|Nm3]", T in °C, amount kmol
//   EXTRA INPUT               section: lines "formula T amount [unit]", added to the input
//   EXTRA HEAT:               section: lines "description value", heat brought in (energy unit of the file)
//   HEAT LOSSES               section (also "HEAT LOSSES:" and the old spelling "HEAT LOSESS"):
//                             lines "description value", heat lost, counted with the output

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "balance/balance_book.h"

namespace zyl::balance {

struct DescRow {
  std::string species;            ///< formula; for a heat row its description
  std::optional<double> T;        ///< display unit; nullopt: empty cell
  int amount_col = col::kKmol;    ///< col::kKmol, kKg or kNm3
  double amount = 0;
  std::string stream;             ///< stream name, empty when none
  bool heat = false;              ///< a heat row: amount is the energy
  std::string amount_formula;     ///< "=IN1!C5*2": the amount as a formula instead of a number
};

/// A goal-seek task for the Target sheet.
struct DescTarget {
  std::string name, variable;  ///< variable: "IN1!C5"
  double min = 0, max = 0;
  std::string target_name, target;  ///< target: a formula cell, "BAL!G6"
  double value = 0;
  int iterations = 30;
};

struct DescArea {
  std::vector<DescRow> in, out;
};

struct BalanceDescription {
  BalanceUnits units;
  std::vector<DescArea> areas;
  std::vector<DescTarget> targets;  ///< a Target sheet when not empty
};

/// Parses the description JSON; returns the reason when it is not a valid description.
std::string ParseDescription(std::string_view json, BalanceDescription& out);

/// Fills a new balance from a description, rows as typed rows are filled. Returns an error text when a
/// species is unknown (after all rows are written).
std::string BuildBalance(BalanceBook& book, const BalanceDescription& desc);

/// Imports an old-format heat balance (MOpen2). Errors name the line.
std::string ImportOhe(BalanceBook& book, const std::filesystem::path& path);
/// The same from text.
std::string ImportOheText(BalanceBook& book, std::string_view text);
/// Reads old-format text into a description (no species lookup); returns the error naming the line.
std::string ParseOheText(std::string_view text, BalanceDescription& out);

}  // namespace zyl::balance
