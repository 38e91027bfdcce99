#include "cell/window/cell_result_window.h"

#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <QTextStream>
#include <QVBoxLayout>

namespace zyl::cell::window {

CellResult::CellResult(QWidget* parent) : QMainWindow(parent) {
  setObjectName("ZylCell");
  setWindowTitle("ZYL Cell");
  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);
  table_ = new QTableWidget(0, 7, central);
  table_->setObjectName("CellSpecies");
  table_->setHorizontalHeaderLabels({"Phase", "Species", "T in K", "Amount mol", "MW g/mol", "G kJ/mol", "H kJ/mol"});
  table_->horizontalHeader()->setStretchLastSection(true);
  table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  layout->addWidget(table_, 1);
  results_ = new QLabel(central);
  results_->setObjectName("CellResults");
  results_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  QFont mono("Monospace");
  mono.setStyleHint(QFont::TypeWriter);
  results_->setFont(mono);
  layout->addWidget(results_);
  setCentralWidget(central);
  resize(760, 420);
}

bool CellResult::OpenFile(const QString& path) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) {
    results_->setText("Can not open " + path);
    return false;
  }
  CellSystem sys;
  std::string error = ParseCellInput(f.readAll().toStdString(), &sys);
  if (!error.empty()) {
    results_->setText(QString::fromStdString(error));
    return false;
  }
  Show(sys, path);
  return result_.ok();
}

void CellResult::Show(const CellSystem& sys, const QString& path) {
  setWindowTitle("ZYL Cell - " + (path.isEmpty() ? QString::fromStdString(sys.title) : path));
  table_->setRowCount(0);
  for (const auto& phase : sys.phases)
    for (const auto& s : phase.species) {
      int row = table_->rowCount();
      table_->insertRow(row);
      QStringList cells = {QString::fromStdString(phase.name), QString::fromStdString(s.name),
                           QString::number(s.t_c + thermo::kCelsiusOffset, 'f', 2), QString::number(s.amount, 'g', 6),
                           QString::number(s.mw, 'f', 3), QString::number(s.g, 'f', 3), QString::number(s.h_eq, 'f', 3)};
      for (int c = 0; c < cells.size(); ++c) table_->setItem(row, c, new QTableWidgetItem(cells[c]));
    }
  result_ = CalculateCell(sys);
  if (!result_.ok()) {
    results_->setText(QString::fromStdString(result_.error));
    return;
  }
  results_->setText(QString("Cell reaction:  %1\nT = %2 K    n = %3 electrons    Q = %4 mol e-\n"
                            "dG = %5 kJ/mol\nE0 = %6 V\nE  = %7 V")
                        .arg(QString::fromStdString(result_.reaction))
                        .arg(result_.t_k, 0, 'f', 2)
                        .arg(result_.n_electrons)
                        .arg(sys.charge)
                        .arg(result_.dg_kj, 0, 'f', 3)
                        .arg(result_.e0, 0, 'f', 4)
                        .arg(result_.e, 0, 'f', 4));
}

QString FileFromCellIni(const QString& folder) {
  QFile f(folder + "/" + QString::fromUtf8(kIniName.data(), int(kIniName.size())));
  if (!f.open(QIODevice::ReadOnly)) return {};
  return QTextStream(&f).readLine().trimmed();
}

}  // namespace zyl::cell::window
