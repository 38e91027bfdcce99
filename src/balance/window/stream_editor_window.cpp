#include "balance/window/stream_editor_window.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QSplitter>
#include <QTableView>
#include <QTextDocument>
#include <QVBoxLayout>
#include <filesystem>

#include "balance/window/balance_window.h"
#include "platform/paths.h"
#include "platform/text.h"

namespace zyl::balance::window {

namespace {
QString StreamFolder() {
  std::filesystem::path p = platform::UserDataDir() / "Balance";
  std::error_code ec;
  std::filesystem::create_directories(p, ec);
  return QString::fromStdString(p.string());
}
constexpr const char* kStrFilter = "Stream (*.STR *.str);;All files (*)";
}  // namespace

StreamEditor::StreamEditor(Balance* balance, platform::Messages* msgs, SpeciesSource* species)
    : QMainWindow(balance), balance_(balance), totals_("Totals") {
  setObjectName("StreamEditor");
  setWindowTitle(QString::fromUtf8(kStreamEditorTitle.data(), static_cast<int>(kStreamEditorTitle.size())));
  if (!msgs && balance) msgs = &balance->messages();
  if (!msgs) {
    own_msgs_ = std::make_unique<BoxMessages>(this);
    msgs = own_msgs_.get();
  }
  msgs_ = msgs;
  if (!species && balance) species = &balance->book().species();
  if (!species) {
    own_species_ = std::make_unique<DbSpeciesSource>();
    species = own_species_.get();
  }
  species_ = species;
  doc_ = std::make_unique<StreamDoc>(*species_, *msgs_);

  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);
  auto* bar = new QHBoxLayout;
  bar->addWidget(new QLabel("Stream:", central));
  name_ = new QLineEdit(central);
  name_->setObjectName("TextName");
  bar->addWidget(name_);
  bar->addWidget(new QLabel("Temperature:", central));
  temp_ = new QDoubleSpinBox(central);
  temp_->setObjectName("TextTemp");
  temp_->setRange(-273.15, 100000);
  temp_->setDecimals(2);
  bar->addWidget(temp_);
  bar->addWidget(new QLabel("Amount:", central));
  combo_a_ = new QComboBox(central);
  combo_a_->setObjectName("ComboA");
  combo_a_->addItems({"kmol", "Nm3", "kg"});
  bar->addWidget(combo_a_);
  bar->addWidget(new QLabel("Energy:", central));
  combo_e_ = new QComboBox(central);
  combo_e_->setObjectName("ComboE");
  combo_e_->addItems({" Mcal", " MJ", " kWh"});
  bar->addWidget(combo_e_);
  layout->addLayout(bar);
  auto* split = new QSplitter(central);
  grid1_ = new BookGrid(&doc_->book(), split);
  grid1_->setObjectName("F1Stream1");
  grid2_ = new BookGrid(&totals_, split);
  grid2_->setObjectName("F1Stream2");
  split->addWidget(grid1_);
  split->addWidget(grid2_);
  split->setStretchFactor(0, 3);
  split->setStretchFactor(1, 1);
  layout->addWidget(split);
  setCentralWidget(central);

  grid1_->Model()->SetEditHandler([this](int, int r, int c, const std::string& input) {
    platform::Sheet& sh = doc_->sheet();
    if (r < kStreamFirstRow || (c != scol::kSpecies && c != scol::kAmount)) {
      msgs_->Show(ProtectedMessage());
      return false;
    }
    sh.SetInput(r, c, input);
    doc_->RefreshAll();
    RefreshTotals();
    return true;
  });
  connect(combo_a_, &QComboBox::currentIndexChanged, this, [this](int i) {
    if (syncing_) return;
    doc_->ChangeUnit(static_cast<AmountUnit>(i));
    RefreshTotals();
  });
  connect(combo_e_, &QComboBox::currentIndexChanged, this, [this](int) { RefreshTotals(); });
  connect(name_, &QLineEdit::editingFinished, this, [this] { doc_->SetName(name_->text().toStdString()); });
  connect(temp_, &QDoubleSpinBox::valueChanged, this, [this](double t) {
    if (syncing_) return;
    doc_->SetTemperature(t);
    RefreshTotals();
  });
  BuildMenus();
  SyncControls();
  RefreshTotals();
  resize(820, 460);
}

// The grids listen to workbooks held by this window: they go first.
StreamEditor::~StreamEditor() { delete centralWidget(); }

void StreamEditor::BuildMenus() {
  QMenu* file = menuBar()->addMenu("&File");
  QAction* nw = file->addAction("&New");
  nw->setObjectName("MNew");
  connect(nw, &QAction::triggered, this, [this] {
    doc_->New();
    grid1_->SetBook(&doc_->book());
    SyncControls();
    RefreshTotals();
  });
  QAction* open = file->addAction("&Open...");
  open->setObjectName("MOpen");
  connect(open, &QAction::triggered, this, [this] {
    QString p = QFileDialog::getOpenFileName(this, "Open Stream", StreamFolder(), kStrFilter);
    if (!p.isEmpty()) OpenFile(p);
  });
  QAction* save = file->addAction("&Save...");
  save->setObjectName("MSave");
  connect(save, &QAction::triggered, this, [this] {
    QString p = QFileDialog::getSaveFileName(this, "Save Stream", StreamFolder(), kStrFilter);
    if (p.isEmpty()) return;
    if (!p.endsWith(".STR", Qt::CaseInsensitive)) p += ".STR";
    SaveFile(p);
  });
  QAction* print = file->addAction("&Print...");
  print->setObjectName("MPrint");
  connect(print, &QAction::triggered, this, [this] {
    if (QPrinterInfo::availablePrinters().isEmpty()) {
      msgs_->Show(kMsgPrinter);
      return;
    }
    QPrinter printer;
    QPrintDialog dlg(&printer, this);
    if (dlg.exec() != QDialog::Accepted) return;
    QTextDocument d;
    d.setHtml(grid1_->Html(false) + "<br>" + grid2_->Html(false));
    d.print(&printer);
  });

  QMenu* edit = menuBar()->addMenu("&Edit");
  QAction* copy = edit->addAction("&Copy");
  copy->setObjectName("MCopy");
  connect(copy, &QAction::triggered, this, [this] {
    BookGrid* g = grid2_->View()->hasFocus() ? grid2_ : grid1_;
    int r1, c1, r2, c2;
    if (!g->SelectedRange(&r1, &c1, &r2, &c2)) return;
    QApplication::clipboard()->setText(
        QString::fromStdString(g->book().sheet(g->CurrentSheet()).Copy(r1, c1, r2, c2).ToTsv()));
  });
  for (auto [name, text, values] : {std::tuple{"MPaste", "&Paste", false}, std::tuple{"MPasteV", "Paste &Values", true}}) {
    QAction* a = edit->addAction(text);
    a->setObjectName(name);
    connect(a, &QAction::triggered, this, [this, values = values] {
      (void)values;  // pasted text carries values only
      auto [row, col] = grid1_->CurrentCell();
      QStringList lines = QApplication::clipboard()->text().split('\n');
      for (int i = 0; i < lines.size(); ++i) {
        QStringList cells = lines[i].split('\t');
        for (int j = 0; j < cells.size(); ++j) {
          int c = col + j;
          if (row + i < kStreamFirstRow || (c != scol::kSpecies && c != scol::kAmount) || cells[j].isEmpty()) continue;
          doc_->sheet().SetInput(row + i, c, cells[j].trimmed().toStdString());
        }
      }
      doc_->RefreshAll();
      RefreshTotals();
    });
  }
  edit->addSeparator();
  QAction* tobal = edit->addAction("Copy to &Balance");
  tobal->setObjectName("MCopyBal");
  tobal->setEnabled(balance_ != nullptr);
  connect(tobal, &QAction::triggered, this, [this] { CopyToBalance(); });
}

void StreamEditor::SyncControls() {
  syncing_ = true;
  name_->setText(QString::fromStdString(doc_->Name()));
  temp_->setValue(doc_->Temperature());
  temp_->setSuffix(doc_->temp_unit() == TempUnit::C ? " °C" : " K");
  combo_a_->setCurrentIndex(static_cast<int>(doc_->unit()));
  syncing_ = false;
}

bool StreamEditor::OpenFile(const QString& path) {
  if (!doc_->Open(path.toStdString()).empty()) return false;
  grid1_->SetBook(&doc_->book());
  grid1_->Model()->SetEditHandler([this](int, int r, int c, const std::string& input) {
    if (r < kStreamFirstRow || (c != scol::kSpecies && c != scol::kAmount)) {
      msgs_->Show(ProtectedMessage());
      return false;
    }
    doc_->sheet().SetInput(r, c, input);
    doc_->RefreshAll();
    RefreshTotals();
    return true;
  });
  SyncControls();
  RefreshTotals();
  return true;
}

bool StreamEditor::SaveFile(const QString& path) {
  return doc_->Save(path.toStdString()).empty();
}

void StreamEditor::RefreshTotals() {
  platform::Sheet& sh = totals_.sheet(0);
  sh.ClearAll(0, 0, 12, 2);
  double kmol = 0, kg = 0, nm3 = 0;
  platform::Sheet& s1 = doc_->book().sheet(0);
  std::string assumed;  // condensed species without a density in the database
  for (int r = kStreamFirstRow; r <= doc_->LastSpeciesRow(); ++r) {
    double n = s1.Number(r, scol::kKmol).value_or(0), mw = s1.Number(r, scol::kMW).value_or(0);
    double dens = s1.Number(r, scol::kDens).value_or(0);
    const platform::CellValue name = s1.Value(r, scol::kSpecies);
    if (name.is_text() && !IsGas(name.text)) {
      const std::string formula = platform::Trim(name.text);
      const SpeciesInfo* sp = species_->Lookup(formula);
      const bool by_default = sp && !(sp->db_density > 0);
      if (by_default) assumed += (assumed.empty() ? "" : ", ") + formula;
      const std::uint32_t color = by_default ? kExtrapolatedColor : platform::kBlack;
      if (s1.Style(r, scol::kDens).color != color) s1.SetFontColor(r, scol::kDens, r, scol::kDens, color);
    }
    kmol += n;
    kg += n * mw;
    if (name.is_text() && IsGas(name.text)) nm3 += n * kMolarVolumeNm3;
    else if (dens > 0) nm3 += 0.001 * n * mw / dens;
  }
  static const EnergyUnit units[] = {EnergyUnit::Mcal, EnergyUnit::MJ, EnergyUnit::kWh};
  EnergyUnit eu = units[std::clamp(combo_e_->currentIndex(), 0, 2)];
  auto [tot, lat] = doc_->Enthalpy(eu);
  std::string u(EnergyUnitName(eu));
  sh.SetText(0, 0, "Stream totals");
  sh.SetBold(0, 0, 0, 0, true);
  const std::pair<std::string, double> rows[] = {{"kmol", kmol},          {"kg", kg}, {"Nm3", nm3},
                                                 {"Latent H " + u, lat}, {"Total H " + u, tot}};
  for (int i = 0; i < 5; ++i) {
    sh.SetText(i + 1, 0, rows[i].first);
    sh.SetNumber(i + 1, 1, rows[i].second);
  }
  sh.SetNumberFormat(1, 1, 5, 1, "0.000");
  if (!assumed.empty()) {
    sh.SetText(7, 0, "Density " + QString::number(kDefaultCondensedDensity, 'f', 1).toStdString() + " g/cm3 assumed:");
    sh.SetText(8, 0, assumed);
    sh.SetFontColor(7, 0, 8, 0, kExtrapolatedColor);
  }
  sh.SetColumnWidth(0, 14);
  sh.SetColumnWidth(1, 12);
  grid1_->Refresh();
  grid2_->Refresh();
}

bool StreamEditor::CopyToBalance() {
  if (!balance_) return false;
  BookGrid* g = balance_->F1Heat();
  return CopyStreamToBalance(*doc_, balance_->book(), g->CurrentSheet(), g->CurrentCell().first);
}

}  // namespace zyl::balance::window
