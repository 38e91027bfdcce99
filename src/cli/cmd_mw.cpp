#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "thermo/formula.h"

namespace zyl::cli {

namespace {

struct MwOptions {
  std::vector<std::string> formulas;
  bool json = false;
};

int RunMw(const MwOptions& o) {
  const auto& table = thermo::Elements();
  if (table.Find("H") == 0) return Fail("the element table Databases/AWDB4.ZYL could not be read");
  nlohmann::json out = nlohmann::json::array();
  std::string text;
  for (const auto& f : o.formulas) {
    thermo::FormulaComposition comp = thermo::ParseFormula(f);
    if (!comp.ok()) return Fail(comp.error);
    thermo::ElementTotals totals;
    thermo::FormulaWeightResult r = thermo::FormulaWeight(comp, table, &totals);
    if (r.formula_weight == 0 && r.ion_weight == 0)
      return Fail(fmt::format("no element recognised in formula: {}", f));
    nlohmann::json elements = nlohmann::json::array();
    text += fmt::format("{}\n  Formula Weight: {:.6g} g/mol\n  Ion Weight:     {:.6g} g/mol\n  Elements:\n", f,
                        r.formula_weight, r.ion_weight);
    for (const auto& e : comp.entries) {
      int k = table.Find(e.symbol);
      if (e.symbol == thermo::kElectron) k = thermo::kElectronEntry;
      double w = k ? table.weight[k] * e.amount : 0;
      elements.push_back({{"symbol", e.symbol}, {"amount", e.amount}, {"weight", w}});
      double pct = r.formula_weight != 0 ? 100.0 * w / r.formula_weight : 0;
      text += fmt::format("    {:<3}{:>10.4g} {:>12.6g} g/mol {:>8.3f} wt-%{}\n", e.symbol, e.amount, w, pct,
                          k ? "" : "  (not in element table)");
    }
    out.push_back({{"formula", f},
                   {"formula_weight", r.formula_weight},
                   {"ion_weight", r.ion_weight},
                   {"atoms", r.atoms},
                   {"elements", elements}});
  }
  if (o.json) PrintJson(out);
  else fmt::print("{}", text);
  return 0;
}

}  // namespace

void RegisterMw(CLI::App& app) {
  auto opts = std::make_shared<MwOptions>();
  auto* cmd = app.add_subcommand("mw", "Formula weight, ion weight and element contents of formulas");
  cmd->add_option("FORMULA", opts->formulas, "Chemical formulas, e.g. \"CuSO4*5H2O\" \"H(+a)\"")->required();
  cmd->add_flag("--json", opts->json, "Print JSON: [{formula, formula_weight, ion_weight, atoms, elements}]");
  cmd->callback([opts] { RunMw(*opts); });
}

}  // namespace zyl::cli
