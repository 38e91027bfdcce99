#include <cctype>
#include <fstream>
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "mineralogy/miner.h"
#include "platform/text.h"

namespace zyl::cli {

namespace {

namespace fs = std::filesystem;
using mineralogy::Miner;

struct MinerOptions {
  std::string file;
  bool all = false;
  bool least_squares = false;
  int iterations = 0;  // 0: the file's or the default
  bool json = false;
};

// {"assay": {"Cu": 25.0, ...}, "minerals": [{"formula", "target", "amount"}], "iterations": N}
std::string BuildFromJson(const std::string& text, Miner* miner, int* iterations) {
  nlohmann::json j = nlohmann::json::parse(text, nullptr, false);
  if (j.is_discarded() || !j.is_object()) return "the file is neither a mineralogy workbook nor valid JSON";
  if (!j.contains("assay") || !j["assay"].is_object()) return "the JSON description needs an \"assay\" object";
  if (!j.contains("minerals") || !j["minerals"].is_array()) return "the JSON description needs a \"minerals\" array";
  std::vector<std::pair<std::string, double>> assay;
  for (const auto& [sym, v] : j["assay"].items()) {
    if (!v.is_number()) return "assay of " + sym + " is not a number";
    assay.emplace_back(sym, v.get<double>());
  }
  std::vector<mineralogy::MineralInput> minerals;
  for (const auto& m : j["minerals"]) {
    if (!m.is_object() || !m.contains("formula") || !m["formula"].is_string())
      return "every mineral needs a \"formula\" text";
    mineralogy::MineralInput in;
    in.formula = m["formula"].get<std::string>();
    if (m.contains("target")) {
      if (!m["target"].is_string()) return "the target of " + in.formula + " is not a text";
      in.target = m["target"].get<std::string>();
    }
    if (m.contains("amount")) {
      if (!m["amount"].is_number()) return "the amount of " + in.formula + " is not a number";
      in.amount = m["amount"].get<double>();
    }
    minerals.push_back(in);
  }
  if (j.contains("iterations")) {
    if (!j["iterations"].is_number_integer() || j["iterations"].get<int>() < 1)
      return "\"iterations\" must be a whole number above zero";
    *iterations = j["iterations"].get<int>();
  }
  return miner->Build(assay, minerals);
}

int RunMiner(const MinerOptions& o) {
  Miner miner;
  int iterations = mineralogy::kDefaultIterations;
  std::string ext = fs::path(o.file).extension().string();
  for (char& ch : ext) ch = char(std::tolower(static_cast<unsigned char>(ch)));
  std::string error;
  if (ext == ".json") {
    std::ifstream in(o.file, std::ios::binary);
    if (!in) return Fail("can not open " + o.file);
    std::stringstream ss;
    ss << in.rdbuf();
    error = BuildFromJson(ss.str(), &miner, &iterations);
  } else {
    error = miner.Load(o.file);
  }
  if (!error.empty()) return Fail(error);
  if (o.iterations > 0) iterations = o.iterations;

  nlohmann::json out;
  int passes = 0;
  if (o.least_squares) {
    mineralogy::LeastSquaresResult r = miner.FitLeastSquares();
    if (!r.message.empty()) return Fail(r.message);
    out["residual"] = r.residual;
    out["residual_norm"] = r.norm;
  } else if (o.all) {
    mineralogy::FitAllResult r = miner.FitAll(iterations);
    if (!r.message.empty()) return Fail(r.message);
    passes = r.passes;
  } else {
    // One pass: each mineral with a target fitted once, in row order.
    bool any = false;
    for (int row : miner.MineralRows()) {
      if (miner.Target(row).empty()) continue;
      any = true;
      mineralogy::FitResult f = miner.Fit(row, iterations);
      if (!f.message.empty()) return Fail(f.message);
    }
    if (!any) return Fail(std::string(mineralogy::kNoTargetLine1) + " " + std::string(mineralogy::kNoTargetLine2));
    passes = 1;
  }
  const auto& s = miner.sheet();
  nlohmann::json minerals = nlohmann::json::array();
  for (int row : miner.MineralRows())
    minerals.push_back({{"formula", platform::Trim(s.InputText(row, mineralogy::kFormulaCol))},
                        {"target", miner.Target(row)},
                        {"amount", miner.Amount(row)}});
  nlohmann::json assay = nlohmann::json::object(), calculated = nlohmann::json::object();
  for (int c = mineralogy::kFirstElementCol; c < mineralogy::kFirstElementCol + miner.ElementCount(); ++c) {
    std::string sym = platform::Trim(s.InputText(mineralogy::kSymbolRow, c));
    const auto& given = s.Value(mineralogy::kAssayRow, c);
    assay[sym] = given.is_number() ? nlohmann::json(given.number) : nlohmann::json(nullptr);  // null: no assay
    calculated[sym] = s.Number(mineralogy::kCalcRow, c).value_or(0.0);
  }
  out["minerals"] = minerals;
  out["assay"] = assay;
  out["calculated"] = calculated;
  out["passes"] = passes;
  if (o.json) {
    PrintJson(out);
    return 0;
  }
  fmt::print("{:<16}{:<8}{:>10}\n", "Mineral", "Target", "wt-%");
  for (const auto& m : minerals)
    fmt::print("{:<16}{:<8}{:>10.2f}\n", m["formula"].get<std::string>(), m["target"].get<std::string>(),
               m["amount"].get<double>());
  fmt::print("\n{:<8}{:>10}{:>12}\n", "Element", "Assay", "Calculated");
  for (const auto& [sym, v] : assay.items())
    fmt::print("{:<8}{:>10}{:>12.2f}\n", sym, v.is_null() ? std::string("-") : fmt::format("{:.2f}", v.get<double>()),
               calculated[sym].get<double>());
  if (passes > 0) fmt::print("\nPasses: {}\n", passes);
  if (out.contains("residual_norm")) fmt::print("\nResidual norm: {:.4g} wt-%\n", out["residual_norm"].get<double>());
  return 0;
}

}  // namespace

void RegisterMiner(CLI::App& app) {
  auto opts = std::make_shared<MinerOptions>();
  auto* cmd = app.add_subcommand("miner", "Fit mineral amounts to an element assay (MNR, .xlsx or JSON file)");
  cmd->add_option("FILE", opts->file, "Mineralogy workbook (.MNR, .xlsx) or JSON description")->required();
  cmd->add_flag("--all", opts->all, "Fit every mineral in passes until no displayed amount changes");
  cmd->add_flag("--least-squares", opts->least_squares,
                "Non-negative least-squares fit of all amounts to the whole assay (adds residual, residual_norm)");
  cmd->add_option("-n,--iterations", opts->iterations, "Iterations per mineral (default: the file's, else 10)");
  cmd->add_flag("--json", opts->json,
                "Print JSON: {minerals: [{formula, target, amount}], assay (null: none given), calculated, passes} (wt-%)");
  cmd->callback([opts] { RunMiner(*opts); });
}

}  // namespace zyl::cli
