#pragma once
// A small Cu-S-O species table for the diagram tests and benchmarks. Values are rounded handbook
// figures (H kcal/mol, S cal/(mol K) at 298.15 K, Cp = A + B 1e-3 T + C 1e5 T^-2), one Cp range each.

#include <cmath>
#include <string>
#include <vector>

#include "diagrams/predom.h"

namespace zyl::diagrams::testing {

struct SampleSpecies {
  const char* name;
  double cu, s, o;  ///< atoms per formula
  double H, S, A, B, C;
};

inline const std::vector<SampleSpecies>& CuSOTable() {
  static const std::vector<SampleSpecies> t = {
      {"Cu", 1, 0, 0, 0.0, 7.923, 5.41, 1.50, 0},
      {"Cu2O", 2, 0, 1, -40.83, 22.08, 14.90, 5.70, 0},
      {"CuO", 1, 0, 1, -37.60, 10.18, 10.48, 3.58, -1.50},
      {"Cu2S", 2, 1, 0, -19.00, 28.90, 19.50, 0, 0},
      {"CuS", 1, 1, 0, -12.70, 15.90, 10.60, 2.64, 0},
      {"CuSO4", 1, 1, 4, -184.36, 26.00, 17.20, 23.30, 0},
      {"CuO*CuSO4", 2, 1, 5, -224.40, 37.50, 30.00, 15.00, 0},
      {"S", 0, 1, 0, 0.0, 7.60, 3.58, 6.24, 0},
      {"O2(g)", 0, 0, 2, 0.0, 49.00, 7.16, 1.00, -0.40},
      {"SO2(g)", 0, 1, 2, -70.94, 59.30, 11.04, 1.88, -1.84},
      {"S2(g)", 0, 2, 0, 30.68, 54.51, 8.72, 0.16, -0.90},
  };
  return t;
}

inline const SampleSpecies* FindSample(const std::string& name) {
  for (const auto& s : CuSOTable())
    if (name == s.name) return &s;
  return nullptr;
}

inline std::vector<CalorieRange> SampleRanges(const SampleSpecies& s, double T1 = 298.15, double T2 = 3000) {
  CalorieRange r;
  r.H = s.H, r.S = s.S, r.A = s.A, r.B = s.B, r.C = s.C, r.T1 = T1, r.T2 = T2;
  return {r};
}

inline MemorySpeciesSource CuSODatabase() {
  MemorySpeciesSource db;
  for (const auto& s : CuSOTable()) db.Add(s.name, SampleRanges(s));
  return db;
}

/// Cu-S-O set-up: log p(SO2) on X, log p(O2) on Y, temperature constant (K).
inline PredomSetup CuSOSetup(int resolution = kResolutionHigh, double T = 1000) {
  PredomSetup s;
  s.elements = {"Cu", "S", "O"};
  s.x_axis = "SO2(g)";
  s.y_axis = "O2(g)";
  s.constant = std::string(kTemperature);
  s.xmin = -10, s.xmax = 2, s.ymin = -20, s.ymax = 2;
  s.constant_value = T;
  s.species = {"Cu", "Cu2O", "CuO", "Cu2S", "CuS", "CuSO4", "CuO*CuSO4", "S"};
  s.resolution = resolution;
  return s;
}

}  // namespace zyl::diagrams::testing
