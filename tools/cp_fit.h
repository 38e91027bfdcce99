#pragma once
// Least-squares fit of Cp = A + B 1e-3 T + C 1e5 T^-2 + D 1e-6 T^2 (cal/(mol K)) to source data, with
// splitting into consecutive ranges until the fit meets its tolerances, and the H/S bookkeeping that
// makes the database's evaluation return the source's absolute H and S at the start of every range.

#include <memory>
#include <string>
#include <vector>

#include "tools/thermo_source.h"

namespace zyl::tools {

/// Stored Cp coefficients (already rounded to the record's single precision).
struct CpCoefficients {
  double A = 0, B = 0, C = 0, D = 0;
  double Cp(double T) const;                   ///< cal/(mol K)
  double DeltaH(double Ta, double Tb) const;   ///< cal/mol, integral of Cp from Ta to Tb
  double DeltaS(double Ta, double Tb) const;   ///< cal/(mol K), integral of Cp/T from Ta to Tb
};

/// Least-squares coefficients of Cp on [Ta, Tb], rounded to float.
CpCoefficients FitCp(const ThermoSource& src, double Ta, double Tb);

/// Tolerances of the fit (the split criterion). Cp passes within max(cp_rel * |Cp|, cp_abs).
struct FitTolerance {
  double cp_rel = 0.004;               ///< fraction
  double cp_abs = 0.2 / kCalToJ;       ///< cal/(mol K)
  double h = 200.0 / kCalToJ;          ///< cal/mol
  double s = 0.2 / kCalToJ;            ///< cal/(mol K)
  double g = 200.0 / kCalToJ;          ///< cal/mol
  double min_width = 0.5;              ///< K; narrower pieces are not split further
  int max_depth = 10;                  ///< at most 2^10 pieces per source segment
};

/// One piece of a species to fit: a source function on [t1, t2] with its phase code.
struct SourceSegment {
  std::shared_ptr<const ThermoSource> src;
  double t1 = 0, t2 = 0;  ///< K
  std::string phase;      ///< "s", "l", "g", "ig", "a", "ia"
  std::string origin;     ///< where it came from, for the fit report ("NASA Fe(a) 300-500 K")
};

/// Worst deviations of a fitted range from its source, in the units of the check (J, K).
struct FitError {
  double cp = 0;       ///< J/(mol K), absolute
  double cp_rel = 0;   ///< fraction of |Cp|
  double h = 0;        ///< J/mol
  double s = 0;        ///< J/(mol K)
  double g = 0;        ///< J/mol
};

/// A finished range as the record stores it (H in kcal/mol: the value at 298.15 K for the first range,
/// the jump at T1 for later ranges).
struct FittedRange {
  double t1 = 0, t2 = 0;  ///< K
  std::string phase;
  double H = 0;  ///< kcal/mol (float-rounded)
  double S = 0;  ///< cal/(mol K) (float-rounded)
  CpCoefficients cp;
  FitError err;
  bool within_tolerance = true;
  std::string origin;
  std::shared_ptr<const ThermoSource> src;  ///< the source this range reproduces
};

/// Fits a species made of consecutive segments (rising T, each t1 equal to the previous t2).
/// The first range's H and S are exact at 298.15 K (at its T1 or T2 when 298.15 K lies outside it);
/// every later range carries the jump that makes the evaluation reach the source's absolute H and S at
/// its T1.
std::vector<FittedRange> FitSpecies(const std::vector<SourceSegment>& segments, const FitTolerance& tol = {});

/// H and S of the fitted ranges at T, evaluated as the database does (first range from 298.15 K, later
/// ranges from their T1 after their jump; the first range whose T2 is not below T holds T).
/// H in cal/mol, S in cal/(mol K).
void EvaluateRanges(const std::vector<FittedRange>& ranges, double T, double* H, double* S, double* Cp = nullptr);

/// Rounds to the record's single precision (through a volatile so that the optimiser keeps the rounding).
inline double ToFloat(double v) {
  volatile float f = static_cast<float>(v);
  return static_cast<double>(f);
}

}  // namespace zyl::tools
