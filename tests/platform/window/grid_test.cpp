#include "platform/window/grid.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QFileInfo>
#include <QFont>
#include <QItemSelectionModel>
#include <QPrinter>
#include <cmath>
#include <QTabBar>
#include <QTableView>

#include "platform/window/qt_app.h"
#include "platform/window/qt_messages.h"
#include "platform/window/xy_plot.h"

namespace zyl::platform::window {
namespace {

class GridTest : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::App();
    SetAppMessages(&messages);
    Sheet& s = book.sheet(0);
    s.SetText(0, 0, "Name");
    s.SetText(0, 1, "Value");
    s.SetNumber(1, 1, 2.5);
    s.SetNumberFormat(1, 1, 1, 1, "0.000");
    s.SetFormula(2, 1, "=B2*2");
  }
  void TearDown() override { SetAppMessages(nullptr); }
  QModelIndex At(Grid& g, int r, int c) { return g.View()->model()->index(r, c); }
  void Select(Grid& g, int r1, int c1, int r2, int c2, bool add = false) {
    g.View()->selectionModel()->select(QItemSelection(At(g, r1, c1), At(g, r2, c2)),
                                       add ? QItemSelectionModel::Select : QItemSelectionModel::ClearAndSelect);
  }

  HeadlessMessages messages{false};
  Workbook book{"Sheet1"};
};

TEST_F(GridTest, ShowsFormattedValuesEditsAndFollowsTheWorkbook) {
  Grid g(&book);
  QAbstractItemModel* m = g.View()->model();
  EXPECT_EQ(m->data(At(g, 1, 1)).toString(), "2.500");
  EXPECT_EQ(m->data(At(g, 2, 1), Qt::EditRole).toString(), "=B2*2");
  EXPECT_EQ(m->headerData(27, Qt::Horizontal).toString(), "AB");
  EXPECT_EQ(m->headerData(0, Qt::Vertical).toInt(), 1);
  ASSERT_TRUE(m->setData(At(g, 1, 1), "4", Qt::EditRole));
  EXPECT_EQ(m->data(At(g, 2, 1)).toString(), "8") << "the dependent formula recalculated";
  // A change made by the program shows at once, also far below the rows shown so far.
  book.sheet(0).SetNumber(500, 3, 1.0);
  EXPECT_GT(m->rowCount(), 500);
  EXPECT_EQ(m->data(At(g, 500, 3)).toString(), "1");
}

// How a cell looks: numbers right, errors centred, text left unless aligned; bold, italic and colour
// from the cell's style.
TEST_F(GridTest, CellsShowTheirStyle) {
  Sheet& s = book.sheet(0);
  s.SetFormula(3, 0, "=1/0");
  s.ModifyStyle(0, 0, 0, 0, [](CellStyle& st) {
    st.bold = true;
    st.color = kRed;
  });
  s.ModifyStyle(0, 1, 0, 1, [](CellStyle& st) {
    st.italic = true;
    st.align = HAlign::Center;
  });
  Grid g(&book);
  QAbstractItemModel* m = g.View()->model();
  auto align = [&](int r, int c) { return m->data(At(g, r, c), Qt::TextAlignmentRole).value<Qt::Alignment>(); };
  EXPECT_EQ(align(1, 1), Qt::AlignRight | Qt::AlignVCenter);
  EXPECT_EQ(align(3, 0), Qt::AlignCenter);
  EXPECT_EQ(align(0, 0), Qt::AlignLeft | Qt::AlignVCenter);
  EXPECT_EQ(align(0, 1), Qt::AlignCenter);
  EXPECT_TRUE(m->data(At(g, 0, 0), Qt::FontRole).value<QFont>().bold());
  EXPECT_TRUE(m->data(At(g, 0, 1), Qt::FontRole).value<QFont>().italic());
  EXPECT_FALSE(m->data(At(g, 1, 1), Qt::FontRole).isValid());
  EXPECT_EQ(m->data(At(g, 0, 0), Qt::ForegroundRole).value<QColor>(), QColor(255, 0, 0));
  EXPECT_FALSE(m->data(At(g, 0, 1), Qt::ForegroundRole).isValid());
}

TEST_F(GridTest, ProtectedCellsRefuseEditsWithTheModulesMessage) {
  Sheet& s = book.sheet(0);
  s.SetLocked(1, 1, 1, 1, false);
  s.SetProtected(true);
  Grid g(&book);
  g.SetProtectionMessage("Only red cells can be edited.");
  QAbstractItemModel* m = g.View()->model();
  EXPECT_FALSE(m->setData(At(g, 0, 0), "x", Qt::EditRole));
  EXPECT_EQ(messages.Last(), "Only red cells can be edited.");
  EXPECT_EQ(s.DisplayText(0, 0), "Name");
  EXPECT_TRUE(m->setData(At(g, 1, 1), "3", Qt::EditRole));
  EXPECT_TRUE(m->data(At(g, 1, 1), Qt::BackgroundRole).isValid()) << "input cells stand out";
  EXPECT_EQ(g.PasteText(0, 1, "1\t2\n"), "Only red cells can be edited.");
}

TEST_F(GridTest, CopiesOneRangeAsTabSeparatedTextAndPastesItBack) {
  Grid g(&book);
  Select(g, 0, 0, 2, 1);
  ASSERT_TRUE(g.CopySelection());
  const QString tsv = QApplication::clipboard()->text();
  EXPECT_EQ(tsv, "Name\tValue\n\t2.500\n\t5\n");
  g.View()->setCurrentIndex(At(g, 10, 3));
  ASSERT_TRUE(g.PasteClipboard());
  const Sheet& s = book.sheet(0);
  EXPECT_EQ(s.DisplayText(10, 4), "Value");
  EXPECT_DOUBLE_EQ(*s.Number(11, 4), 2.5) << "pasted numbers are numbers";
  EXPECT_TRUE(s.Value(11, 3).empty());
  // Windows line ends from other programs.
  EXPECT_EQ(g.PasteText(20, 0, "1.5\t=A21*2\r\n"), "");
  EXPECT_DOUBLE_EQ(*s.Number(20, 1), 3.0);
  // Two blocks: refused with the message, clipboard untouched.
  Select(g, 0, 0, 0, 0);
  Select(g, 2, 1, 2, 1, true);
  QApplication::clipboard()->setText("before");
  EXPECT_FALSE(g.CopySelection());
  EXPECT_EQ(messages.Last(), "Please select only one Range !");
  EXPECT_EQ(QApplication::clipboard()->text(), "before");
  EXPECT_EQ(g.PasteText(65535, 0, "1\n2\n"), std::string(kPasteOffSheet));
}

TEST_F(GridTest, SheetTabsSwitchTheShownSheet) {
  ASSERT_EQ(book.InsertSheet("IN1"), "");
  book.sheet(1).SetText(0, 0, "second");
  Grid g(&book);
  auto* tabs = g.findChild<QTabBar*>();
  ASSERT_NE(tabs, nullptr);
  EXPECT_EQ(tabs->count(), 2);
  EXPECT_EQ(tabs->tabText(1), "IN1");
  tabs->setCurrentIndex(1);
  EXPECT_EQ(g.Model()->SheetIndex(), 1);
  EXPECT_EQ(book.ActiveSheet(), 1);
  EXPECT_EQ(g.View()->model()->data(At(g, 0, 0)).toString(), "second");
  book.sheet(1).SetColumnHidden(2, true);
  g.Refresh();
  EXPECT_TRUE(g.View()->isColumnHidden(2));
}

TEST_F(GridTest, PrintsTheSheetOrTheSelectionAndSavesPlots) {
  Grid g(&book);
  Select(g, 1, 1, 2, 1);
  EXPECT_EQ(g.BlockHtml(1, 1, 2, 1).count("<tr>"), 2);
  testing::TempDir tmp;
  for (bool selection : {false, true}) {
    const QString pdf = testing::QtPath(tmp, selection ? "sel.pdf" : "all.pdf");
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(pdf);
    g.PrintTo(&printer, selection);
    EXPECT_GT(QFileInfo(pdf).size(), 500) << pdf.toStdString();
  }
  XYPlot plot;
  plot.SetData({{25, -400}, {500, -380}, {1000, std::nan("")}, {1200, -350}});
  plot.SetAxisTitles("T / °C", "ΔG / kJ");
  for (const char* name : {"p.png", "p.svg"}) {
    const QString path = testing::QtPath(tmp, name);
    ASSERT_TRUE(plot.Save(path)) << name;
    EXPECT_GT(QFileInfo(path).size(), 500) << name;
  }
  EXPECT_FALSE(plot.Save(testing::QtPath(tmp, "no/such/p.png")));
}

TEST(NiceTicks, CoverTheRangeWithRoundSteps) {
  for (auto [lo, hi] : {std::pair{25.0, 1000.0}, {-1234.5, -3.2}, {0.0001, 0.00037}, {5.0, 5.0}, {-1e6, 3e7}}) {
    const QVector<double> t = NiceTicks(lo, hi);
    ASSERT_GE(t.size(), 2) << lo << " " << hi;
    EXPECT_LE(t.front(), lo);
    EXPECT_GE(t.back(), hi);
    const double step = t[1] - t[0];
    const double mantissa = step / std::pow(10.0, std::floor(std::log10(step)));
    EXPECT_TRUE(std::abs(mantissa - 1) < 1e-9 || std::abs(mantissa - 2) < 1e-9 || std::abs(mantissa - 2.5) < 1e-9 ||
                std::abs(mantissa - 5) < 1e-9)
        << step;
    EXPECT_LE(t.size(), 14);
  }
}

}  // namespace
}  // namespace zyl::platform::window
