#include "diagrams/window/zyl_psd_form.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProcess>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>

#include "diagrams/iep_file.h"
#include "diagrams/species_source.h"
#include "platform/paths.h"
#include "platform/window/qt_messages.h"
#include "thermo/lookup.h"

namespace zyl::diagrams {

namespace {

constexpr const char* kSymbols[] = {
    "H",  "He", "Li", "Be", "B",  "C",  "N",  "O",  "F",  "Ne", "Na", "Mg", "Al", "Si", "P",  "S",  "Cl", "Ar",
    "K",  "Ca", "Sc", "Ti", "V",  "Cr", "Mn", "Fe", "Co", "Ni", "Cu", "Zn", "Ga", "Ge", "As", "Se", "Br", "Kr",
    "Rb", "Sr", "Y",  "Zr", "Nb", "Mo", "Tc", "Ru", "Rh", "Pd", "Ag", "Cd", "In", "Sn", "Sb", "Te", "I",  "Xe",
    "Cs", "Ba", "La", "Ce", "Pr", "Nd", "Pm", "Sm", "Eu", "Gd", "Tb", "Dy", "Ho", "Er", "Tm", "Yb", "Lu", "Hf",
    "Ta", "W",  "Re", "Os", "Ir", "Pt", "Au", "Hg", "Tl", "Pb", "Bi", "Po", "At", "Rn", "Fr", "Ra", "Ac", "Th",
    "Pa", "U",  "Np", "Pu", "Am", "Cm", "Bk", "Cf", "Es", "Fm", "Md", "No", "Lr"};

std::optional<double> Number(const QLineEdit* e) {
  bool ok = false;
  const double v = e->text().trimmed().toDouble(&ok);
  return ok && std::isfinite(v) ? std::optional<double>(v) : std::nullopt;
}

bool DefaultLaunch(const QString& file) {
  return QProcess::startDetached(QDir(QCoreApplication::applicationDirPath()).filePath("zyl-lpp"), {file});
}

}  // namespace

ZylPsd::ZylPsd(QWidget* parent, const SpeciesSource* source, platform::Messages* messages)
    : QWidget(parent), source_(source), messages_(messages), launcher_(DefaultLaunch) {
  setObjectName("ZylPsd");
  setWindowTitle(tr("Lpp - Diagrams"));
  if (!source_) {
    own_source_ = std::make_unique<DatabaseSpeciesSource>(thermo::SharedSpeciesDatabases());
    source_ = own_source_.get();
  }
  if (!messages_) {
    own_messages_ = std::make_unique<platform::window::QtMessages>(this);
    messages_ = own_messages_.get();
  }
  BuildUi();
}

ZylPsd::~ZylPsd() = default;

void ZylPsd::BuildUi() {
  auto* top = new QHBoxLayout(this);
  auto* left = new QVBoxLayout;
  ListEle = new QListWidget(this);
  ListEle->setObjectName("ListEle");
  ListEle->setSelectionMode(QAbstractItemView::MultiSelection);
  for (const char* s : kSymbols) ListEle->addItem(s);
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
  auto field = [&](int row, const QString& label, const char* name, const QString& value) {
    auto* e = new QLineEdit(value, this);
    e->setObjectName(name);
    g->addWidget(new QLabel(label, this), row, 0);
    g->addWidget(e, row, 1);
    return e;
  };
  MhTemp = field(0, tr("Temperature"), "MhTemp", "726.85");
  ButCK = new QPushButton("C", this);
  ButCK->setObjectName("ButCK");
  g->addWidget(ButCK, 0, 2);
  TextXmin = field(1, tr("log p X min"), "TextXmin", "-20");
  TextXmax = field(2, tr("log p X max"), "TextXmax", "0");
  TextYmin = field(3, tr("log p Y min"), "TextYmin", "-20");
  TextYmax = field(4, tr("log p Y max"), "TextYmax", "0");
  right->addLayout(g);
  FileNa = new QLineEdit(this);
  FileNa->setObjectName("FileNa");
  FileNa->setReadOnly(true);
  right->addWidget(FileNa);
  ButSave = new QPushButton(tr("&Save"), this);
  ButSave->setObjectName("ButSave");
  ButPsd = new QPushButton(tr("&Diagram"), this);
  ButPsd->setObjectName("ButPsd");
  right->addWidget(ButSave);
  right->addWidget(ButPsd);
  right->addStretch();
  top->addLayout(right);
  connect(ButOK, &QPushButton::clicked, this, &ZylPsd::ButOK_Click);
  connect(ButCK, &QPushButton::clicked, this, &ZylPsd::ButCK_Click);
  connect(ButSave, &QPushButton::clicked, this, &ZylPsd::ButSave_Click);
  connect(ButPsd, &QPushButton::clicked, this, &ZylPsd::ButPsd_Click);
}

void ZylPsd::Message(const std::string& text) { messages_->Show(text); }
QString ZylPsd::FileName() const { return FileNa->text(); }

void ZylPsd::SelectElements(const QStringList& symbols) {
  ListEle->clearSelection();
  for (int r = 0; r < ListEle->count(); ++r)
    if (symbols.contains(ListEle->item(r)->text())) ListEle->item(r)->setSelected(true);
  ButOK_Click();
}

void ZylPsd::ButOK_Click() {
  std::vector<std::string> elements;
  for (int r = 0; r < ListEle->count(); ++r)
    if (ListEle->item(r)->isSelected()) elements.push_back(ListEle->item(r)->text().toStdString());
  if (elements.size() != 3) {
    Message(std::string(kMsgSelectThreeElements));
    return;
  }
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
  std::vector<std::string> elements;
  for (int r = 0; r < ListEle->count(); ++r)
    if (ListEle->item(r)->isSelected()) elements.push_back(ListEle->item(r)->text().toStdString());
  if (elements.size() != 3) {
    if (report) Message(std::string(kMsgSelectThreeElements));
    return std::nullopt;
  }
  s.elements = {elements[0], elements[1], elements[2]};
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

void ZylPsd::ButSave_Click() {
  if (!CurrentSetup()) return;
  const QString folder = QString::fromStdString((platform::UserDataDir() / "Lpp").string());
  QDir().mkpath(folder);
  QString path = QFileDialog::getSaveFileName(this, tr("Save"), folder, tr("Lpp Files (*.lpp)"));
  if (path.isEmpty()) return;
  if (!path.endsWith(".lpp", Qt::CaseInsensitive)) path += ".lpp";
  SaveSetup(path);
}

void ZylPsd::ButPsd_Click() {
  if (FileNa->text().isEmpty()) ButSave_Click();
  else if (!SaveSetup(FileNa->text())) return;
  if (FileNa->text().isEmpty()) return;
  if (!launcher_(FileNa->text())) {
    Message("Can not start the phase stability diagram program zyl-lpp.");
    return;
  }
  close();
}

}  // namespace zyl::diagrams
