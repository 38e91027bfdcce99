#pragma once
// A small species database written through the thermo writer. Values are rounded textbook
// figures, test data only; the constant-Cp species are exact in single precision.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "thermo/lookup.h"
#include "thermo/species_db.h"

namespace zyl::reactions::testing {

inline thermo::SpeciesRecord Range(const char* formula, const char* phase, float t1, float t2, float h, float s,
                                   float a, float b = 0, float c = 0) {
  thermo::SpeciesRecord r;
  r.formula = formula;
  r.phase = phase;
  r.t1 = t1, r.t2 = t2, r.h = h, r.s = s, r.a = a, r.b = b, r.c = c;
  return r;
}

/// Writes the database into a fresh folder and opens it as the main database.
class TestDatabase {
 public:
  TestDatabase() {
    static int counter = 0;
    dir_ = std::filesystem::path(::testing::TempDir()) /
           ("zyl_reactions_" + std::to_string(::getpid()) + "_" + std::to_string(counter++));
    std::filesystem::create_directories(dir_);
    std::string error;
    if (!thermo::WriteSpeciesDatabase(MainPath(), {
            Range("H2(g)", "g", 298.15f, 3000, 0, 31.2f, 6.52f, 0.78f, 0.12f),
            Range("O2(g)", "g", 298.15f, 3000, 0, 49.0f, 7.16f, 1.0f, -0.4f),
            Range("H2O(g)", "g", 298.15f, 3000, -57.8f, 45.1f, 7.3f, 2.46f),
            Range("C", "s", 298.15f, 2500, 0, 1.5f, 4.0f),  // constant Cp: C, CO(g), CO2(g)
            Range("CO(g)", "g", 298.15f, 2500, -26.5f, 47.25f, 7.5f),
            Range("CO2(g)", "g", 298.15f, 2500, -94.0f, 51.0f, 11.0f),
            Range("Al", "s", 298.15f, 933.47f, 0, 6.77f, 4.94f, 2.96f),
            Range("Al", "l", 933.47f, 2790, 2.56f, 2.7425f, 7.0f),  // melting: ΔS = ΔH / T
            Range("Al2O3", "s", 298.15f, 2327, -400.5f, 12.17f, 27.49f, 2.82f, -8.38f),
            Range("Fe(+2a)", "a", 298.15f, 373.15f, -21.3f, -32.9f, 10.0f),
            Range("Fe(+3a)", "a", 298.15f, 373.15f, -11.6f, -75.5f, 8.0f),
            Range("Na(+a)", "a", 298.15f, 373.15f, -57.39f, 14.0f, 11.0f),
            Range("Cl(-a)", "a", 298.15f, 373.15f, -39.95f, 13.5f, -29.0f),
            Range("NaCl", "s", 298.15f, 1073.8f, -98.26f, 17.24f, 10.98f, 3.9f),
            Range("Ar(g)", "g", 298.15f, 5000, 0, 36.98f, 4.97f),
        }, &error))
      ADD_FAILURE() << error;
    dbs_.main = thermo::OpenSpeciesDb(MainPath(), nullptr, false, &error);
    if (!dbs_.main) ADD_FAILURE() << error;
  }
  ~TestDatabase() {
    dbs_.main.reset();
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
  }
  std::filesystem::path MainPath() const { return dir_ / "MainDB6.ZYL"; }
  const std::filesystem::path& dir() const { return dir_; }
  const thermo::SpeciesDatabases& dbs() const { return dbs_; }

 private:
  std::filesystem::path dir_;
  thermo::SpeciesDatabases dbs_;
};

}  // namespace zyl::reactions::testing
