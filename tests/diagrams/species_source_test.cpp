#include "diagrams/species_source.h"

#include <gtest/gtest.h>

#include "diagrams/sample_db.h"
#include "thermo/species_db.h"

namespace zyl::diagrams {
namespace {

// A small database written and opened through the thermo API serves the diagram like the table.
TEST(DatabaseSpeciesSource, ReadsSpeciesAndComputesTheSameDiagram) {
  auto dir = std::filesystem::temp_directory_path() / ("zyl_predom_db_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  std::string error;
  ASSERT_TRUE(testing::WriteCuSODatabase(dir / "Main.ZYL", &error)) << error;
  thermo::SpeciesDatabases dbs;
  ASSERT_EQ(OpenDatabasesForCommand(dbs, dir / "Main.ZYL"), "");
  DatabaseSpeciesSource db(dbs);

  std::vector<CalorieRange> cuo = db.Read("CuO");
  ASSERT_EQ(cuo.size(), 1u);
  EXPECT_NEAR(cuo[0].H, -37.60, 1e-5);  // kcal/mol, stored in single precision
  EXPECT_NEAR(cuo[0].C, -1.50, 1e-6);
  EXPECT_TRUE(db.Read("Cu3O4").empty());
  std::vector<std::string> names = db.SpeciesOf({"Cu", "S", "O"});
  EXPECT_EQ(names.size(), testing::CuSOTable().size());
  // Database order: catalogue blocks by first element (O before Cu).
  EXPECT_EQ(db.SpeciesOf({"Cu", "O", "H"}), (std::vector<std::string>{"O2(g)", "Cu", "Cu2O", "CuO"}));

  SpeciesChoice c = ChooseSpecies({"Cu", "S", "O"}, db);
  EXPECT_EQ(c.x_list.front(), "Temperature");
  EXPECT_EQ(c.species.size(), 8u);

  CollectResult a = CollectData(testing::CuSOSetup(kResolutionMedium), db);
  CollectResult b = CollectData(testing::CuSOSetup(kResolutionMedium), testing::CuSODatabase());
  ASSERT_TRUE(a.model && b.model) << a.error;
  int pa = MakePicture(*a.model).BoundaryPoints(), pb = MakePicture(*b.model).BoundaryPoints();
  EXPECT_NEAR(pa, pb, pb / 100);  // single against double precision data
  EXPECT_NE(OpenDatabasesForCommand(dbs, dir / "Nothing.ZYL"), "");
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace zyl::diagrams
