#pragma once
// The window tests' species database and three more (Na+, Cl-, NaCl), written through the thermo writer and
// opened as the main database. Rounded textbook figures, test data only.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "common/species_range.h"
#include "reactions/window/window_db.h"
#include "thermo/lookup.h"
#include "thermo/species_db.h"

namespace zyl::reactions::testing {

using zyl::testing::Range;

/// Writes the database into a fresh folder and opens it as the main database.
class TestDatabase {
 public:
  TestDatabase() {
    static int counter = 0;
    dir_ = std::filesystem::path(::testing::TempDir()) /
           ("zyl_reactions_" + std::to_string(::getpid()) + "_" + std::to_string(counter++));
    std::filesystem::create_directories(dir_);
    std::string error;
    std::vector<thermo::SpeciesRecord> records = zyl::testing::WindowTestRecords();
    records.push_back(Range("Na(+a)", 298.15f, 373.15f, "a", -57.39f, 14.0f, 11.0f));
    records.push_back(Range("Cl(-a)", 298.15f, 373.15f, "a", -39.95f, 13.5f, -29.0f));
    records.push_back(Range("NaCl", 298.15f, 1073.8f, "s", -98.26f, 17.24f, 10.98f, 3.9f));
    if (!thermo::WriteSpeciesDatabase(MainPath(), std::move(records), &error))
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
