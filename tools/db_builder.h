#pragma once
// Builds the shipped main species database from public sources:
//   nasa/thermo.inp        gases, gas ions and condensed substances (all phases of one substance merged);
//   obigt/inorganic_aq.csv aqueous ions and neutral species (revised HKF along 1 bar / saturation to
//                          623.15 K; constant 25 °C Cp where the file has no HKF parameters);
//   IAPWS-95 (src/water)   liquid water along the same path;
//   obigt/inorganic_cr.csv, obigt/SUPCRT92.csv  minerals that NASA does not have;
//   phreeqc/llnl.dat (optional)  a few metal chlorides and sulfates that neither has (derived 25 °C data);
//   elements/atomic_weights.csv  element names.
// Output: MainDB6.ZYL + .CAT sorted into catalogue blocks, an empty OwnDB6.ZYL + .CAT, and the fit
// report MainDB6-fit.csv. The same sources give the same bytes.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "thermo/species_record.h"
#include "tools/cp_fit.h"

namespace zyl::tools {

/// Where a species came from.
enum class SpeciesOrigin { NasaGas, NasaCondensed, ObigtAqueous, ObigtMineral, LlnlMineral, Convention };

struct BuiltSpecies {
  std::string name;  ///< database formula: "O2(g)", "Na(+g)", "Fe", "SO4(-2a)"
  SpeciesOrigin origin = SpeciesOrigin::NasaGas;
  std::vector<FittedRange> ranges;
  std::string chemical_name;
  std::string common_name;
  std::string references;
  double mw = 0;             ///< g/mol
  double melting_point = 0;  ///< K, 0 when unknown
  double boiling_point = 0;  ///< K, 0 when unknown
  double density = 0;        ///< kg/l, 0 when unknown
  int32_t color_rgb = 0;     ///< R + 256 G + 65536 B
  int16_t reliability = 0;   ///< see ReliabilityClass in db_builder.cpp
};

struct BuildOptions {
  std::filesystem::path sources;  ///< folder holding nasa/, obigt/, elements/
  double t_max = 6000.0;          ///< K, upper limit of every species (NASA gases reach 20000 K)
  FitTolerance tolerance;
};

struct BuildResult {
  std::vector<BuiltSpecies> species;   ///< in build order (gases, condensed, aqueous, minerals)
  std::vector<std::string> warnings;   ///< source records left out and why
  std::string error;                   ///< non-empty when the build failed (a source missing)
  bool ok() const { return error.empty(); }
};

/// Progress: done of total steps, with a short description of the current step.
using BuildProgress = std::function<void(int done, int total, std::string_view step)>;

/// Reads the sources and fits every species. Never throws; errors in BuildResult::error.
BuildResult BuildMainDatabase(const BuildOptions& options, const BuildProgress& progress = {});

/// Database records of the built species (ranges in order; not yet sorted into blocks).
std::vector<thermo::SpeciesRecord> ToRecords(const BuildResult& result);

/// The fit report: one line per species and range with the worst deviations from the source.
std::string FitReportCsv(const BuildResult& result);

/// Writes MainDB6.ZYL/.CAT, OwnDB6.ZYL/.CAT and MainDB6-fit.csv into out_dir (created if missing).
bool WriteBuildOutput(const BuildResult& result, const std::filesystem::path& out_dir, std::string* error);

inline constexpr std::string_view kMainDbFile = "MainDB6.ZYL";
inline constexpr std::string_view kOwnDbFile = "OwnDB6.ZYL";
inline constexpr std::string_view kFitReportFile = "MainDB6-fit.csv";

}  // namespace zyl::tools
