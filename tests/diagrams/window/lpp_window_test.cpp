// The zyl-lpp window: zoom narrows the limits and searches the field again, without changing which
// species is stable at a point; the menu's zoom actions and Whole Diagram.
#include "diagrams/window/lpp_window.h"

#include <gtest/gtest.h>

#include <QAction>

#include "diagrams/cu_s_o.h"

namespace zyl::diagrams {
namespace {

LppSetup CuSO() {
  LppSetup s;
  s.elements = {"Cu", "S", "O"};
  s.x_gas = "SO2(g)";
  s.y_gas = "O2(g)";
  s.T = 1000;
  s.xmin = -20, s.xmax = 0, s.ymin = -20, s.ymax = 0;
  s.species = {"Cu", "Cu2O", "CuO", "Cu2S", "CuS", "CuSO4", "CuO*CuSO4", "S"};
  return s;
}

TEST(LppWindow, ZoomSearchesTheNarrowerFieldWithTheSameAnswers) {
  MemorySpeciesSource db = testing::CuSODatabase();
  LppWindow w;
  ASSERT_TRUE(w.Show(CuSO(), db)) << w.LastError().toStdString();
  const PredomModel full = *w.Model();
  w.Zoom(0.5);
  EXPECT_DOUBLE_EQ(w.Model()->xmin, -15);
  EXPECT_DOUBLE_EQ(w.Model()->ymax, -5);
  ASSERT_TRUE(w.Picture());
  EXPECT_DOUBLE_EQ(w.Picture()->x.min, -15);
  EXPECT_DOUBLE_EQ(w.Picture()->y.max, -5);
  // Each label of the zoomed diagram names the species the whole diagram's model finds there.
  Evaluator whole(full);
  ASSERT_FALSE(w.Picture()->labels.empty());
  for (const PictureLabel& l : w.Picture()->labels) {
    EXPECT_GE(l.x, -15);
    EXPECT_LE(l.x, -5);
    EXPECT_EQ(full.names[static_cast<size_t>(whole.Predominant(l.x, l.y) - 1)], l.text) << l.x << ", " << l.y;
  }
  // The View menu: Zoom Out undoes Zoom In; Whole Diagram returns to the set-up's limits.
  w.findChild<QAction*>("MZoomIn")->trigger();
  EXPECT_DOUBLE_EQ(w.Model()->xmax - w.Model()->xmin, 10 * kZoomStep);
  w.findChild<QAction*>("MZoomOut")->trigger();
  EXPECT_NEAR(w.Model()->xmax - w.Model()->xmin, 10, 1e-12);
  w.findChild<QAction*>("MZoomReset")->trigger();
  EXPECT_DOUBLE_EQ(w.Model()->xmin, -20);
  EXPECT_DOUBLE_EQ(w.Picture()->x.max, 0);
  EXPECT_TRUE(w.findChild<QAction*>("MOpen"));
}

TEST(LppWindow, EmptyWindowIgnoresZoom) {
  LppWindow w;
  w.Zoom(0.5);
  w.ResetZoom();
  EXPECT_FALSE(w.Model());
  EXPECT_FALSE(w.Picture());
  EXPECT_FALSE(w.SavePicture("/nonexistent/x.png"));
}

}  // namespace
}  // namespace zyl::diagrams
