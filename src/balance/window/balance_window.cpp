#include "balance/window/balance_window.h"
#include "equilibrium/window/gib_edit.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QPushButton>
#include <QSpinBox>
#include <QStatusBar>
#include <QTableView>
#include <QTextDocument>
#include <QUrl>
#include <QVBoxLayout>
#include <filesystem>

#include "balance/balance_io.h"
#include "balance/window/stream_editor_window.h"
#include "platform/paths.h"
#include "platform/text.h"

namespace zyl::balance::window {

namespace {

QString Q(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<int>(s.size())); }

QString BalanceFolder() {
  std::filesystem::path p = platform::UserDataDir() / "Balance";
  std::error_code ec;
  std::filesystem::create_directories(p, ec);
  return QString::fromStdString(p.string());
}

constexpr const char* kBalanceFilter = "Heat Balance (*.xlsx);;All files (*)";

}  // namespace

// ---------------------------------------------------------------------------------------------------------------

void BoxMessages::Show(std::string_view text, std::string_view title, platform::Icon icon) {
  QMessageBox::Icon i = icon == platform::Icon::Error     ? QMessageBox::Critical
                        : icon == platform::Icon::Warning ? QMessageBox::Warning
                                                          : QMessageBox::Information;
  QMessageBox box(i, Q(title), Q(text), QMessageBox::Ok, parent_);
  box.exec();
}

platform::Answer BoxMessages::AskYesNo(std::string_view text, std::string_view title) {
  return QMessageBox::question(parent_, Q(title), Q(text), QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes
             ? platform::Answer::Yes
             : platform::Answer::No;
}

platform::Answer BoxMessages::AskYesNoCancel(std::string_view text, std::string_view title) {
  auto b = QMessageBox::question(parent_, Q(title), Q(text), QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
  return b == QMessageBox::Yes ? platform::Answer::Yes : b == QMessageBox::No ? platform::Answer::No : platform::Answer::Cancel;
}

bool BoxMessages::AskText(std::string_view prompt, std::string_view title, std::string& value) {
  bool ok = false;
  QString s = QInputDialog::getText(parent_, Q(title), Q(prompt), QLineEdit::Normal, Q(value), &ok);
  if (ok) value = s.toStdString();
  return ok;
}

// ---------------------------------------------------------------------------------------------------------------

Balance::Balance(QWidget* parent, platform::Messages* msgs, SpeciesSource* species) : QMainWindow(parent) {
  setObjectName("Balance");
  setAttribute(Qt::WA_DeleteOnClose, parent == nullptr && msgs == nullptr);
  if (!msgs) {
    own_msgs_ = std::make_unique<BoxMessages>(this);
    msgs = own_msgs_.get();
  }
  msgs_ = msgs;
  if (!species) {
    own_species_ = std::make_unique<DbSpeciesSource>();
    species = own_species_.get();
  }
  book_ = std::make_unique<BalanceBook>(*species, *msgs_);
  grid_ = new BookGrid(&book_->book(), this);
  grid_->setObjectName("F1Heat");
  setCentralWidget(grid_);
  status_ = new QLabel(this);
  statusBar()->addWidget(status_, 1);
  BuildMenus();
  // The grid actions of the goal seek.
  grid_->View()->setContextMenuPolicy(Qt::ActionsContextMenu);
  for (auto [name, text, variable] : {std::tuple{"MSetVariable", kActionSetVariable, true},
                                      std::tuple{"MSetTarget", kActionSetTarget, false}}) {
    auto* a = new QAction(Q(text), grid_->View());
    a->setObjectName(name);
    connect(a, &QAction::triggered, this, [this, variable = variable] { SetTargetRef(variable); });
    grid_->View()->addAction(a);
  }
  connect(grid_->View(), &QAbstractItemView::clicked, this, [this](const QModelIndex& i) {
    if (book_->Role(grid_->CurrentSheet()) == SheetRole::Target && i.row() >= kTargetFirstRow) target_row_ = i.row();
  });
  Rebind();
  resize(980, 600);
}

void Balance::SetTargetRef(bool variable) {
  int s = grid_->CurrentSheet();
  if (book_->Role(s) == SheetRole::Target) {
    target_row_ = std::max(grid_->CurrentCell().first, kTargetFirstRow);
    return;
  }
  auto [r, c] = grid_->CurrentCell();
  std::string ref = platform::CellName(r, c, book_->book().sheet(s).name());
  int t = TargetSheet(*book_);
  platform::Sheet& tasks = book_->book().sheet(t);
  int row = target_row_;
  if (row < kTargetFirstRow) {  // the first task row without this reference
    row = kTargetFirstRow;
    while (!tasks.Value(row, variable ? tcol::kVarRef : tcol::kTargetRef).empty()) ++row;
  }
  zyl::balance::SetCellRef(tasks, row, variable, ref, true);
  book_->book().RecalculateDirty();
  status_->setText(QString("%1: %2 (Target row %3)").arg(Q(variable ? kActionSetVariable : kActionSetTarget))
                       .arg(QString::fromStdString(ref)).arg(row + 1));
}

// The grids listen to workbooks held by these windows: they go first.
Balance::~Balance() { delete grid_; }
BalMat::~BalMat() { delete grid_; }
BalTarget::~BalTarget() { delete grid_; }

void Balance::Rebind() {
  has_clip_ = false;  // another workbook: the copied cells are gone
  product_t_.clear();
  grid_->SetBook(&book_->book());
  grid_->Model()->SetEditHandler([this](int s, int r, int c, const std::string& input) {
    bool ok = book_->EditCell(s, r, c, input);
    return ok;
  });
  grid_->SelectSheet(std::min(1, book_->book().SheetCount() - 1));
  UpdateTitle();
}

void Balance::UpdateTitle() {
  setWindowTitle(QString::fromStdString(book_->Title()));
  status_->setText(QString("Energy: %1   Temperature: %2%3")
                       .arg(Q(EnergyUnitName(book_->units().energy)))
                       .arg(Q(TempUnitName(book_->units().temp)))
                       .arg(book_->units().ideal_gas ? "   Ideal gas" : ""));
}

QAction* Balance::Add(QMenu* menu, const char* name, const QString& text, void (Balance::*slot)(),
                      const QKeySequence& key) {
  QAction* a = menu->addAction(text);
  a->setObjectName(name);
  if (!key.isEmpty()) a->setShortcut(key);
  connect(a, &QAction::triggered, this, [this, slot] { (this->*slot)(); });
  return a;
}

QAction* Balance::Action(const char* name) const { return findChild<QAction*>(name); }

const double* Balance::ProductTemperature(int area) const {
  auto it = product_t_.find(area);
  return it == product_t_.end() ? nullptr : &it->second;
}

int Balance::CurrentArea() const {
  int area = 0;
  SheetRole role = book_->Role(grid_->CurrentSheet(), &area);
  return role == SheetRole::In || role == SheetRole::Out ? area : 1;
}

void Balance::BuildMenus() {
  BuildFileMenu();
  BuildEditMenu();
  BuildInsertMenu();
  BuildCalculateMenu();
  BuildOptionsMenu();
  QMenu* help = menuBar()->addMenu("&Help");
  Add(help, "MHelp", "11 Heat and Material Balance", &Balance::MHelp, QKeySequence::HelpContents);
}

void Balance::BuildFileMenu() {
  QMenu* file = menuBar()->addMenu("&File");
  Add(file, "MNew", "&New", &Balance::MNew, QKeySequence::New);
  QAction* open = file->addAction("&Open...");
  open->setObjectName("MOpen");
  open->setShortcut(QKeySequence::Open);
  connect(open, &QAction::triggered, this, [this] {
    QString p = QFileDialog::getOpenFileName(this, "Open Heat Balance", BalanceFolder(), kBalanceFilter);
    if (!p.isEmpty()) OpenFile(p);
  });
  QAction* open2 = file->addAction("Open Old Heat Balance (OHE)...");
  open2->setObjectName("MOpen2");
  connect(open2, &QAction::triggered, this, [this] {
    QString p = QFileDialog::getOpenFileName(this, "Open Old Heat Balance", BalanceFolder(), "OHE (*.OHE *.ohe);;All files (*)");
    if (!p.isEmpty()) ImportOld(p);
  });
  QAction* openx = file->addAction("Open Excel Workbook...");
  openx->setObjectName("MOpenXLS");
  connect(openx, &QAction::triggered, this, [this] {
    QString p = QFileDialog::getOpenFileName(this, "Open Excel Workbook", BalanceFolder(), "Excel (*.xlsx);;All files (*)");
    if (!p.isEmpty()) OpenFile(p);
  });
  file->addSeparator();
  QAction* save = file->addAction("&Save");
  save->setObjectName("MSave");
  save->setShortcut(QKeySequence::Save);
  connect(save, &QAction::triggered, this, [this] {
    QString p = SaveNeedsName()
                    ? QFileDialog::getSaveFileName(this, "Save Heat Balance", BalanceFolder(), kBalanceFilter)
                    : QString::fromStdString(book_->file().string());
    if (!p.isEmpty()) SaveFile(p);
  });
  for (auto [name, text] : {std::pair{"MSaveXLS5", "Save as Excel 5 (writes .xlsx)..."},
                            std::pair{"MSaveXLS97", "Save as Excel 97 (writes .xlsx)..."}}) {
    QAction* a = file->addAction(text);
    a->setObjectName(name);
    connect(a, &QAction::triggered, this, [this] {
      QString p = QFileDialog::getSaveFileName(this, "Save as Excel Workbook", BalanceFolder(), "Excel (*.xlsx)");
      if (p.isEmpty()) return;
      if (!p.endsWith(".xlsx", Qt::CaseInsensitive)) p += ".xlsx";
      SaveFile(p);
    });
  }
  file->addSeparator();
  QAction* print = file->addAction("&Print...");
  print->setObjectName("MPrint");
  connect(print, &QAction::triggered, this, [this] { MPrint(); });
  file->addSeparator();
  QAction* close = file->addAction("&Close");
  close->setObjectName("MExit");
  connect(close, &QAction::triggered, this, &QWidget::close);

}

void Balance::BuildEditMenu() {
  QMenu* edit = menuBar()->addMenu("&Edit");
  Add(edit, "MCopy", "&Copy", &Balance::MCopy, QKeySequence::Copy);
  QAction* paste = edit->addAction("&Paste");
  paste->setObjectName("MPaste");
  paste->setShortcut(QKeySequence::Paste);
  connect(paste, &QAction::triggered, this, [this] { MPaste(platform::PasteMode::All); });
  QAction* pv = edit->addAction("Paste &Values");
  pv->setObjectName("MPasteV");
  connect(pv, &QAction::triggered, this, [this] { MPaste(platform::PasteMode::Values); });
  QAction* pf = edit->addAction("Paste &Formulas");
  pf->setObjectName("MPasteF");
  connect(pf, &QAction::triggered, this, [this] { MPaste(platform::PasteMode::Formulas); });
  Add(edit, "MPasteL", "Paste Stream as &Links", &Balance::MPasteL);
  Add(edit, "MPasteE", "Copy all to &Equilibrium Module", &Balance::MPasteE);

}

void Balance::BuildInsertMenu() {
  QMenu* ins = menuBar()->addMenu("&Insert");
  Add(ins, "MInsBA", "Insert Balance &Area", &Balance::MInsBA);
  Add(ins, "MDelBA", "&Delete Balance Area", &Balance::MDelBA);
  ins->addSeparator();
  Add(ins, "MInsStream", "Insert &Stream...", &Balance::MInsStream);
  Add(ins, "MInsSpe", "Insert S&pecies", &Balance::MInsSpe);
  Add(ins, "MInsRow", "Insert &Row", &Balance::MInsRow);
  Add(ins, "MDelRow", "Delete R&ow", &Balance::MDelRow);
  Add(ins, "MInsCol", "Insert &Column", &Balance::MInsCol);
  Add(ins, "MDelCol", "Delete Co&lumn", &Balance::MDelCol);

}

void Balance::BuildCalculateMenu() {
  QMenu* calc = menuBar()->addMenu("&Calculate");
  Add(calc, "MReCalc", "&Recalculate", &Balance::MReCalc, QKeySequence(Qt::Key_F9));
  QAction* tem = calc->addAction("&Temperature of Products...");
  tem->setObjectName("MBalTem");
  connect(tem, &QAction::triggered, this, [this] {
    auto* d = new BalTem(this, this);
    d->setAttribute(Qt::WA_DeleteOnClose);
    d->show();
  });
  QAction* mat = calc->addAction("&Material Balance...");
  mat->setObjectName("MBalMat");
  connect(mat, &QAction::triggered, this, [this] {
    auto* d = new BalMat(this, this);
    d->setAttribute(Qt::WA_DeleteOnClose);
    d->show();
  });
  QAction* tot = calc->addAction("Total &Balance");
  tot->setObjectName("MBalTot");
  connect(tot, &QAction::triggered, this, [this] {
    book_->MReCalc(CurrentArea());
    if (std::vector<BalanceProblem> problems = CheckBalance(*book_); !problems.empty()) {
      msgs_->Show(ProblemsText(problems));  // the totals would carry them
      return;
    }
    Totals t = BalTot(*book_);
    std::string u(EnergyUnitName(book_->units().energy));
    msgs_->Show(platform::JoinLines({"Total Balance", "Balance (" + u + ")",
                                     "kmol: " + platform::FormatNumber(t.kmol, "0.000"),
                                     "kg: " + platform::FormatNumber(t.kg, "0.000"),
                                     "Nm3: " + platform::FormatNumber(t.nm3, "0.000"),
                                     "Latent H: " + platform::FormatNumber(t.lat_h, "0.000"),
                                     "Total H: " + platform::FormatNumber(t.tot_h, "0.000")}));
  });
  calc->addSeparator();
  Add(calc, "MTargetCalS", "Target Calculation &Sheet (Goal seek)", &Balance::MTargetCalS);
  QAction* tf = calc->addAction("Target &Form...");
  tf->setObjectName("MBalTarget");
  connect(tf, &QAction::triggered, this, [this] {
    auto* d = new BalTarget(this, this);
    d->setAttribute(Qt::WA_DeleteOnClose);
    d->show();
  });
  calc->addSeparator();
  Add(calc, "MCalcH", "&Enthalpy into Free Columns", &Balance::MCalcH);
  Add(calc, "MInsMW", "Molar &Weight into Free Column", &Balance::MInsMW);
  Add(calc, "MInsPress", "Water &Pressure Formulas", &Balance::MInsPress);
  calc->addSeparator();
  QAction* se = calc->addAction("Stream &Editor...");
  se->setObjectName("MStreamEditor");
  connect(se, &QAction::triggered, this, [this] {
    auto* w = new StreamEditor(this);
    w->setAttribute(Qt::WA_DeleteOnClose);
    w->show();
  });

}

void Balance::BuildOptionsMenu() {
  QMenu* opt = menuBar()->addMenu("&Options");
  QAction* units = opt->addAction("&Units...");
  units->setObjectName("MUnits");
  connect(units, &QAction::triggered, this, [this] { AskUnits(); });
}

void Balance::AskUnits() {
  QDialog d(this);
  d.setWindowTitle("Units");
  auto* form = new QFormLayout(&d);
  auto* energy = new QComboBox(&d);
  for (const char* u : {"kcal", "Mcal", "kJ", "MJ", "kWh"}) energy->addItem(u);
  energy->setCurrentIndex(static_cast<int>(book_->units().energy));
  auto* temp = new QComboBox(&d);
  temp->addItems({"°C", "K"});
  temp->setCurrentIndex(book_->units().temp == TempUnit::C ? 0 : 1);
  auto* ideal = new QCheckBox("Ideal gas density for every gas", &d);
  ideal->setObjectName("MIdeal");
  ideal->setChecked(book_->units().ideal_gas);
  form->addRow("Energy", energy);
  form->addRow("Temperature", temp);
  form->addRow(ideal);
  auto* bb = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &d);
  form->addRow(bb);
  connect(bb, &QDialogButtonBox::accepted, &d, &QDialog::accept);
  connect(bb, &QDialogButtonBox::rejected, &d, &QDialog::reject);
  if (d.exec() != QDialog::Accepted) return;
  MUnits({static_cast<EnergyUnit>(energy->currentIndex()), temp->currentIndex() == 0 ? TempUnit::C : TempUnit::K,
          ideal->isChecked()});
}

// ---------------------------------------------------------------------------------------------------------------

bool Balance::OpenFile(const QString& path) {
  if (!book_->Open(path.toStdString()).empty()) return false;
  Rebind();
  return true;
}

bool Balance::SaveFile(const QString& path) {
  if (!book_->Save(path.toStdString()).empty()) return false;
  UpdateTitle();
  return true;
}

bool Balance::SaveNeedsName() const {
  // An imported old file keeps its name in the title but must not be overwritten with a workbook.
  return book_->file().empty() || platform::ToUpper(book_->file().extension().string()) != ".XLSX";
}

int Balance::ClipSheet() const { return has_clip_ ? book_->book().FindSheet(clip_sheet_) : -1; }

bool Balance::ImportOld(const QString& path) {
  if (!ImportOhe(*book_, path.toStdString()).empty()) return false;
  Rebind();
  return true;
}

void Balance::MNew() {
  book_->MNew(book_->units());
  Rebind();
}

void Balance::MReCalc() {
  QApplication::setOverrideCursor(Qt::WaitCursor);
  auto [row, col] = book_->MReCalc(CurrentArea());
  QApplication::restoreOverrideCursor();
  // A cell that leaves the totals meaningless is selected and named (unknown species were named by the refill).
  std::vector<BalanceProblem> problems = CheckBalance(*book_);
  if (!problems.empty()) {
    grid_->SelectSheet(problems.front().sheet);
    grid_->SetCurrentCell(problems.front().row, problems.front().col);
    std::erase_if(problems, [](const BalanceProblem& p) { return p.col == col::kFormula; });
    if (!problems.empty()) msgs_->Show(ProblemsText(problems));
    return;
  }
  grid_->SelectSheet(book_->BalSheet());
  grid_->SetCurrentCell(row, col);
  // Enthalpies beyond a species' data are in italics; the status line says which.
  std::vector<ExtrapolatedRow> beyond = ExtrapolatedRows(*book_);
  if (!beyond.empty()) {
    QStringList items;
    for (const ExtrapolatedRow& e : beyond)
      items << QString::fromStdString(e.species + " (" + e.cell + ": " + e.note + ")");
    status_->setText("Extrapolated: " + items.join("; "));
  } else {
    UpdateTitle();
  }
}

void Balance::MUnits(const BalanceUnits& units) {
  // Temperatures of products found so far are kept in the display unit: they follow it.
  double shift = TempOffset(book_->units().temp) - TempOffset(units.temp);
  for (auto& [area, t] : product_t_) t += shift;
  book_->MUnits(units);
  UpdateTitle();
}

void Balance::MInsBA() {
  int n = book_->MInsBA();
  grid_->Refresh();
  grid_->SelectSheet(book_->InSheet(n));
}

void Balance::MDelBA() {
  if (!book_->MDelBA(grid_->CurrentSheet())) return;
  has_clip_ = false;  // later areas were renumbered
  product_t_.clear();
  grid_->Refresh();
}

void Balance::MInsStream() {
  book_->MInsStream(grid_->CurrentSheet(), grid_->CurrentCell().first);
}

void Balance::MInsSpe() { book_->MInsSpe(grid_->CurrentSheet(), grid_->CurrentCell().first); }
void Balance::MInsRow() { book_->MInsRow(grid_->CurrentSheet(), grid_->CurrentCell().first); }
void Balance::MDelRow() { book_->MDelRow(grid_->CurrentSheet(), grid_->CurrentCell().first); }
void Balance::MInsCol() { book_->MInsCol(grid_->CurrentSheet(), grid_->CurrentCell().second); }
void Balance::MDelCol() { book_->MDelCol(grid_->CurrentSheet(), grid_->CurrentCell().second); }

void Balance::MCalcH() {
  auto [r, c] = grid_->CurrentCell();
  book_->MCalcH(grid_->CurrentSheet(), r, c);
}

void Balance::MInsMW() {
  auto [r, c] = grid_->CurrentCell();
  book_->MInsMW(grid_->CurrentSheet(), r, c);
}

void Balance::MInsPress() { book_->MInsPress(grid_->CurrentSheet(), grid_->CurrentCell().first); }

void Balance::MCopy() {
  int r1, c1, r2, c2;
  if (!grid_->SelectedRange(&r1, &c1, &r2, &c2)) return;
  const platform::Sheet& sh = book_->book().sheet(grid_->CurrentSheet());
  clip_ = sh.Copy(r1, c1, r2, c2);
  has_clip_ = true;
  clip_sheet_ = sh.name();
  clip_row_ = r1;
  QApplication::clipboard()->setText(QString::fromStdString(clip_.ToTsv()));
}

void Balance::MPaste(platform::PasteMode mode) {
  auto [row, col] = grid_->CurrentCell();
  int s = grid_->CurrentSheet();
  SheetRole role = book_->Role(s);
  bool area = role == SheetRole::In || role == SheetRole::Out || role == SheetRole::Bal;
  int clip_sheet = ClipSheet();
  if (clip_sheet < 0) has_clip_ = false;
  if (!has_clip_) {
    // Text from elsewhere: typed cell by cell.
    QStringList lines = QApplication::clipboard()->text().split('\n');
    for (int i = 0; i < lines.size(); ++i) {
      if (lines[i].isEmpty() && i == lines.size() - 1) break;
      QStringList cells = lines[i].split('\t');
      for (int j = 0; j < cells.size(); ++j)
        if (!book_->EditCell(s, row + i, col + j, cells[j].toStdString())) return;
    }
    return;
  }
  if (!area) {
    std::string err = book_->book().sheet(s).Paste(row, col, clip_, mode);
    if (!err.empty()) msgs_->Show(err);
    book_->book().RecalculateDirty();
    return;
  }
  // On balance sheets every pasted cell goes through the same rules as typing.
  const platform::Sheet& src = book_->book().sheet(clip_sheet);
  for (const platform::Clip::Item& it : clip_.items) {
    std::string text = mode == platform::PasteMode::Values ? platform::FormatValue(it.value, "")
                                                           : src.InputText(clip_.row + it.dr, clip_.col + it.dc);
    if (!book_->Editable(s, row + it.dr, col + it.dc)) continue;
    if (!book_->EditCell(s, row + it.dr, col + it.dc, text)) return;
  }
}

void Balance::MPasteL() {
  int clip_sheet = ClipSheet();
  if (clip_sheet < 0) return;
  book_->MPasteL(clip_sheet, clip_row_, grid_->CurrentSheet(), grid_->CurrentCell().first);
}

void Balance::MPasteE() {
  if (msgs_->AskYesNo(kMsgCopyToEquilibrium) != platform::Answer::Yes) return;
  // Species rows of every area's input (raw materials, kmol -> mol) and output (candidate products).
  std::vector<std::pair<std::string, double>> raw, products;
  for (int a = 1; a <= book_->AreaCount(); ++a) {
    for (const auto& r : book_->Rows(book_->InSheet(a)))
      if (r.kind == RowKind::Species) raw.emplace_back(r.formula, r.kmol * 1000);
    for (const auto& r : book_->Rows(book_->OutSheet(a)))
      if (r.kind == RowKind::Species) products.emplace_back(r.formula, r.kmol * 1000);
  }
  auto* gib = new equilibrium::window::GibEdit;
  gib->PasteSpecies(raw, products);
  gib->show();
}

void Balance::MTargetCalS() {
  int s = book_->book().FindSheet(kTargetSheetName);
  if (s < 0) {
    s = TargetSheet(*book_);
    grid_->Refresh();
    grid_->SelectSheet(s);
    return;  // a new, empty Target sheet: the user fills in the tasks first
  }
  QApplication::setOverrideCursor(Qt::WaitCursor);
  zyl::balance::MTargetCalS(*book_);
  QApplication::restoreOverrideCursor();
}

bool Balance::MPrint() {
  if (QPrinterInfo::availablePrinters().isEmpty()) {
    msgs_->Show(kMsgPrinter);
    return false;
  }
  QPrinter printer;
  QPrintDialog dlg(&printer, this);
  if (dlg.exec() != QDialog::Accepted) return false;
  QTextDocument doc;
  doc.setHtml("<h3>" + windowTitle().toHtmlEscaped() + " - " +
              QString::fromStdString(book_->book().sheet(grid_->CurrentSheet()).name()) + "</h3>" + grid_->Html(false));
  doc.print(&printer);
  return true;
}

void Balance::MHelp() {
  std::filesystem::path doc = platform::DataDir() / ".." / "docs" / "balance.md";
  std::error_code ec;
  if (std::filesystem::exists(doc, ec))
    QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(std::filesystem::canonical(doc).string())));
  else
    msgs_->Show("11 Heat and Material Balance");
}

// ---------------------------------------------------------------------------------------------------------------

namespace {
/// "Balance area:" with a spin box over the areas of the balance, preset to its current area.
QSpinBox* AddAreaChooser(QHBoxLayout* row, Balance* balance, QWidget* parent) {
  row->addWidget(new QLabel("Balance area:", parent));
  auto* area = new QSpinBox(parent);
  area->setObjectName("SpinArea");
  area->setRange(1, std::max(1, balance->book().AreaCount()));
  area->setValue(balance->CurrentArea());
  row->addWidget(area);
  return area;
}
}  // namespace

BalTem::BalTem(Balance* balance, QWidget* parent) : QDialog(parent), balance_(balance) {
  setObjectName("BalTem");
  setWindowTitle("Temperature of Products");
  auto* layout = new QVBoxLayout(this);
  auto* row = new QHBoxLayout;
  area_ = AddAreaChooser(row, balance, this);
  auto* calc = new QPushButton("Calculate", this);
  calc->setObjectName("ButCalc");
  row->addWidget(calc);
  layout->addLayout(row);
  result_ = new QLabel(this);
  result_->setObjectName("LabResult");
  result_->setMinimumWidth(320);
  layout->addWidget(result_);
  connect(calc, &QPushButton::clicked, this, [this] { Calculate(); });
}

TBalResult BalTem::Calculate() {
  result_->setText(Q(kMsgCalculatingT) + Q(kMsgPleaseWait));
  QApplication::setOverrideCursor(Qt::WaitCursor);
  BalanceBook& b = balance_->book();
  b.MReCalc(area_->value());
  TBalResult r = CalTBal(b, area_->value(), true);
  QApplication::restoreOverrideCursor();
  if (r.done && r.iterated) balance_->SetProductTemperature(area_->value(), r.t_display);
  result_->setText(QString::fromStdString(r.message));
  return r;
}

// ---------------------------------------------------------------------------------------------------------------

BalMat::BalMat(Balance* balance, QWidget* parent) : QDialog(parent), balance_(balance), book_("BalMat") {
  setObjectName("BalMat");
  setWindowTitle("Material Balance");
  auto* layout = new QVBoxLayout(this);
  auto* row = new QHBoxLayout;
  area_ = AddAreaChooser(row, balance, this);
  auto* copy = new QPushButton("Copy Report", this);
  copy->setObjectName("ButCopy");
  row->addWidget(copy);
  auto* print = new QPushButton("Print", this);
  print->setObjectName("ButPrint");
  row->addWidget(print);
  row->addStretch();
  layout->addLayout(row);
  grid_ = new BookGrid(&book_, this);
  grid_->setObjectName("F1Mat");
  layout->addWidget(grid_, 2);
  report_ = new QPlainTextEdit(this);
  report_->setObjectName("TextReport");
  report_->setReadOnly(true);
  report_->setFont(QFont("Monospace"));
  layout->addWidget(report_, 1);
  connect(area_, &QSpinBox::valueChanged, this, [this](int a) { Fill(a); });
  connect(copy, &QPushButton::clicked, this, [this] { QApplication::clipboard()->setText(Report()); });
  connect(print, &QPushButton::clicked, this, [this] {
    if (QPrinterInfo::availablePrinters().isEmpty()) {
      balance_->messages().Show(kMsgPrinter);
      return;
    }
    QPrinter printer;
    QPrintDialog dlg(&printer, this);
    if (dlg.exec() != QDialog::Accepted) return;
    QTextDocument doc;
    doc.setPlainText(Report());
    doc.setDefaultFont(QFont("Monospace"));
    doc.print(&printer);
  });
  resize(760, 620);
  Fill(area_->value());
}

void BalMat::Fill(int area) {
  BalanceBook& b = balance_->book();
  b.MReCalc(area);
  // Amounts that are errors or species that are unknown would read as zeros: name them instead.
  if (std::vector<BalanceProblem> problems = CheckBalance(b, area); !problems.empty()) {
    platform::Sheet& sh = book_.sheet(0);
    sh.ClearAll(0, 0, std::max(sh.LastRow(), 0), std::max(sh.LastCol(), 6));
    grid_->Refresh();
    report_->setPlainText(QString::fromStdString(ProblemsText(problems)));
    return;
  }
  EleBal eb = GetEleBal(b, area);
  WriteBalMat(eb, b.units(), book_.sheet(0));
  book_.RecalculateDirty();
  grid_->Refresh();
  report_->setPlainText(QString::fromStdString(
      MaterialBalanceReport(eb, b.units(), b.file().filename().string(), balance_->ProductTemperature(area))));
}

QString BalMat::Report() const { return report_->toPlainText(); }

// ---------------------------------------------------------------------------------------------------------------

BalTarget::BalTarget(Balance* balance, QWidget* parent)
    : QDialog(parent), balance_(balance), model_(balance->book()) {
  setObjectName("BalTarget");
  setWindowTitle(Q(kTargetTitle));
  auto* layout = new QVBoxLayout(this);
  grid_ = new BookGrid(&model_.grid(), this);
  grid_->setObjectName("F1Target");
  layout->addWidget(grid_);
  auto* row = new QHBoxLayout;
  auto* setv = new QPushButton(Q(kActionSetVariable), this);
  setv->setObjectName("ButSetVariable");
  auto* sett = new QPushButton(Q(kActionSetTarget), this);
  sett->setObjectName("ButSetTarget");
  auto* link = new QPushButton("Refresh Values", this);
  link->setObjectName("ButLink");
  auto* iter = new QPushButton("Iterate Selected", this);
  iter->setObjectName("ButIterSel");
  for (auto* b : {setv, sett, link, iter}) row->addWidget(b);
  row->addStretch();
  layout->addLayout(row);
  connect(setv, &QPushButton::clicked, this, [this] { SetCellRef(true); });
  connect(sett, &QPushButton::clicked, this, [this] { SetCellRef(false); });
  connect(link, &QPushButton::clicked, this, [this] { model_.F1Link(); });
  connect(iter, &QPushButton::clicked, this, [this] { ButIterSel(); });
  grid_->SetCurrentCell(kTargetFirstRow, 0);
  resize(860, 320);
}

void BalTarget::SetCellRef(bool variable) {
  int s = balance_->F1Heat()->CurrentSheet();
  auto [r, c] = balance_->F1Heat()->CurrentCell();
  std::string ref = platform::CellName(r, c, balance_->book().book().sheet(s).name());
  int row = std::max(grid_->CurrentCell().first, kTargetFirstRow);
  zyl::balance::SetCellRef(model_.grid().sheet(0), row, variable, ref, false);
  model_.F1Link();
}

std::vector<TargetOutcome> BalTarget::ButIterSel() {
  int r1, c1, r2, c2;
  std::vector<int> rows;
  if (grid_->SelectedRange(&r1, &c1, &r2, &c2))
    for (int r = std::max(r1, kTargetFirstRow); r <= r2; ++r) rows.push_back(r);
  QApplication::setOverrideCursor(Qt::WaitCursor);
  std::vector<TargetOutcome> out = model_.ButIterSel(rows);
  QApplication::restoreOverrideCursor();
  return out;
}

}  // namespace zyl::balance::window
