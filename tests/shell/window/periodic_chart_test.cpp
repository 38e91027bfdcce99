#include "thermo/window/periodic_chart.h"

#include <gtest/gtest.h>

#include <QPushButton>
#include <QSignalSpy>
#include <QToolButton>
#include <set>

#include "platform/window/qt_app.h"
#include "thermo/lookup.h"

namespace zyl::thermo::window {
namespace {

TEST(PeriodicChart, PlacesFollowThePeriodicTable) {
  auto at = [](int z) {
    auto p = PlaceOfElement(z);
    return std::pair{p.row, p.col};
  };
  EXPECT_EQ(at(1), (std::pair{0, 0}));
  EXPECT_EQ(at(2), (std::pair{0, 17}));
  EXPECT_EQ(at(8), (std::pair{1, 15}));   // O, group 16
  EXPECT_EQ(at(13), (std::pair{2, 12}));  // Al, group 13
  EXPECT_EQ(at(26), (std::pair{3, 7}));   // Fe, group 8
  EXPECT_EQ(at(56), (std::pair{5, 1}));   // Ba
  EXPECT_EQ(at(57), (std::pair{8, 3}));   // La opens the lanthanide row
  EXPECT_EQ(at(72), (std::pair{5, 3}));   // Hf, group 4
  EXPECT_EQ(at(79), (std::pair{5, 10}));  // Au, group 11
  EXPECT_EQ(at(92), (std::pair{9, 6}));   // U
  // No two elements share a place.
  std::set<std::pair<int, int>> seen;
  for (int z = 1; z <= 100; ++z) EXPECT_TRUE(seen.insert(at(z)).second) << z;
}

TEST(PeriodicChart, ListsTheSpeciesOfAnElement) {
  testing::App();
  auto& dbs = SharedSpeciesDatabases();
  dbs.main = OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL");
  ASSERT_TRUE(dbs.main);
  PeriodicChart chart;
  ASSERT_TRUE(chart.findChild<QToolButton*>("Ele_Fe"));
  chart.findChild<QToolButton*>("Ele_Fe")->click();
  const QStringList species = chart.ListedSpecies();
  EXPECT_TRUE(species.contains("Fe2O3"));
  EXPECT_TRUE(species.contains("FeO"));
  EXPECT_FALSE(species.contains("Cu2O"));
  EXPECT_FALSE(species.contains("F2(g)"));  // "F" is not "Fe"
  for (const QString& s : species) EXPECT_TRUE(s.contains("Fe")) << s.toStdString();
  EXPECT_TRUE(chart.Details().contains(QString("0 own, %1 main").arg(species.size())));
  EXPECT_TRUE(chart.Details().contains("55.84"));
  dbs.main.reset();
}

TEST(PeriodicChart, OpensOnlyASelectedSpeciesAndSaysWhichDatabase) {
  testing::App();
  auto& dbs = SharedSpeciesDatabases();
  dbs.main = OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL");
  ASSERT_TRUE(dbs.main);
  PeriodicChart chart;
  QSignalSpy opened(&chart, &PeriodicChart::openSpecies);
  auto* diagram = chart.findChild<QPushButton*>("ButDiagram");
  ASSERT_NE(diagram, nullptr);
  chart.SelectElement(29);
  EXPECT_FALSE(diagram->isEnabled());
  chart.OpenSelected(ChartTarget::Reaction);
  EXPECT_EQ(opened.count(), 0);  // nothing selected
  ASSERT_TRUE(chart.SelectSpecies("Cu2O"));
  EXPECT_TRUE(diagram->isEnabled());
  diagram->click();
  ASSERT_EQ(opened.count(), 1);
  EXPECT_EQ(opened[0][0].toString(), "Cu2O");
  EXPECT_FALSE(opened[0][1].toBool());
  EXPECT_EQ(opened[0][2].value<ChartTarget>(), ChartTarget::Diagram);
  chart.SelectElement(26);  // a new list drops the selection
  EXPECT_FALSE(diagram->isEnabled());
  dbs.main.reset();
}

}  // namespace
}  // namespace zyl::thermo::window
