#include "diagrams/window/zyl_eph_form.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QHeaderView>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <map>

#include "diagrams/eph_setup.h"
#include "thermo/formula.h"
#include "thermo/lookup.h"

namespace zyl::diagrams {

namespace {

/// A loaded file re-selects an element only among the first entries of the list.
constexpr int kReselectEntries = 100;

QString Fixed(double v, int decimals) { return QString::fromStdString(FormatFixed(v, decimals)); }

}  // namespace

ZylEpH::ZylEpH(QWidget* parent, SpeciesLister lister, platform::Messages* messages)
    : SetupForm(parent, messages, "zyl-eph", "EpH", tr("EpH Files (*.iep)"), ".iep",
                "Can not start the Eh - pH diagram program zyl-eph."),
      lister_(std::move(lister)) {
  setObjectName("ZylEpH");
  setWindowTitle(tr("Eh - pH - Diagrams"));
  if (!lister_) {
    lister_ = [](const std::vector<std::string>& elements) {
      return EphSpeciesOf(elements, thermo::SharedSpeciesDatabases());
    };
  }
  BuildUi();
}

ZylEpH::~ZylEpH() = default;

int ZylEpH::CategoryOf(const std::string& name) {
  const bool charged = thermo::ParseFormula(name).Charge() != 0;
  auto ends = [&](std::string_view t) { return name.size() >= t.size() && name.ends_with(t); };
  if (ends("a)")) return charged ? 0 : 1;
  if (ends("g)")) return charged ? 3 : 4;
  if (ends("(l)")) return 5;
  return 2;
}

void ZylEpH::BuildUi() {
  auto* top = new QHBoxLayout(this);
  auto* left = new QVBoxLayout;
  auto* gEl = new QGroupBox(tr("Main element"), this);
  auto* lEl = new QVBoxLayout(gEl);
  ListEle = NewElementList("ListEle", false);
  auto* gEl2 = new QGroupBox(tr("Other elements"), this);
  auto* lEl2 = new QVBoxLayout(gEl2);
  ListEle2 = NewElementList("ListEle2", true);
  lEl->addWidget(ListEle);
  lEl2->addWidget(ListEle2);
  left->addWidget(gEl);
  left->addWidget(gEl2);
  auto* gCat = new QGroupBox(tr("Species"), this);
  auto* lCat = new QVBoxLayout(gCat);
  for (size_t i = 0; i < categories_.size(); ++i) {
    categories_[i] = new QCheckBox(tr(kCategories[i]), gCat);
    categories_[i]->setObjectName(QString("Cat%1").arg(i + 1));
    categories_[i]->setChecked(i != 3);  // gas ions off: no species of an aqueous system
    lCat->addWidget(categories_[i]);
  }
  ButOK = new QPushButton(tr("&List Species"), gCat);
  ButOK->setObjectName("ButOK");
  lCat->addWidget(ButOK);
  left->addWidget(gCat);
  top->addLayout(left);

  auto* mid = new QVBoxLayout;
  SpList = new QListWidget(this);
  SpList->setObjectName("SpList");
  SpList->setSelectionMode(QAbstractItemView::MultiSelection);
  mid->addWidget(new QLabel(tr("Species of the system (water is always included)"), this));
  mid->addWidget(SpList);
  top->addLayout(mid, 1);

  auto* right = new QVBoxLayout;
  auto* gT = new QGroupBox(tr("Temperatures"), this);
  auto* lT = new QGridLayout(gT);
  for (int i = 0; i < kMaxEphTemperatures; ++i) {
    TempRange[i] = new QLineEdit(gT);
    TempRange[i]->setObjectName(QString("TempRange%1").arg(i + 1));
    lT->addWidget(TempRange[i], i, 0);
  }
  TempRange[0]->setText("25.00");
  ButCK = new QPushButton(" C", gT);
  ButCK->setObjectName("ButCK");
  lT->addWidget(ButCK, 0, 1);
  right->addWidget(gT);
  auto* gC = new QGroupBox(tr("Conditions"), this);
  auto* lC = new QGridLayout(gC);
  TextAct = NewField(lC, 0, tr("log activity of dissolved species"), "TextAct", "-6");
  TextPres = NewField(lC, 1, tr("log pressure of gases (bar)"), "TextPres", "0");
  TabOther = new QTableWidget(0, 3, gC);
  TabOther->setObjectName("TabOther");
  TabOther->setHorizontalHeaderLabels({tr("Other element"), tr("log activity"), tr("log p (bar)")});
  TabOther->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
  TabOther->verticalHeader()->hide();
  TabOther->setMaximumHeight(120);
  TabOther->setToolTip(tr("Total dissolved activity and gas pressure of each other element"));
  lC->addWidget(TabOther, 2, 0, 1, 2);
  right->addWidget(gC);
  auto* gA = new QGroupBox(tr("Axes"), this);
  auto* lA = new QGridLayout(gA);
  TextEhMin = NewField(lA, 0, tr("Eh min (V)"), "TextEhMin", "-2");
  TextEhMax = NewField(lA, 1, tr("Eh max (V)"), "TextEhMax", "2");
  TextPhMin = NewField(lA, 2, tr("pH min"), "TextPhMin", "0");
  TextPhMax = NewField(lA, 3, tr("pH max"), "TextPhMax", "14");
  right->addWidget(gA);
  NewFileControls();
  right->addWidget(FileNa);
  auto* buttons = new QHBoxLayout;
  FOpen = new QPushButton(tr("&Open"), this);
  FOpen->setObjectName("FOpen");
  for (QPushButton* b : {FOpen, ButSave, ButPsd}) buttons->addWidget(b);
  right->addLayout(buttons);
  right->addStretch();
  top->addLayout(right);

  connect(ButOK, &QPushButton::clicked, this, &ZylEpH::ButOK_Click);
  connect(ButCK, &QPushButton::clicked, this, &ZylEpH::ButCK_Click);
  connect(FOpen, &QPushButton::clicked, this, &ZylEpH::FOpen_Click);
  connect(ListEle2, &QListWidget::itemSelectionChanged, this, [this] { UpdateOtherRows(OtherElements()); });
}

void ZylEpH::SelectElements(const QStringList& symbols) {
  ListEle->clearSelection();
  ListEle2->clearSelection();
  for (int i = 0; i < symbols.size(); ++i) {
    QListWidget* list = i == 0 ? ListEle : ListEle2;
    for (int r = 0; r < std::min(list->count(), kReselectEntries); ++r)
      if (list->item(r)->text() == symbols[i]) {
        list->item(r)->setSelected(true);
        list->scrollToItem(list->item(r));
      }
  }
  ButOK_Click();
}

void ZylEpH::ButOK_Click() {
  SpList->clear();
  const auto sel = ListEle->selectedItems();
  if (sel.isEmpty()) {
    Message("Please, select an Element");
    return;
  }
  std::vector<std::string> elements = {sel.first()->text().toStdString()};
  const std::vector<std::string> others = OtherElements();
  elements.insert(elements.end(), others.begin(), others.end());
  UpdateOtherRows(others);
  for (const std::string& name : lister_(elements)) {
    if (categories_[static_cast<size_t>(CategoryOf(name))]->isChecked()) SpList->addItem(QString::fromStdString(name));
  }
  SelectSpecies();
}

std::vector<std::string> ZylEpH::OtherElements() const {
  const auto main = ListEle->selectedItems();
  std::vector<std::string> out;
  for (int r = 0; r < ListEle2->count(); ++r)
    if (ListEle2->item(r)->isSelected() && (main.isEmpty() || ListEle2->item(r)->text() != main.first()->text()))
      out.push_back(ListEle2->item(r)->text().toStdString());
  return out;
}

void ZylEpH::UpdateOtherRows(const std::vector<std::string>& others) {
  std::map<std::string, std::pair<QString, QString>> kept;
  for (int row = 0; row < TabOther->rowCount(); ++row)
    kept[TabOther->item(row, 0)->text().toStdString()] = {TabOther->item(row, 1)->text(), TabOther->item(row, 2)->text()};
  TabOther->setRowCount(static_cast<int>(others.size()));
  for (int row = 0; row < TabOther->rowCount(); ++row) {
    const std::string& sym = others[static_cast<size_t>(row)];
    auto it = kept.find(sym);
    auto* name = new QTableWidgetItem(QString::fromStdString(sym));
    name->setFlags(name->flags() & ~Qt::ItemIsEditable);
    TabOther->setItem(row, 0, name);
    TabOther->setItem(row, 1, new QTableWidgetItem(it != kept.end() ? it->second.first : TextAct->text()));
    TabOther->setItem(row, 2, new QTableWidgetItem(it != kept.end() ? it->second.second : TextPres->text()));
  }
}

void ZylEpH::SelectSpecies(const QStringList& names) {
  for (int r = 0; r < SpList->count(); ++r)
    SpList->item(r)->setSelected(names.isEmpty() || names.contains(SpList->item(r)->text()));
}

void ZylEpH::ButCK_Click() {
  // Converts the entered temperatures to the other unit.
  const double shift = celsius_ ? kCelsiusOffset : -kCelsiusOffset;
  for (QLineEdit* e : TempRange)
    if (auto v = Number(e)) e->setText(Fixed(*v + shift, 2));
  celsius_ = !celsius_;
  ButCK->setText(celsius_ ? " C" : " K");
}

std::optional<IepSetup> ZylEpH::CurrentSetup(bool report) {
  IepSetup s;
  s.celsius = celsius_;
  const auto main = ListEle->selectedItems();
  auto act = Number(TextAct), pres = Number(TextPres);
  auto ehmin = Number(TextEhMin), ehmax = Number(TextEhMax), phmin = Number(TextPhMin), phmax = Number(TextPhMax);
  if (!act || !pres || !ehmin || !ehmax || !phmin || !phmax) {
    if (report) Message("Please, enter numbers for the activity, the pressure and the axis limits.");
    return std::nullopt;
  }
  if (!main.isEmpty()) s.elements.push_back({main.first()->text().toStdString(), *act, *pres});
  UpdateOtherRows(OtherElements());
  for (const std::string& symbol : OtherElements()) {
    IepElement e{symbol, *act, *pres};
    for (int row = 0; row < TabOther->rowCount(); ++row) {
      if (TabOther->item(row, 0)->text().toStdString() != e.symbol) continue;
      auto a = Number(TabOther->item(row, 1)->text());
      auto p = Number(TabOther->item(row, 2)->text());
      if (!a || !p) {
        if (report) Message("Please, enter numbers for the activity, the pressure and the axis limits.");
        return std::nullopt;
      }
      e.log_activity = *a;
      e.log_pressure = *p;
    }
    s.elements.push_back(e);
  }
  for (QLineEdit* e : TempRange) {
    if (e->text().trimmed().isEmpty()) continue;
    auto v = Number(e);
    if (!v || ToKelvin(*v, celsius_) <= 0) {
      if (report) Message("Please, enter temperatures above 0 K.");
      return std::nullopt;
    }
    s.temperatures.push_back(*v);
  }
  s.log_activity.assign(s.temperatures.size(), *act);
  s.log_pressure.assign(s.temperatures.size(), *pres);
  s.eh_min = *ehmin, s.eh_max = *ehmax, s.ph_min = *phmin, s.ph_max = *phmax;
  for (int r = 0; r < SpList->count(); ++r)
    if (SpList->item(r)->isSelected()) s.species.push_back(SpList->item(r)->text().toStdString());
  if (std::string e = ValidateIep(s); !e.empty()) {
    if (report) Message(e);
    return std::nullopt;
  }
  if (!(s.eh_min < s.eh_max) || !(s.ph_min < s.ph_max)) {
    if (report) Message("The axis limits must be increasing: Eh min < Eh max and pH min < pH max.");
    return std::nullopt;
  }
  return s;
}

bool ZylEpH::SaveSetup(const QString& path) {
  auto s = CurrentSetup();
  if (!s) return false;
  if (std::string e = WriteIep(path.toStdString(), *s); !e.empty()) {
    Message(e);
    return false;
  }
  FileNa->setText(path);
  return true;
}

bool ZylEpH::LoadSetup(const QString& path) {
  IepReadResult r = ReadIep(path.toStdString());
  if (!r.setup) {
    Message(r.error);
    return false;
  }
  const IepSetup& s = *r.setup;
  QStringList symbols;
  for (const IepElement& e : s.elements) symbols << QString::fromStdString(e.symbol);
  if (!s.elements.empty()) {
    TextAct->setText(QString::number(s.log_activity.empty() ? s.elements[0].log_activity : s.log_activity[0]));
    TextPres->setText(QString::number(s.log_pressure.empty() ? s.elements[0].log_pressure : s.log_pressure[0]));
  }
  if (celsius_ != s.celsius) {
    celsius_ = s.celsius;
    ButCK->setText(celsius_ ? " C" : " K");
  }
  for (int i = 0; i < kMaxEphTemperatures; ++i)
    TempRange[i]->setText(static_cast<size_t>(i) < s.temperatures.size() ? Fixed(s.temperatures[i], 2) : QString());
  TextEhMin->setText(QString::number(s.eh_min));
  TextEhMax->setText(QString::number(s.eh_max));
  TextPhMin->setText(QString::number(s.ph_min));
  TextPhMax->setText(QString::number(s.ph_max));
  SelectElements(symbols);
  for (int row = 0; row < TabOther->rowCount(); ++row)
    for (size_t i = 1; i < s.elements.size(); ++i)
      if (TabOther->item(row, 0)->text().toStdString() == s.elements[i].symbol) {
        TabOther->item(row, 1)->setText(QString::number(s.elements[i].log_activity));
        TabOther->item(row, 2)->setText(QString::number(s.elements[i].log_pressure));
      }
  SpList->clearSelection();
  std::string missing;
  for (const std::string& name : s.species) {
    const auto found = SpList->findItems(QString::fromStdString(name), Qt::MatchExactly);
    if (found.isEmpty()) {
      missing += "The Specie: " + name + " is no longer available.\n";
      continue;
    }
    found.first()->setSelected(true);
  }
  if (!missing.empty()) Message(missing + "Check Search Mode Options.");
  FileNa->setText(path);
  return true;
}

void ZylEpH::FOpen_Click() {
  QString path = QFileDialog::getOpenFileName(this, tr("Open"), UserFolder(), tr("EpH Files (*.iep)"));
  if (!path.isEmpty()) LoadSetup(path);
}

}  // namespace zyl::diagrams
