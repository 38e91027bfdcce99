#include "equilibrium/window/gib_edit.h"

#include "equilibrium/solver_files.h"
#include "equilibrium/window/sol_gasm.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QMenuBar>
#include <QRegularExpression>
#include <QTableView>

#include "platform/files.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "thermo/constants.h"
#include "platform/window/grid.h"
#include "platform/window/qt_messages.h"
#include "thermo/lookup.h"

namespace zyl::equilibrium::window {

namespace {

constexpr const char* kTitle = "Equilibrium Calculations ";
constexpr int kNameCol = 0, kTypeCol = 1, kFirstAmountCol = 2;

}  // namespace

std::function<void(QWidget*, const QString&)> GibEdit::ShowSolverRun = ShowSolGasM;

QString GibbsFolder() {
  auto dir = platform::UserDataDir() / "Gibbs";
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  return QString::fromStdString(dir.string());
}

QString SolverFileFilter() {
  QStringList f;
  for (const auto& i : kSolverFormats) f << i.filter;
  return f.join(";;");
}

void PutSheet(platform::Workbook& book, const Sheet& s) {
  platform::Sheet& sh = book.sheet(0);
  sh.ClearAll(0, 0, platform::kMaxRows - 1, platform::kMaxCols - 1);
  sh.SetText(0, 0, s.title.empty() ? std::string("Equilibrium Calculations") : s.title);
  sh.SetText(kTRow, 0, "T (K)");
  sh.SetNumber(kTRow, 1, s.celsius ? s.T + thermo::kCelsiusOffset : s.T);
  sh.SetText(kTRow, 2, "Step (K)");
  sh.SetNumber(kTRow, 3, s.T_step);
  sh.SetText(kTRow, 4, "Count");
  sh.SetNumber(kTRow, 5, s.T_count);
  sh.SetText(kTRow, kAmountCountCol - 1, "Amount count");
  sh.SetNumber(kTRow, kAmountCountCol, s.amount_count);
  sh.SetText(kPRow, 0, "P (atm)");
  sh.SetNumber(kPRow, 1, s.bar ? s.P * kAtmPerBar : s.P);
  sh.SetText(kTotalRow, 0, "Total (mol)");
  for (int c = 0; c < 3; ++c) {
    const std::string col = platform::ColumnName(kFirstAmountCol + c);
    sh.SetFormula(kTotalRow, kFirstAmountCol + c,
                  "SUM(" + col + std::to_string(kFirstRow + 1) + ":" + col + std::to_string(kLastRow + 1) + ")");
  }
  sh.SetText(kHeaderRow, 0, "Phase / Species");
  sh.SetText(kHeaderRow, 1, "Phase type");
  sh.SetText(kHeaderRow, 2, "C (mol)");
  sh.SetText(kHeaderRow, 3, "D (mol)");
  sh.SetText(kHeaderRow, 4, "E (mol)");
  sh.SetText(kHeaderRow, kStepCol, "Step (mol)");
  sh.SetBold(kHeaderRow, 0, kHeaderRow, kStepCol, true);
  int row = kFirstRow;
  for (const auto& r : s.rows) {
    if (row > kLastRow) break;
    if (r.kind == SheetRowKind::Phase) {
      sh.SetText(row, kNameCol, r.name);
      sh.SetText(row, kTypeCol, PhaseTypeText(r.type));
      sh.SetBold(row, 0, row, 1, true);
    } else if (r.kind == SheetRowKind::Species) {
      sh.SetText(row, kNameCol, r.name);
      for (int c = 0; c < 3; ++c)
        if (r.amount[static_cast<size_t>(c)] != 0) sh.SetNumber(row, kFirstAmountCol + c, r.amount[static_cast<size_t>(c)]);
      if (r.step != 0) sh.SetNumber(row, kStepCol, r.step);
    }
    ++row;
  }
  book.Recalculate();
}

Sheet GetSheet(const platform::Workbook& book) {
  const platform::Sheet& sh = book.sheet(0);
  Sheet s;
  s.title = sh.DisplayText(0, 0);
  s.T = sh.Number(kTRow, 1).value_or(298.15);
  s.T_step = sh.Number(kTRow, 3).value_or(0);
  s.T_count = static_cast<int>(std::max(1.0, sh.Number(kTRow, 5).value_or(1)));
  s.amount_count = static_cast<int>(std::clamp(sh.Number(kTRow, kAmountCountCol).value_or(1), 1.0, double(kMaxPoints)));
  s.P = sh.Number(kPRow, 1).value_or(1);
  s.first_row = kFirstRow + 1;
  const int last = std::min(sh.LastRow(), kLastRow);
  for (int row = kFirstRow; row <= last; ++row) {
    SheetRow r;
    r.name = platform::Trim(sh.DisplayText(row, kNameCol));
    const std::string type = platform::Trim(sh.DisplayText(row, kTypeCol));
    if (r.name.empty() && type.empty()) {
      r.kind = SheetRowKind::Empty;
    } else if (PhaseTypeFromText(type, r.type)) {
      r.kind = SheetRowKind::Phase;
    } else {
      r.kind = SheetRowKind::Species;
      for (int c = 0; c < 3; ++c) r.amount[static_cast<size_t>(c)] = sh.Number(row, kFirstAmountCol + c).value_or(0);
      r.step = sh.Number(row, kStepCol).value_or(0);
    }
    s.rows.push_back(std::move(r));
  }
  return s;
}

GibEdit::GibEdit(platform::Messages* msgs, QWidget* parent) : QMainWindow(parent), book_("Gibbs") {
  setObjectName("GibEdit");
  setAttribute(Qt::WA_DeleteOnClose);
  if (!msgs) {
    own_msgs_ = std::make_unique<platform::window::QtMessages>(this);
    msgs = own_msgs_.get();
  }
  msgs_ = msgs;
  Sheet s;
  s.T = 1000;
  PutSheet(book_, s);
  grid_ = new platform::window::Grid(&book_, this);
  grid_->setObjectName("F1Gibbs");
  book_.sheet(0).SetColumnWidth(0, 24);
  book_.sheet(0).SetColumnWidth(1, 12);
  book_.sheet(0).SetColumnWidth(kStepCol, 11);
  book_.sheet(0).SetColumnWidth(kAmountCountCol - 1, 13);
  grid_->Refresh();
  setCentralWidget(grid_);
  SetName(name_);

  QMenu* file = menuBar()->addMenu("&File");
  file->addAction("&Open…", this, [this] {
    QString p = QFileDialog::getOpenFileName(this, "Open Equilibrium Sheet", GibbsFolder(),
                                             "Equilibrium sheet (*.xlsx);;All files (*)");
    if (!p.isEmpty()) OpenFile(p);
  })->setObjectName("MOpen");
  file->addAction("&Save…", this, [this] {
    QString p = QFileDialog::getSaveFileName(this, "Save Equilibrium Sheet", GibbsFolder() + "/" + name_ + ".xlsx",
                                             "Equilibrium sheet (*.xlsx)");
    if (!p.isEmpty()) SaveFile(p);
  })->setObjectName("MSave");
  file->addAction("Save Solver &File…", this, [this] {
    QString selected;
    QString p = QFileDialog::getSaveFileName(this, "Save Solver File", GibbsFolder() + "/" + name_ + ".gem",
                                             SolverFileFilter(), &selected);
    if (p.isEmpty()) return;
    SolverFormat f = SolverFormat::Gem;
    if (!SolverFormatFromExtension(QFileInfo(p).suffix().toStdString(), f)) {
      for (const auto& i : kSolverFormats)
        if (selected == i.filter) f = i.format;
      p += QString(".") + SolverFormatExtension(f);
    }
    SaveSolverFile(p, f);
  })->setObjectName("MSaveSolver");
  file->addAction("&Print…", this, [this] { grid_->Print("Printer error. No printers installed?"); });
  file->addAction("&Close", this, &QWidget::close);

  QMenu* edit = menuBar()->addMenu("&Edit");
  edit->addAction("&Copy", QKeySequence::Copy, this, [this] { grid_->CopySelection(); });
  edit->addAction("&Paste", QKeySequence::Paste, this, [this] { grid_->PasteClipboard(); });
  edit->addAction("Species of &Elements…", this, [this] {
    QDialog dlg(this);
    dlg.setWindowTitle("Species of Elements");
    auto* form = new QFormLayout(&dlg);
    auto* elements = new QLineEdit(&dlg);
    elements->setPlaceholderText("H, O, N");
    auto* gas = new QCheckBox("Gases", &dlg);
    auto* cond = new QCheckBox("Condensed species", &dlg);
    auto* aq = new QCheckBox("Aqueous species", &dlg);
    gas->setChecked(true);
    cond->setChecked(true);
    form->addRow("Elements:", elements);
    form->addRow(gas);
    form->addRow(cond);
    form->addRow(aq);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dlg);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, &dlg, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
    if (dlg.exec() != QDialog::Accepted) return;
    std::vector<std::string> list;
    for (const auto& e : elements->text().split(QRegularExpression("[,;\\s]+"), Qt::SkipEmptyParts))
      list.push_back(e.toStdString());
    FillFromElements(list, gas->isChecked(), cond->isChecked(), aq->isChecked());
  })->setObjectName("MElements");
  edit->addAction("&Delete Rows", this, [this] {
    int r1 = 0, c1 = 0, r2 = 0, c2 = 0;
    if (grid_->SelectedRange(&r1, &c1, &r2, &c2)) DeleteRows(r1, r2);
  })->setObjectName("MDeleteRows");
  menuBar()->addAction("Run &Solver…", this, &GibEdit::RunSolver)->setObjectName("MSolver");
  resize(760, 560);
}

GibEdit::~GibEdit() {
  delete grid_;  // the grid listens to book_
  grid_ = nullptr;
}

void GibEdit::SetName(const QString& name) {
  name_ = name;
  setWindowTitle(kTitle + name_);
}

Sheet GibEdit::CurrentSheet() const { return GetSheet(book_); }

void GibEdit::SetSheet(const Sheet& s) {
  PutSheet(book_, s);
  grid_->Refresh();
}

bool GibEdit::FillFromElements(const std::vector<std::string>& elements, bool gas, bool condensed, bool aqueous) {
  if (elements.empty()) {
    msgs_->Show("Give at least one element symbol, for example H, O, N.");
    return false;
  }
  Description d = NewDescription(elements, gas, condensed, aqueous, thermo::SharedSpeciesDatabases());
  if (d.phases.empty()) {
    std::string list;
    for (const auto& e : elements) list += (list.empty() ? "" : ",") + e;
    msgs_->Show("No database species is made only of " + list + ".");
    return false;
  }
  Sheet s = SheetFromDescription(d);
  const Sheet old = GetSheet(book_);
  s.title = old.title;
  s.T = old.T;
  s.T_step = old.T_step;
  s.T_count = old.T_count;
  s.amount_count = old.amount_count;
  s.P = old.P;
  SetSheet(s);
  return true;
}

void GibEdit::PasteSpecies(const std::vector<std::pair<std::string, double>>& raw,
                           const std::vector<std::pair<std::string, double>>& products) {
  Description d;
  DescPhase gas{"GAS", PhaseType::Gas, {}}, aq{"AQUEOUS", PhaseType::Aqueous, {}};
  std::vector<DescPhase> pure;
  auto add = [&](const std::string& name, double mol) {
    auto& list = name.ends_with("(g)") ? gas.species : name.ends_with("a)") ? aq.species : [&]() -> auto& {
      for (auto& p : pure)
        if (p.name == name) return p.species;
      pure.push_back({name, PhaseType::Pure, {}});
      return pure.back().species;
    }();
    for (auto& sp : list)
      if (sp.name == name) {
        sp.amount += mol;
        return;
      }
    list.push_back({name, mol});
  };
  for (const auto& [name, mol] : raw) add(name, mol);
  for (const auto& [name, mol] : products) add(name, 0.0);
  if (!gas.species.empty()) d.phases.push_back(std::move(gas));
  if (!aq.species.empty()) d.phases.push_back(std::move(aq));
  for (auto& p : pure) d.phases.push_back(std::move(p));
  Sheet s = SheetFromDescription(d);
  const Sheet old = GetSheet(book_);
  s.title = old.title;
  s.T = old.T;
  s.P = old.P;
  SetSheet(s);
}

void GibEdit::DeleteRows(int first, int last) {
  first = std::max(first, kFirstRow);
  if (last < first) return;
  book_.sheet(0).DeleteRows(first, last - first + 1);
  book_.Recalculate();
  grid_->Refresh();
}

bool GibEdit::SaveSolverFile(const QString& path, SolverFormat format) {
  Sheet s = GetSheet(book_);
  if (s.title.empty() || s.title == "Equilibrium Calculations") s.title = kTitle + name_.toStdString();
  const auto w = WriteSolverText(s, format, thermo::SharedSpeciesDatabases());
  for (const auto& m : w.report.messages) msgs_->Show(m.text, "GibEdit", m.stops ? platform::Icon::Error : platform::Icon::Warning);
  if (!w.ok()) {
    if (w.report.messages.empty()) msgs_->Error(w.error);
    return false;
  }
  std::string error;
  if (!platform::WriteFileAtomic(path.toStdString(), w.text, &error)) {
    msgs_->Error(error.empty() ? "Can not write " + path.toStdString() : error);
    return false;
  }
  if (w.report.marked) msgs_->Show(std::string(kMayNotWork), "GibEdit", platform::Icon::Warning);
  return true;
}

bool GibEdit::OpenFile(const QString& path) {
  platform::Workbook fresh("Gibbs");
  std::string error = fresh.Load(path.toStdString());
  if (!error.empty()) {
    msgs_->Error(error);
    return false;
  }
  SetSheet(GetSheet(fresh));
  SetName(QFileInfo(path).completeBaseName());
  return true;
}

bool GibEdit::SaveFile(const QString& path) {
  std::string error = book_.Save(path.toStdString());
  if (!error.empty()) {
    msgs_->Error(error);
    return false;
  }
  SetName(QFileInfo(path).completeBaseName());
  return true;
}

void GibEdit::RunSolver() {
  const QString path = GibbsFolder() + "/INPUT.gem";
  if (!SaveSolverFile(path, SolverFormat::Gem)) return;
  if (ShowSolverRun) ShowSolverRun(this, path);
  else msgs_->Show("The solver form is not available.");
}

}  // namespace zyl::equilibrium::window
