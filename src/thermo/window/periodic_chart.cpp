#include "thermo/window/periodic_chart.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>
#include <cstring>
#include <set>

#include "thermo/formula.h"

namespace zyl::thermo::window {

namespace {
constexpr const char* kOwnMark = " (own)";
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
  auto* open = new QHBoxLayout;
  side->addLayout(open);
  auto add_button = [&](const char* name, const char* caption, const char* tip, ChartTarget target) {
    auto* b = new QPushButton(caption, this);
    b->setObjectName(name);
    b->setToolTip(tip);
    open->addWidget(b);
    connect(b, &QPushButton::clicked, this, [this, target] { OpenSelected(target); });
    return b;
  };
  reaction_ = add_button("ButReaction", "&Reaction", "Open the species in the reaction window", ChartTarget::Reaction);
  diagram_ = add_button("ButDiagram", "&Diagram", "Open the species in the H, S, C and G diagrams", ChartTarget::Diagram);
  database_ = add_button("ButDataBase", "Data&base", "Show the species in the database window", ChartTarget::Database);
  connect(list_, &QListWidget::itemDoubleClicked, this, [this] { OpenSelected(ChartTarget::Reaction); });
  connect(list_, &QListWidget::currentRowChanged, this, [this] { UpdateButtons(); });
  UpdateButtons();
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
  for (const auto& s : own) list_->addItem(QString::fromStdString(s) + kOwnMark);
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

bool PeriodicChart::SelectSpecies(const QString& text) {
  const auto found = list_->findItems(text, Qt::MatchExactly);
  if (found.isEmpty()) return false;
  list_->setCurrentItem(found.front());
  list_->scrollToItem(found.front());
  return true;
}

void PeriodicChart::OpenSelected(ChartTarget target) {
  const QListWidgetItem* it = list_->currentItem();
  if (!it) return;
  QString formula = it->text();
  const bool own = formula.endsWith(kOwnMark);
  if (own) formula.chop(static_cast<int>(std::strlen(kOwnMark)));
  emit openSpecies(formula, own, target);
}

void PeriodicChart::UpdateButtons() {
  const bool any = list_->currentItem() != nullptr;
  for (QPushButton* b : {reaction_, diagram_, database_}) b->setEnabled(any);
}

}  // namespace zyl::thermo::window
