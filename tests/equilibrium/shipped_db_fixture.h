#pragma once
// The shipped-database fixture with the equilibrium tests' helpers.
#include <gtest/gtest.h>

#include <string>

#include "common/shipped_db.h"

namespace zyl::equilibrium::testing {

class ShippedDbTest : public zyl::testing::ShippedDbTest {
 protected:
  /// Amount (mol) of a species anywhere in a result point.
  template <class Point>
  static double Mol(const Point& r, const std::string& name) {
    for (const auto& p : r.phases)
      for (const auto& s : p.species)
        if (s.name == name) return s.amount;
    ADD_FAILURE() << name << " not in result";
    return 0;
  }
};

}  // namespace zyl::equilibrium::testing
