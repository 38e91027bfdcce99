#include "shell/window/settings_form.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMap>
#include <QPushButton>
#include <QShortcut>
#include <QTableWidget>
#include <QVBoxLayout>

#include "platform/window/dialogs.h"
#include "platform/window/help.h"
#include "platform/window/qt_messages.h"
#include "shell/program_state.h"

namespace zyl::shell::window {

using platform::window::AppDialogs;
using platform::window::AppMessages;
using platform::window::FromQ;

namespace {

constexpr int kSectionCol = 0;
constexpr int kValueCol = 1;
constexpr char kFilter[] = "ZYL6.INI or ZYL.INI (ZYL6.INI ZYL.INI *.INI *.ini);;All files (*)";

QString SectionOf(int row) {
  if (row < 6) return "[ZYL Path]";
  if (row < 10) return "[Table Font]";
  if (row < 13) return "[Printer]";
  return "[Units]";
}

bool IsPathRow(const QString& key) {
  return key == "Server" || key == "Terminal" || key == "OwnDB" || key == "MainDB" || key == "SolGasMix";
}

QMap<QString, QString> ValuesOf(const Settings& s) {
  auto n = [](double v) { return QString::fromStdString(FormatNumber(v)); };
  auto q = [](const std::string& v) { return QString::fromStdString(v); };
  return {{"Server", q(s.server)},
          {"Terminal", q(s.terminal)},
          {"OwnDB", q(s.own_db)},
          {"MainDB", q(s.main_db)},
          {"SolGasMix", q(s.sol_gas_mix)},
          {"CAT", q(s.cat)},
          {"Font", q(s.table_font.name)},
          {"Size", n(s.table_font.size)},
          {"Bold", n(s.table_font.bold)},
          {"Italic", n(s.table_font.italic)},
          {"PaperSize", "9"},
          {"Top", n(s.top)},
          {"Left", n(s.left)},
          {"Temperature", q(s.temperature)},
          {"Energy", q(s.energy)},
          {"Warnings", n(s.warnings)}};
}

}  // namespace

const QStringList& ZYL_INI::Keys() {
  static const QStringList keys = {"Server", "Terminal", "OwnDB",  "MainDB", "SolGasMix",   "CAT",
                                   "Font",   "Size",     "Bold",   "Italic", "PaperSize",   "Top",
                                   "Left",   "Temperature", "Energy", "Warnings"};
  return keys;
}

ZYL_INI::ZYL_INI(QWidget* parent) : QWidget(parent), loaded_(DefaultSettings()) {
  setObjectName("ZYL_INI");
  auto* layout = new QVBoxLayout(this);
  db1_ = new QLabel(this);
  db2_ = new QLabel(this);
  for (QLabel* l : {db1_, db2_}) {
    l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(l);
  }
  grid_ = new QTableWidget(Keys().size(), 2, this);
  grid_->setObjectName("F1");
  grid_->setHorizontalHeaderLabels({tr("Section"), tr("Value")});
  grid_->setVerticalHeaderLabels(Keys());
  grid_->horizontalHeader()->setSectionResizeMode(kValueCol, QHeaderView::Stretch);
  grid_->setAlternatingRowColors(true);
  grid_->setSelectionMode(QAbstractItemView::SingleSelection);
  layout->addWidget(grid_, 1);

  auto* buttons = new QHBoxLayout;
  auto* open = new QPushButton(tr("&Open…"), this);
  open->setObjectName("ButOpen");
  auto* browse = new QPushButton(tr("&Browse…"), this);
  browse->setObjectName("ButBrowse");
  browse->setToolTip(tr("Choose the file or folder of the selected path"));
  auto* save = new QPushButton(tr("&Save"), this);
  save->setObjectName("ButSave");
  auto* saveAs = new QPushButton(tr("Save &As…"), this);
  saveAs->setObjectName("ButSaveAs");
  auto* help = new QPushButton(tr("Help"), this);
  auto* close = new QPushButton(tr("Close"), this);
  buttons->addWidget(open);
  buttons->addWidget(browse);
  buttons->addStretch(1);
  buttons->addWidget(save);
  buttons->addWidget(saveAs);
  buttons->addWidget(help);
  buttons->addWidget(close);
  layout->addLayout(buttons);
  connect(open, &QPushButton::clicked, this, &ZYL_INI::Open_INI);
  connect(browse, &QPushButton::clicked, this, &ZYL_INI::Browse);
  connect(save, &QPushButton::clicked, this, [this] {
    if (path_.isEmpty()) Save_INI();
    else Save_INI_Txt(path_);
  });
  connect(saveAs, &QPushButton::clicked, this, &ZYL_INI::Save_INI);
  connect(help, &QPushButton::clicked, this, [] { platform::window::ShowHelpChapter("09 Operating Instructions"); });
  connect(close, &QPushButton::clicked, this, &QWidget::close);
  new QShortcut(QKeySequence::Open, this, [this] { Open_INI(); });
  new QShortcut(QKeySequence::Save, this, [this] { path_.isEmpty() ? Save_INI() : (void)Save_INI_Txt(path_); });
  new QShortcut(QKeySequence::Close, this, [this] { this->close(); });
  RepairF1();
  Fill(loaded_);
  UpdateCaption();
  resize(660, 640);
}

void ZYL_INI::RepairF1() {
  grid_->setRowCount(Keys().size());
  grid_->setVerticalHeaderLabels(Keys());
  for (int r = 0; r < Keys().size(); ++r) {
    auto* sec = new QTableWidgetItem(SectionOf(r));
    sec->setFlags(Qt::ItemIsEnabled);
    grid_->setItem(r, kSectionCol, sec);
    if (!grid_->item(r, kValueCol)) grid_->setItem(r, kValueCol, new QTableWidgetItem);
  }
  auto* paper = grid_->item(Keys().indexOf("PaperSize"), kValueCol);
  paper->setText("9");
  paper->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
  // Empty values get the defaults.
  const QMap<QString, QString> defaults = ValuesOf(DefaultSettings());
  for (const QString& k : Keys())
    if (Value(k).isEmpty() && k != "CAT") SetValue(k, defaults.value(k));
}

QString ZYL_INI::Value(const QString& key) const {
  const int r = Keys().indexOf(key);
  auto* it = r >= 0 ? grid_->item(r, kValueCol) : nullptr;
  return it ? it->text().trimmed() : QString();
}

void ZYL_INI::SetValue(const QString& key, const QString& value) {
  const int r = Keys().indexOf(key);
  if (r < 0) return;
  if (!grid_->item(r, kValueCol)) grid_->setItem(r, kValueCol, new QTableWidgetItem);
  grid_->item(r, kValueCol)->setText(value);
}

void ZYL_INI::Fill(const Settings& s) {
  const QMap<QString, QString> values = ValuesOf(s);
  for (const QString& k : Keys()) SetValue(k, values.value(k));
  db1_->setText(" Database 1: " + QString::fromStdString(s.own_db));
  db2_->setText(" Database 2: " + QString::fromStdString(s.main_db));
}

bool ZYL_INI::GridSettings(Settings* out, QString* error) const {
  Settings s = loaded_;
  auto int16 = [&](const QString& key, int16_t* v) {
    bool ok = false;
    const int x = Value(key).toInt(&ok);
    if (!ok || x < -32768 || x > 32767) {
      if (error) *error = tr("%1= needs a whole number, not \"%2\".").arg(key, Value(key));
      return false;
    }
    *v = static_cast<int16_t>(x);
    return true;
  };
  auto real = [&](const QString& key, float* v) {
    bool ok = false;
    const float x = Value(key).toFloat(&ok);  // QString::toFloat always reads a point
    if (!ok) {
      if (error) *error = tr("%1= needs a number, not \"%2\".").arg(key, Value(key));
      return false;
    }
    *v = x;
    return true;
  };
  s.server = FromQ(Value("Server"));
  s.terminal = FromQ(Value("Terminal"));
  s.own_db = FromQ(Value("OwnDB"));
  s.main_db = FromQ(Value("MainDB"));
  s.sol_gas_mix = FromQ(Value("SolGasMix"));
  s.cat = FromQ(Value("CAT"));
  s.table_font.name = FromQ(Value("Font"));
  if (!int16("Size", &s.table_font.size) || !int16("Bold", &s.table_font.bold) ||
      !int16("Italic", &s.table_font.italic) || !real("Top", &s.top) || !real("Left", &s.left) ||
      !int16("Warnings", &s.warnings))
    return false;
  const QString t = Value("Temperature"), e = Value("Energy");
  s.temperature = t.compare("K", Qt::CaseInsensitive) == 0 ? "K" : "C";
  s.energy = (e.compare("J", Qt::CaseInsensitive) == 0 || e.compare("kJ", Qt::CaseInsensitive) == 0) ? "J" : "cal";
  *out = s;
  return true;
}

bool ZYL_INI::Read_INI_Txt(const QString& path) {
  std::string error;
  auto s = ReadSettings(path.toStdString(), &error);
  if (!s) {
    AppMessages().Show(error, platform::kDefaultTitle, platform::Icon::Warning);
    return false;
  }
  loaded_ = *s;
  path_ = path;
  Fill(loaded_);
  UpdateCaption();
  platform::window::AddRecentFile("settings", path);
  return true;
}

bool ZYL_INI::Save_INI_Txt(const QString& path) {
  Settings s;
  QString error;
  if (!GridSettings(&s, &error)) {
    AppMessages().Show(FromQ(error), platform::kDefaultTitle, platform::Icon::Warning);
    return false;
  }
  if (!SetIni(s, path.toStdString(), AppMessages())) return false;
  loaded_ = s;
  path_ = path;
  UpdateCaption();
  Fill(s);
  // The running program takes the saved values (units included) for the next calculation of every module.
  ProgramState& state = ZYL5main();
  if (!state.settings_path.empty() && QFileInfo(path) == QFileInfo(QString::fromStdString(state.settings_path.string())))
    state.settings = s;
  return true;
}

void ZYL_INI::Save_INI() {
  const QString dir = path_.isEmpty() ? QString::fromStdString(ZYL5main().write_dir.string()) : path_;
  const QString file = AppDialogs().SaveFile(this, "Save Settings to:", dir, kFilter);
  if (!file.isEmpty()) Save_INI_Txt(file);
}

void ZYL_INI::Open_INI() {
  const QString dir = path_.isEmpty() ? QString::fromStdString(ZYL5main().write_dir.string()) : QFileInfo(path_).path();
  const QString file = AppDialogs().OpenFile(this, "Read Settings from:", dir, kFilter);
  if (!file.isEmpty()) Read_INI_Txt(file);
}

void ZYL_INI::Start_INI(const QString& path) {
  if (!path.isEmpty() && QFileInfo::exists(path)) Read_INI_Txt(path);
  else {
    path_ = path;
    UpdateCaption();
  }
}

void ZYL_INI::Browse() {
  const int row = grid_->currentRow();
  const QString key = row >= 0 ? Keys().value(row) : QString();
  if (!IsPathRow(key)) return;
  QString chosen;
  if (key == "Server" || key == "Terminal")
    chosen = AppDialogs().Folder(this, key, Value(key));
  else
    chosen = AppDialogs().OpenFile(this, key, Value(key),
                                   key == "SolGasMix" ? "All files (*)" : "Species databases (*.ZYL *.zyl);;All files (*)");
  if (!chosen.isEmpty()) SetValue(key, chosen);
}

void ZYL_INI::UpdateCaption() { setWindowTitle(" ZYL Settings - " + path_); }

}  // namespace zyl::shell::window
