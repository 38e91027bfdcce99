#include "units/window/units_form.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "platform/window/dialogs.h"
#include "platform/window/grid.h"
#include "platform/window/qt_messages.h"

namespace zyl::units::window {

namespace {
using platform::window::AppDialogs;
using platform::window::AppMessages;
using platform::window::FromQ;
using platform::window::ToQ;
constexpr const char* kCaption = " Units Conversions ";
constexpr const char* kFilter = "UNI Files (*.UNI *.uni);;XLS Files (*.xlsx)";
}  // namespace

Units::Units(const QString& path, QWidget* parent) : QWidget(parent), book_(std::make_unique<platform::Workbook>()) {
  setObjectName("Units");
  setWindowTitle(kCaption);
  auto* top = new QVBoxLayout(this);
  auto* menu = new QMenuBar(this);
  top->setMenuBar(menu);
  auto* file = menu->addMenu("&File");
  file->addAction("&Open…", this, [this] {
    QString f = AppDialogs().OpenFile(this, "Open", QString(), kFilter);
    if (!f.isEmpty()) Open(f);
  })->setObjectName("MOpen");
  file->addAction("&Save…", this, [this] {
    QString f = AppDialogs().SaveFile(this, "Save", "Units5.UNI", kFilter);
    if (!f.isEmpty()) Save(f);
  })->setObjectName("MSave");
  auto* sheet = menu->addMenu("&Sheet");
  sheet->addAction("&Add Sheet…", this, [this] {
    std::string name;
    if (AppMessages().AskText("Sheet name", platform::kDefaultTitle, name)) AddSheet(ToQ(name));
  })->setObjectName("MAddSheet");
  sheet->addAction("&Delete Sheet", this, [this] { DeleteCurrentSheet(); })->setObjectName("MDelSheet");

  auto* conv = new QHBoxLayout;
  value_ = new QLineEdit("1", this);
  value_->setObjectName("TextValue");
  from_ = new QComboBox(this);
  from_->setObjectName("ComboFrom");
  to_ = new QComboBox(this);
  to_->setObjectName("ComboTo");
  result_ = new QLabel(this);
  result_->setObjectName("LabelResult");
  result_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  conv->addWidget(value_);
  conv->addWidget(from_);
  conv->addWidget(new QLabel("=", this));
  conv->addWidget(result_, 1);
  conv->addWidget(to_);
  top->addLayout(conv);
  grid_ = new platform::window::Grid(book_.get(), this);
  grid_->setObjectName("F1Units");
  top->addWidget(grid_, 1);
  connect(grid_, &platform::window::Grid::sheetChanged, this, [this] { FillUnits(); });
  connect(value_, &QLineEdit::textChanged, this, [this] { ConvertNow(); });
  connect(from_, &QComboBox::currentIndexChanged, this, [this] { ConvertNow(); });
  connect(to_, &QComboBox::currentIndexChanged, this, [this] { ConvertNow(); });
  Open(path.isEmpty() ? ToQ(StandardUnitsPath().string()) : path);
  for (int i = 0; i < book_->SheetCount(); ++i) basic_.push_back(book_->sheet(i).name());
  resize(820, 560);
}

Units::~Units() { delete grid_; }

void Units::ShowError(const std::string& err) { AppMessages().Show(err); }

bool Units::Open(const QString& path) {
  platform::Workbook wb;
  const std::string err = wb.Load(FromQ(path));
  if (!err.empty()) {
    ShowError(std::string(kErrorPrefix) + "53\n" + err);  // 53: file not found or unreadable
    return false;
  }
  book_->Load(FromQ(path));  // read again in place: the grid listens to this workbook
  grid_->Refresh();
  grid_->SelectSheet(0);
  FillUnits();
  return true;
}

bool Units::Save(const QString& path) {
  const std::string err = book_->Save(FromQ(path));
  if (!err.empty()) {
    ShowError(std::string(kErrorPrefix) + "75\n" + err);  // 75: path or file access error
    return false;
  }
  return true;
}

bool Units::AddSheet(const QString& name) {
  const std::string err = book_->InsertSheet(FromQ(name));
  if (!err.empty()) {
    ShowError(std::string(kErrorPrefix) + "1004\n" + err);
    return false;
  }
  auto& sh = book_->sheet(book_->FindSheet(FromQ(name)));
  sh.SetText(0, 0, "Unit");
  sh.SetText(0, 1, "Symbol");
  sh.SetText(0, 2, "Factor");
  sh.SetText(0, 3, "Offset");
  grid_->Refresh();
  grid_->SelectSheet(book_->FindSheet(FromQ(name)));
  return true;
}

bool Units::DeleteCurrentSheet() {
  const std::string err = DeleteUnitsSheet(*book_, book_->ActiveSheet(), basic_);
  if (!err.empty()) {
    ShowError(err);
    return false;
  }
  grid_->Refresh();
  grid_->SelectSheet(0);
  return true;
}

void Units::FillUnits() {
  units_ = ReadUnits(*book_);
  const std::string quantity = book_->sheet(std::max(0, book_->ActiveSheet())).name();
  for (QComboBox* c : {from_, to_}) {
    QSignalBlocker block(c);
    c->clear();
    for (const Unit& u : units_)
      if (u.quantity == quantity) c->addItem(ToQ(u.symbol));
  }
  if (to_->count() > 1) to_->setCurrentIndex(1);
  ConvertNow();
}

QString Units::ConvertNow() {
  bool ok = false;
  const double v = value_->text().trimmed().toDouble(&ok);
  QString text;
  if (ok && from_->count() > 0) {
    const std::string quantity = book_->sheet(std::max(0, book_->ActiveSheet())).name();
    std::vector<Unit> sheet;
    for (const Unit& u : units_)
      if (u.quantity == quantity) sheet.push_back(u);
    const Conversion c = Convert(sheet, v, FromQ(from_->currentText()), FromQ(to_->currentText()));
    text = c.ok() ? QString::number(c.result, 'g', 10) : ToQ(c.error);
  }
  result_->setText(text);
  return text;
}

}  // namespace zyl::units::window
