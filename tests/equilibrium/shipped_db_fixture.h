#pragma once
// A test fixture that opens the shipped main database once per test suite.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "thermo/lookup.h"
#include "thermo/species_db.h"

namespace zyl::equilibrium::testing {

class ShippedDbTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dbs_ = new thermo::SpeciesDatabases;
    std::string error;
    dbs_->main = thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL",
                                       nullptr, false, &error);
    ASSERT_TRUE(dbs_->main) << error;
  }
  static void TearDownTestSuite() {
    delete dbs_;
    dbs_ = nullptr;
  }
  /// Amount (mol) of a species anywhere in a result point.
  template <class Point>
  static double Mol(const Point& r, const std::string& name) {
    for (const auto& p : r.phases)
      for (const auto& s : p.species)
        if (s.name == name) return s.amount;
    ADD_FAILURE() << name << " not in result";
    return 0;
  }
  static thermo::SpeciesData Data(const std::string& name) {
    return thermo::ReadSpeciesData(thermo::FindSpecies(name, *dbs_), name);
  }
  static inline thermo::SpeciesDatabases* dbs_ = nullptr;
};

}  // namespace zyl::equilibrium::testing
