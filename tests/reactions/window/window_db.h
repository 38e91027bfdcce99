#pragma once
// A small species database for the window tests, written through the thermo writer.
// Rounded textbook figures: test data, not reference data.

#include <filesystem>
#include <string>
#include <vector>

#include "thermo/species_db.h"
#include "thermo/species_record.h"

namespace zyl::testing {

inline thermo::SpeciesRecord Range(const char* formula, const char* phase, float t1, float t2, float h, float s,
                                   float a, float b = 0, float c = 0) {
  thermo::SpeciesRecord r;
  r.formula = formula;
  r.phase = phase;
  r.t1 = t1, r.t2 = t2, r.h = h, r.s = s, r.a = a, r.b = b, r.c = c;
  return r;
}

/// Species: H2(g), O2(g), H2O(g), C, CO(g), CO2(g), Al (solid and liquid ranges, melting at 933.47 K),
/// Al2O3, Fe(+2a), Fe(+3a), Ar(g).
inline std::vector<thermo::SpeciesRecord> WindowTestRecords() {
  return {
      Range("H2(g)", "g", 298.15f, 3000, 0, 31.2f, 6.52f, 0.78f, 0.12f),
      Range("O2(g)", "g", 298.15f, 3000, 0, 49.0f, 7.16f, 1.0f, -0.4f),
      Range("H2O(g)", "g", 298.15f, 3000, -57.8f, 45.1f, 7.3f, 2.46f),
      Range("C", "s", 298.15f, 2500, 0, 1.5f, 4.0f),
      Range("CO(g)", "g", 298.15f, 2500, -26.5f, 47.25f, 7.5f),
      Range("CO2(g)", "g", 298.15f, 2500, -94.0f, 51.0f, 11.0f),
      Range("Al", "s", 298.15f, 933.47f, 0, 6.77f, 4.94f, 2.96f),
      Range("Al", "l", 933.47f, 2790, 2.56f, 2.7425f, 7.0f),
      Range("Al2O3", "s", 298.15f, 2327, -400.5f, 12.17f, 27.49f, 2.82f, -8.38f),
      Range("Fe(+2a)", "a", 298.15f, 373.15f, -21.3f, -32.9f, 10.0f),
      Range("Fe(+3a)", "a", 298.15f, 373.15f, -11.6f, -75.5f, 8.0f),
      Range("Ar(g)", "g", 298.15f, 5000, 0, 36.98f, 4.97f),
  };
}

/// Writes the test database at path; the error text, empty on success.
inline std::string WriteWindowTestDb(const std::filesystem::path& path) {
  std::string error;
  std::filesystem::create_directories(path.parent_path());
  thermo::WriteSpeciesDatabase(path, WindowTestRecords(), &error);
  return error;
}

}  // namespace zyl::testing
