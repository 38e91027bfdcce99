#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/cli_common.h"
#include "cli/commands.h"
#include "tools/db_builder.h"
#include "tools/db_stats.h"

namespace zyl::cli {

namespace {

struct DbBuildOptions {
  std::string sources;
  std::string out;
  bool json = false;
  bool quiet = false;
};

/// A progress bar on a terminal, a line per tenth of the work otherwise.
class Progress {
 public:
  explicit Progress(bool quiet) : tty_(::isatty(STDERR_FILENO) == 1), quiet_(quiet) {}
  void operator()(int done, int total, std::string_view step) {
    if (quiet_ || total <= 0) return;
    int pct = static_cast<int>(100.0 * done / total);
    if (tty_) {
      const int width = 40;
      int fill = width * done / total;
      std::fprintf(stderr, "\r[%s%s] %3d%% %-24.24s", std::string(static_cast<size_t>(fill), '#').c_str(),
                   std::string(static_cast<size_t>(width - fill), ' ').c_str(), pct, std::string(step).c_str());
      if (done == total) std::fprintf(stderr, "\n");
    } else if (pct / 10 != last_ / 10 || done == total) {
      std::fprintf(stderr, "zyl db build: %d%% (%d of %d species)\n", pct, done, total);
    }
    last_ = pct;
  }

 private:
  bool tty_, quiet_;
  int last_ = -1;
};

int RunDbBuild(const DbBuildOptions& o) {
  auto start = std::chrono::steady_clock::now();
  tools::BuildOptions opt;
  opt.sources = o.sources;
  Progress progress(o.quiet || o.json);
  tools::BuildResult res = tools::BuildMainDatabase(opt, [&](int d, int t, std::string_view s) { progress(d, t, s); });
  if (!res.ok()) return Fail(res.error);
  std::string error;
  if (!tools::WriteBuildOutput(res, o.out, &error)) return Fail(error);
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  tools::BuildStats st = tools::ComputeBuildStats(res);
  if (o.json) {
    nlohmann::json j = {{"out", o.out},
                        {"species", st.species},
                        {"ranges", st.ranges},
                        {"elements", st.elements},
                        {"by_origin", st.by_origin},
                        {"ranges_out_of_tolerance", st.ranges_out_of_tolerance},
                        {"max_dcp_percent", st.max_dcp_percent},
                        {"max_dh_j_per_mol", st.max_dh},
                        {"max_ds_j_per_mol_k", st.max_ds},
                        {"max_dg_j_per_mol", st.max_dg},
                        {"seconds", seconds},
                        {"warnings", res.warnings}};
    PrintJson(j);
    return 0;
  }
  if (!o.quiet)
    for (const auto& w : res.warnings) std::fprintf(stderr, "zyl db build: %s\n", w.c_str());
  fmt::print("{}: {} species, {} ranges, {} elements ({} ranges outside the fit tolerance), {:.1f} s\n",
             o.out, st.species, st.ranges, st.elements, st.ranges_out_of_tolerance, seconds);
  fmt::print("worst fit deviation: Cp {:.3f} %, H {:.1f} J/mol, S {:.3f} J/(mol K), G {:.1f} J/mol\n",
             st.max_dcp_percent, st.max_dh, st.max_ds, st.max_dg);
  return 0;
}

CLI::App* DbGroup(CLI::App& app) { return SubcommandGroup(app, "db", "Species database files"); }

}  // namespace

void RegisterDbBuild(CLI::App& app) {
  auto opts = std::make_shared<DbBuildOptions>();
  CLI::App* db = DbGroup(app);
  auto* cmd = db->add_subcommand("build", "Build MainDB6.ZYL and an empty OwnDB6.ZYL from the public sources");
  cmd->add_option("--sources", opts->sources, "Folder holding nasa/, obigt/, elements/ and (optional) phreeqc/")->required();
  cmd->add_option("--out", opts->out, "Output folder, e.g. data/Databases")->required();
  cmd->add_flag("--quiet", opts->quiet, "No progress and no warnings on stderr");
  cmd->add_flag("--json", opts->json,
                "Print JSON: {out, species, ranges, elements, by_origin, ranges_out_of_tolerance, max_dcp_percent, "
                "max_dh_j_per_mol, max_ds_j_per_mol_k, max_dg_j_per_mol, seconds, warnings}");
  cmd->callback([opts] { RunDbBuild(*opts); });
}

}  // namespace zyl::cli
