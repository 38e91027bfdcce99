#include "diagrams/window/zyl_psd_form.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "diagrams/iep_file.h"
#include "diagrams/species_source.h"
#include "thermo/lookup.h"

namespace zyl::diagrams {

ZylPsd::ZylPsd(QWidget* parent, const SpeciesSource* source, platform::Messages* messages)
    : SetupForm(parent, messages, "zyl-lpp", "Lpp", tr("Lpp Files (*.lpp)"), ".lpp",
                "Can not start the phase stability diagram program zyl-lpp."),
      source_(source) {
  setObjectName("ZylPsd");
  setWindowTitle(tr("Lpp - Diagrams"));
  if (!source_) {
    own_source_ = std::make_unique<DatabaseSpeciesSource>(thermo::SharedSpeciesDatabases());
    source_ = own_source_.get();
  }
  BuildUi();
}

ZylPsd::~ZylPsd() = default;

void ZylPsd::BuildUi() {
  auto* top = new QHBoxLayout(this);
  auto* left = new QVBoxLayout;
  ListEle = NewElementList("ListEle", true);
  ButOK = new QPushButton(tr("&Select Species"), this);
  ButOK->setObjectName("ButOK");
  left->addWidget(new QLabel(tr("Elements (three)"), this));
  left->addWidget(ListEle);
  left->addWidget(ButOK);
  top->addLayout(left);
  auto list = [&](const char* name, const QString& title, QVBoxLayout* l) {
    auto* w = new QListWidget(this);
    w->setObjectName(name);
    l->addWidget(new QLabel(title, this));
    l->addWidget(w);
    return w;
  };
  auto* mid = new QVBoxLayout;
  ListX = list("ListX", tr("X - axis gas"), mid);
  ListY = list("ListY", tr("Y - axis gas"), mid);
  top->addLayout(mid);
  auto* sp = new QVBoxLayout;
  SpList = list("SpList", tr("Species"), sp);
  SpList->setSelectionMode(QAbstractItemView::MultiSelection);
  top->addLayout(sp, 1);
  auto* right = new QVBoxLayout;
  auto* g = new QGridLayout;
  MhTemp = NewField(g, 0, tr("Temperature"), "MhTemp", "726.85");
  ButCK = new QPushButton("C", this);
  ButCK->setObjectName("ButCK");
  g->addWidget(ButCK, 0, 2);
  TextXmin = NewField(g, 1, tr("log p X min"), "TextXmin", "-20");
  TextXmax = NewField(g, 2, tr("log p X max"), "TextXmax", "0");
  TextYmin = NewField(g, 3, tr("log p Y min"), "TextYmin", "-20");
  TextYmax = NewField(g, 4, tr("log p Y max"), "TextYmax", "0");
  right->addLayout(g);
  NewFileControls();
  right->addWidget(FileNa);
  right->addWidget(ButSave);
  right->addWidget(ButPsd);
  right->addStretch();
  top->addLayout(right);
  connect(ButOK, &QPushButton::clicked, this, &ZylPsd::ButOK_Click);
  connect(ButCK, &QPushButton::clicked, this, &ZylPsd::ButCK_Click);
}


void ZylPsd::SelectElements(const QStringList& symbols) {
  ListEle->clearSelection();
  for (int r = 0; r < ListEle->count(); ++r)
    if (symbols.contains(ListEle->item(r)->text())) ListEle->item(r)->setSelected(true);
  ButOK_Click();
}

std::optional<std::vector<std::string>> ZylPsd::ThreeElements(bool report) {
  std::vector<std::string> elements;
  for (int r = 0; r < ListEle->count(); ++r)
    if (ListEle->item(r)->isSelected()) elements.push_back(ListEle->item(r)->text().toStdString());
  if (elements.size() != 3) {
    if (report) Message(std::string(kMsgSelectThreeElements));
    return std::nullopt;
  }
  return elements;
}

void ZylPsd::ButOK_Click() {
  const auto three = ThreeElements(true);
  if (!three) return;
  const std::vector<std::string>& elements = *three;
  SpList->clear();
  ListX->clear();
  ListY->clear();
  for (const std::string& name : source_->SpeciesOf(elements)) {
    const QString q = QString::fromStdString(name);
    if (IsGasName(name)) {
      ListX->addItem(q);
      ListY->addItem(q);
    } else {
      SpList->addItem(q);
    }
  }
  for (int r = 0; r < SpList->count(); ++r) SpList->item(r)->setSelected(true);
  if (ListX->count() > 0) ListX->setCurrentRow(0);
  if (ListY->count() > 1) ListY->setCurrentRow(1);
}

void ZylPsd::ButCK_Click() {
  if (auto v = Number(MhTemp)) MhTemp->setText(QString::fromStdString(FormatFixed(*v + (celsius_ ? kCelsiusOffset : -kCelsiusOffset), 2)));
  celsius_ = !celsius_;
  ButCK->setText(celsius_ ? "C" : "K");
}

std::optional<LppSetup> ZylPsd::CurrentSetup(bool report) {
  LppSetup s;
  const auto elements = ThreeElements(report);
  if (!elements) return std::nullopt;
  s.elements = {(*elements)[0], (*elements)[1], (*elements)[2]};
  if (!ListX->currentItem() || !ListY->currentItem()) {
    if (report) Message(std::string(!ListX->currentItem() ? kMsgSelectX : kMsgSelectY));
    return std::nullopt;
  }
  s.x_gas = ListX->currentItem()->text().toStdString();
  s.y_gas = ListY->currentItem()->text().toStdString();
  if (s.x_gas == s.y_gas) {
    if (report) Message(std::string(kMsgDifferentAxes));
    return std::nullopt;
  }
  auto t = Number(MhTemp);
  auto x1 = Number(TextXmin), x2 = Number(TextXmax), y1 = Number(TextYmin), y2 = Number(TextYmax);
  if (!t || ToKelvin(*t, celsius_) <= 0 || !x1 || !x2 || !y1 || !y2 || !(*x1 < *x2) || !(*y1 < *y2)) {
    if (report) Message("Please, enter a temperature above 0 K and increasing axis limits.");
    return std::nullopt;
  }
  s.T = ToKelvin(*t, celsius_);
  s.xmin = *x1, s.xmax = *x2, s.ymin = *y1, s.ymax = *y2;
  for (int r = 0; r < SpList->count(); ++r)
    if (SpList->item(r)->isSelected()) s.species.push_back(SpList->item(r)->text().toStdString());
  if (s.species.size() < 3) {
    if (report) Message(std::string(kMsgAtLeastThreeSpecies));
    return std::nullopt;
  }
  return s;
}

bool ZylPsd::SaveSetup(const QString& path) {
  auto s = CurrentSetup();
  if (!s) return false;
  if (std::string e = WriteLpp(path.toStdString(), *s); !e.empty()) {
    Message(e);
    return false;
  }
  FileNa->setText(path);
  return true;
}

}  // namespace zyl::diagrams
