#include "balance/window/heat_loss_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>

#include "../balance_test_util.h"
#include "balance/heat_loss_balance.h"
#include "balance/window/balance_window.h"


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

TEST(HeatLossWindow, PutsTheLossIntoABalanceHeatLossRow) {
  App();
  MapSpeciesSource species;
  platform::HeadlessMessages msgs{false};
  balance::testing::AddAll(species);
  Balance bal(nullptr, &msgs, &species);
  bal.book().MUnits({EnergyUnit::kJ, TempUnit::C, false});
  HeatLoss w;
  auto targets = HeatLoss::Targets();
  ASSERT_EQ(targets.size(), 1u);
  EXPECT_EQ(targets[0].first, &bal);

  // The example wall loses 1118.16 W (hand calculation in the core tests, to 0.005 W): 1118.16 * 3600 J =
  // 4025.38 kJ per hour, within 0.02 kJ.
  ASSERT_TRUE(w.PutIntoBalance(&bal, 1)) << w.ResultText()->text().toStdString();
  const platform::Sheet& out = bal.book().book().sheet(bal.book().OutSheet(1));
  EXPECT_EQ(out.InputText(kFirstDataRow, col::kFormula), "Wall heat loss");
  EXPECT_NEAR(*out.Number(kFirstDataRow, col::kTotH), 4025.38, 0.02);
  EXPECT_EQ(bal.book().Kind(bal.book().OutSheet(1), kFirstDataRow), RowKind::Heat);
  EXPECT_NEAR(*out.Number(0, col::kTotal + 4), 4025.38, 0.02) << "the OUT sheet's total heat counts it";
  EXPECT_TRUE(w.ResultText()->text().contains("Put into OUT1 row 4"));

  // A thicker insulation put again updates the same row instead of adding one.
  w.Layers()->item(1, 1)->setText("230");
  ASSERT_TRUE(w.PutIntoBalance(&bal, 1));
  EXPECT_LT(*out.Number(kFirstDataRow, col::kTotH), 4025.38);
  EXPECT_TRUE(out.Value(kFirstDataRow + 1, col::kFormula).empty());

  // In kWh the number is the loss in kW, as the clipboard line has it.
  bal.book().MUnits({EnergyUnit::kWh, TempUnit::C, false});
  ASSERT_TRUE(w.PutIntoBalance(&bal, 1));
  const double kw = w.result().q_w / 1000;
  EXPECT_NEAR(*out.Number(kFirstDataRow, col::kTotH), kw, 1e-9);

  EXPECT_FALSE(w.PutIntoBalance(&bal, 2));
  EXPECT_EQ(w.ResultText()->text(), "The balance has no area 2 (it has 1).");
  w.Layers()->item(0, 2)->setText("");  // no conductivity: nothing is written
  EXPECT_FALSE(w.PutIntoBalance(&bal, 1));
  EXPECT_NEAR(*out.Number(kFirstDataRow, col::kTotH), kw, 1e-9);
}

}  // namespace
}  // namespace zyl::balance::window
