#include "thermo/window/formula_weights.h"

#include <QApplication>
#include <QClipboard>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSettings>
#include <QShortcut>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>

#include "platform/window/dialogs.h"
#include "platform/window/help.h"
#include "thermo/formula.h"

namespace zyl::thermo::window {

namespace {

constexpr int kHistorySize = 30;
const char kHistoryKey[] = "formulaWeights/history";

QString Num(double v, int decimals) { return QString::number(v, 'f', decimals); }

// Amounts read as chemists write them: 5 rather than 5.0000, 0.5 rather than 0.5000.
QString Amount(double v) { return QString::number(v, 'g', 10); }

QTableWidgetItem* Cell(const QString& text, bool right = true) {
  auto* it = new QTableWidgetItem(text);
  it->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
  if (right) it->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
  return it;
}

}  // namespace

FormulaWeights::FormulaWeights(QWidget* parent) : QWidget(parent) {
  setObjectName("MW");
  setWindowTitle(tr("Formula Weights"));

  input_ = new QLineEdit(this);
  input_->setObjectName("TextFormula");
  input_->setPlaceholderText(tr("Formula, e.g. CuSO4*5H2O, Fe2O3, SO4(-2a), Ca3(PO4)2"));
  input_->setClearButtonEnabled(true);
  QFont big = input_->font();
  big.setPointSizeF(big.pointSizeF() * 1.3);
  input_->setFont(big);

  fw_ = new QLabel(this);
  iw_ = new QLabel(this);
  atoms_ = new QLabel(this);
  for (QLabel* l : {fw_, iw_, atoms_}) {
    l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    l->setFont(big);
  }
  note_ = new QLabel(this);
  note_->setWordWrap(true);
  note_->setStyleSheet("color: #a33;");

  auto* values = new QFormLayout;
  values->addRow(tr("Formula Weight:"), fw_);
  values->addRow(tr("Ion Weight:"), iw_);
  values->addRow(tr("Atoms:"), atoms_);

  elements_ = new QTableWidget(0, 5, this);
  elements_->setObjectName("Elements");
  elements_->setHorizontalHeaderLabels({tr("Element"), tr("Amount"), tr("g/mol"), tr("wt-%"), tr("Atomic weight")});
  elements_->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
  elements_->verticalHeader()->hide();
  elements_->setAlternatingRowColors(true);
  elements_->setSelectionMode(QAbstractItemView::ContiguousSelection);

  history_ = new QListWidget(this);
  history_->setObjectName("History");
  history_->setToolTip(tr("Formulas calculated before; click to show one again"));
  history_->addItems(QSettings().value(kHistoryKey).toStringList());

  auto* left = new QWidget(this);
  auto* ll = new QVBoxLayout(left);
  ll->setContentsMargins(0, 0, 0, 0);
  ll->addWidget(input_);
  ll->addLayout(values);
  ll->addWidget(note_);
  ll->addWidget(new QLabel(tr("Elements:"), left));
  ll->addWidget(elements_, 1);
  auto* right = new QGroupBox(tr("Recent formulas"), this);
  auto* rl = new QVBoxLayout(right);
  rl->addWidget(history_);
  auto* split = new QSplitter(this);
  split->addWidget(left);
  split->addWidget(right);
  split->setStretchFactor(0, 3);
  split->setStretchFactor(1, 1);

  auto* copy = new QPushButton(tr("&Copy"), this);
  copy->setObjectName("ButCopy");
  copy->setToolTip(tr("Copy the results as tab-separated text (Ctrl+Shift+C)"));
  auto* help = new QPushButton(tr("Help"), this);
  auto* close = new QPushButton(tr("Close"), this);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(copy);
  buttons->addWidget(help);
  buttons->addWidget(close);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(split, 1);
  layout->addLayout(buttons);

  connect(input_, &QLineEdit::textChanged, this, &FormulaWeights::Recalculate);
  connect(input_, &QLineEdit::returnPressed, this, &FormulaWeights::Remember);
  connect(history_, &QListWidget::itemClicked, this, [this](QListWidgetItem* it) { SetFormula(it->text()); });
  connect(copy, &QPushButton::clicked, this, [this] { QApplication::clipboard()->setText(ResultsText()); });
  connect(help, &QPushButton::clicked, this, [] { platform::window::ShowHelpChapter("24 Formula Weights"); });
  connect(close, &QPushButton::clicked, this, &QWidget::close);
  new QShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C), this,
                [this] { QApplication::clipboard()->setText(ResultsText()); });
  new QShortcut(QKeySequence::HelpContents, this, [] { platform::window::ShowHelpChapter("24 Formula Weights"); });
  new QShortcut(QKeySequence::Close, this, [this] { this->close(); });
  Recalculate();
  resize(720, 460);
  platform::window::RememberGeometry(this, "MW");
}

void FormulaWeights::SetFormula(const QString& formula) {
  input_->setText(formula);
  Recalculate();
}

QString FormulaWeights::FormulaWeightText() const { return fw_->property("value").toString(); }
QString FormulaWeights::IonWeightText() const { return iw_->property("value").toString(); }

void FormulaWeights::Recalculate() {
  const std::string formula = input_->text().trimmed().toStdString();
  elements_->setRowCount(0);
  note_->clear();
  auto clear = [this] {
    for (QLabel* l : {fw_, iw_, atoms_}) {
      l->setText(QStringLiteral("–"));
      l->setProperty("value", QString());
    }
  };
  if (formula.empty()) return clear();
  const ElementTable& table = Elements();
  const FormulaComposition comp = ParseFormula(formula);
  if (!comp.ok()) {
    clear();
    note_->setText(QString::fromStdString(comp.error));
    return;
  }
  ElementTotals totals;
  totals.Clear();
  const FormulaWeightResult r = FormulaWeight(comp, table, &totals);
  const QString fw = Num(r.formula_weight, 4), iw = Num(r.ion_weight, 4);
  fw_->setText(fw + " g/mol");
  fw_->setProperty("value", fw);
  iw_->setText(iw + " g/mol");
  iw_->setProperty("value", iw);
  atoms_->setText(Amount(r.atoms));
  atoms_->setProperty("value", Amount(r.atoms));

  QStringList unknown;
  for (const FormulaEntry& e : comp.entries) {
    const bool electron = e.symbol == kElectron;
    const int k = electron ? kElectronEntry : table.Find(e.symbol);
    const double w = k ? table.weight[k] * e.amount : 0;
    const int row = elements_->rowCount();
    elements_->insertRow(row);
    elements_->setItem(row, 0, Cell(QString::fromStdString(e.symbol), false));
    elements_->setItem(row, 1, Cell(Amount(e.amount)));
    elements_->setItem(row, 2, Cell(k ? Num(w, 4) : QString()));
    elements_->setItem(row, 3, Cell(k && r.formula_weight != 0 ? Num(100.0 * w / r.formula_weight, 3) : QString()));
    elements_->setItem(row, 4, Cell(k ? Num(table.weight[k], 5) : QString()));
    if (!k) unknown << QString::fromStdString(e.symbol);
  }
  if (!unknown.isEmpty())
    note_->setText(tr("Not in the element table (adds nothing): %1").arg(unknown.join(", ")));
}

void FormulaWeights::Remember() {
  const QString f = input_->text().trimmed();
  if (f.isEmpty() || FormulaWeightText().isEmpty()) return;
  for (auto* it : history_->findItems(f, Qt::MatchExactly)) delete it;
  history_->insertItem(0, f);
  while (history_->count() > kHistorySize) delete history_->takeItem(history_->count() - 1);
  QStringList list;
  for (int i = 0; i < history_->count(); ++i) list << history_->item(i)->text();
  QSettings().setValue(kHistoryKey, list);
}

QString FormulaWeights::ResultsText() const {
  QStringList lines;
  lines << tr("Formula:") + "\t" + input_->text().trimmed();
  lines << tr("Formula Weight:") + "\t" + FormulaWeightText();
  lines << tr("Ion Weight:") + "\t" + IonWeightText();
  lines << tr("Elements:");
  QStringList head;
  for (int c = 0; c < elements_->columnCount(); ++c) head << elements_->horizontalHeaderItem(c)->text();
  lines << head.join('\t');
  for (int r = 0; r < elements_->rowCount(); ++r) {
    QStringList cells;
    for (int c = 0; c < elements_->columnCount(); ++c) cells << elements_->item(r, c)->text();
    lines << cells.join('\t');
  }
  return lines.join('\n') + '\n';
}

}  // namespace zyl::thermo::window
