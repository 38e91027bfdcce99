#include "mineralogy/window/miner_window.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include <fmt/format.h>

#include "platform/paths.h"
#include "platform/window/grid.h"
#include "platform/window/qt_messages.h"

namespace zyl::mineralogy::window {

namespace {

constexpr const char* kFilter = "Mineralogy (*.MNR *.mnr);;Spreadsheet (*.xlsx *.xls);;All files (*)";
constexpr const char* kXlsFilter = "Spreadsheet (*.xlsx *.xls);;All files (*)";

QString MineralFolder() {
  auto dir = platform::UserDataDir() / "Mineral";
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  return QString::fromStdString(dir.string());
}

}  // namespace

Miner::Miner(platform::Messages* msgs, QWidget* parent)
    : QMainWindow(parent), miner_(std::make_unique<mineralogy::Miner>()) {
  setObjectName("Miner");
  setAttribute(Qt::WA_DeleteOnClose);
  if (!msgs) {
    own_msgs_ = std::make_unique<platform::window::QtMessages>(this);
    msgs = own_msgs_.get();
  }
  msgs_ = msgs;
  file_ = QString::fromUtf8(kDefaultName.data(), int(kDefaultName.size()));

  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);
  auto* bar = new QHBoxLayout;
  bar->addWidget(new QLabel("Iterations:"));
  text_n_ = new QLineEdit(QString::number(kDefaultIterations));
  text_n_->setObjectName("TextN");
  text_n_->setValidator(new QIntValidator(1, 100000, text_n_));
  text_n_->setMaximumWidth(70);
  bar->addWidget(text_n_);
  auto button = [&](const char* name, const char* text, const char* tip, void (Miner::*slot)()) {
    auto* b = new QPushButton(text);
    b->setObjectName(name);
    b->setToolTip(tip);
    connect(b, &QPushButton::clicked, this, slot);
    bar->addWidget(b);
  };
  button("ButIter", "Iterate", "Fit the mineral of the selected row to its target element", &Miner::ButIter);
  button("ButIterAll", "Iterate All", "Fit every mineral with a target element, in passes until the amounts settle",
         &Miner::ButIterAll);
  button("ButLast", "Last", "Give the selected mineral back the amount it had before its last fit", &Miner::ButLast);
  button("ButLSQ", "Least Squares", "Fit all amounts to the whole assay (non-negative least squares)",
         &Miner::ButLeastSquares);
  bar->addStretch();
  layout->addLayout(bar);
  grid_ = new platform::window::Grid(&miner_->book(), central);
  grid_->setObjectName("F1Miner");
  layout->addWidget(grid_, 1);
  status_ = new QLabel;
  layout->addWidget(status_);
  setCentralWidget(central);
  BuildMenus();
  UpdateTitle();
  resize(900, 560);
}

Miner::~Miner() {
  delete grid_;  // the grid listens to the workbook that miner_ owns
  grid_ = nullptr;
}

void Miner::BuildMenus() {
  QMenu* file = menuBar()->addMenu("&File");
  file->addAction("&New", this, [this] {
    miner_->Build({}, {});
    file_ = QString::fromUtf8(kDefaultName.data(), int(kDefaultName.size()));
    grid_->Refresh();
    UpdateTitle();
  })->setObjectName("MNew");
  // Open and save commands: menu text, object name, dialog caption, extension of a saved file, filter.
  auto open = [&](const char* text, const char* name, const char* caption, const char* filter) {
    file->addAction(text, this, [this, caption, filter] {
      QString p = QFileDialog::getOpenFileName(this, caption, MineralFolder(), filter);
      if (!p.isEmpty()) OpenFile(p);
    })->setObjectName(name);
  };
  auto save = [&](const char* text, const char* name, const char* caption, const char* ext, const char* filter) {
    file->addAction(text, this, [this, caption, ext, filter] {
      QString p = QFileDialog::getSaveFileName(this, caption, MineralFolder() + "/" + file_ + ext, filter);
      if (!p.isEmpty()) SaveFile(p);
    })->setObjectName(name);
  };
  open("&Open…", "MOpen", "Open Mineralogy File", kFilter);
  save("&Save…", "MSave", "Save Mineralogy File", ".MNR", kFilter);
  open("Open &XLS…", "MOpenX", "Open Spreadsheet", kXlsFilter);
  save("Save X&LS…", "MSaveX", "Save Spreadsheet", ".xlsx", kXlsFilter);
  file->addSeparator();
  file->addAction("&Print…", this, [this] { grid_->Print(QString::fromUtf8(kPrinterError.data())); })
      ->setObjectName("MPrint");
  file->addAction("&Close", this, &QWidget::close);
  QMenu* edit = menuBar()->addMenu("&Edit");
  edit->addAction("&Copy", QKeySequence::Copy, this, [this] { grid_->CopySelection(); })->setObjectName("MCopy");
  edit->addAction("&Paste", QKeySequence::Paste, this, [this] {
    grid_->PasteClipboard();
    Rebuild();
  })->setObjectName("MPaste");
  edit->addAction("&Update Element Contents", this, &Miner::Rebuild)->setObjectName("MUpdate");
  QMenu* calc = menuBar()->addMenu("&Calculate");
  calc->addAction("&Mixture", this, [this] { msgs_->Show(MCalc5().toStdString(), "Mixture"); })->setObjectName("MCalc5");
}

void Miner::UpdateTitle() { setWindowTitle(QString::fromUtf8(kTitle.data(), int(kTitle.size())) + "- " + file_); }

void Miner::Report(const std::string& text) {
  if (!text.empty()) msgs_->Show(text);
}

void Miner::Rebuild() {
  Report(miner_->Rebuild());
  grid_->Refresh();
}

int Miner::Iterations() const {
  bool ok = false;
  int n = text_n_->text().trimmed().toInt(&ok);
  return ok && n > 0 ? n : kDefaultIterations;
}

int Miner::SelectedRow() const {
  QModelIndex i = grid_->View()->currentIndex();
  return i.isValid() ? i.row() : -1;
}

void Miner::SelectRow(int row) { grid_->View()->setCurrentIndex(grid_->Model()->index(row, kFormulaCol)); }

void Miner::ButIter() {
  int row = SelectedRow();
  if (row < kFirstMineralRow || row > kLastMineralRow) {
    Report(std::string(kSelectRow));
    return;
  }
  Rebuild();
  last_row_ = row;
  last_amount_ = miner_->Amount(row);
  FitResult r = miner_->Fit(row, Iterations());
  Report(r.message);
  status_->setText(QString("%1 iteration(s)").arg(r.iterations));
}

void Miner::ButIterAll() {
  Rebuild();
  FitAllResult r = miner_->FitAll(Iterations());
  Report(r.message);
  status_->setText(QString("%1 pass(es)%2").arg(r.passes).arg(r.converged ? ", amounts settled" : ""));
}

void Miner::ButLast() {
  int row = SelectedRow();
  if (row < kFirstMineralRow || row > kLastMineralRow) {
    Report(std::string(kSelectRow));
    return;
  }
  if (row == last_row_) miner_->sheet().SetNumber(row, kAmountCol, last_amount_);
}

void Miner::ButLeastSquares() {
  Rebuild();
  LeastSquaresResult r = miner_->FitLeastSquares();
  if (!r.message.empty()) {
    Report(r.message);
    return;
  }
  QString text = "Residual (calculated - assay), wt-%:";
  for (const auto& [el, v] : r.residual) text += QString(" %1 %2").arg(QString::fromStdString(el)).arg(v, 0, 'f', 3);
  status_->setText(text);
}

QString Miner::MCalc5() {
  Mixture m = miner_->MixtureComposition();
  if (m.total <= 0) return "The minerals have no amounts.";
  std::string text = fmt::format("Mixture of the minerals ({:.2f} wt-% of the sample) scaled to 100 %:\n\n", m.total);
  for (const auto& [f, v] : m.minerals) text += fmt::format("{:<14}{:>8.2f} wt-%\n", f, v);
  text += "\n";
  for (const auto& [e, v] : m.elements) text += fmt::format("{:<14}{:>8.2f} wt-%\n", e, v);
  return QString::fromStdString(text);
}

bool Miner::OpenFile(const QString& path) {
  std::string error = miner_->Load(path.toStdString());
  if (error == kNotMinerFile) {
    if (msgs_->AskYesNo(error) != platform::Answer::Yes) return false;
    error = miner_->Load(path.toStdString(), true);
  }
  grid_->Refresh();
  return Finished(error, path);
}

bool Miner::SaveFile(const QString& path) {
  return Finished(miner_->Save(path.toStdString()), path);
}

bool Miner::Finished(const std::string& error, const QString& path) {
  if (!error.empty()) {
    msgs_->Error(error);
    return false;
  }
  file_ = QFileInfo(path).completeBaseName();
  UpdateTitle();
  return true;
}

}  // namespace zyl::mineralogy::window
