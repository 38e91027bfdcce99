#pragma once
// Working form of a species and its thermodynamic functions at a temperature.
//
// Cp(T) = A + B*1e-3*T + C*1e5*T^-2 + D*1e-6*T^2, cal/(mol K).
// The first range's H and S are the values at 298.15 K and its integrals start at 298.15 K;
// every later range adds its stored H and S as the jump at its T1 and integrates from its T1.

#include <string>
#include <string_view>
#include <vector>

#include "thermo/constants.h"

namespace zyl::thermo {


/// One temperature range, values copied from the record in double precision.
struct SpeciesRange {
  double mw = 0;   ///< molar mass, g/mol
  double h = 0;    ///< cal/mol (the stored kcal/mol times 1000)
  double s = 0;    ///< cal/(mol K)
  double a = 0;    ///< cal/(mol K)
  double b = 0;    ///< multiplies 1e-3 T
  double c = 0;    ///< multiplies 1e5 T^-2
  double d = 0;    ///< multiplies 1e-6 T^2
  double t1 = 0;   ///< K
  double t2 = 0;   ///< K
  char phase[3] = {0, 0, 0};  ///< phase of the range ("s", "l", "g", "a", "ia", ...)
};

/// Copies S, the Cp coefficients and the temperature limits of a range held in another form (a database
/// record, a fitted range): the fields of the same names and units.
template <class Source>
void CopyRangeCoefficients(const Source& r, SpeciesRange& x) {
  x.s = r.s;
  x.a = r.a;
  x.b = r.b;
  x.c = r.c;
  x.d = r.d;
  x.t1 = r.t1;
  x.t2 = r.t2;
}

/// Ion classes of the Criss-Cobble correspondence principle.
enum class IonKind : unsigned char { None, Cation, SimpleAnion, OxyAnion, AcidOxyAnion };

/// Class of an ion by its formula: charge > 0 cation (H+ itself: None, it keeps its zero values); an anion with oxygen is an oxy-anion
/// ("SO4(-2a)"), with oxygen and hydrogen an acid oxy-anion ("HCO3(-a)"), OH- and anions without
/// oxygen are simple anions; None for a neutral formula.
IonKind ClassifyIon(std::string_view formula);

struct SpeciesData {
  std::string name;                  ///< the name looked up
  std::vector<SpeciesRange> ranges;  ///< in record order
  double density = 0;                ///< kg/l, of the first range
  double charge = 0;                 ///< ionic charge from the formula (0 for neutral species)
  IonKind ion = IonKind::None;       ///< set from the name by ReadSpeciesData / SetSpeciesName
  bool derived_liquid = false;       ///< "(l)" served from the liquid ranges of the plain name
};

/// Sets name, charge and ion class of a hand-made SpeciesData.
void SetSpeciesName(SpeciesData& sp, std::string_view name);

enum class Extrapolation : unsigned char {
  None,         ///< T inside the ranges
  Below,        ///< T below the first range's T1: first range's formulas used
  Above,        ///< T above the last range's T2: last range's formulas used
  CrissCobble,  ///< aqueous ion, heat capacity from the Criss-Cobble correspondence principle
};

struct SpeciesValues {
  double cp = 0;  ///< cal/(mol K)
  double h = 0;   ///< cal/mol
  double s = 0;   ///< cal/(mol K)
  double g = 0;   ///< cal/mol, H - T S
  /// cal/(mol K): with Criss-Cobble, the mean heat capacity from 298.15 K to T (S = S298 + mean_cp ln(T/298.15));
  /// otherwise equal to cp.
  double mean_cp = 0;
  Extrapolation extrapolated = Extrapolation::None;
  bool ok = false;  ///< false for a species without ranges
};

/// Cp, H, S and G of a species at T (K, > 0). Outside the ranges the nearest range's formulas are
/// used and `extrapolated` says so, except above the last range of a species for which
/// HoldsCpAboveRanges is true: there Cp stays at its value at the last T2, or, for data ending within
/// 50 K of water's critical point (597 K and above), H and S stay at their values there (Cp = 0).
/// With the Criss-Cobble flag on, an aqueous ion (phase "a" or
/// "ia", nonzero charge) above 298.15 K gets its entropy from the correspondence principle, and Cp and H
/// consistent with it (Cp = dH/dT = T dS/dT).
/// No allocation.
SpeciesValues CalcSpeciesAtT(const SpeciesData& sp, double T);

/// True when extrapolation above the last range holds Cp (or H and S): aqueous species (last range "a" or
/// "ia"), whose data along the saturation curve end at 350 °C where their Cp diverges towards water's
/// critical point, and liquid water (same path). Other phases keep their last range's polynomial.
bool HoldsCpAboveRanges(const SpeciesData& sp);

/// The same without Criss-Cobble, whatever the flag says.
SpeciesValues CalcSpeciesAtTPlain(const SpeciesData& sp, double T);

/// "Extrapolated from ..." note for a result, empty when not extrapolated.
std::string ExtrapolationNote(const SpeciesData& sp, const SpeciesValues& v);

/// Cp of one range at T, cal/(mol K); dH and dS of one range from Ta to Tb (cal/mol, cal/(mol K)).
double RangeCp(const SpeciesRange& r, double T);
double RangeDeltaH(const SpeciesRange& r, double Ta, double Tb);
double RangeDeltaS(const SpeciesRange& r, double Ta, double Tb);

/// The shared Criss-Cobble flag (off at start); the reaction module sets it before calculating.
void SetCrissCobble(bool on);
bool CrissCobble();

/// True for an aqueous ion: phase "a" or "ia" of the first range and a nonzero charge.
bool IsAqueousIon(const SpeciesData& sp);

}  // namespace zyl::thermo
