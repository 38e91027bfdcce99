// The Eh-pH program's window: tabs per temperature, zoom recomputes, pictures and clipboard.
#include "diagrams/window/eph_window.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QMimeData>
#include <QTabWidget>
#include <QTemporaryDir>

#include "diagrams/window/predom_window.h"
#include "thermo/species_db.h"

namespace zyl::diagrams {
namespace {

IepSetup CuSetup() {
  IepSetup s;
  s.elements = {{"Cu", -6, 0}};
  s.temperatures = {25, 100, 200};
  s.log_activity = {-6, -6, -6};
  s.log_pressure = {0, 0, 0};
  s.species = {"Cu", "Cu(+2a)", "Cu2O", "CuO", "CuO2(-2a)"};
  return s;
}

class EphWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dbs_.main = thermo::OpenSpeciesDb(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL");
    ASSERT_TRUE(dbs_.main);
  }
  EphSpeciesReader Reader() { return DatabaseReader(dbs_); }
  thermo::SpeciesDatabases dbs_;
};

TEST_F(EphWindowTest, OneTabPerTemperatureAndZoomRecomputes) {
  EphWindow w;
  ASSERT_TRUE(w.Show(CuSetup(), Reader())) << w.LastError().toStdString();
  auto* tabs = w.findChild<QTabWidget*>("Tabs");
  ASSERT_TRUE(tabs);
  ASSERT_EQ(tabs->count(), 3);
  EXPECT_EQ(tabs->tabText(1), "100.00 C");
  auto* view = w.findChild<PredomView*>("View1");
  ASSERT_TRUE(view && view->Picture());
  EXPECT_EQ(view->Picture()->title, "Eh - pH Diagram of the Cu-O-H System at 25.00 C");

  w.Zoom(0.5);  // pH 3.5..10.5, Eh -1..1
  EXPECT_DOUBLE_EQ(w.Picture(0).x.min, 3.5);
  EXPECT_DOUBLE_EQ(w.Picture(0).y.max, 1.0);
  double total = 0;
  for (const auto& a : w.Diagram(0).areas) total += a.area;
  EXPECT_NEAR(total, 7 * 2, 1e-6);  // the fields tile the zoomed box
  w.ResetZoom();
  EXPECT_DOUBLE_EQ(w.Picture(0).x.max, 14);
  EXPECT_EQ(tabs->count(), 3);
}

TEST_F(EphWindowTest, PicturesClipboardAndBadFiles) {
  EphWindow w;
  ASSERT_TRUE(w.Show(CuSetup(), Reader()));
  QTemporaryDir dir;
  for (const char* name : {"d.png", "d.svg", "d.pdf"}) {
    const QString path = dir.filePath(name);
    EXPECT_TRUE(w.SavePicture(path)) << name;
    EXPECT_GT(QFile(path).size(), 1000) << name;
  }
  EXPECT_FALSE(w.SavePicture(dir.filePath("d.bmpx")));
  QApplication::clipboard()->clear();
  QMetaObject::invokeMethod(&w, [&w] {
    for (QAction* a : w.findChildren<QAction*>())
      if (a->objectName() == "MCopy") a->trigger();
  });
  QApplication::processEvents();
  const QMimeData* mime = QApplication::clipboard()->mimeData();
  ASSERT_TRUE(mime);
  EXPECT_TRUE(mime->hasImage());

  EphWindow bad;
  EXPECT_FALSE(bad.Open(dir.filePath("missing.iep")));
  EXPECT_FALSE(bad.LastError().isEmpty());
  IepSetup none = CuSetup();
  none.species = {"NoSuch"};
  EXPECT_FALSE(bad.Show(none, Reader()));
  EXPECT_NE(bad.LastError().toStdString().find("No species of Cu"), std::string::npos);
}

}  // namespace
}  // namespace zyl::diagrams
