#pragma once
// The Cu-S-O sample table written as a species database file through the thermo API.

#include <filesystem>
#include <string>
#include <vector>

#include "diagrams/cu_s_o.h"
#include "thermo/formula.h"
#include "thermo/species_db.h"

namespace zyl::diagrams::testing {

inline bool WriteCuSODatabase(const std::filesystem::path& path, std::string* error = nullptr) {
  std::vector<thermo::SpeciesRecord> records;
  for (const auto& s : CuSOTable()) {
    thermo::SpeciesRecord r;
    r.formula = s.name;
    r.phase = IsGasName(s.name) ? "g" : "s";
    r.mw = static_cast<float>(thermo::MolarMass(s.name));
    r.t1 = 298.15f;
    r.t2 = 3000;
    r.h = static_cast<float>(s.H);
    r.s = static_cast<float>(s.S);
    r.a = static_cast<float>(s.A);
    r.b = static_cast<float>(s.B);
    r.c = static_cast<float>(s.C);
    records.push_back(r);
  }
  return thermo::WriteSpeciesDatabase(path, records, error);
}

}  // namespace zyl::diagrams::testing
