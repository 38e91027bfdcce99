#include "diagrams/window/setup_form.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProcess>
#include <QPushButton>
#include <cmath>

#include "platform/paths.h"
#include "platform/window/qt_messages.h"

namespace zyl::diagrams {

namespace {

// Element symbols in order of atomic number, as the element lists show them.
constexpr const char* kSymbols[] = {
    "H",  "He", "Li", "Be", "B",  "C",  "N",  "O",  "F",  "Ne", "Na", "Mg", "Al", "Si", "P",  "S",  "Cl", "Ar",
    "K",  "Ca", "Sc", "Ti", "V",  "Cr", "Mn", "Fe", "Co", "Ni", "Cu", "Zn", "Ga", "Ge", "As", "Se", "Br", "Kr",
    "Rb", "Sr", "Y",  "Zr", "Nb", "Mo", "Tc", "Ru", "Rh", "Pd", "Ag", "Cd", "In", "Sn", "Sb", "Te", "I",  "Xe",
    "Cs", "Ba", "La", "Ce", "Pr", "Nd", "Pm", "Sm", "Eu", "Gd", "Tb", "Dy", "Ho", "Er", "Tm", "Yb", "Lu", "Hf",
    "Ta", "W",  "Re", "Os", "Ir", "Pt", "Au", "Hg", "Tl", "Pb", "Bi", "Po", "At", "Rn", "Fr", "Ra", "Ac", "Th",
    "Pa", "U",  "Np", "Pu", "Am", "Cm", "Bk", "Cf", "Es", "Fm", "Md", "No", "Lr"};

}  // namespace

SetupForm::SetupForm(QWidget* parent, platform::Messages* messages, const QString& program, const QString& folder,
                     const QString& filter, const QString& suffix, const std::string& start_failed)
    : QWidget(parent), messages_(messages), folder_(folder), filter_(filter), suffix_(suffix), start_failed_(start_failed) {
  launcher_ = [program](const QString& file) {
    return QProcess::startDetached(QDir(QCoreApplication::applicationDirPath()).filePath(program), {file});
  };
  if (!messages_) {
    own_messages_ = std::make_unique<platform::window::QtMessages>(this);
    messages_ = own_messages_.get();
  }
}

SetupForm::~SetupForm() = default;

void SetupForm::Message(const std::string& text) { messages_->Show(text); }

QString SetupForm::FileName() const { return FileNa->text(); }

QString SetupForm::UserFolder() const { return QString::fromStdString((platform::UserDataDir() / folder_.toStdString()).string()); }

std::optional<double> SetupForm::Number(const QLineEdit* e) { return Number(e->text()); }

std::optional<double> SetupForm::Number(const QString& text) {
  bool ok = false;
  const double v = text.trimmed().toDouble(&ok);
  return ok && std::isfinite(v) ? std::optional<double>(v) : std::nullopt;
}

QListWidget* SetupForm::NewElementList(const char* object_name, bool multi) {
  auto* list = new QListWidget(this);
  list->setObjectName(object_name);
  if (multi) list->setSelectionMode(QAbstractItemView::MultiSelection);
  for (const char* s : kSymbols) list->addItem(s);
  return list;
}

QLineEdit* SetupForm::NewField(QGridLayout* grid, int row, const QString& label, const char* object_name,
                               const QString& value) {
  QWidget* owner = grid->parentWidget() ? grid->parentWidget() : this;
  auto* e = new QLineEdit(value, owner);
  e->setObjectName(object_name);
  grid->addWidget(new QLabel(label, owner), row, 0);
  grid->addWidget(e, row, 1);
  return e;
}

void SetupForm::NewFileControls() {
  FileNa = new QLineEdit(this);
  FileNa->setObjectName("FileNa");
  FileNa->setReadOnly(true);
  ButSave = new QPushButton(tr("&Save"), this);
  ButSave->setObjectName("ButSave");
  ButPsd = new QPushButton(tr("&Diagram"), this);
  ButPsd->setObjectName("ButPsd");
  connect(ButSave, &QPushButton::clicked, this, &SetupForm::ButSave_Click);
  connect(ButPsd, &QPushButton::clicked, this, &SetupForm::ButPsd_Click);
}

void SetupForm::ButSave_Click() {
  if (!CanSave()) return;
  const QString folder = UserFolder();
  QDir().mkpath(folder);
  QString path = QFileDialog::getSaveFileName(this, tr("Save"), folder, filter_);
  if (path.isEmpty()) return;
  if (!path.endsWith(suffix_, Qt::CaseInsensitive)) path += suffix_;
  SaveSetup(path);
}

void SetupForm::ButPsd_Click() {
  if (FileNa->text().isEmpty()) ButSave_Click();
  else if (!SaveSetup(FileNa->text())) return;  // the diagram shows what the form holds now
  if (FileNa->text().isEmpty()) return;
  if (!launcher_(FileNa->text())) {
    Message(start_failed_);
    return;
  }
  close();
}

}  // namespace zyl::diagrams
