#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "units/units.h"
#include "units_builder.h"

namespace zyl::cli {

namespace {

namespace fs = std::filesystem;

struct UnitsCliOptions {
  double value = 0;
  std::string from, to, quantity, file, out;
  bool json = false;
};

bool LoadUnits(const UnitsCliOptions& o, std::vector<units::Unit>* out) {
  const fs::path path = o.file.empty() ? units::StandardUnitsPath() : fs::path(o.file);
  platform::Workbook book;
  const std::string err = book.Load(path);
  if (!err.empty()) {
    Fail(path.string() + ": " + err);
    return false;
  }
  *out = units::ReadUnits(book);
  return true;
}

void Print(const std::string& s) { std::fwrite(s.data(), 1, s.size(), stdout); }

}  // namespace

void RegisterUnits(CLI::App& app) {
  auto o = std::make_shared<UnitsCliOptions>();
  auto* grp = app.add_subcommand("units", "Unit conversions by the units workbook (Databases/Units4.UNI)");
  grp->require_subcommand(1);

  auto* conv = grp->add_subcommand("convert", "Convert a value between two units of one quantity");
  conv->add_option("VALUE", o->value, "The value")->required();
  conv->add_option("FROM", o->from, "Unit symbol as the workbook lists it, e.g. atm, C, kWh")->required();
  conv->add_option("TO", o->to, "Unit symbol, e.g. kPa, F, MJ")->required();
  conv->add_option("--file", o->file, "Units workbook (default: the shipped Units4.UNI)");
  conv->add_flag("--json", o->json, "Print JSON: {value, from, to, result, quantity}");
  conv->callback([o] {
    std::vector<units::Unit> list;
    if (!LoadUnits(*o, &list)) return;
    const units::Conversion c = units::Convert(list, o->value, o->from, o->to);
    if (!c.ok()) {
      Fail(c.error);
      return;
    }
    if (o->json) {
      nlohmann::ordered_json j = {{"value", c.value}, {"from", c.from}, {"to", c.to}, {"result", c.result},
                                  {"quantity", c.quantity}};
      Print(j.dump(2) + "\n");
    } else {
      Print(fmt::format("{:.10g} {} = {:.10g} {}\n", c.value, c.from, c.result, c.to));
    }
  });

  auto* list = grp->add_subcommand("list", "List the quantities, or the units of one quantity");
  list->add_option("QUANTITY", o->quantity, "Sheet name, e.g. Pressure");
  list->add_option("--file", o->file, "Units workbook (default: the shipped Units4.UNI)");
  list->add_flag("--json", o->json,
                 "Print JSON: without QUANTITY [{quantity, units}], with it [{name, symbol, factor, offset}]");
  list->callback([o] {
    std::vector<units::Unit> all;
    if (!LoadUnits(*o, &all)) return;
    nlohmann::ordered_json j = nlohmann::ordered_json::array();
    std::string text;
    if (o->quantity.empty()) {
      std::vector<std::pair<std::string, int>> q;
      for (const auto& u : all) {
        if (q.empty() || q.back().first != u.quantity) q.push_back({u.quantity, 0});
        ++q.back().second;
      }
      for (const auto& [name, n] : q) {
        j.push_back({{"quantity", name}, {"units", n}});
        text += fmt::format("{} ({} units)\n", name, n);
      }
    } else {
      for (const auto& u : all)
        if (u.quantity == o->quantity) {
          j.push_back({{"name", u.name}, {"symbol", u.symbol}, {"factor", u.factor}, {"offset", u.offset}});
          text += fmt::format("{:<16} {:<40} {:.12g}{}\n", u.symbol, u.name, u.factor,
                              u.offset != 0 ? fmt::format(" + {:.12g}", u.offset) : std::string());
        }
      if (j.empty()) {
        Fail("Unknown quantity: " + o->quantity);
        return;
      }
    }
    Print(o->json ? j.dump(2) + "\n" : text);
  });

  auto* build = grp->add_subcommand("build", "Write the standard units workbook");
  build->add_option("OUT", o->out, "Output file, e.g. data/Databases/Units4.UNI")->required();
  build->callback([o] {
    const std::string err = tools::WriteStandardUnits(o->out);
    if (!err.empty()) Fail(err);
  });
}

}  // namespace zyl::cli
