#include "balance/window/heat_loss_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>


namespace zyl::balance::window {
namespace {

QApplication& App() {
  static int argc = 1;
  static char name[] = "heat-loss-test";
  static char* argv[] = {name, nullptr};
  static QApplication* app = new QApplication(argc, argv);
  return *app;
}

TEST(HeatLossWindow, SolvesTheWallItShows) {
  App();
  HeatLoss w;
  // The example wall: the furnace wall of the core tests, 1118.16 W/m2 by hand calculation.
  w.findChild<QPushButton*>("ButCalculate")->click();
  ASSERT_TRUE(w.result().ok()) << w.result().error;
  EXPECT_NEAR(w.result().q_w, 1118.16, 0.01);
  EXPECT_TRUE(w.ResultText()->text().contains("96.3 °C"));
  // Thickness is typed in mm.
  EXPECT_EQ(w.Input().layers.size(), 2u);
  EXPECT_DOUBLE_EQ(w.Input().layers[0].thickness, 0.23);
  w.CopyToBalance();
  EXPECT_EQ(QApplication::clipboard()->text(), "Wall heat loss 1.11816");
  // A conductivity removed: the message, no result.
  w.Layers()->item(1, 2)->setText("");
  EXPECT_FALSE(w.Calculate());
  EXPECT_EQ(w.ResultText()->text(), "Layer 2: the conductivity must be above 0 W/(m K).");
  // Round trip of a cylinder through the controls.
  WallInput pipe;
  pipe.shape = WallShape::Cylinder;
  pipe.inner_radius = 0.1;
  pipe.length = 4;
  pipe.layers = {{"wool", 0.05, 0.04}};
  w.SetInput(pipe);
  WallInput back = w.Input();
  EXPECT_EQ(back.shape, WallShape::Cylinder);
  EXPECT_DOUBLE_EQ(back.inner_radius, 0.1);
  EXPECT_EQ(back.layers.size(), 1u);
  EXPECT_TRUE(w.Calculate());
}

}  // namespace
}  // namespace zyl::balance::window
