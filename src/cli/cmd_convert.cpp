#include <CLI/CLI.hpp>
#include <cstdio>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "mineralogy/composition.h"

namespace zyl::cli {

namespace {

struct ConvertCliOptions {
  std::vector<std::string> items;
  std::vector<std::string> as;
  std::string basis = "wt";
  bool elements = false, json = false;
};

bool SplitItem(const std::string& s, mineralogy::Content* out) {
  const auto eq = s.rfind('=');
  if (eq == std::string::npos || eq == 0) return false;
  try {
    size_t used = 0;
    out->amount = std::stod(s.substr(eq + 1), &used);
    if (used != s.size() - eq - 1) return false;
  } catch (...) {
    return false;
  }
  out->name = s.substr(0, eq);
  return true;
}

nlohmann::ordered_json Rows(const std::vector<mineralogy::ContentRow>& rows, const char* key) {
  auto a = nlohmann::ordered_json::array();
  for (const auto& r : rows)
    a.push_back({{key, r.name}, {"M", r.molar_mass}, {"wt", r.wt}, {"mol", r.mol}, {"ppm", r.ppm}});
  return a;
}

void RunConvert(const ConvertCliOptions& o) {
  mineralogy::Basis basis;
  if (!mineralogy::ParseBasis(o.basis, &basis)) {
    Fail("unknown basis \"" + o.basis + "\": give wt, mol or ppm");
    return;
  }
  std::vector<mineralogy::Content> items;
  for (const auto& s : o.items) {
    mineralogy::Content c;
    if (!SplitItem(s, &c)) {
      Fail("\"" + s + "\": give FORMULA=AMOUNT, e.g. Fe2O3=60");
      return;
    }
    items.push_back(c);
  }
  mineralogy::CompositionResult r;
  if (o.elements) {
    std::vector<mineralogy::Carrier> carriers;
    for (const auto& a : o.as) {
      const auto colon = a.find(':');
      carriers.push_back({a.substr(0, colon), colon == std::string::npos ? std::string() : a.substr(colon + 1)});
    }
    r = mineralogy::ElementsToCompounds(items, basis, carriers);
  } else {
    r = mineralogy::ConvertCompounds(items, basis);
  }
  if (!r.ok()) {
    Fail(r.error);
    return;
  }
  std::string out;
  if (o.json) {
    nlohmann::ordered_json j = {{"basis", o.basis}, {"compounds", Rows(r.compounds, "formula")},
                                {"elements", Rows(r.elements, "element")}, {"total_wt", r.total_wt}};
    out = j.dump(2) + "\n";
  } else {
    auto table = [&](const char* title, const std::vector<mineralogy::ContentRow>& rows) {
      out += fmt::format("{:<14}{:>12}{:>12}{:>12}{:>14}\n", title, "M g/mol", "wt-%", "mol-%", "ppm");
      for (const auto& x : rows) out += fmt::format("{:<14}{:>12.4f}{:>12.4f}{:>12.4f}{:>14.1f}\n", x.name, x.molar_mass, x.wt, x.mol, x.ppm);
    };
    table("Compound", r.compounds);
    out += "\n";
    table("Element", r.elements);
  }
  std::fwrite(out.data(), 1, out.size(), stdout);
}

}  // namespace

void RegisterConvert(CLI::App& app) {
  auto o = std::make_shared<ConvertCliOptions>();
  auto* cmd = app.add_subcommand("convert", "Composition conversions between compound, mineral and element contents");
  cmd->add_option("CONTENT", o->items, "FORMULA=AMOUNT items, e.g. Fe2O3=60 SiO2=40 (or Fe=42 with --elements)")
      ->required();
  cmd->add_option("--basis", o->basis, "Basis of the amounts given: wt (wt-%), mol (mol-%) or ppm (default wt)");
  cmd->add_flag("--elements", o->elements, "The items are element contents (wt or ppm); report them as --as compounds");
  cmd->add_option("--as", o->as, "Compounds carrying the elements, COMPOUND[:ELEMENT], e.g. Fe2O3 CaCO3:Ca");
  cmd->add_flag("--json", o->json,
                "Print JSON: {basis, compounds: [{formula, M, wt, mol, ppm}], elements: [{element, M, wt, mol, ppm}], "
                "total_wt}");
  cmd->callback([o] { RunConvert(*o); });
}

}  // namespace zyl::cli
