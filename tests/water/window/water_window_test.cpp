#include "water/window/water_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QTemporaryDir>
#include <cstdlib>

#include "water/window/water_chart.h"

#ifdef ZYL_SANITIZED
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }
#endif

namespace zyl::water::window {
namespace {

QApplication& App() {
  static int argc = 1;
  static char name[] = "test_water_window";
  static char* argv[] = {name, nullptr};
  static QApplication* app = new QApplication(argc, argv);
  return *app;
}

double Value(const WaterWindow& w, const char* key) { return w.ValueText(key).toDouble(); }

// IAPWS-IF97 Table 5: 300 K, 3 MPa: v = 0.00100215168 m3/kg, h = 115.331273 kJ/kg (IAPWS-95 within 0.1 %).
TEST(WaterWindow, StateInChosenUnits) {
  App();
  WaterWindow w;
  EXPECT_EQ(w.windowTitle(), "Water / Steam");
  w.ComboTUnit->setCurrentIndex(1);  // K
  w.ComboPUnit->setCurrentIndex(1);  // MPa
  w.TextT->setText("300");
  w.TextP->setText("3");
  ASSERT_TRUE(w.Calculate()) << w.StatusText().toStdString();
  EXPECT_NEAR(Value(w, "v"), 0.00100215168, 1e-6);
  EXPECT_NEAR(Value(w, "h"), 115.331273, 0.12);
  EXPECT_TRUE(w.PhaseText().startsWith("Liquid"));
  // The same state per mol: h times 18.015268 g/mol, cp in J/(mol K)
  w.ComboBasis->setCurrentIndex(1);
  EXPECT_NEAR(Value(w, "h"), 115.331273 * 0.018015268, 0.003);
  EXPECT_NEAR(Value(w, "cp"), 4.17301218 * 18.015268, 0.4);
  // Changing the unit converts the field: 3 MPa is 30 bar, 300 K is 26.85 °C, and the state stays.
  w.ComboPUnit->setCurrentIndex(0);
  w.ComboTUnit->setCurrentIndex(0);
  EXPECT_DOUBLE_EQ(w.TextP->text().toDouble(), 30.0);
  EXPECT_NEAR(w.TextT->text().toDouble(), 26.85, 1e-9);
  ASSERT_TRUE(w.Calculate());
  EXPECT_NEAR(Value(w, "h"), 115.331273 * 0.018015268, 0.003);
  // Steam at 1 atm, 200 °C
  w.ComboPUnit->setCurrentIndex(2);
  w.TextP->setText("1");
  w.TextT->setText("200");
  ASSERT_TRUE(w.Calculate());
  EXPECT_TRUE(w.PhaseText().startsWith("Vapour"));
  // Viscosity in µPa·s: the ISO/TR 3666 reference value for water at 20 °C and 1 atm is 1001.6.
  w.TextT->setText("20");
  ASSERT_TRUE(w.Calculate());
  EXPECT_NEAR(Value(w, "eta"), 1001.6, 0.06);
  EXPECT_NEAR(Value(w, "lambda"), 0.598, 0.002);  // W/(m·K), handbook value for water at 20 °C
}

TEST(WaterWindow, BadInputIsReportedAndKeepsTheLastState) {
  App();
  WaterWindow w;
  const QString rho = w.ValueText("rho");
  w.TextT->setText("abc");
  EXPECT_FALSE(w.Calculate());
  EXPECT_FALSE(w.StatusText().isEmpty());
  w.TextT->setText("25");
  w.TextP->setText("-3");
  EXPECT_FALSE(w.Calculate());
  EXPECT_TRUE(w.StatusText().contains("outside"));
  EXPECT_EQ(w.ValueText("rho"), rho);
  w.TextStep->setText("0");
  EXPECT_FALSE(w.FillTable());
}

// Saturation table by temperature: psat(100 °C) = 1.01418 bar (IAPWS-95; Wagner & Pruss 2002 Table 13.1:
// 0.101418 MPa); saved as CSV and read back.
TEST(WaterWindow, SaturationTableFillsAndSaves) {
  App();
  WaterWindow w;
  w.ComboTUnit->setCurrentIndex(0);
  w.ComboPUnit->setCurrentIndex(0);
  w.ComboSatBy->setCurrentIndex(0);
  w.TextFrom->setText("25");
  w.TextTo->setText("100");
  w.TextStep->setText("25");
  ASSERT_TRUE(w.FillTable()) << w.StatusText().toStdString();
  const auto& sh = w.Table().sheet(0);
  EXPECT_EQ(sh.LastRow(), 4);
  EXPECT_NEAR(*sh.Number(4, 0), 100.0, 1e-9);
  EXPECT_NEAR(*sh.Number(4, 1), 1.01418, 2e-5);
  EXPECT_NEAR(*sh.Number(4, 6), 2256.4, 0.5);  // enthalpy of vaporisation at 100 °C, kJ/kg
  // Viscosity (µPa·s) and conductivity (W/(m K)) of both phases at 100 °C; Incropera & DeWitt, Fundamentals
  // of Heat and Mass Transfer, Table A.6 at 373.15 K: 279 and 12.02 µPa·s, 0.680 and 0.0248 W/(m K),
  // older data than the correlations, within 2 %.
  EXPECT_EQ(sh.InputText(0, 11), "eta' / uPa s");
  EXPECT_NEAR(*sh.Number(4, 11), 279, 4);
  EXPECT_NEAR(*sh.Number(4, 12), 12.02, 0.25);
  EXPECT_NEAR(*sh.Number(4, 13), 0.680, 0.003);
  EXPECT_NEAR(*sh.Number(4, 14), 0.0248, 0.0004);
  QTemporaryDir dir;
  const QString path = QDir(dir.path()).filePath("sat.csv");
  EXPECT_TRUE(w.SaveTable(path).isEmpty());
  QFile f(path);
  ASSERT_TRUE(f.open(QIODevice::ReadOnly));
  const QString text = QString::fromUtf8(f.readAll());
  EXPECT_EQ(text.count('\n'), 5);
  EXPECT_TRUE(text.startsWith("T / °C"));
  // A folder that does not exist gives a message, not a crash.
  EXPECT_FALSE(w.SaveTable(QDir(dir.path()).filePath("no/such/folder/sat.csv")).isEmpty());
  // By pressure, in MPa
  w.ComboPUnit->setCurrentIndex(1);
  w.ComboSatBy->setCurrentIndex(1);
  w.TextFrom->setText("0.1");
  w.TextTo->setText("30");
  w.TextStep->setText("10");
  ASSERT_TRUE(w.FillTable());
  EXPECT_EQ(w.Table().sheet(0).LastRow(), 3);  // 0.1, 10.1, 20.1 MPa; 30.1 is above the critical point
}

TEST(WaterWindow, ChartHasDomeIsobarsAndRenders) {
  App();
  WaterWindow w;
  EXPECT_GT(w.Chart()->DomePointCount(), 100);
  EXPECT_EQ(w.Chart()->IsobarCount(), 8);
  w.ComboChart->setCurrentIndex(1);
  EXPECT_EQ(w.Chart()->kind(), WaterChart::Kind::HS);
  QImage img = w.Chart()->Render(QSize(400, 300));
  EXPECT_FALSE(img.isNull());
  QTemporaryDir dir;
  EXPECT_TRUE(w.Chart()->Save(QDir(dir.path()).filePath("chart.png")));
  EXPECT_TRUE(w.Chart()->Save(QDir(dir.path()).filePath("chart.svg")));
  if (const char* shots = std::getenv("ZYL_SCREENSHOT_DIR")) {
    w.ComboChart->setCurrentIndex(0);
    w.show();
    QApplication::processEvents();
    w.grab().save(QString(shots) + "/water.png");
  }
}

}  // namespace
}  // namespace zyl::water::window
