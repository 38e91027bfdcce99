#include "thermo/window/formula_weights.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QTableWidget>
#include <QTest>

#include "platform/window/qt_app.h"
#include "thermo/elements.h"

namespace zyl::thermo::window {
namespace {

TEST(FormulaWeightsWindow, ShowsWeightsLiveAsTheUserTypes) {
  testing::App();
  FormulaWeights w;
  w.show();
  QTest::keyClicks(w.Input(), "CuSO4*5H2O");
  // Independent sum: Cu + S + 9 O + 10 H from the shipped table.
  const ElementTable& t = Elements();
  const double fw = t.weight[t.Find("Cu")] + t.weight[t.Find("S")] + 9 * t.weight[t.Find("O")] +
                    10 * t.weight[t.Find("H")];
  EXPECT_NEAR(w.FormulaWeightText().toDouble(), fw, 1e-4);
  EXPECT_EQ(w.IonWeightText(), w.FormulaWeightText());
  ASSERT_EQ(w.ElementsTable()->rowCount(), 4);
  EXPECT_EQ(w.ElementsTable()->item(2, 0)->text(), "O");
  EXPECT_EQ(w.ElementsTable()->item(2, 1)->text(), "9");
  double pct = 0;
  for (int r = 0; r < 4; ++r) pct += w.ElementsTable()->item(r, 3)->text().toDouble();
  EXPECT_NEAR(pct, 100.0, 0.01);
}

TEST(FormulaWeightsWindow, IonsUnknownElementsAndEmptyInput) {
  testing::App();
  FormulaWeights w;
  const ElementTable& t = Elements();
  w.SetFormula("H(+a)");
  EXPECT_NEAR(w.IonWeightText().toDouble(), t.weight[t.Find("H")] - t.weight[kElectronEntry], 1e-4);
  EXPECT_EQ(w.ElementsTable()->item(1, 0)->text(), "e-");
  EXPECT_EQ(w.ElementsTable()->item(1, 1)->text(), "-1");

  w.SetFormula("Xx2O");  // Xx is no element: adds nothing
  EXPECT_NEAR(w.FormulaWeightText().toDouble(), t.weight[t.Find("O")], 1e-4);
  EXPECT_TRUE(w.ElementsTable()->item(0, 2)->text().isEmpty());

  w.SetFormula("");
  EXPECT_TRUE(w.FormulaWeightText().isEmpty());
  EXPECT_EQ(w.ElementsTable()->rowCount(), 0);
  w.SetFormula("((((((");  // whatever the parser makes of it, the window survives
}

// "Ca3(PO4" used to be weighed as Ca3PO4; brackets that do not pair up give no weight and say why.
TEST(FormulaWeightsWindow, UnpairedBracketsAreRefused) {
  testing::App();
  FormulaWeights w;
  auto note = [&w] {
    QString text;
    for (const QLabel* l : w.findChildren<QLabel*>())
      if (l->text().contains("formula:")) text = l->text();
    return text;
  };
  const std::pair<const char*, const char*> cases[] = {{"Ca3(PO4", "Unclosed '(' in formula: Ca3(PO4"},
                                                       {"Ca3PO4)2", "Unmatched ')' in formula: Ca3PO4)2"},
                                                       {"K3[Fe(CN)6", "Unclosed '[' in formula: K3[Fe(CN)6"}};
  for (auto [formula, message] : cases) {
    w.SetFormula(formula);
    EXPECT_TRUE(w.FormulaWeightText().isEmpty()) << formula;
    EXPECT_EQ(w.ElementsTable()->rowCount(), 0) << formula;
    EXPECT_EQ(note(), message) << formula;
  }
  w.SetFormula("Ca3(PO4)2");  // paired again: 3 Ca + 2 P + 8 O
  const ElementTable& t = Elements();
  EXPECT_NEAR(w.FormulaWeightText().toDouble(),
              3 * t.weight[t.Find("Ca")] + 2 * t.weight[t.Find("P")] + 8 * t.weight[t.Find("O")], 1e-4);
  EXPECT_TRUE(note().isEmpty());
}

TEST(FormulaWeightsWindow, CopiesTabSeparatedResults) {
  testing::App();
  FormulaWeights w;
  w.SetFormula("Fe2O3");
  const QStringList lines = w.ResultsText().split('\n', Qt::SkipEmptyParts);
  ASSERT_GE(lines.size(), 7);
  EXPECT_EQ(lines[0], "Formula:\tFe2O3");
  EXPECT_TRUE(lines[1].startsWith("Formula Weight:\t159.6"));
  EXPECT_TRUE(lines[5].startsWith("Fe\t2\t"));
}

}  // namespace
}  // namespace zyl::thermo::window
