#pragma once
// Species for the balance tests: heat capacities Cp = A + B 1e-3 T + C 1e5 T^-2 (cal/(mol K)) and
// enthalpies of formation (kcal/mol) from Kubaschewski, Alcock & Spencer, Materials Thermochemistry (1993),
// one range each, so that expected values can be worked out independently of the code under test.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <string>

#include "balance/balance_book.h"
#include "balance/species_source.h"
#include "platform/messages.h"

namespace zyl::balance::testing {

struct Coeffs {
  const char* name;
  double h;  ///< kcal/mol at 298.15 K
  double s;  ///< cal/(mol K)
  double a, b, c;
  double density;  ///< database density
};

inline const Coeffs kSpecies[] = {
    {"CH4(g)", -17.89, 44.50, 5.65, 11.44, -0.46, 0},
    {"O2(g)", 0.0, 49.03, 7.16, 1.00, -0.40, 0},
    {"N2(g)", 0.0, 45.77, 6.83, 0.90, -0.12, 1.25},  // g/l in the database: 1.25 * 0.001 g/cm3
    {"CO2(g)", -94.05, 51.07, 10.57, 2.10, -2.06, 0},
    {"H2O(g)", -57.80, 45.10, 7.30, 2.46, 0.0, 0},
    {"H2O(l)", -68.32, 16.72, 18.04, 0.0, 0.0, 1.0},
    {"CaCO3", -288.45, 22.2, 24.98, 5.24, -6.20, 2.71},
    {"CaO", -151.79, 9.5, 11.67, 1.08, -1.56, 3.34},
    {"SiO2", -217.65, 9.91, 11.22, 8.20, -2.70, 0},  // no density in the database
};

inline thermo::SpeciesData Data(const Coeffs& c) {
  thermo::SpeciesData d;
  thermo::SpeciesRange r;
  r.h = c.h * 1000.0;
  r.s = c.s;
  r.a = c.a;
  r.b = c.b;
  r.c = c.c;
  r.t1 = 298.15;
  r.t2 = 6000;
  d.ranges.push_back(r);
  return d;
}

/// H(T) in cal/mol by the closed form of the same Cp (independent of CalcSpeciesAtT).
inline double H(const Coeffs& c, double T) {
  const double T0 = 298.15;
  return c.h * 1000 + c.a * (T - T0) + c.b * 1e-3 * (T * T - T0 * T0) / 2 - c.c * 1e5 * (1 / T - 1 / T0);
}

inline const Coeffs& Find(std::string_view name) {
  for (const auto& c : kSpecies)
    if (name == c.name) return c;
  ADD_FAILURE() << "no test species " << name;
  return kSpecies[0];
}

inline void AddAll(MapSpeciesSource& src) {
  for (const auto& c : kSpecies) src.Add(c.name, Data(c), c.density);
}

/// A balance over the test species with quiet messages.
struct Fixture {
  MapSpeciesSource species;
  platform::HeadlessMessages msgs{false};
  BalanceBook book{species, msgs};
  Fixture() {
    AddAll(species);
    book.MNew();
  }
};

class TempDir {
 public:
  TempDir() {
    static std::atomic<int> n{0};
    path_ = std::filesystem::path(::testing::TempDir()) /
            ("zyl_balance_" + std::to_string(::getpid()) + "_" + std::to_string(n++));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

}  // namespace zyl::balance::testing
