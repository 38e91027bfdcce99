#include "reactions/window/re_eq.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QFileInfo>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSet>
#include <QSettings>
#include <QShortcut>
#include <QVBoxLayout>

#include "platform/window/dialogs.h"
#include "platform/window/help.h"
#include "platform/window/qt_messages.h"
#include "reactions/window/re_eq_r.h"
#include "shell/program_state.h"
#include "thermo/lookup.h"

namespace zyl::reactions::window {

using platform::window::AppMessages;
using platform::window::FromQ;
using platform::window::ToQ;

namespace {

constexpr int kHistorySize = 25;
const char kHistoryKey[] = "reactions/equations";
constexpr char kHelpChapter[] = "10 Reaction Equations";
constexpr std::string_view kBadNumber = "Please, give the temperatures and the step as numbers !";

// A number typed with a point, or with a comma by habit.
bool ReadNumber(const QLineEdit* edit, double* v) {
  QString t = edit->text();
  t.replace(',', '.');
  const auto n = ReadNumberField(FromQ(t));
  if (n) *v = *n;
  return n.has_value();
}

}  // namespace

ReEq::ReEq(QWidget* parent) : QWidget(parent) {
  setObjectName("ReEq");
  setWindowTitle(tr("Reaction Equations"));
  const shell::ProgramState& state = shell::ZYL5main();

  MhEqu = new QComboBox(this);
  MhEqu->setObjectName("MhEqu");
  MhEqu->setEditable(true);
  MhEqu->setInsertPolicy(QComboBox::NoInsert);
  MhEqu->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  MhEqu->addItems(QSettings().value(kHistoryKey).toStringList());
  MhEqu->setCurrentText(QString());
  MhEqu->lineEdit()->setPlaceholderText(tr("e.g. 2H2(g)+O2(g)=2H2O(g)   or   Fe2O3+3C=2Fe+3CO(g)"));
  QFont big = MhEqu->font();
  big.setPointSizeF(big.pointSizeF() * 1.25);
  MhEqu->setFont(big);

  MhT1 = new QLineEdit("25", this);
  MhT1->setObjectName("MhT1");
  MhT2 = new QLineEdit("1000", this);
  MhT2->setObjectName("MhT2");
  MhStep = new QLineEdit("100", this);
  MhStep->setObjectName("MhStep");
  for (QLineEdit* e : {MhT1, MhT2, MhStep}) {
    e->setAlignment(Qt::AlignRight);
    e->setMaximumWidth(110);
  }
  TUnit = new QComboBox(this);
  TUnit->setObjectName("TUnit");
  TUnit->addItem("°C", "C");
  TUnit->addItem("K", "K");
  TUnit->setCurrentIndex(state.Celsius() ? 0 : 1);
  RUnit = new QComboBox(this);
  RUnit->setObjectName("RUnit");
  RUnit->addItem("kJ", "kJ");
  RUnit->addItem("kcal", "kcal");
  RUnit->setCurrentIndex(state.Calories() ? 1 : 0);

  CheckTrans = new QCheckBox(tr("Add rows at phase transitions"), this);
  CheckTrans->setObjectName("CheckTrans");
  CheckTrans->setToolTip(tr("Two extra rows, just below and just above every transition temperature in the range"));
  CheckCriss = new QCheckBox(tr("Criss-Cobble extrapolation for aqueous ions"), this);
  CheckCriss->setObjectName("CheckCriss");
  CheckCriss->setToolTip(tr("Heat capacities of aqueous ions above 25 °C by the Criss-Cobble correspondence principle"));
  CheckCol = new QCheckBox(tr("Show the log K column"), this);
  CheckCol->setObjectName("CheckCol");
  CheckCol->setChecked(true);
  CheckCol->setToolTip(tr("Off: the results show T, ΔH, ΔS, ΔG and K only"));

  CalcBut = new QPushButton(tr("&Calculate"), this);
  CalcBut->setObjectName("CalcBut");
  CalcBut->setDefault(true);
  CalcBut->setToolTip(tr("Calculate the table and open the results (Enter)"));
  auto* help = new QPushButton(tr("Help"), this);
  auto* close = new QPushButton(tr("Close"), this);
  // Saved results, the recent ones first.
  auto* open = new QPushButton(tr("&Open Results"), this);
  open->setObjectName("ButOpen");
  auto* recent = new QMenu(open);
  connect(recent, &QMenu::aboutToShow, this, [this, recent] {
    recent->clear();
    for (const QString& f : platform::window::RecentFiles("reaction-results"))
      recent->addAction(QFileInfo(f).fileName(), this, [this, f] { ReEqR::OpenResults(this, f); })->setToolTip(f);
    if (!recent->isEmpty()) recent->addSeparator();
    recent->addAction(tr("Browse…"), QKeySequence::Open, this, [this] { ReEqR::OpenResults(this); });
  });
  open->setMenu(recent);
  new QShortcut(QKeySequence::Open, this, [this] { ReEqR::OpenResults(this); });

  auto* range = new QGroupBox(tr("Temperature range"), this);
  auto* rl = new QGridLayout(range);
  rl->addWidget(new QLabel(tr("From:"), range), 0, 0);
  rl->addWidget(MhT1, 0, 1);
  rl->addWidget(new QLabel(tr("To:"), range), 0, 2);
  rl->addWidget(MhT2, 0, 3);
  rl->addWidget(new QLabel(tr("Step:"), range), 0, 4);
  rl->addWidget(MhStep, 0, 5);
  rl->addWidget(TUnit, 0, 6);
  rl->setColumnStretch(7, 1);
  auto* units = new QGroupBox(tr("Energy unit"), this);
  auto* ul = new QHBoxLayout(units);
  ul->addWidget(RUnit);
  auto* opts = new QGroupBox(tr("Options"), this);
  auto* ol = new QVBoxLayout(opts);
  ol->addWidget(CheckTrans);
  ol->addWidget(CheckCriss);
  ol->addWidget(CheckCol);

  // Species search helper: double-click a name to put it into the equation.
  auto* search = new QGroupBox(tr("Find species"), this);
  auto* sl = new QVBoxLayout(search);
  find_ = new QLineEdit(search);
  find_->setObjectName("FindSpecies");
  find_->setPlaceholderText(tr("Part of a formula, e.g. Fe2O3 or SO4"));
  find_->setClearButtonEnabled(true);
  species_ = new QListWidget(search);
  species_->setObjectName("SpeciesList");
  species_->setToolTip(tr("Double-click to insert into the equation"));
  found_ = new QLabel(search);
  sl->addWidget(find_);
  sl->addWidget(species_, 1);
  sl->addWidget(found_);

  auto* left = new QVBoxLayout;
  auto* eqLabel = new QLabel(tr("&Reaction equation:"), this);
  eqLabel->setBuddy(MhEqu);
  left->addWidget(eqLabel);
  left->addWidget(MhEqu);
  left->addWidget(range);
  auto* row = new QHBoxLayout;
  row->addWidget(units);
  row->addWidget(opts, 1);
  left->addLayout(row);
  auto* hint = new QLabel(tr("Write every coefficient: 2H2(g)+O2(g)=2H2O(g). Fractions as 1/2O2(g) or 0.5O2(g); "
                             "ions as Fe(+3a), SO4(-2a); electrons as e-."),
                          this);
  hint->setWordWrap(true);
  hint->setStyleSheet("color: palette(mid);");
  left->addWidget(hint);
  left->addStretch(1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(open);
  buttons->addStretch(1);
  buttons->addWidget(CalcBut);
  buttons->addWidget(help);
  buttons->addWidget(close);
  left->addLayout(buttons);

  auto* layout = new QHBoxLayout(this);
  layout->addLayout(left, 3);
  layout->addWidget(search, 2);

  connect(CalcBut, &QPushButton::clicked, this, [this] { CalcBut_Click(); });
  connect(MhEqu->lineEdit(), &QLineEdit::returnPressed, this, [this] { CalcBut_Click(); });
  for (QLineEdit* e : {MhT1, MhT2, MhStep}) connect(e, &QLineEdit::returnPressed, this, [this] { CalcBut_Click(); });
  connect(help, &QPushButton::clicked, this, [] { platform::window::ShowHelpChapter(kHelpChapter); });
  connect(close, &QPushButton::clicked, this, &QWidget::close);
  connect(find_, &QLineEdit::textChanged, this, &ReEq::FilterSpecies);
  connect(species_, &QListWidget::itemDoubleClicked, this, [this](QListWidgetItem* it) { InsertSpecies(it->text()); });
  new QShortcut(QKeySequence::HelpContents, this, [] { platform::window::ShowHelpChapter(kHelpChapter); });
  new QShortcut(QKeySequence::Close, this, [this] { this->close(); });
  new QShortcut(QKeySequence::Find, this, [this] {
    find_->setFocus();
    find_->selectAll();
  });

  LoadSpeciesNames();
  FilterSpecies(QString());
  resize(900, 400);
  platform::window::RememberGeometry(this, "ReEq");
}

QString ReEq::Equation() const { return MhEqu->currentText(); }
void ReEq::SetEquation(const QString& text) { MhEqu->setCurrentText(text); }

bool ReEq::ReadOptions(ReactionOptions* o) {
  if (!ReadNumber(MhT1, &o->T1) || !ReadNumber(MhT2, &o->T2) || !ReadNumber(MhStep, &o->step)) {
    AppMessages().Show(kBadNumber, platform::kDefaultTitle, platform::Icon::Information);
    return false;
  }
  o->temp_unit = TUnit->currentData().toString() == "K" ? TempUnit::Kelvin : TempUnit::Celsius;
  o->energy_unit = RUnit->currentData().toString() == "kcal" ? EnergyUnit::kcal : EnergyUnit::kJ;
  o->transitions = CheckTrans->isChecked();
  o->criss_cobble = CheckCriss->isChecked();
  o->show_log_k = CheckCol->isChecked();
  return true;
}

ReEqR* ReEq::CalcBut_Click() {
  ReactionOptions options;
  if (!ReadOptions(&options)) return nullptr;
  const QString equation = Equation().trimmed();
  const ReactionTable table = CalcReaction(FromQ(equation), options, thermo::SharedSpeciesDatabases());
  if (!table.ok()) {
    AppMessages().Show(table.error, platform::kDefaultTitle, platform::Icon::Information);
    MhEqu->setFocus();
    return nullptr;
  }
  Remember(equation);
  auto* results = new ReEqR;
  results->setAttribute(Qt::WA_DeleteOnClose);
  results->setAttribute(Qt::WA_QuitOnClose, false);
  results->Show(table);
  results->show();
  results->raise();
  results_.removeAll(nullptr);
  results_ << results;
  return results;
}

QList<ReEqR*> ReEq::Results() const {
  QList<ReEqR*> list;
  for (const auto& r : results_)
    if (r) list << r.data();
  return list;
}

void ReEq::Remember(const QString& equation) {
  const int at = MhEqu->findText(equation);
  if (at >= 0) MhEqu->removeItem(at);
  MhEqu->insertItem(0, equation);
  while (MhEqu->count() > kHistorySize) MhEqu->removeItem(MhEqu->count() - 1);
  MhEqu->setCurrentIndex(0);
  QStringList list;
  for (int i = 0; i < MhEqu->count(); ++i) list << MhEqu->itemText(i);
  QSettings().setValue(kHistoryKey, list);
}

void ReEq::LoadSpeciesNames() {
  names_.clear();
  QSet<QString> seen;
  const thermo::SpeciesDatabases& dbs = thermo::SharedSpeciesDatabases();
  for (const thermo::SpeciesDb* db : {dbs.own.get(), dbs.main.get()}) {
    if (!db) continue;
    for (int rec = 1; rec <= db->RecordCount(); ++rec) {
      const std::string_view f = db->Formula(rec);
      if (f.empty()) continue;
      const QString name = ToQ(f);
      if (seen.contains(name)) continue;
      seen.insert(name);
      names_ << name;
    }
  }
}

QStringList ReEq::SearchSpecies(const QString& text, int limit) const {
  QStringList out;
  const QString t = text.trimmed();
  // Names starting with the text first, then names holding it.
  for (int pass = 0; pass < 2 && out.size() < limit; ++pass)
    for (const QString& n : names_) {
      const bool starts = n.startsWith(t, Qt::CaseInsensitive);
      if ((pass == 0 ? starts : (!starts && n.contains(t, Qt::CaseInsensitive)))) {
        out << n;
        if (out.size() >= limit) break;
      }
    }
  return out;
}

void ReEq::FilterSpecies(const QString& text) {
  species_->clear();
  const QStringList found = SearchSpecies(text);
  species_->addItems(found);
  found_->setText(names_.isEmpty() ? tr("No species database is open.")
                                   : tr("%1 of %2 species").arg(found.size()).arg(names_.size()));
}

void ReEq::InsertSpecies(const QString& name) {
  QLineEdit* e = MhEqu->lineEdit();
  e->insert(name);
  e->setFocus();
}

}  // namespace zyl::reactions::window
