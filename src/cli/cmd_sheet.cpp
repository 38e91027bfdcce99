#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>
#include <tuple>

#include "cli/commands.h"
#include "platform/workbook.h"

namespace zyl::cli {

namespace {

using platform::CellValue;
using platform::ValueType;

struct EvalOptions {
  std::string file;
  std::vector<std::string> cells;
  bool json = false;
};

struct ConvertOptions {
  std::string input, output, sheet;
  bool formatted = false;
  bool json = false;
};

nlohmann::ordered_json ToJson(const CellValue& v) {
  switch (v.type) {
    case ValueType::Number: return v.number;
    case ValueType::Bool: return v.number != 0;
    case ValueType::Text: return v.text;
    case ValueType::Error: return {{"error", std::string(platform::ErrorText(v.error))}};
    case ValueType::Empty: return nullptr;
  }
  return nullptr;
}

std::string ToText(const CellValue& v) {
  switch (v.type) {
    case ValueType::Number: return fmt::format("{:.15g}", v.number);
    case ValueType::Empty: return "";
    default: return platform::FormatValue(v, "");
  }
}

int RunEval(const EvalOptions& o) {
  platform::Workbook wb;
  std::string error = wb.Load(o.file);
  if (!error.empty()) return Fail(error);
  wb.Recalculate();
  std::vector<std::pair<std::string, CellValue>> out;
  if (o.cells.empty()) {
    for (int s = 0; s < wb.SheetCount(); ++s) {
      const platform::Sheet& sheet = wb.sheet(s);
      std::vector<std::tuple<int, int, const CellValue*>> cells;
      sheet.ForEachCell([&](int r, int c, const platform::Cell& cell) {
        if (!cell.value.empty()) cells.emplace_back(r, c, &cell.value);
      });
      std::sort(cells.begin(), cells.end(), [](const auto& a, const auto& b) {
        return std::tie(std::get<0>(a), std::get<1>(a)) < std::tie(std::get<0>(b), std::get<1>(b));
      });
      for (const auto& [r, c, v] : cells) out.emplace_back(platform::CellName(r, c, sheet.name()), *v);
    }
  } else {
    for (const auto& ref : o.cells) {
      auto r = platform::ParseCellRef(ref);
      if (!r) return Fail(fmt::format("not a cell reference: {}", ref));
      int s = r->sheet.empty() ? wb.ActiveSheet() : wb.FindSheet(r->sheet);
      if (s < 0) return Fail(fmt::format("no sheet named {} in {}", r->sheet, o.file));
      out.emplace_back(platform::CellName(r->row, r->col, wb.sheet(s).name()), wb.sheet(s).Value(r->row, r->col));
    }
  }
  if (o.json) {
    nlohmann::ordered_json j = nlohmann::ordered_json::object();
    for (const auto& [name, v] : out) j[name] = ToJson(v);
    std::cout << j.dump(2) << '\n';
  } else {
    for (const auto& [name, v] : out) fmt::print("{}\t{}\n", name, ToText(v));
  }
  return 0;
}

int RunConvert(const ConvertOptions& o) {
  platform::Workbook wb;
  std::string error = wb.Load(o.input);
  if (!error.empty()) return Fail(error);
  int sheet = wb.ActiveSheet();
  if (!o.sheet.empty()) {
    sheet = wb.FindSheet(o.sheet);
    if (sheet < 0) return Fail(fmt::format("no sheet named {} in {}", o.sheet, o.input));
  }
  std::string ext = std::filesystem::path(o.output).extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  bool csv = ext == ".csv";
  error = csv ? wb.SaveCsv(o.output, sheet, o.formatted) : wb.Save(o.output);
  if (!error.empty()) return Fail(error);
  std::size_t cells = 0;
  for (int s = 0; s < wb.SheetCount(); ++s)
    if (!csv || s == sheet) cells += wb.sheet(s).CellCount();
  if (o.json) {
    PrintJson({{"input", o.input},
               {"output", o.output},
               {"sheets", csv ? 1 : wb.SheetCount()},
               {"cells", cells},
               {"formulas", wb.FormulaCount()}});
  } else {
    fmt::print("{} -> {} ({} sheet{}, {} cells)\n", o.input, o.output, csv ? 1 : wb.SheetCount(),
               (csv || wb.SheetCount() == 1) ? "" : "s", cells);
  }
  return 0;
}

}  // namespace

void RegisterSheet(CLI::App& app) {
  auto* group = app.add_subcommand("sheet", "Workbooks: evaluate and convert spreadsheet files");
  group->require_subcommand(1);

  auto eval = std::make_shared<EvalOptions>();
  auto* ev = group->add_subcommand("eval", "Load a workbook, recalculate it and print cell values");
  ev->add_option("FILE", eval->file, "Workbook (.xlsx, a module's workbook file, or .csv)")->required();
  ev->add_option("--cell", eval->cells, "Cell to print, e.g. IN1!C5 or 'My sheet'!B2 (repeatable; default: all)");
  ev->add_flag("--json", eval->json,
               "Print JSON: {\"Sheet!A1\": number | string | boolean | {\"error\": \"#DIV/0!\"}}");
  ev->callback([eval] { RunEval(*eval); });

  auto conv = std::make_shared<ConvertOptions>();
  auto* cv = group->add_subcommand("convert", "Convert between .xlsx, the modules' workbook files and .csv");
  cv->add_option("IN", conv->input, "Input workbook")->required();
  cv->add_option("OUT", conv->output, "Output file; the format follows the extension")->required();
  cv->add_option("--sheet", conv->sheet, "Sheet written to a CSV file (default: the active sheet)");
  cv->add_flag("--formatted", conv->formatted, "CSV: write values as displayed through their number formats");
  cv->add_flag("--json", conv->json, "Print JSON: {input, output, sheets, cells, formulas}");
  cv->callback([conv] { RunConvert(*conv); });
}

}  // namespace zyl::cli
