#include "reactions/window/re_eq_r.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QShortcut>
#include <QSplitter>
#include <QTableView>
#include <QHeaderView>
#include <QScrollBar>
#include <QToolBar>
#include <QVBoxLayout>
#include <cmath>

#include "platform/paths.h"
#include "platform/window/dialogs.h"
#include "platform/window/grid.h"
#include "platform/window/help.h"
#include "platform/window/qt_messages.h"
#include "platform/window/xy_plot.h"
#include "shell/program_state.h"

namespace zyl::reactions::window {

using platform::window::AppDialogs;
using platform::window::AppMessages;
using platform::window::FromQ;
using platform::window::ToQ;

namespace {

constexpr int kColumns = 7;  ///< A..G
const char* const kHeaders[kColumns] = {"T", "ΔH", "ΔS", "ΔG", "K", "log K", "POTENTIAL E"};
constexpr double kWidths[kColumns] = {11, 13, 13, 13, 14, 10, 13};
constexpr char kHelpChapter[] = "10 Reaction Equations";
constexpr double kKFixedMin = 0.001;
constexpr double kKFixedMax = 1e9;
constexpr std::string_view kKScientificFormat = "0.0000E+00 ";
constexpr char kSaveFilter[] =
    "Reaction results (*.REA);;Excel workbook (*.xlsx);;Excel workbook, old name (*.xls);;CSV text (*.csv)";

const QStringList& PlotQuantities() {
  static const QStringList q = {"ΔG", "log K", "ΔH", "ΔS", "K"};
  return q;
}

Column QuantityColumn(const QString& name) {
  if (name == "log K") return Column::LogK;
  if (name == "ΔH") return Column::DeltaH;
  if (name == "ΔS") return Column::DeltaS;
  if (name == "K") return Column::K;
  return Column::DeltaG;
}

}  // namespace

int TemplateColumn(Column column) {
  switch (column) {
    case Column::T: return 0;
    case Column::DeltaH: return 1;
    case Column::DeltaS: return 2;
    case Column::DeltaG: return 3;
    case Column::K: return 4;
    case Column::LogK: return 5;
    case Column::E: return 6;
  }
  return 0;
}

platform::Workbook BuildResultsTemplate() {
  platform::Workbook book{kResultsSheet};
  platform::Sheet& s = book.sheet(0);
  s.SetText(0, 0, "Reaction:");
  s.SetBold(0, 0, 0, 1, true);
  for (int c = 0; c < kColumns; ++c) {
    s.SetText(kHeaderRow, c, kHeaders[c]);
    s.SetColumnWidth(c, kWidths[c]);
  }
  s.SetBold(kHeaderRow, 0, kUnitRow, kColumns - 1, true);
  s.ModifyStyle(kHeaderRow, 0, kUnitRow, kColumns - 1, [](platform::CellStyle& st) { st.align = platform::HAlign::Right; });
  s.SetText(kUnitRow, TemplateColumn(Column::E), std::string(kPotentialUnit));
  return book;
}

platform::Workbook LoadResultsTemplate(const std::filesystem::path& path) {
  platform::Workbook book;
  if (book.Load(path).empty() && book.FindSheet(kResultsSheet) >= 0) {
    book.SetActiveSheet(book.FindSheet(kResultsSheet));
    return book;
  }
  return BuildResultsTemplate();
}

std::filesystem::path ReEqR::TemplatePath() {
  const auto& state = shell::ZYL5main();
  return state.data_dir.empty() ? platform::DataPath("Reaction/Results.ORE") : state.DataPath("Reaction/Results.ORE");
}

ReEqR::ReEqR(QWidget* parent) : QWidget(parent), book_(std::make_unique<platform::Workbook>(BuildResultsTemplate())) {
  setObjectName("ReEqR");
  setWindowTitle(ToQ(kResultsCaptionPrefix));

  auto* bar = new QToolBar(this);
  bar->setToolButtonStyle(Qt::ToolButtonTextOnly);
  QAction* save = bar->addAction(tr("Save…"), this, &ReEqR::SaveAs);
  save->setObjectName("MSave");
  save->setShortcut(QKeySequence::Save);
  save->setToolTip(tr("Save the sheet as REA, Excel or CSV (Ctrl+S)"));
  QAction* print = bar->addAction(tr("Print…"), this, &ReEqR::PrintSheet);
  print->setObjectName("MPrint");
  print->setShortcut(QKeySequence::Print);
  QAction* copy = bar->addAction(tr("Copy"), this, &ReEqR::CopyRange);
  copy->setObjectName("MCopy");
  copy->setToolTip(tr("Copy the selected cells as tab-separated text (Ctrl+C)"));
  bar->addSeparator();
  bar->addWidget(new QLabel(tr(" Plot: "), bar));
  quantity_ = new QComboBox(bar);
  quantity_->setObjectName("PlotQuantity");
  quantity_->addItems(PlotQuantities());
  bar->addWidget(quantity_);
  QAction* pic = bar->addAction(tr("Save Picture…"), this, &ReEqR::SavePicture);
  pic->setObjectName("MSavePicture");
  QAction* copyPic = bar->addAction(tr("Copy Picture"), this,
                                    [this] { QApplication::clipboard()->setImage(plot_->Render(plot_->size())); });
  copyPic->setObjectName("MCopyPicture");
  bar->addSeparator();
  QAction* help = bar->addAction(tr("Help"), this, [] { platform::window::ShowHelpChapter(kHelpChapter); });
  help->setShortcut(QKeySequence::HelpContents);
  QAction* close = bar->addAction(tr("Close"), this, &QWidget::close);
  close->setShortcut(QKeySequence::Close);
  for (QAction* a : bar->actions()) a->setShortcutContext(Qt::WindowShortcut);

  summary_ = new QLabel(this);
  summary_->setWordWrap(true);
  summary_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  plot_ = new platform::window::XYPlot(this);
  grid_ = new platform::window::Grid(book_.get(), this);
  grid_->SetProtectionMessage(tr("The results are calculated: change the reaction window's input and calculate again."));

  auto* split = new QSplitter(this);
  split->setObjectName("Split");
  split->addWidget(grid_);
  split->addWidget(plot_);
  split->setStretchFactor(0, 3);
  split->setStretchFactor(1, 2);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(4, 4, 4, 4);
  layout->addWidget(bar);
  layout->addWidget(summary_);
  layout->addWidget(split, 1);
  connect(quantity_, &QComboBox::currentTextChanged, this, [this] { UpdatePlot(); });
  resize(1100, 620);
}

ReEqR::~ReEqR() {
  // The grid listens to the workbook: it goes first.
  delete grid_;
  grid_ = nullptr;
}

void ReEqR::InitSheetR(const ReactionTable& table) {
  table_ = table;
  auto fresh = std::make_unique<platform::Workbook>(LoadResultsTemplate(TemplatePath()));
  platform::Sheet& s = fresh->sheet(fresh->ActiveSheet());
  const std::string t_unit = table.temp_unit == TempUnit::Celsius ? "°C" : "K";
  s.SetText(kUnitRow, TemplateColumn(Column::T), t_unit);
  for (Column c : {Column::DeltaH, Column::DeltaG}) s.SetText(kUnitRow, TemplateColumn(c), std::string(UnitText(table.energy_unit)));
  s.SetText(kUnitRow, TemplateColumn(Column::DeltaS), std::string(EntropyUnitText(table.energy_unit)));
  const int last = kFirstDataRow + std::max<int>(0, int(table.rows.size()) - 1);
  s.SetNumberFormat(kFirstDataRow, 0, last, TemplateColumn(Column::LogK), kNumberFormat);
  s.SetNumberFormat(kFirstDataRow, TemplateColumn(Column::E), last, TemplateColumn(Column::E), kPotentialFormat);
  // CheckCol: the log K column is shown or hidden; the potential column only for equations with electrons.
  s.SetColumnHidden(TemplateColumn(Column::LogK), !table.show_log_k);
  s.SetColumnHidden(TemplateColumn(Column::E), !table.has_potential);

  AttachGrid(std::move(fresh));
}

void ReEqR::AttachGrid(std::unique_ptr<platform::Workbook> book) {
  // The grid is rebuilt on the new workbook (it listens to the one it was made for, so it goes first).
  auto* split = static_cast<QSplitter*>(grid_->parentWidget());
  delete grid_;
  book_ = std::move(book);
  grid_ = new platform::window::Grid(book_.get(), split);
  grid_->SetProtectionMessage(tr("The results are calculated: change the reaction window's input and calculate again."));
  const shell::FontSetting& f = shell::ZYL5main().settings.table_font;
  if (!f.name.empty()) {
    QFont font(ToQ(f.name), f.size > 0 ? f.size : 9);
    font.setBold(f.bold != 0);
    font.setItalic(f.italic != 0);
    grid_->SetGridFont(font);
  }
  split->insertWidget(0, grid_);
}

void ReEqR::FitGrid() {
  // The equation reads across the empty title cells; the grid gets the width of its columns.
  grid_->View()->setSpan(0, 1, 1, kColumns - 1);
  int width = grid_->View()->verticalHeader()->sizeHint().width() + grid_->View()->verticalScrollBar()->sizeHint().width() + 4;
  for (int c = 0; c < kColumns; ++c)
    if (!grid_->View()->isColumnHidden(c)) width += grid_->View()->columnWidth(c);
  if (auto* split = qobject_cast<QSplitter*>(grid_->parentWidget())) split->setSizes({width, std::max(300, this->width() - width)});
}

void ReEqR::Show(const ReactionTable& table) {
  InitSheetR(table);
  platform::Sheet& s = book_->sheet(book_->ActiveSheet());
  book_->SetAutoRecalc(false);
  s.SetText(0, 1, table.equation);
  int row = kFirstDataRow;
  for (const ReactionRow& r : table.rows) {
    for (const ColumnInfo& info : table.Columns())
      if (auto v = table.Cell(r, info.column)) {
        // A K beyond the range of a number is shown as text from its log K, never as INF.
        if (std::isfinite(*v)) s.SetNumber(row, TemplateColumn(info.column), *v);
        else s.SetText(row, TemplateColumn(info.column), CellText(table, r, info.column));
      }
    // K spans hundreds of decades: outside 0.001 .. 1e9 it is shown in scientific notation so that it keeps its digits.
    if (r.K != 0 && (r.K < kKFixedMin || r.K >= kKFixedMax))
      s.SetNumberFormat(row, TemplateColumn(Column::K), row, TemplateColumn(Column::K), kKScientificFormat);
    if (r.transition) s.ModifyStyle(row, 0, row, kColumns - 1, [](platform::CellStyle& st) { st.italic = true; });
    ++row;
  }
  ++row;
  std::vector<std::string> notes = table.notes;
  if (table.step_reset)
    notes.insert(notes.begin(), "Step widened to " + FormatCell(table.step, Column::T) + "to keep the table at 300 rows.");
  if (std::any_of(table.rows.begin(), table.rows.end(), [](const ReactionRow& r) { return r.transition; }))
    notes.push_back("Rows in italics lie just below and just above a phase transition.");
  for (const std::string& n : notes) s.SetText(row++, 0, n);
  s.SetProtected(true);
  book_->SetAutoRecalc(true);
  grid_->Refresh();

  FitGrid();
  setWindowTitle(ToQ(kResultsCaptionPrefix) + ToQ(table.equation));
  QString summary = tr("<b>%1</b> &nbsp; %2 rows from %3 to %4 %5")
                        .arg(ToQ(table.equation).toHtmlEscaped())
                        .arg(table.rows.size())
                        .arg(table.rows.empty() ? 0.0 : FromKelvin(table.rows.front().T, table.temp_unit), 0, 'f', 2)
                        .arg(table.rows.empty() ? 0.0 : FromKelvin(table.rows.back().T, table.temp_unit), 0, 'f', 2)
                        .arg(table.temp_unit == TempUnit::Celsius ? "°C" : "K");
  summary_->setText(summary);
  if (!table.show_log_k && quantity_->currentText() == "log K") quantity_->setCurrentText("ΔG");
  UpdatePlot();
}

void ReEqR::SetPlotQuantity(const QString& name) {
  quantity_->setCurrentText(name);
  UpdatePlot();
}

void ReEqR::UpdatePlot() {
  const QString name = quantity_->currentText();
  const Column col = QuantityColumn(name);
  QVector<QPointF> pts;
  QVector<double> markers;
  // Read from the sheet, so that an opened file plots the same way as a fresh calculation.
  const platform::Sheet& s = book_->sheet(book_->ActiveSheet());
  const int yc = TemplateColumn(col);
  for (int row = kFirstDataRow; row <= s.LastRow(); ++row) {
    const auto x = s.Number(row, 0);
    if (!x || !s.Value(row, 0).is_number()) break;
    const auto y = s.Value(row, yc).is_number() ? s.Number(row, yc) : std::nullopt;
    pts << QPointF(*x, y ? *y : std::nan(""));
    if (s.Style(row, 0).italic) markers << *x;
  }
  const QString tu = ToQ(s.DisplayText(kUnitRow, 0));
  QString yunit;
  if (col == Column::DeltaH || col == Column::DeltaG || col == Column::DeltaS) yunit = ToQ(s.DisplayText(kUnitRow, yc));
  plot_->SetTitle(ToQ(s.DisplayText(0, 1)));
  plot_->SetAxisTitles("T / " + tu, yunit.isEmpty() ? name : name + " / " + yunit);
  plot_->SetData(pts);
  plot_->SetMarkers(markers);
}

bool ReEqR::SaveTo(const QString& path) {
  std::string error;
  if (path.endsWith(".csv", Qt::CaseInsensitive))
    error = book_->SaveCsv(FromQ(path), book_->ActiveSheet(), true);
  else
    error = book_->Save(FromQ(path));
  if (!error.empty()) {
    AppMessages().Show(error, platform::kDefaultTitle, platform::Icon::Warning);
    return false;
  }
  platform::window::AddRecentFile("reaction-results", path);
  return true;
}

void ReEqR::SaveAs() {
  QString selected;
  const QString dir = platform::window::LastFolder("reaction-results", QString::fromStdString(shell::ZYL5main().work_dir.string()));
  QString path = AppDialogs().SaveFile(this, tr("Save Results as"), dir, kSaveFilter, &selected);
  if (path.isEmpty()) return;
  if (QFileInfo(path).suffix().isEmpty()) {
    if (selected.contains("*.xlsx")) path += ".xlsx";
    else if (selected.contains("*.xls")) path += ".xls";
    else if (selected.contains("*.csv")) path += ".csv";
    else path += ".REA";
  }
  SaveTo(path);
}

void ReEqR::PrintSheet() { grid_->Print(ToQ(kNoPrinter)); }

void ReEqR::CopyRange() { grid_->CopySelection(); }

bool ReEqR::OpenFile(const QString& path) {
  auto fresh = std::make_unique<platform::Workbook>();
  const std::string error = fresh->Load(FromQ(path));
  if (!error.empty()) {
    AppMessages().Show(error, platform::kDefaultTitle, platform::Icon::Warning);
    return false;
  }
  AttachGrid(std::move(fresh));
  table_ = ReactionTable{};
  table_.equation = book_->sheet(book_->ActiveSheet()).DisplayText(0, 1);
  FitGrid();
  setWindowTitle(ToQ(kResultsCaptionPrefix) + ToQ(table_.equation));
  summary_->setText(tr("<b>%1</b> &nbsp; from %2").arg(ToQ(table_.equation).toHtmlEscaped(), path.toHtmlEscaped()));
  UpdatePlot();
  platform::window::AddRecentFile("reaction-results", path);
  return true;
}

ReEqR* ReEqR::OpenResults(QWidget* parent, const QString& given) {
  QString path = given;
  if (path.isEmpty()) {
    const QString dir =
        platform::window::LastFolder("reaction-results", QString::fromStdString(shell::ZYL5main().work_dir.string()));
    path = AppDialogs().OpenFile(parent, tr("Open Results"), dir, "Reaction results (*.REA *.xlsx *.xls);;All files (*)");
    if (path.isEmpty()) return nullptr;
  }
  auto* r = new ReEqR;
  r->setAttribute(Qt::WA_DeleteOnClose);
  r->setAttribute(Qt::WA_QuitOnClose, false);
  if (!r->OpenFile(path)) {
    delete r;
    return nullptr;
  }
  r->show();
  return r;
}

void ReEqR::SavePicture() {
  const QString dir = platform::window::LastFolder("pictures", QString::fromStdString(shell::ZYL5main().work_dir.string()));
  const QString path = AppDialogs().SaveFile(this, tr("Save Picture as"), dir, "PNG picture (*.png);;SVG drawing (*.svg)");
  if (path.isEmpty()) return;
  if (!plot_->Save(path)) AppMessages().Show("Can not write: " + FromQ(path), platform::kDefaultTitle, platform::Icon::Warning);
  else platform::window::SetLastFolder("pictures", path);
}

}  // namespace zyl::reactions::window
