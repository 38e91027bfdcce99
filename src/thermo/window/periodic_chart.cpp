#include "thermo/window/periodic_chart.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <set>

#include "thermo/formula.h"

namespace zyl::thermo::window {

namespace {
constexpr int kLastElement = 100;  ///< elements shown (the table's entries by atomic number)
constexpr int kFRowLanthanides = 8, kFRowActinides = 9;
}  // namespace

ChartPlace PlaceOfElement(int z) {
  if (z == 1) return {0, 0};
  if (z == 2) return {0, 17};
  auto short_period = [](int z0, int row, int z) -> ChartPlace {
    const int i = z - z0;
    return {row, i < 2 ? i : i + 10};
  };
  if (z <= 10) return short_period(3, 1, z);
  if (z <= 18) return short_period(11, 2, z);
  if (z <= 36) return {3, z - 19};
  if (z <= 54) return {4, z - 37};
  auto long_period = [](int z0, int row, int frow, int z) -> ChartPlace {
    const int i = z - z0;  // 0, 1: groups 1 and 2; 2..16: f row; 17..: groups 4..18
    if (i < 2) return {row, i};
    if (i < 17) return {frow, i + 1};
    return {row, i - 14};
  };
  if (z <= 86) return long_period(55, 5, kFRowLanthanides, z);
  return long_period(87, 6, kFRowActinides, z);
}

std::vector<std::string> SpeciesWithElement(const SpeciesDb& db, std::string_view symbol) {
  std::vector<std::string> out;
  std::set<std::string> seen;
  for (int r = 1; r <= db.RecordCount(); ++r) {
    const std::string f(db.Formula(r));
    if (f.empty() || seen.count(f)) continue;
    const auto comp = ParseFormula(f);
    if (comp.ok() && comp.Amount(symbol) > 0) {
      seen.insert(f);
      out.push_back(f);
    }
  }
  return out;
}

PeriodicChart::PeriodicChart(QWidget* parent) : QWidget(parent) {
  setObjectName("EleTable");
  setWindowTitle("Periodic Chart");
  auto* top = new QHBoxLayout(this);
  auto* chart = new QGridLayout;
  chart->setSpacing(2);
  top->addLayout(chart, 1);
  const ElementTable& el = Elements();
  for (int z = 1; z <= kLastElement; ++z) {
    if (el.symbol[z].empty()) continue;
    auto* b = new QToolButton(this);
    b->setObjectName(QString("Ele_%1").arg(QString::fromStdString(el.symbol[z])));
    b->setText(QString::fromStdString(el.symbol[z]));
    b->setToolTip(QString("%1  %2  (±%3) g/mol").arg(z).arg(el.weight[z], 0, 'f', 4).arg(el.second[z]));
    b->setMinimumSize(34, 30);
    const ChartPlace p = PlaceOfElement(z);
    chart->addWidget(b, p.row, p.col);
    connect(b, &QToolButton::clicked, this, [this, z] { SelectElement(z); });
  }
  chart->setRowMinimumHeight(7, 10);
  auto* side = new QVBoxLayout;
  top->addLayout(side);
  details_ = new QLabel("Click an element.", this);
  details_->setObjectName("LabelElement");
  details_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  side->addWidget(details_);
  list_ = new QListWidget(this);
  list_->setObjectName("ListSpecies");
  list_->setMinimumWidth(180);
  side->addWidget(list_, 1);
  connect(list_, &QListWidget::itemDoubleClicked, this, [this](QListWidgetItem* it) {
    QString name = it->text();
    name.remove(" (own)");
    emit speciesActivated(name);
  });
  resize(1000, 480);
}

void PeriodicChart::SelectElement(int z) {
  const ElementTable& el = Elements();
  if (z < 1 || z > kLastElement) return;
  const std::string sym = el.symbol[z];
  const auto& dbs = SharedSpeciesDatabases();
  std::vector<std::string> own, main;
  if (dbs.own) own = SpeciesWithElement(*dbs.own, sym);
  if (dbs.main) main = SpeciesWithElement(*dbs.main, sym);
  list_->clear();
  for (const auto& s : own) list_->addItem(QString::fromStdString(s) + " (own)");
  for (const auto& s : main) list_->addItem(QString::fromStdString(s));
  details_->setText(QString("%1  %2\nAtomic weight %3 ± %4 g/mol\nSpecies: %5 own, %6 main")
                        .arg(z)
                        .arg(QString::fromStdString(sym))
                        .arg(el.weight[z], 0, 'f', 5)
                        .arg(el.second[z])
                        .arg(own.size())
                        .arg(main.size()));
}

QStringList PeriodicChart::ListedSpecies() const {
  QStringList out;
  for (int i = 0; i < list_->count(); ++i) out << list_->item(i)->text();
  return out;
}

QString PeriodicChart::Details() const { return details_->text(); }

}  // namespace zyl::thermo::window
