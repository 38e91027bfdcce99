#pragma once
// One range of a species record, for the small databases the tests build.

#include <string>
#include <utility>

#include "thermo/species_record.h"

namespace zyl::testing {

/// H kcal/mol, S and the Cp coefficients cal/(mol K), T K.
inline thermo::SpeciesRecord Range(std::string formula, float t1, float t2, std::string phase, float h, float s,
                                   float a, float b = 0, float c = 0, float d = 0) {
  thermo::SpeciesRecord r;
  r.formula = std::move(formula);
  r.t1 = t1;
  r.t2 = t2;
  r.phase = std::move(phase);
  r.h = h;
  r.s = s;
  r.a = a;
  r.b = b;
  r.c = c;
  r.d = d;
  return r;
}

}  // namespace zyl::testing
