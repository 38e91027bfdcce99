#include "balance/window/heat_loss_window.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "balance/heat_loss_balance.h"
#include "balance/window/balance_window.h"

namespace zyl::balance::window {

namespace {

constexpr double kMmPerM = 1000;

QDoubleSpinBox* Spin(const char* name, double lo, double hi, double value, int decimals, const char* suffix) {
  auto* s = new QDoubleSpinBox;
  s->setObjectName(name);
  s->setRange(lo, hi);
  s->setDecimals(decimals);
  s->setValue(value);
  s->setSuffix(suffix);
  return s;
}

double CellNumber(const QTableWidget* t, int row, int col, bool* ok) {
  const QTableWidgetItem* it = t->item(row, col);
  QString text = it ? it->text().trimmed() : QString();
  if (text.isEmpty()) {
    *ok = false;
    return 0;
  }
  return text.toDouble(ok);
}

}  // namespace

HeatLoss::HeatLoss(QWidget* parent) : QMainWindow(parent) {
  setObjectName("HeatLoss");
  setWindowTitle("Heat Loss Calculator");
  setAttribute(Qt::WA_DeleteOnClose);
  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);

  auto* geometry = new QGroupBox("Wall");
  auto* gf = new QFormLayout(geometry);
  shape_ = new QComboBox;
  shape_->setObjectName("ComboShape");
  shape_->addItems({"Flat wall", "Cylinder (pipe, shell)"});
  gf->addRow("Shape:", shape_);
  area_ = Spin("TextArea", 0.001, 1e6, 1, 3, " m²");
  radius_ = Spin("TextRadius", 0.001, 100, 0.5, 3, " m");
  length_ = Spin("TextLength", 0.001, 1e4, 1, 3, " m");
  gf->addRow("Area (flat):", area_);
  gf->addRow("Inner radius (cylinder):", radius_);
  gf->addRow("Length (cylinder):", length_);
  layout->addWidget(geometry);

  layers_ = new QTableWidget(kMaxWallLayers, 3);
  layers_->setObjectName("GridLayers");
  layers_->setHorizontalHeaderLabels({"Layer", "Thickness, mm", "Conductivity, W/(m K)"});
  layers_->horizontalHeader()->setStretchLastSection(true);
  layout->addWidget(new QLabel("Layers, inside first (empty rows are skipped):"));
  layout->addWidget(layers_, 1);

  auto* faces = new QHBoxLayout;
  auto face = [&](const char* title, const char* prefix, double t, double h, double e, QDoubleSpinBox** ts,
                  QDoubleSpinBox** hs, QDoubleSpinBox** es) {
    auto* box = new QGroupBox(title);
    auto* f = new QFormLayout(box);
    *ts = Spin((QString("Text") + prefix + "T").toUtf8().constData(), -273, 5000, t, 1, " °C");
    *hs = Spin((QString("Text") + prefix + "H").toUtf8().constData(), 0, 1e5, h, 2, " W/(m² K)");
    *es = Spin((QString("Text") + prefix + "E").toUtf8().constData(), 0, 1, e, 2, "");
    f->addRow("Temperature:", *ts);
    f->addRow("Convection:", *hs);
    f->addRow("Emissivity:", *es);
    faces->addWidget(box);
  };
  face("Inside (convection 0 and emissivity 0: hot face temperature)", "In", 1100, 0, 0, &in_t_, &in_h_, &in_e_);
  face("Outside", "Out", 25, 8, 0.9, &out_t_, &out_h_, &out_e_);
  layout->addLayout(faces);

  auto* buttons = new QHBoxLayout;
  auto* calc = new QPushButton("Calculate");
  calc->setObjectName("ButCalculate");
  connect(calc, &QPushButton::clicked, this, [this] { Calculate(); });
  auto* copy = new QPushButton("Copy to Balance");
  copy->setObjectName("ButCopy");
  copy->setToolTip("Copies the heat loss line for the HEAT LOSSES rows of a heat balance");
  connect(copy, &QPushButton::clicked, this, &HeatLoss::CopyToBalance);
  auto* put = new QPushButton("Put into Balance");
  put->setObjectName("ButToBalance");
  put->setToolTip("Writes the heat loss into the heat-loss row of an open heat balance");
  connect(put, &QPushButton::clicked, this, &HeatLoss::PutIntoChosenBalance);
  buttons->addWidget(calc);
  buttons->addWidget(put);
  buttons->addWidget(copy);
  buttons->addStretch();
  layout->addLayout(buttons);
  result_text_ = new QLabel;
  result_text_->setObjectName("LabelResult");
  result_text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  layout->addWidget(result_text_);
  setCentralWidget(central);

  WallInput example;
  example.layers = {{"Firebrick", 0.23, 1.04}, {"Insulating brick", 0.115, 0.17}};
  example.inside = {1100, 0, 0};
  example.outside = {25, 8, 0.9};
  SetInput(example);
  resize(640, 640);
}

WallInput HeatLoss::Input() const {
  WallInput in;
  in.shape = shape_->currentIndex() == 1 ? WallShape::Cylinder : WallShape::Flat;
  in.area = area_->value();
  in.inner_radius = radius_->value();
  in.length = length_->value();
  for (int r = 0; r < layers_->rowCount(); ++r) {
    bool ok_t = false, ok_k = false;
    double t = CellNumber(layers_, r, 1, &ok_t), k = CellNumber(layers_, r, 2, &ok_k);
    if (!ok_t && !ok_k) continue;
    const QTableWidgetItem* name = layers_->item(r, 0);
    in.layers.push_back({name ? name->text().toStdString() : std::string(), ok_t ? t / kMmPerM : 0, ok_k ? k : 0});
  }
  in.inside = {in_t_->value(), in_h_->value(), in_e_->value()};
  in.outside = {out_t_->value(), out_h_->value(), out_e_->value()};
  return in;
}

void HeatLoss::SetInput(const WallInput& in) {
  shape_->setCurrentIndex(in.shape == WallShape::Cylinder ? 1 : 0);
  area_->setValue(in.area);
  radius_->setValue(in.inner_radius > 0 ? in.inner_radius : 0.5);
  length_->setValue(in.length);
  layers_->clearContents();
  for (int r = 0; r < int(in.layers.size()) && r < kMaxWallLayers; ++r) {
    const auto& l = in.layers[std::size_t(r)];
    layers_->setItem(r, 0, new QTableWidgetItem(QString::fromStdString(l.name)));
    layers_->setItem(r, 1, new QTableWidgetItem(QString::number(l.thickness * kMmPerM)));
    layers_->setItem(r, 2, new QTableWidgetItem(QString::number(l.conductivity)));
  }
  in_t_->setValue(in.inside.t_c);
  in_h_->setValue(in.inside.h);
  in_e_->setValue(in.inside.emissivity);
  out_t_->setValue(in.outside.t_c);
  out_h_->setValue(in.outside.h);
  out_e_->setValue(in.outside.emissivity);
}

bool HeatLoss::Calculate() {
  result_ = SolveWall(Input());
  if (!result_.ok()) {
    result_text_->setText(QString::fromStdString(result_.error));
    return false;
  }
  QString text = QString("Heat loss: %1 W (%2 kW), %3 W/m² at the outer surface\nInner surface: %4 °C\n")
                     .arg(result_.q_w, 0, 'f', 1)
                     .arg(result_.q_w / 1000, 0, 'f', 4)
                     .arg(result_.flux_outer, 0, 'f', 1)
                     .arg(result_.t_inner_surface, 0, 'f', 1);
  for (std::size_t i = 0; i < result_.interfaces.size(); ++i)
    text += QString("Interface %1/%2: %3 °C\n").arg(i + 1).arg(i + 2).arg(result_.interfaces[i], 0, 'f', 1);
  text += QString("Outer surface: %1 °C").arg(result_.t_outer_surface, 0, 'f', 1);
  result_text_->setText(text);
  return true;
}

void HeatLoss::CopyToBalance() {
  if (!Calculate()) return;
  QApplication::clipboard()->setText(QString::fromStdString(HeatLossLine(result_)));
}

std::vector<std::pair<Balance*, int>> HeatLoss::Targets() {
  std::vector<std::pair<Balance*, int>> out;
  for (QWidget* w : QApplication::topLevelWidgets())
    if (auto* b = qobject_cast<Balance*>(w))
      for (int area = 1; area <= b->book().AreaCount(); ++area) out.emplace_back(b, area);
  return out;
}

bool HeatLoss::PutIntoBalance(Balance* target, int area) {
  if (!Calculate()) return false;
  std::string error;
  int row = PutHeatLoss(target->book(), area, result_, &error);
  if (row < 0) {
    result_text_->setText(QString::fromStdString(error));
    return false;
  }
  const BalanceBook& b = target->book();
  result_text_->setText(result_text_->text() +
                        QString("\nPut into %1 row %2 of %3: %4 %5 per hour")
                            .arg(QString::fromStdString(b.book().sheet(b.OutSheet(area)).name()))
                            .arg(row + 1)
                            .arg(target->windowTitle())
                            .arg(HeatLossPerHour(result_, b.units().energy), 0, 'g', 6)
                            .arg(QString::fromUtf8(EnergyUnitName(b.units().energy).data(),
                                                   qsizetype(EnergyUnitName(b.units().energy).size()))));
  return true;
}

void HeatLoss::PutIntoChosenBalance() {
  auto targets = Targets();
  if (targets.empty()) {
    result_text_->setText("No heat balance is open: open one from the main menu, then put the loss into it.");
    return;
  }
  std::size_t pick = 0;
  if (targets.size() > 1) {
    QStringList items;
    for (const auto& [b, area] : targets) {
      const BalanceBook& book = b->book();
      items << b->windowTitle() + " - " + QString::fromStdString(book.book().sheet(book.OutSheet(area)).name());
      if (area == b->CurrentArea() && b->isActiveWindow()) pick = std::size_t(items.size() - 1);
    }
    bool ok = false;
    QString chosen = QInputDialog::getItem(this, "Put into Balance", "Heat losses of:", items, int(pick), false, &ok);
    if (!ok) return;
    pick = std::size_t(items.indexOf(chosen));
  }
  PutIntoBalance(targets[pick].first, targets[pick].second);
}

}  // namespace zyl::balance::window
