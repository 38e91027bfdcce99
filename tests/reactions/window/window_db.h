#pragma once
// A small species database for the window tests, written through the thermo writer.
// Rounded textbook figures: test data, not reference data.

#include <filesystem>
#include <string>
#include <vector>

#include "common/species_range.h"
#include "thermo/species_db.h"
#include "thermo/species_record.h"

namespace zyl::testing {

/// Species: H2(g), O2(g), H2O(g), C, CO(g), CO2(g), Al (solid and liquid ranges, melting at 933.47 K),
/// Al2O3, Fe(+2a), Fe(+3a), Ar(g).
inline std::vector<thermo::SpeciesRecord> WindowTestRecords() {
  return {
      Range("H2(g)", 298.15f, 3000, "g", 0, 31.2f, 6.52f, 0.78f, 0.12f),
      Range("O2(g)", 298.15f, 3000, "g", 0, 49.0f, 7.16f, 1.0f, -0.4f),
      Range("H2O(g)", 298.15f, 3000, "g", -57.8f, 45.1f, 7.3f, 2.46f),
      Range("C", 298.15f, 2500, "s", 0, 1.5f, 4.0f),  // constant Cp, exact in single precision: C, CO(g), CO2(g)
      Range("CO(g)", 298.15f, 2500, "g", -26.5f, 47.25f, 7.5f),
      Range("CO2(g)", 298.15f, 2500, "g", -94.0f, 51.0f, 11.0f),
      Range("Al", 298.15f, 933.47f, "s", 0, 6.77f, 4.94f, 2.96f),
      Range("Al", 933.47f, 2790, "l", 2.56f, 2.7425f, 7.0f),  // melting: ΔS = ΔH / T
      Range("Al2O3", 298.15f, 2327, "s", -400.5f, 12.17f, 27.49f, 2.82f, -8.38f),
      Range("Fe(+2a)", 298.15f, 373.15f, "a", -21.3f, -32.9f, 10.0f),
      Range("Fe(+3a)", 298.15f, 373.15f, "a", -11.6f, -75.5f, 8.0f),
      Range("Ar(g)", 298.15f, 5000, "g", 0, 36.98f, 4.97f),
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
