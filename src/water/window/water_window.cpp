#include "water/window/water_window.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTabWidget>
#include <QTableView>
#include <QTableWidget>
#include <QVBoxLayout>
#include <cmath>

#include "platform/window/dialogs.h"
#include "platform/window/grid.h"
#include "thermo/constants.h"
#include "water/iapws95.h"
#include "water/tables.h"
#include "water/window/water_chart.h"

namespace zyl::water::window {

namespace {

using thermo::kCelsiusOffset;
constexpr double kBarPerMPa = 10.0;
constexpr double kMPaPerAtm = 0.101325;
constexpr double kMolPerKg = 1000.0 / kMolarMass;
constexpr double kMicroPerUnit = 1e6;  // Pa s -> µPa s

struct Row {
  const char* key;
  const char* name;
};
constexpr Row kRows[] = {{"rho", "Density"},         {"v", "Specific volume"}, {"u", "Internal energy"},
                         {"h", "Enthalpy"},          {"s", "Entropy"},         {"cp", "Isobaric heat capacity"},
                         {"cv", "Isochoric heat capacity"}, {"w", "Speed of sound"},
                         {"eta", "Viscosity"},       {"lambda", "Thermal conductivity"}};

bool ReadNumber(const QLineEdit* e, double* v) {
  bool ok = false;
  QString t = e->text().trimmed();
  t.replace(',', '.');
  *v = t.toDouble(&ok);
  return ok && std::isfinite(*v);
}

QString Num(double v, int digits = 6) { return QString::number(v, 'g', digits); }

}  // namespace

WaterWindow::WaterWindow(QWidget* parent) : QWidget(parent), book_(std::make_unique<platform::Workbook>("Saturation")) {
  setObjectName("Water");
  setWindowTitle(tr("Water / Steam"));

  // ---- state ----------------------------------------------------------------------------------
  TextT = new QLineEdit("25", this);
  TextT->setObjectName("TextT");
  ComboTUnit = new QComboBox(this);
  ComboTUnit->setObjectName("ComboTUnit");
  ComboTUnit->addItems({"°C", "K"});
  TextP = new QLineEdit("1", this);
  TextP->setObjectName("TextP");
  ComboPUnit = new QComboBox(this);
  ComboPUnit->setObjectName("ComboPUnit");
  ComboPUnit->addItems({"bar", "MPa", "atm"});
  ComboBasis = new QComboBox(this);
  ComboBasis->setObjectName("ComboBasis");
  ComboBasis->addItems({tr("per kg"), tr("per mol")});
  auto* calc = new QPushButton(tr("Calculate"), this);
  calc->setObjectName("ButtonCalc");
  calc->setDefault(true);

  auto* tRow = new QHBoxLayout;
  tRow->addWidget(TextT, 1);
  tRow->addWidget(ComboTUnit);
  auto* pRow = new QHBoxLayout;
  pRow->addWidget(TextP, 1);
  pRow->addWidget(ComboPUnit);
  auto* form = new QFormLayout;
  form->addRow(tr("Temperature"), tRow);
  form->addRow(tr("Pressure"), pRow);
  form->addRow(tr("Basis"), ComboBasis);
  form->addRow(QString(), calc);

  phase_ = new QLabel(this);
  phase_->setObjectName("LabelPhase");
  QFont bold = phase_->font();
  bold.setBold(true);
  phase_->setFont(bold);
  props_ = new QTableWidget(static_cast<int>(std::size(kRows)), 3, this);
  props_->setObjectName("TableProps");
  props_->setHorizontalHeaderLabels({tr("Property"), tr("Value"), tr("Unit")});
  props_->verticalHeader()->hide();
  props_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
  props_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  for (int i = 0; i < props_->rowCount(); ++i) props_->setItem(i, 0, new QTableWidgetItem(tr(kRows[i].name)));
  status_ = new QLabel(this);
  status_->setObjectName("LabelStatus");
  status_->setWordWrap(true);

  auto* stateBox = new QGroupBox(tr("State"), this);
  auto* sl = new QVBoxLayout(stateBox);
  sl->addLayout(form);
  sl->addWidget(phase_);
  sl->addWidget(props_, 1);
  sl->addWidget(status_);

  // ---- saturation table -----------------------------------------------------------------------
  ComboSatBy = new QComboBox(this);
  ComboSatBy->setObjectName("ComboSatBy");
  ComboSatBy->addItems({tr("Temperature"), tr("Pressure")});
  TextFrom = new QLineEdit("0.01", this);
  TextFrom->setObjectName("TextFrom");
  TextTo = new QLineEdit("370", this);
  TextTo->setObjectName("TextTo");
  TextStep = new QLineEdit("10", this);
  TextStep->setObjectName("TextStep");
  auto* table = new QPushButton(tr("Table"), this);
  table->setObjectName("ButtonTable");
  auto* copy = new QPushButton(tr("Copy"), this);
  copy->setObjectName("ButtonCopy");
  auto* save = new QPushButton(tr("Save..."), this);
  save->setObjectName("ButtonSave");
  auto* print = new QPushButton(tr("Print..."), this);
  print->setObjectName("ButtonPrint");
  grid_ = new platform::window::Grid(book_.get(), this);
  grid_->setObjectName("SatGrid");
  auto* range = new QHBoxLayout;
  range->addWidget(new QLabel(tr("By"), this));
  range->addWidget(ComboSatBy);
  range->addWidget(new QLabel(tr("from"), this));
  range->addWidget(TextFrom);
  range->addWidget(new QLabel(tr("to"), this));
  range->addWidget(TextTo);
  range->addWidget(new QLabel(tr("step"), this));
  range->addWidget(TextStep);
  range->addWidget(table);
  auto* actions = new QHBoxLayout;
  actions->addStretch(1);
  actions->addWidget(copy);
  actions->addWidget(save);
  actions->addWidget(print);
  auto* tablePage = new QWidget(this);
  auto* tl = new QVBoxLayout(tablePage);
  tl->addLayout(range);
  tl->addWidget(grid_, 1);
  tl->addLayout(actions);

  // ---- chart --------------------------------------------------------------------------------------
  ComboChart = new QComboBox(this);
  ComboChart->setObjectName("ComboChart");
  ComboChart->addItems({tr("T-s"), tr("h-s (Mollier)")});
  auto* saveChart = new QPushButton(tr("Save Picture..."), this);
  saveChart->setObjectName("ButtonSaveChart");
  chart_ = new WaterChart(this);
  auto* chartPage = new QWidget(this);
  auto* cl = new QVBoxLayout(chartPage);
  auto* ct = new QHBoxLayout;
  ct->addWidget(new QLabel(tr("Chart"), this));
  ct->addWidget(ComboChart);
  ct->addStretch(1);
  ct->addWidget(saveChart);
  cl->addLayout(ct);
  cl->addWidget(chart_, 1);

  auto* tabs = new QTabWidget(this);
  tabs->setObjectName("Tabs");
  tabs->addTab(chartPage, tr("Chart"));
  tabs->addTab(tablePage, tr("Saturation Table"));

  auto* split = new QSplitter(this);
  split->addWidget(stateBox);
  split->addWidget(tabs);
  split->setStretchFactor(1, 1);
  auto* top = new QVBoxLayout(this);
  top->addWidget(split);
  resize(1100, 620);
  platform::window::RememberGeometry(this, "water");

  connect(calc, &QPushButton::clicked, this, [this] { Calculate(); });
  for (QLineEdit* e : {TextT, TextP}) connect(e, &QLineEdit::returnPressed, this, [this] { Calculate(); });
  // A unit change converts the value in its field, so the state stays the same.
  connect(ComboTUnit, &QComboBox::currentIndexChanged, this, [this](int) {
    if (have_state_) TextT->setText(Num(FromKelvin(T_), 8));
    chart_->SetCelsius(ComboTUnit->currentIndex() == 0);
    ShowState();
  });
  connect(ComboPUnit, &QComboBox::currentIndexChanged, this, [this](int) {
    if (have_state_) TextP->setText(Num(FromMPa(P_), 8));
    ShowState();
  });
  connect(ComboBasis, &QComboBox::currentIndexChanged, this, [this](int) { ShowState(); });
  connect(ComboSatBy, &QComboBox::currentIndexChanged, this, [this](int by) {
    if (by == 0) {
      TextFrom->setText(ComboTUnit->currentIndex() == 0 ? "0.01" : "273.16");
      TextTo->setText(ComboTUnit->currentIndex() == 0 ? "370" : "643.15");
      TextStep->setText("10");
    } else {
      TextFrom->setText(Num(FromMPa(0.01)));
      TextTo->setText(Num(FromMPa(22)));
      TextStep->setText(Num(FromMPa(1)));
    }
  });
  connect(table, &QPushButton::clicked, this, [this] { FillTable(); });
  connect(copy, &QPushButton::clicked, this, [this] { CopyTable(); });
  connect(save, &QPushButton::clicked, this, [this] { SaveTableAs(); });
  connect(print, &QPushButton::clicked, this, [this] { grid_->Print(QString::fromUtf8(kNoPrinter)); });
  connect(ComboChart, &QComboBox::currentIndexChanged, this,
          [this](int i) { chart_->SetKind(i == 0 ? WaterChart::Kind::TS : WaterChart::Kind::HS); });
  connect(saveChart, &QPushButton::clicked, this, [this] { SaveChartAs(); });

  Calculate();
  FillTable();
}

// The grid listens to the workbook: it goes before the workbook member does.
WaterWindow::~WaterWindow() { delete grid_; }

double WaterWindow::ToKelvin(double t) const { return ComboTUnit->currentIndex() == 0 ? t + kCelsiusOffset : t; }
double WaterWindow::FromKelvin(double T) const { return ComboTUnit->currentIndex() == 0 ? T - kCelsiusOffset : T; }
double WaterWindow::ToMPa(double p) const {
  switch (ComboPUnit->currentIndex()) {
    case 0: return p / kBarPerMPa;
    case 2: return p * kMPaPerAtm;
    default: return p;
  }
}
double WaterWindow::FromMPa(double P) const {
  switch (ComboPUnit->currentIndex()) {
    case 0: return P * kBarPerMPa;
    case 2: return P / kMPaPerAtm;
    default: return P;
  }
}

void WaterWindow::SetStatus(const QString& text, bool error) {
  status_->setText(text);
  status_->setStyleSheet(error ? "color: #b00020;" : "");
}

bool WaterWindow::Calculate() {
  double t = 0, p = 0;
  if (!ReadNumber(TextT, &t)) {
    SetStatus(tr("The temperature is not a number."), true);
    TextT->setFocus();
    return false;
  }
  if (!ReadNumber(TextP, &p)) {
    SetStatus(tr("The pressure is not a number."), true);
    TextP->setFocus();
    return false;
  }
  auto st = StateAtTP(ToKelvin(t), ToMPa(p));
  if (!st.ok()) {
    SetStatus(QString::fromStdString(st.error), true);
    return false;
  }
  T_ = st->T;
  P_ = st->P;
  have_state_ = true;
  SetStatus(QString(), false);
  ShowState();
  return true;
}

void WaterWindow::ShowState() {
  if (!have_state_) return;
  auto st = StateAtTP(T_, P_);
  if (!st.ok()) return;
  const State& s = *st;
  const bool mol = ComboBasis->currentIndex() == 1;
  const double e = mol ? 1.0 / kMolPerKg : 1.0;         // kJ/kg -> kJ/mol
  const double en = mol ? 1000.0 / kMolPerKg : 1.0;     // kJ/(kg K) -> J/(mol K)
  const QString eu = mol ? "kJ/mol" : "kJ/kg", su = mol ? "J/(mol·K)" : "kJ/(kg·K)";
  const double values[] = {s.rho,   mol ? s.v / kMolPerKg * 1e6 : s.v, s.u * e, s.h * e, s.s * en, s.cp * en, s.cv * en,
                           s.w,     s.eta * kMicroPerUnit,             s.lambda};
  const QString units[] = {"kg/m³", mol ? "cm³/mol" : "m³/kg", eu, eu, su, su, su, "m/s", "µPa·s", "W/(m·K)"};
  for (int i = 0; i < props_->rowCount(); ++i) {
    auto* v = new QTableWidgetItem(Num(values[i], 7));
    v->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    props_->setItem(i, 1, v);
    props_->setItem(i, 2, new QTableWidgetItem(units[i]));
  }
  QString phase = QString::fromUtf8(PhaseName(s.phase));
  if (T_ < kTc) {
    auto sat = SaturationAtT(T_);
    if (sat.ok())
      phase += tr("  (saturation pressure %1 %2)").arg(Num(FromMPa(sat->P))).arg(ComboPUnit->currentText());
  }
  phase_->setText(phase[0].toUpper() + phase.mid(1));
  chart_->SetPoint(s.s, s.T, s.h);
}

bool WaterWindow::FillTable() {
  double a = 0, b = 0, step = 0;
  if (!ReadNumber(TextFrom, &a) || !ReadNumber(TextTo, &b) || !ReadNumber(TextStep, &step) || step <= 0) {
    SetStatus(tr("The table range needs numbers and a positive step."), true);
    return false;
  }
  const bool by_p = ComboSatBy->currentIndex() == 1;
  if (std::fabs(b - a) / step + 1 > kMaxTableRows) {
    SetStatus(tr("At most %1 rows: take a larger step.").arg(kMaxTableRows), true);
    return false;
  }
  const auto rows = by_p ? SaturationSeries(true, ToMPa(a), ToMPa(b), ToMPa(step))
                         : SaturationSeries(false, ToKelvin(a), ToKelvin(b), step);
  if (rows.empty()) {
    SetStatus(by_p ? tr("No saturation state in that pressure range (triple point to 22.064 MPa).")
                   : tr("No saturation state in that temperature range (0.01 to 373.946 °C)."),
              true);
    return false;
  }
  const bool mol = ComboBasis->currentIndex() == 1;
  const double e = mol ? 1.0 / kMolPerKg : 1.0, en = mol ? 1000.0 / kMolPerKg : 1.0;
  const QString eu = mol ? "kJ/mol" : "kJ/kg", su = mol ? "J/(mol K)" : "kJ/(kg K)";
  platform::Sheet& sh = book_->sheet(0);
  sh.ClearAll(0, 0, std::max(sh.LastRow(), 1), std::max(sh.LastCol(), 16));
  const QString heads[] = {QString("T / %1").arg(ComboTUnit->currentText()),
                           QString("P / %1").arg(ComboPUnit->currentText()),
                           "rho' / kg/m3", "rho'' / kg/m3", QString("h' / %1").arg(eu), QString("h'' / %1").arg(eu),
                           QString("dh vap / %1").arg(eu), QString("s' / %1").arg(su), QString("s'' / %1").arg(su),
                           QString("cp' / %1").arg(su), QString("cp'' / %1").arg(su),
                           "eta' / uPa s", "eta'' / uPa s", "lambda' / W/(m K)", "lambda'' / W/(m K)"};
  for (int c = 0; c < static_cast<int>(std::size(heads)); ++c) {
    sh.SetText(0, c, heads[c].toStdString());
    sh.SetColumnWidth(c, 13);
  }
  sh.SetBold(0, 0, 0, static_cast<int>(std::size(heads)) - 1, true);
  int r = 1;
  for (const Saturation& s : rows) {
    const double v[] = {FromKelvin(s.T), FromMPa(s.P), s.liquid.rho, s.vapour.rho, s.liquid.h * e, s.vapour.h * e,
                        (s.vapour.h - s.liquid.h) * e, s.liquid.s * en, s.vapour.s * en, s.liquid.cp * en,
                        s.vapour.cp * en, s.liquid.eta * kMicroPerUnit, s.vapour.eta * kMicroPerUnit,
                        s.liquid.lambda, s.vapour.lambda};
    for (int c = 0; c < static_cast<int>(std::size(v)); ++c) sh.SetNumber(r, c, v[c]);
    ++r;
  }
  sh.SetNumberFormat(1, 0, r - 1, 0, "0.00");
  sh.SetNumberFormat(1, 1, r - 1, 1, "0.00000");
  sh.SetNumberFormat(1, 2, r - 1, 10, "0.0000");
  sh.SetNumberFormat(1, 11, r - 1, 12, "0.000");
  sh.SetNumberFormat(1, 13, r - 1, 14, "0.00000");
  grid_->Refresh();
  SetStatus(tr("%1 saturation states.").arg(rows.size()), false);
  return true;
}

void WaterWindow::CopyTable() {
  int r1, c1, r2, c2;
  if (!grid_->SelectedRange(&r1, &c1, &r2, &c2) || (r1 == r2 && c1 == c2)) {
    // nothing or one cell selected: copy the whole table
    const platform::Sheet& sh = book_->sheet(0);
    QString text;
    for (int r = 0; r <= sh.LastRow(); ++r) {
      QStringList cells;
      for (int c = 0; c <= sh.LastCol(); ++c) cells << QString::fromStdString(sh.DisplayText(r, c));
      text += cells.join('\t') + '\n';
    }
    QApplication::clipboard()->setText(text);
    return;
  }
  grid_->CopySelection();
}

QString WaterWindow::SaveTable(const QString& path) {
  return QString::fromStdString(book_->Save(path.toStdString()));
}

void WaterWindow::SaveTableAs() {
  auto& d = platform::window::AppDialogs();
  const QString path = d.SaveFile(this, tr("Save Saturation Table"),
                                  platform::window::LastFolder("water", QString()),
                                  tr("Excel Workbook (*.xlsx);;CSV (*.csv)"));
  if (path.isEmpty()) return;
  const QString err = SaveTable(path);
  if (!err.isEmpty()) SetStatus(err, true);
  else platform::window::SetLastFolder("water", path);
}

void WaterWindow::SaveChartAs() {
  auto& d = platform::window::AppDialogs();
  const QString path = d.SaveFile(this, tr("Save Picture"), platform::window::LastFolder("water", QString()),
                                  tr("PNG Picture (*.png);;SVG Drawing (*.svg)"));
  if (path.isEmpty()) return;
  if (!chart_->Save(path)) SetStatus(tr("Can not write %1.").arg(path), true);
  else platform::window::SetLastFolder("water", path);
}

QString WaterWindow::ValueText(const QString& key) const {
  for (int i = 0; i < static_cast<int>(std::size(kRows)); ++i)
    if (key == kRows[i].key && props_->item(i, 1)) return props_->item(i, 1)->text();
  return {};
}

QString WaterWindow::PhaseText() const { return phase_->text(); }
QString WaterWindow::StatusText() const { return status_->text(); }

}  // namespace zyl::water::window
