#pragma once
// A test fixture that opens the shipped main database once per test suite.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "thermo/lookup.h"
#include "thermo/species_db.h"

namespace zyl::testing {

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
  static thermo::SpeciesData Data(const std::string& name) {
    return thermo::ReadSpeciesData(thermo::FindSpecies(name, *dbs_), name);
  }
  static inline thermo::SpeciesDatabases* dbs_ = nullptr;
};

}  // namespace zyl::testing
