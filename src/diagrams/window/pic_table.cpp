#include "diagrams/window/pic_table.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPainter>
#include <QTextDocument>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>
#include <QVBoxLayout>
#include <cmath>

#include "diagrams/hscg_picture.h"
#include "diagrams/window/diagram_painter.h"
#include "platform/window/dialogs.h"
#include "platform/window/grid.h"
#include "platform/window/menus.h"
#include "platform/window/qt_messages.h"
#include "reactions/reaction.h"
#include "thermo/lookup.h"

namespace zyl::diagrams::window {

namespace {

using platform::window::AppDialogs;
using platform::window::AppMessages;
using platform::window::FromQ;
using platform::window::ToQ;

constexpr int kSpeciesSheet = 0;
constexpr const char* kTableSheet = "Table";
constexpr const char* kFileFilter = "DIA Files (*.dia *.DIA);;XLS Files (*.xlsx *.xls)";
constexpr const char* kEllinghamElements[] = {"O", "S", "Se", "Te", "Cl", "F", "Br", "I", "N", "C", "H"};
constexpr const char* kMsgNumbers = "Please, give the ranges as numbers !";

}  // namespace

PicTable::PicTable(QWidget* parent) : QWidget(parent), book_(std::make_unique<platform::Workbook>("Species")) {
  setObjectName("PicTable");
  setWindowTitle("H, S, C and G Diagrams");
  Build();
}

PicTable::~PicTable() {
  delete grid_;  // the grid listens to the workbook, which goes before the child widgets
}

void PicTable::Build() {
  auto [top, menu] = platform::window::AddMenuBarLayout(this);
  auto* file = menu->addMenu("&File");
  const platform::window::NamedActions act(this);
  act(file, "MOpen", "&Open DIA…", [this] {
    QString f = AppDialogs().OpenFile(this, "Open", QString(), kFileFilter);
    if (!f.isEmpty()) OpenFile(f);
  });
  act(file, "MSave", "&Save DIA…", [this] {
    QString f = AppDialogs().SaveFile(this, "Save", "Dia001.DIA", kFileFilter);
    if (!f.isEmpty()) SaveFile(f);
  });
  act(file, "MOpenX", "Open &XLS…", [this] {
    QString f = AppDialogs().OpenFile(this, "Open XLS", QString(), "XLS Files (*.xlsx *.xls)");
    if (!f.isEmpty()) OpenFile(f);
  });
  act(file, "MSaveX", "Save X&LS…", [this] {
    QString f = AppDialogs().SaveFile(this, "Save XLS", "Dia001.xlsx", "XLS Files (*.xlsx)");
    if (!f.isEmpty()) SaveFile(f);
  });
  file->addSeparator();
  act(file, "MPrint", "&Print…", [this] { Print(false); });
  act(file, "MPrintA", "Print &Area…", [this] { PrintArea(); });
  act(file, "MPrintS", "Print &Selection…", [this] { Print(true); });
  act(file, "MPrintPS", "Print Dia&gram…", [this] {
    if (QPrinterInfo::availablePrinters().isEmpty()) {
      AppMessages().Show(kMsgPrinterError);
      return;
    }
    if (!MakeTable()) return;
    QPrinter printer;
    QPrintDialog dlg(&printer, this);
    if (dlg.exec() != QDialog::Accepted) return;
    QPainter p(&printer);
    PaintDiagram(p, QRectF(printer.pageLayout().paintRectPixels(printer.resolution())), BuildHscgPicture(table_));
  });
  auto* edit = menu->addMenu("&Edit");
  act(edit, "MCopy", "&Copy", [this] { grid_->CopySelection(); });
  act(edit, "MPaste", "&Paste", [this] { grid_->PasteClipboard(); });
  act(edit, "MPasteV", "Paste &Values", [this] { PasteValues(); });
  act(edit, "MInsR", "&Insert Row", [this] {
    int r1, c1, r2, c2;
    if (!grid_->SelectedRange(&r1, &c1, &r2, &c2)) r1 = 0;
    auto names = Species();
    std::vector<std::string> all;
    const auto& sh = book_->sheet(kSpeciesSheet);
    for (int r = 0; r <= sh.LastRow(); ++r) all.push_back(sh.InputText(r, 0));
    all.insert(all.begin() + std::min<size_t>(r1, all.size()), "");
    book_->sheet(kSpeciesSheet).ClearContents(0, 0, platform::kMaxRows - 1, 0);
    for (size_t i = 0; i < all.size(); ++i) book_->sheet(kSpeciesSheet).SetText(int(i), 0, all[i]);
  });
  act(edit, "MDelR", "&Delete Row", [this] {
    int r1, c1, r2, c2;
    if (!grid_->SelectedRange(&r1, &c1, &r2, &c2)) return;
    std::vector<std::string> all;
    const auto& sh = book_->sheet(kSpeciesSheet);
    for (int r = 0; r <= sh.LastRow(); ++r)
      if (r < r1 || r > r2) all.push_back(sh.InputText(r, 0));
    book_->sheet(kSpeciesSheet).ClearContents(0, 0, platform::kMaxRows - 1, 0);
    for (size_t i = 0; i < all.size(); ++i) book_->sheet(kSpeciesSheet).SetText(int(i), 0, all[i]);
  });
  act(edit, "MGetForm", "&Get Species Formulas…", [this] {
    std::string range;
    if (AppMessages().AskText(std::string(kAskRecordRange) + "\n" + kRecordRangeHint, platform::kDefaultTitle, range))
      GetFormulas(ToQ(range));
  });

  auto* body = new QHBoxLayout;
  top->addLayout(body, 1);
  grid_ = new platform::window::Grid(book_.get(), this);
  grid_->setObjectName("F1BookP");
  book_->sheet(kSpeciesSheet).SetText(0, 0, "Al2O3");
  book_->sheet(kSpeciesSheet).SetText(1, 0, "MgO");
  book_->sheet(kSpeciesSheet).SetText(2, 0, "Cu2O");
  body->addWidget(grid_, 1);

  auto* side = new QVBoxLayout;
  body->addLayout(side);
  combo_type_ = new QComboBox(this);
  combo_type_->setObjectName("ComboType");
  for (auto e : kHscgEntries) combo_type_->addItem(ToQ(e));
  combo_type_->setCurrentIndex(static_cast<int>(HscgQuantity::DeltaG));
  side->addWidget(combo_type_);
  check_kg_ = new QCheckBox("Per kg", this);
  check_kg_->setObjectName("CheckKg");
  side->addWidget(check_kg_);
  check_scales_ = new QCheckBox("pO2, CO/CO2, H2/H2O scales", this);
  check_scales_->setObjectName("CheckScales");
  check_scales_->setToolTip("Ellingham diagram of oxides: nomographic scales on the right and bottom edges");
  side->addWidget(check_scales_);
  auto* ybox = new QGroupBox("Y-axis Unit", this);
  auto* yl = new QHBoxLayout(ybox);
  for (int i = 0; i < 2; ++i) {
    option_y_[i] = new QRadioButton(ybox);
    option_y_[i]->setObjectName(QString("OptionY%1").arg(i));
    yl->addWidget(option_y_[i]);
  }
  option_y_[1]->setChecked(true);
  side->addWidget(ybox);
  auto* xbox = new QGroupBox("X-axis Range (Temperature):", this);
  auto* xl = new QGridLayout(xbox);
  option_x_[0] = new QRadioButton("°C", xbox);
  option_x_[1] = new QRadioButton("K", xbox);
  option_x_[0]->setObjectName("OptionX0");
  option_x_[1]->setObjectName("OptionX1");
  option_x_[0]->setChecked(true);
  xl->addWidget(option_x_[0], 0, 0);
  xl->addWidget(option_x_[1], 0, 1);
  auto field = [&](QGridLayout* l, int row, const char* name, const char* label, const char* value) {
    auto* e = new QLineEdit(value, this);
    e->setObjectName(name);
    l->addWidget(new QLabel(label, this), row, 0);
    l->addWidget(e, row, 1);
    return e;
  };
  x_min_ = field(xl, 1, "TextXmin", "Min", "0");
  x_max_ = field(xl, 2, "TextXmax", "Max", "2000");
  x_step_ = field(xl, 3, "TextXStep", "Step", "50");
  side->addWidget(xbox);
  auto* ylim = new QGroupBox("Y-axis Range:", this);
  auto* yll = new QGridLayout(ylim);
  y_min_ = field(yll, 0, "TextYmin", "Min", "");
  y_max_ = field(yll, 1, "TextYmax", "Max", "");
  side->addWidget(ylim);
  list_ele_ = new QListWidget(this);
  list_ele_->setObjectName("ListEle");
  list_ele_->setSelectionMode(QAbstractItemView::MultiSelection);
  for (auto e : kEllinghamElements) list_ele_->addItem(e);
  list_ele_->setMaximumHeight(90);
  side->addWidget(list_ele_);
  auto button = [&](const char* name, const char* text, auto fn) {
    auto* b = new QPushButton(text, this);
    b->setObjectName(name);
    connect(b, &QPushButton::clicked, this, fn);
    side->addWidget(b);
    return b;
  };
  button("ButBal", "Ellingham of Element", [this] { EllinghamOfElement(); });
  button("ButData", "Table", [this] {
    if (MakeTable()) grid_->SelectSheet(book_->FindSheet(kTableSheet));
  });
  button("ButDia1", "Diagram", [this] { ShowDiagram(); });
  button("ButIns", "Insert Row", [this] { findChild<QAction*>("MInsR")->trigger(); });
  button("ButDel", "Delete Row", [this] { findChild<QAction*>("MDelR")->trigger(); });
  button("ButSearch", "Get Formulas", [this] { findChild<QAction*>("MGetForm")->trigger(); });
  side->addStretch();
  connect(check_kg_, &QCheckBox::toggled, this, [this] { UpdateUnits(); });
  UpdateUnits();
  resize(900, 620);
}

void PicTable::UpdateUnits() {
  const QString basis = check_kg_->isChecked() ? "kg" : "mol";
  option_y_[0]->setText("cal/" + basis);
  option_y_[1]->setText("J/" + basis);
}

std::vector<std::string> PicTable::Species() const {
  std::vector<std::string> out;
  const auto& sh = book_->sheet(kSpeciesSheet);
  for (int r = 0; r <= sh.LastRow(); ++r) {
    std::string s = sh.DisplayText(r, 0);
    if (s.find_first_not_of(" \t") != std::string::npos) out.push_back(s);
  }
  return out;
}

void PicTable::SetSpecies(const std::vector<std::string>& names) {
  auto& sh = book_->sheet(kSpeciesSheet);
  sh.ClearContents(0, 0, platform::kMaxRows - 1, 0);
  for (size_t i = 0; i < names.size(); ++i) sh.SetText(static_cast<int>(i), 0, names[i]);
}

bool PicTable::ReadOptions(HscgQuantity* q, HscgOptions* o, double* ymin, double* ymax) {
  *q = static_cast<HscgQuantity>(std::max(0, combo_type_->currentIndex()));
  auto t1 = reactions::ReadNumberField(FromQ(x_min_->text()));
  auto t2 = reactions::ReadNumberField(FromQ(x_max_->text()));
  auto st = reactions::ReadNumberField(FromQ(x_step_->text()));
  if (!t1 || !t2 || !st) {
    AppMessages().Show(kMsgNumbers);
    return false;
  }
  o->t1 = *t1, o->t2 = *t2, o->step = *st;
  o->temp_unit = option_x_[1]->isChecked() ? reactions::TempUnit::Kelvin : reactions::TempUnit::Celsius;
  o->per_kg = check_kg_->isChecked();
  o->joule = option_y_[1]->isChecked();
  *ymin = reactions::ReadNumberField(FromQ(y_min_->text())).value_or(NAN);
  *ymax = reactions::ReadNumberField(FromQ(y_max_->text())).value_or(NAN);
  return true;
}

bool PicTable::MakeTable() {
  HscgQuantity q;
  HscgOptions o;
  double y0, y1;
  if (!ReadOptions(&q, &o, &y0, &y1)) return false;
  if (table_.options.gas_element.size() && q == HscgQuantity::DeltaG) o.gas_element = table_.options.gas_element;
  table_ = CalcHscgTable(q, Species(), o, thermo::SharedSpeciesDatabases());
  if (!table_.ok()) {
    AppMessages().Show(table_.error);
    return false;
  }
  // The table sheet: CSV text of the calculation, one cell per value.
  int idx = book_->FindSheet(kTableSheet);
  if (idx < 0) {
    book_->InsertSheet(kTableSheet);
    idx = book_->FindSheet(kTableSheet);
  }
  auto& sh = book_->sheet(idx);
  sh.ClearAll(0, 0, platform::kMaxRows - 1, platform::kMaxCols - 1);
  const std::string csv = FormatHscgCsv(table_);
  int row = 0;
  for (size_t start = 0; start < csv.size(); ++row) {
    size_t end = csv.find('\n', start);
    if (end == std::string::npos) end = csv.size();
    std::string line = csv.substr(start, end - start);
    start = end + 1;
    int col = 0;
    size_t p = 0;
    while (p <= line.size()) {
      std::string cell;
      if (p < line.size() && line[p] == '"') {
        size_t q2 = p + 1;
        while (q2 < line.size()) {
          if (line[q2] == '"' && (q2 + 1 >= line.size() || line[q2 + 1] != '"')) break;
          cell += line[q2];
          q2 += line[q2] == '"' ? 2 : 1;
        }
        p = q2 + 2;
      } else {
        size_t c = line.find(',', p);
        if (c == std::string::npos) c = line.size();
        cell = line.substr(p, c - p);
        p = c + 1;
      }
      if (row == 0) {
        sh.SetText(row, col, cell);
      } else if (!cell.empty()) {
        sh.SetNumber(row, col, std::stod(cell));
      }
      ++col;
    }
  }
  sh.SetNumberFormat(1, 1, row, platform::kMaxCols - 1, "0.000");
  grid_->Refresh();
  return true;
}

DiagramView* PicTable::ShowDiagram() {
  if (!MakeTable()) return nullptr;
  HscgQuantity q;
  HscgOptions o;
  double y0, y1;
  ReadOptions(&q, &o, &y0, &y1);
  DiagramPicture pic = BuildHscgPicture(table_, y0, y1);
  if (check_scales_->isChecked()) AddEllinghamScales(pic, table_, thermo::SharedSpeciesDatabases());
  auto* v = new DiagramView(pic);
  v->setAttribute(Qt::WA_DeleteOnClose);
  v->show();
  return v;
}

bool PicTable::EllinghamOfElement() {
  const auto sel = list_ele_->selectedItems();
  if (sel.size() != 1) {
    AppMessages().Show(kMsgSelectOneElement);
    return false;
  }
  combo_type_->setCurrentIndex(static_cast<int>(HscgQuantity::DeltaG));
  table_.options.gas_element = FromQ(sel.front()->text());
  return ShowDiagram() != nullptr;
}

bool PicTable::GetFormulas(const QString& range) {
  const QStringList parts = range.trimmed().split('-');
  bool ok1 = false, ok2 = false;
  const int first = parts.size() == 2 ? parts[0].trimmed().toInt(&ok1) : 0;
  const int last = parts.size() == 2 ? parts[1].trimmed().toInt(&ok2) : 0;
  const auto* db = thermo::SharedSpeciesDatabases().main.get();
  if (!ok1 || !ok2 || first < 1 || last < first || !db || last > db->RecordCount()) {
    AppMessages().Show(std::string(kAskRecordRange) + "\n" + kRecordRangeHint);
    return false;
  }
  std::vector<std::string> names;
  for (int r = first; r <= last; ++r) {
    std::string f(db->Formula(r));
    if (names.empty() || names.back() != f) names.push_back(f);  // ranges of one species share a formula
  }
  SetSpecies(names);
  return true;
}

bool PicTable::OpenFile(const QString& path) {
  platform::Workbook wb;
  const std::string err = wb.Load(FromQ(path));
  if (!err.empty()) {
    AppMessages().Show(err);
    return false;
  }
  std::vector<std::string> names;
  const auto& sh = wb.sheet(0);
  for (int r = 0; r <= sh.LastRow(); ++r) names.push_back(sh.InputText(r, 0));
  SetSpecies(names);
  return true;
}

bool PicTable::SaveFile(const QString& path) {
  const std::string err = book_->Save(FromQ(path));
  if (!err.empty()) {
    AppMessages().Show(err);
    return false;
  }
  return true;
}

void PicTable::Print(bool area) {
  if (!grid_->Print(kMsgPrinterError, area)) return;
}

std::vector<platform::RangeRef> ParsePrintArea(std::string_view text) {
  std::vector<platform::RangeRef> out;
  const QStringList parts = ToQ(text).split(',');
  for (const QString& part : parts) {
    QString t = part.trimmed();
    t.remove(' ');
    const auto r = platform::ParseRangeRef(FromQ(t));
    if (!r || !r->sheet.empty()) return {};
    out.push_back(*r);
  }
  return out;
}

QString AsValues(const QString& tsv) {
  QStringList lines = tsv.split('\n');
  for (QString& line : lines) {
    QStringList cells = line.split('\t');
    for (QString& c : cells)
      if (c.trimmed().startsWith('=')) c = "'" + c.trimmed();
    line = cells.join('\t');
  }
  return lines.join('\n');
}

QString PicTable::AreaHtml(const std::vector<platform::RangeRef>& area) const {
  QString html;
  for (const auto& r : area) html += grid_->BlockHtml(r.r1, r.c1, r.r2, r.c2) + "<br>";
  return html;
}

bool PicTable::PrintArea() {
  std::string text;
  if (!AppMessages().AskText(std::string(kAskPrintArea) + "\n" + kPrintAreaHint, platform::kDefaultTitle, text))
    return false;
  const auto area = ParsePrintArea(text);
  if (area.empty()) {
    AppMessages().Show(kMsgBadPrintArea + text);
    return false;
  }
  if (QPrinterInfo::availablePrinterNames().isEmpty()) {
    AppMessages().Show(kMsgPrinterError);
    return false;
  }
  QPrinter printer(QPrinter::HighResolution);
  QPrintDialog dialog(&printer, this);
  if (dialog.exec() != QDialog::Accepted) return false;
  QTextDocument doc;
  doc.setHtml(AreaHtml(area));
  doc.print(&printer);
  return true;
}

bool PicTable::PasteValues() {
  // At the current cell, as the plain paste.
  const QModelIndex at = grid_->View()->currentIndex();
  const int r = at.isValid() ? at.row() : 0, c = at.isValid() ? at.column() : 0;
  const std::string error = grid_->PasteText(r, c, AsValues(QApplication::clipboard()->text()));
  if (error.empty()) return true;
  AppMessages().Show(error);
  return false;
}

// ------------------------------------------------------------------------------------------------

DiagramView::DiagramView(const DiagramPicture& pic, QWidget* parent) : QWidget(parent), pic_(pic), full_(pic) {
  setObjectName("HscgDiagram");
  setWindowTitle(ToQ(pic.title));
  auto* menu = new QMenuBar(this);
  auto* file = menu->addMenu("&File");
  file->addAction("&Save As…", this, [this] {
    QString f = AppDialogs().SaveFile(this, "Save Diagram", "Diagram.png", "PNG (*.png);;SVG (*.svg);;PDF (*.pdf)");
    QString error;
    if (!f.isEmpty() && !SaveAs(f, &error)) AppMessages().Show(FromQ(error));
  });
  file->addAction("&Print…", this, [this] {
    if (QPrinterInfo::availablePrinters().isEmpty()) {
      AppMessages().Show(kMsgPrinterError);
      return;
    }
    QPrinter printer;
    QPrintDialog dlg(&printer, this);
    if (dlg.exec() != QDialog::Accepted) return;
    QPainter p(&printer);
    PaintDiagram(p, QRectF(printer.pageLayout().paintRectPixels(printer.resolution())), pic_);
  });
  auto* edit = menu->addMenu("&Edit");
  edit->addAction("&Copy", this, [this] { CopyToClipboard(); });
  edit->addAction("&Unzoom", this, [this] { ResetZoom(); });
  auto* l = new QVBoxLayout(this);
  l->setMenuBar(menu);
  l->addStretch();
  resize(900, 700);
}

void DiagramView::Zoom(double x0, double x1, double y0, double y1) {
  if (x1 <= x0 || y1 <= y0) return;
  pic_.x.min = x0, pic_.x.max = x1, pic_.y.min = y0, pic_.y.max = y1;
  update();
}

void DiagramView::ResetZoom() {
  pic_ = full_;
  update();
}

bool DiagramView::SaveAs(const QString& path, QString* error) const {
  return RenderToFile(pic_, path, QSize(1000, 800), error);
}

void DiagramView::CopyToClipboard() const { QApplication::clipboard()->setImage(RenderImage(pic_, QSize(1000, 800))); }

void DiagramView::paintEvent(QPaintEvent*) {
  QPainter p(this);
  PaintDiagram(p, QRectF(rect()), pic_);
}

void DiagramView::mousePressEvent(QMouseEvent* e) { press_ = e->pos(); }

void DiagramView::mouseReleaseEvent(QMouseEvent* e) {
  const QPoint a = press_, b = e->pos();
  if ((a - b).manhattanLength() < 8) return;
  const PlotFrame f = LayoutPlot(QRectF(rect()), pic_);
  auto inv = [&](QPoint q, double* x, double* y) {
    *x = f.xmin + (q.x() - f.plot.left()) / f.plot.width() * (f.xmax - f.xmin);
    *y = f.ymin + (f.plot.bottom() - q.y()) / f.plot.height() * (f.ymax - f.ymin);
  };
  double x0, y0, x1, y1;
  inv(a, &x0, &y0);
  inv(b, &x1, &y1);
  Zoom(std::min(x0, x1), std::max(x0, x1), std::min(y0, y1), std::max(y0, y1));
}

void DiagramView::mouseDoubleClickEvent(QMouseEvent*) { ResetZoom(); }

}  // namespace zyl::diagrams::window
