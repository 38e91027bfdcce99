#include "diagrams/window/predom_window.h"

#include <QApplication>
#include <QColorDialog>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QSplitter>
#include <QVBoxLayout>
#include <cmath>

#include "diagrams/species_source.h"
#include "diagrams/tpp_file.h"
#include "platform/files.h"
#include "platform/messages.h"
#include "platform/paths.h"
#include "thermo/elements.h"

namespace zyl::diagrams {

namespace {

QString Q(const std::string& s) { return QString::fromStdString(s); }
std::string S(const QString& s) { return s.toStdString(); }

// Message boxes titled as the program's.
class BoxMessages : public platform::Messages {
 public:
  explicit BoxMessages(QWidget* parent) : parent_(parent) {}
  void Show(std::string_view text, std::string_view title, platform::Icon icon) override {
    QMessageBox::Icon i = icon == platform::Icon::Error     ? QMessageBox::Critical
                          : icon == platform::Icon::Warning ? QMessageBox::Warning
                                                            : QMessageBox::Information;
    QMessageBox box(i, QString::fromUtf8(title.data(), static_cast<int>(title.size())),
                    QString::fromUtf8(text.data(), static_cast<int>(text.size())), QMessageBox::Ok, parent_);
    box.exec();
  }
  platform::Answer AskYesNo(std::string_view text, std::string_view title) override {
    auto r = QMessageBox::question(parent_, QString::fromUtf8(title.data(), static_cast<int>(title.size())),
                                   QString::fromUtf8(text.data(), static_cast<int>(text.size())));
    return r == QMessageBox::Yes ? platform::Answer::Yes : platform::Answer::No;
  }
  platform::Answer AskYesNoCancel(std::string_view text, std::string_view title) override {
    auto r = QMessageBox::question(parent_, QString::fromUtf8(title.data(), static_cast<int>(title.size())),
                                   QString::fromUtf8(text.data(), static_cast<int>(text.size())),
                                   QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
    return r == QMessageBox::Yes ? platform::Answer::Yes
           : r == QMessageBox::No ? platform::Answer::No
                                  : platform::Answer::Cancel;
  }
  bool AskText(std::string_view prompt, std::string_view title, std::string& value) override {
    bool ok = false;
    QString v = QInputDialog::getText(parent_, QString::fromUtf8(title.data(), static_cast<int>(title.size())),
                                      QString::fromUtf8(prompt.data(), static_cast<int>(prompt.size())),
                                      QLineEdit::Normal, Q(value), &ok);
    if (ok) value = S(v);
    return ok;
  }

 private:
  QWidget* parent_;
};

// Paints the cells of a running search onto the view. The search itself takes about a millisecond,
// so the view is repainted every few dozen cells: the border visibly grows while it runs.
class LiveObserver : public SearchObserver {
 public:
  LiveObserver(PredomView* view, const Palette& palette, bool colours, double x_offset)
      : view_(view), palette_(palette), colours_(colours), dx_(x_offset) {}
  void UniformCell(double x1, double y1, double x2, double y2, int species) override {
    if (colours_) view_->LiveCell(x1 - dx_, y1, x2 - dx_, y2, ToQColor(palette_.Species(species)));
    Tick();
  }
  void FinalCell(double x1, double y1, double x2, double y2, int) override {
    view_->LiveCell(x1 - dx_, y1, x2 - dx_, y2, Qt::black);
    Tick();
  }

 private:
  static constexpr int kCellsPerFrame = 48;
  void Tick() {
    if (++cells_ % kCellsPerFrame) return;
    view_->repaint();
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  }
  PredomView* view_;
  const Palette& palette_;
  bool colours_;
  double dx_;
  int cells_ = 0;
};

QString Number(double v) { return QString::number(v, 'g', 10); }

}  // namespace

// ---------------------------------------------------------------------------------------------------

PredomView::PredomView(QWidget* parent) : QWidget(parent) {
  setObjectName("PredomView");
  setMinimumSize(360, 300);
  setAttribute(Qt::WA_OpaquePaintEvent);
}

void PredomView::SetPicture(const DiagramPicture* pic) {
  has_picture_ = pic != nullptr;
  if (pic) picture_ = *pic;
  live_ = false;
  layer_ = QImage();
  update();
}

void PredomView::BeginLive(const DiagramPicture& frame) {
  picture_ = frame;
  has_picture_ = true;
  live_ = true;
  layer_ = QImage(size(), QImage::Format_ARGB32_Premultiplied);
  layer_.fill(Qt::transparent);
  frame_ = LayoutPlot(PictureRect(), picture_);
  repaint();
}

void PredomView::LiveCell(double x1, double y1, double x2, double y2, const QColor& color) {
  if (!live_ || layer_.isNull()) return;
  QPainter p(&layer_);
  QRectF r = QRectF(frame_.Map(x1, y2), frame_.Map(x2, y1)).normalized();
  if (r.width() < 1) r.setWidth(1);
  if (r.height() < 1) r.setHeight(1);
  p.fillRect(r.intersected(frame_.plot), color);
}

void PredomView::EndLive() {
  live_ = false;
  layer_ = QImage();
  update();
}

void PredomView::paintEvent(QPaintEvent*) {
  QPainter p(this);
  if (!has_picture_) {
    p.fillRect(rect(), palette().color(QPalette::Base));
    p.setPen(palette().color(QPalette::PlaceholderText));
    p.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap,
               tr("Choose three elements, the species, the axes and the limits,\nthen press Calculate."));
    return;
  }
  PaintOptions o;
  o.frame_only = live_;
  p.fillRect(rect(), ToQColor(picture_.palette.At(kColorBackground)));
  PaintDiagram(p, PictureRect(), picture_, o);
  if (live_ && !layer_.isNull()) p.drawImage(0, 0, layer_);
}

QRectF PredomView::PictureRect() const {
  QSizeF fit = QSizeF(1000, 800).scaled(QSizeF(size()), Qt::KeepAspectRatio);
  return QRectF(QPointF((width() - fit.width()) / 2, (height() - fit.height()) / 2), fit);
}

void PredomView::resizeEvent(QResizeEvent*) {
  if (live_) {
    frame_ = LayoutPlot(PictureRect(), picture_);
    QImage bigger(size(), QImage::Format_ARGB32_Premultiplied);
    bigger.fill(Qt::transparent);
    layer_ = bigger;
  }
}

// ---------------------------------------------------------------------------------------------------

Predom::Predom(QWidget* parent, const SpeciesSource* source, platform::Messages* messages)
    : QWidget(parent), source_(source), messages_(messages) {
  setObjectName("Predom");
  setWindowTitle(tr("Phase Stability Diagrams"));
  if (!parent) setAttribute(Qt::WA_DeleteOnClose);
  if (!source_) {
    own_source_ = std::make_unique<DatabaseSpeciesSource>(thermo::SharedSpeciesDatabases());
    source_ = own_source_.get();
  }
  if (!messages_) {
    own_messages_ = std::make_unique<BoxMessages>(this);
    messages_ = own_messages_.get();
  }
  // The shipped palette for this screen, the built-in one when it can not be read.
  std::optional<Palette> pal = LoadPalette(platform::DataPath(PaletteFileFor(DeviceColors())));
  palette_ = pal ? *pal : DefaultPalette();
  BuildUi();
}

Predom::~Predom() = default;

int64_t Predom::DeviceColors() const {
  QScreen* screen = QGuiApplication::primaryScreen();
  int depth = screen ? screen->depth() : 24;
  return depth >= 32 ? (int64_t{1} << 32) : (int64_t{1} << depth);
}

void Predom::BuildUi() {
  auto* root = new QVBoxLayout(this);
  root->setContentsMargins(0, 0, 0, 0);
  root->setSpacing(0);
  BuildMenus(root);

  auto* split = new QSplitter(Qt::Horizontal, this);
  root->addWidget(split);
  auto* panel = new QWidget(split);
  panel->setMinimumWidth(350);
  panel->setMaximumWidth(420);
  auto* col = new QVBoxLayout(panel);
  col->setContentsMargins(8, 8, 4, 8);
  BuildElementsGroup(panel, col);
  BuildSpeciesGroup(panel, col);
  BuildAxesGroup(panel, col);
  BuildLimitsGroup(panel, col);
  BuildButtons(panel, col);
  BuildPictureSide(split);
  split->setStretchFactor(0, 0);
  split->setStretchFactor(1, 1);
  split->setCollapsible(0, false);
  split->setSizes({360, 800});
  resize(1160, 740);
}

void Predom::BuildMenus(QVBoxLayout* root) {
  auto* menu = new QMenuBar(this);
  root->setMenuBar(menu);
  QMenu* file = menu->addMenu(tr("&File"));
  file->addAction(tr("&Open Set-up..."), QKeySequence::Open, this, &Predom::ButLoad_Click);
  file->addAction(tr("&Save Set-up..."), QKeySequence::Save, this, &Predom::ButSave_Click);
  file->addSeparator();
  file->addAction(tr("Save &Picture..."), QKeySequence(tr("Ctrl+Shift+S")), this, &Predom::SavePictureAs)
      ->setObjectName("MSavePicture");
  file->addAction(tr("&Print..."), QKeySequence::Print, this, &Predom::PrintLines)->setObjectName("MPrint");
  file->addAction(tr("Print with Border &Cells..."), this, &Predom::PrintBoxLines)->setObjectName("MPrintBox");
  file->addSeparator();
  file->addAction(tr("&Close"), QKeySequence::Close, this, &QWidget::close);
  QMenu* edit = menu->addMenu(tr("&Edit"));
  edit->addAction(tr("&Copy Picture"), QKeySequence::Copy, this, &Predom::CopyLines)->setObjectName("MCopy");
  edit->addAction(tr("Copy with Border &Cells"), this, &Predom::CopyBoxLines)->setObjectName("MCopyBox");
  QMenu* options = menu->addMenu(tr("&Options"));
  MShowCalc = options->addAction(tr("&Show Calculation"));
  MShowCalc->setObjectName("MShowCalc");
  MShowCalc->setCheckable(true);
  MShowCalc->setToolTip(tr("Draw the border on the screen while the search runs"));
  MUseCol = options->addAction(tr("Use &Colours"));
  MUseCol->setObjectName("MUseCol");
  MUseCol->setCheckable(true);
  MUseCol->setChecked(true);
  connect(MUseCol, &QAction::toggled, this, [this] { Redraw(); });
  MBoxLines = options->addAction(tr("&Border as Cells"));
  MBoxLines->setObjectName("MBoxLines");
  MBoxLines->setCheckable(true);
  MBoxLines->setToolTip(tr("Draw the border as the black cells the search found, not as lines"));
  connect(MBoxLines, &QAction::toggled, this, [this] { Redraw(); });
  MSwapGases = options->addAction(tr("&Exchange Gas Pressures"));
  MSwapGases->setObjectName("MSwapGases");
  MSwapGases->setCheckable(true);
  MSwapGases->setToolTip(tr("Give each axis pressure to the other gas"));
  options->addSeparator();
  MLoadUPal = options->addAction(tr("&Load User Palette..."), this, &Predom::MLoadUPal_Click);
  MLoadUPal->setObjectName("MLoadUPal");
  MColPal = options->addAction(tr("Edit Palette Co&lours..."), this, &Predom::MColPal_Click);
  MColPal->setObjectName("MColPal");
  QMenu* help = menu->addMenu(tr("&Help"));
  help->addAction(tr("Phase Stability &Diagrams"), QKeySequence::HelpContents, this,
                  [this] { emit helpRequested(QString::fromLatin1(kHelpChapter)); });
}

// 1. Elements.
void Predom::BuildElementsGroup(QWidget* panel, QVBoxLayout* col) {
  auto* gEl = new QGroupBox(tr("Elements (choose three)"), panel);
  auto* lEl = new QVBoxLayout(gEl);
  ListEle2 = new QListWidget(gEl);
  ListEle2->setObjectName("ListEle2");
  ListEle2->setViewMode(QListView::IconMode);
  ListEle2->setFlow(QListView::LeftToRight);
  ListEle2->setWrapping(true);
  ListEle2->setResizeMode(QListView::Adjust);
  ListEle2->setMovement(QListView::Static);
  ListEle2->setGridSize(QSize(34, 24));
  ListEle2->setUniformItemSizes(true);
  ListEle2->setSelectionMode(QAbstractItemView::MultiSelection);
  ListEle2->setMinimumHeight(120);
  const thermo::ElementTable& table = thermo::Elements();
  for (int i = 1; i <= 100; ++i)
    if (!table.symbol[i].empty()) {
      auto* item = new QListWidgetItem(Q(table.symbol[i]), ListEle2);
      item->setTextAlignment(Qt::AlignCenter);
    }
  // The chosen elements keep the order in which they were picked (the set-up file and the title
  // follow it).
  connect(ListEle2, &QListWidget::itemSelectionChanged, this, [this] {
    QStringList now;
    for (int i = 0; i < ListEle2->count(); ++i)
      if (ListEle2->item(i)->isSelected()) now << ListEle2->item(i)->text();
    picked_.erase(std::remove_if(picked_.begin(), picked_.end(), [&](const QString& s) { return !now.contains(s); }),
                  picked_.end());
    for (const QString& s : now)
      if (!picked_.contains(s)) picked_ << s;
  });
  lEl->addWidget(ListEle2);
  ButOK = new QPushButton(tr("Find Species"), gEl);
  ButOK->setObjectName("ButOK");
  connect(ButOK, &QPushButton::clicked, this, &Predom::ButOK_Click);
  lEl->addWidget(ButOK);
  col->addWidget(gEl, 3);
}

// 2. Species.
void Predom::BuildSpeciesGroup(QWidget* panel, QVBoxLayout* col) {
  auto* gSp = new QGroupBox(tr("Species"), panel);
  auto* lSp = new QVBoxLayout(gSp);
  TotNum = new QLabel(gSp);
  TotNum->setObjectName("TotNum");
  lSp->addWidget(TotNum);
  SpList = new QListWidget(gSp);
  SpList->setObjectName("SpList");
  SpList->setSelectionMode(QAbstractItemView::MultiSelection);
  connect(SpList, &QListWidget::itemSelectionChanged, this, &Predom::UpdateSpeciesCount);
  lSp->addWidget(SpList);
  col->addWidget(gSp, 3);
}

// 3. Axes.
void Predom::BuildAxesGroup(QWidget* panel, QVBoxLayout* col) {
  auto* gAx = new QGroupBox(tr("Axes"), panel);
  auto* lAx = new QGridLayout(gAx);
  auto make_list = [&](const char* name, const QString& caption, int column) {
    auto* l = new QListWidget(gAx);
    l->setObjectName(name);
    l->setSelectionMode(QAbstractItemView::SingleSelection);
    l->setMinimumHeight(90);
    lAx->addWidget(new QLabel(caption, gAx), 0, column);
    lAx->addWidget(l, 1, column);
    connect(l, &QListWidget::itemSelectionChanged, this, &Predom::OnAxisChanged);
    return l;
  };
  XList = make_list("XList", tr("X - axis"), 0);
  YList = make_list("YList", tr("Y - axis"), 1);
  CList = make_list("CList", tr("Constant"), 2);
  col->addWidget(gAx, 2);
}

// 4. Limits.
void Predom::BuildLimitsGroup(QWidget* panel, QVBoxLayout* col) {
  auto* gLim = new QGroupBox(tr("Limits"), panel);
  auto* lLim = new QGridLayout(gLim);
  auto make_edit = [&](const char* name, const QString& value) {
    auto* e = new QLineEdit(value, gLim);
    e->setObjectName(name);
    e->setAlignment(Qt::AlignRight);
    return e;
  };
  Text1 = make_edit("Text1", "-10");
  Text2 = make_edit("Text2", "2");
  Text3 = make_edit("Text3", "-20");
  Text4 = make_edit("Text4", "2");
  Text5 = make_edit("Text5", "1000");
  lLim->addWidget(new QLabel(tr("X from"), gLim), 0, 0);
  lLim->addWidget(Text1, 0, 1);
  lLim->addWidget(new QLabel(tr("to"), gLim), 0, 2);
  lLim->addWidget(Text2, 0, 3);
  lLim->addWidget(new QLabel(tr("Y from"), gLim), 1, 0);
  lLim->addWidget(Text3, 1, 1);
  lLim->addWidget(new QLabel(tr("to"), gLim), 1, 2);
  lLim->addWidget(Text4, 1, 3);
  lLim->addWidget(new QLabel(tr("Constant"), gLim), 2, 0);
  lLim->addWidget(Text5, 2, 1);
  ButCK = new QPushButton(QStringLiteral("K"), gLim);
  ButCK->setObjectName("ButCK");
  ButCK->setToolTip(tr("Temperatures in kelvin or degrees Celsius"));
  connect(ButCK, &QPushButton::clicked, this, &Predom::ButCK_Click);
  lLim->addWidget(ButCK, 2, 3);
  lLim->addWidget(new QLabel(tr("Resolution"), gLim), 3, 0);
  ComboRes = new QComboBox(gLim);
  ComboRes->setObjectName("ComboRes");
  ComboRes->addItem(tr("Low"), kResolutionLow);
  ComboRes->addItem(tr("Medium"), kResolutionMedium);
  ComboRes->addItem(tr("High"), kResolutionHigh);
  lLim->addWidget(ComboRes, 3, 1, 1, 3);
  col->addWidget(gLim);
}

void Predom::BuildButtons(QWidget* panel, QVBoxLayout* col) {
  auto* buttons = new QHBoxLayout;
  ButLoad = new QPushButton(tr("Open..."), panel);
  ButLoad->setObjectName("ButLoad");
  connect(ButLoad, &QPushButton::clicked, this, &Predom::ButLoad_Click);
  ButSave = new QPushButton(tr("Save..."), panel);
  ButSave->setObjectName("ButSave");
  connect(ButSave, &QPushButton::clicked, this, &Predom::ButSave_Click);
  ButPsd = new QPushButton(tr("Calculate"), panel);
  ButPsd->setObjectName("ButPsd");
  ButPsd->setDefault(true);
  connect(ButPsd, &QPushButton::clicked, this, &Predom::ButPsd_Click);
  buttons->addWidget(ButLoad);
  buttons->addWidget(ButSave);
  buttons->addStretch();
  buttons->addWidget(ButPsd);
  col->addLayout(buttons);
}

void Predom::BuildPictureSide(QSplitter* split) {
  auto* right = new QWidget(split);
  auto* rl = new QVBoxLayout(right);
  rl->setContentsMargins(4, 8, 8, 8);
  view_ = new PredomView(right);
  rl->addWidget(view_, 1);
  LabStatus = new QLabel(right);
  LabStatus->setObjectName("LabStatus");
  LabStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);
  rl->addWidget(LabStatus);
}

void Predom::Message(const std::string& text) { messages_->Show(text, platform::kDefaultTitle); }

void Predom::SelectElements(const QStringList& symbols) {
  ListEle2->clearSelection();
  picked_.clear();
  for (const QString& s : symbols) {
    auto found = ListEle2->findItems(s, Qt::MatchExactly);
    if (!found.isEmpty()) found.first()->setSelected(true);
  }
  ButOK_Click();
}

void Predom::ButOK_Click() {
  std::vector<std::string> els;
  for (const QString& s : picked_) els.push_back(S(s));
  SpeciesChoice c = ChooseSpecies(els, *source_);
  if (!c.error.empty()) {
    Message(c.error);
    return;
  }
  for (int i = 0; i < 3; ++i) elements_[i] = els[i];
  auto fill = [](QListWidget* l, const std::vector<std::string>& items) {
    QSignalBlocker block(l);
    l->clear();
    for (const auto& s : items) l->addItem(Q(s));
  };
  fill(XList, c.x_list);
  fill(YList, c.y_list);
  fill(CList, c.c_list);
  fill(SpList, c.species);
  last_x_kind_.clear();
  last_c_kind_.clear();
  TotNum->setText(Q(std::string(kMsgSelectSpecies)));
}

void Predom::UpdateSpeciesCount() {
  int n = static_cast<int>(SpList->selectedItems().size());
  TotNum->setText(n == 0 ? Q(std::string(kMsgSelectSpecies)) : tr("%1 of %2 species selected").arg(n).arg(SpList->count()));
}

// Sensible limits when an axis changes between temperature and pressure.
void Predom::OnAxisChanged() {
  auto kind = [](QListWidget* l) {
    auto sel = l->selectedItems();
    if (sel.isEmpty()) return QString();
    return sel.first()->text() == QLatin1String(kTemperature.data()) ? QStringLiteral("T") : QStringLiteral("p");
  };
  QString xk = kind(XList), ck = kind(CList);
  double off = celsius_ ? kCelsiusOffset : 0;
  if (!xk.isEmpty() && !last_x_kind_.isEmpty() && xk != last_x_kind_) {
    Text1->setText(xk == "T" ? Number(500 - off) : "-20");
    Text2->setText(xk == "T" ? Number(1500 - off) : "0");
  }
  if (!ck.isEmpty() && !last_c_kind_.isEmpty() && ck != last_c_kind_) Text5->setText(ck == "T" ? Number(1000 - off) : "-5");
  if (!xk.isEmpty()) last_x_kind_ = xk;
  if (!ck.isEmpty()) last_c_kind_ = ck;
}

void Predom::ButCK_Click() {
  // The values shown follow the unit: temperature fields are converted.
  double d = celsius_ ? kCelsiusOffset : -kCelsiusOffset;
  auto shift = [&](QLineEdit* e) {
    bool ok = false;
    double v = e->text().toDouble(&ok);
    if (ok) e->setText(Number(std::round((v + d) * 1e6) / 1e6));
  };
  auto sel = [](QListWidget* l) { return l->selectedItems().isEmpty() ? QString() : l->selectedItems().first()->text(); };
  const QString t = QLatin1String(kTemperature.data());
  if (sel(XList) == t) shift(Text1), shift(Text2);
  if (sel(CList) == t) shift(Text5);
  celsius_ = !celsius_;
  ButCK->setText(celsius_ ? QStringLiteral("°C") : QStringLiteral("K"));
}

std::optional<PredomSetup> Predom::CurrentSetup(bool report) {
  PredomSetup s;
  s.elements = elements_;
  auto sel = [](QListWidget* l) { return l->selectedItems().isEmpty() ? std::string() : S(l->selectedItems().first()->text()); };
  s.x_axis = sel(XList);
  s.y_axis = sel(YList);
  s.constant = sel(CList);
  for (int i = 0; i < SpList->count(); ++i)
    if (SpList->item(i)->isSelected()) s.species.push_back(S(SpList->item(i)->text()));
  double* v[5] = {&s.xmin, &s.xmax, &s.ymin, &s.ymax, &s.constant_value};
  QLineEdit* e[5] = {Text1, Text2, Text3, Text4, Text5};
  for (int i = 0; i < 5; ++i) {
    bool ok = false;
    *v[i] = e[i]->text().trimmed().replace(',', '.').toDouble(&ok);
    if (!ok) {
      if (report) Message("Please, give a number in every limit field.");
      e[i]->setFocus();
      return std::nullopt;
    }
  }
  s.celsius = celsius_;
  s.resolution = ComboRes->currentData().toInt();
  s.swap_gases = MSwapGases->isChecked();
  return s;
}

void Predom::ApplySetup(const PredomSetup& s) {
  QStringList els;
  for (const auto& e : s.elements) els << Q(e);
  SelectElements(els);
  auto pick = [](QListWidget* l, const std::string& text) {
    l->clearSelection();
    auto found = l->findItems(Q(text), Qt::MatchExactly);
    if (!found.isEmpty()) {
      found.first()->setSelected(true);
      l->scrollToItem(found.first());
    }
  };
  pick(XList, s.x_axis);
  pick(YList, s.y_axis);
  pick(CList, s.constant);
  {
    QSignalBlocker block(SpList);
    SpList->clearSelection();
    for (const auto& sp : s.species) {
      auto found = SpList->findItems(Q(sp), Qt::MatchExactly);
      if (!found.isEmpty()) found.first()->setSelected(true);
    }
  }
  UpdateSpeciesCount();
  celsius_ = s.celsius;
  ButCK->setText(celsius_ ? QStringLiteral("°C") : QStringLiteral("K"));
  Text1->setText(Number(s.xmin));
  Text2->setText(Number(s.xmax));
  Text3->setText(Number(s.ymin));
  Text4->setText(Number(s.ymax));
  Text5->setText(Number(s.constant_value));
  int idx = ComboRes->findData(s.resolution);
  if (idx >= 0) ComboRes->setCurrentIndex(idx);
  MSwapGases->setChecked(s.swap_gases);
}

void Predom::ButPsd_Click() {
  std::optional<PredomSetup> s = CurrentSetup();
  if (!s) return;
  if (std::string e = ValidateSetup(*s); !e.empty()) {
    Message(e);
    return;
  }
  CollectResult c = CollectData(*s, *source_);
  if (!c.model) {
    Message(c.error);
    return;
  }
  for (const std::string& w : c.warnings) Message(w);
  model_ = std::move(c.model);
  PictureOptions po;
  po.fill_areas = MUseCol->isChecked();
  po.palette = palette_;

  QElapsedTimer timer;
  std::optional<LiveObserver> live;
  if (MShowCalc->isChecked()) {
    view_->BeginLive(BuildPicture(*model_, PredomResult{}, po));
    bool celsius_axis = model_->TemperatureAxis() && model_->celsius;
    live.emplace(view_, palette_, MUseCol->isChecked(), celsius_axis ? kCelsiusOffset : 0.0);
  }
  QApplication::setOverrideCursor(Qt::WaitCursor);
  timer.start();
  result_ = MakePicture(*model_, live ? &*live : nullptr);
  double seconds = timer.nsecsElapsed() * 1e-9;
  QApplication::restoreOverrideCursor();
  view_->EndLive();
  Redraw();
  LabStatus->setText(tr("%1 species, %2 boundary points, %3 points evaluated, %4 ms")
                         .arg(model_->Count())
                         .arg(result_->BoundaryPoints())
                         .arg(result_->evaluations)
                         .arg(seconds * 1e3, 0, 'f', 1));
  if (std::vector<std::string> notes = ExtrapolationNotes(*model_); !notes.empty()) {
    QStringList list;
    for (const std::string& n : notes) list << QString::fromStdString(n);
    LabStatus->setText(LabStatus->text() + "\n" + list.join("\n"));
  }
  emit calculated(result_->BoundaryPoints(), seconds);
}

void Predom::Redraw() {
  if (!model_ || !result_) return;
  PictureOptions po;
  po.fill_areas = MUseCol->isChecked();
  po.box_lines = MBoxLines->isChecked();
  po.palette = palette_;
  DiagramPicture pic = BuildPicture(*model_, *result_, po);
  view_->SetPicture(&pic);
}

const DiagramPicture* Predom::Picture() const { return model_ && result_ ? view_->Picture() : nullptr; }

void Predom::SetPalette(const Palette& p) {
  palette_ = p;
  Redraw();
}

QString Predom::TppFolder(bool for_saving) const {
  QString user = Q((platform::UserDataDir() / "Tpp").string());
  if (for_saving) {
    QDir().mkpath(user);
    return user;
  }
  QDir d(user);
  if (d.exists() && !d.entryList({"*.tpp"}, QDir::Files).isEmpty()) return user;
  return Q(platform::DataPath("Tpp").string());
}

bool Predom::SaveSetup(const QString& path) {
  std::optional<PredomSetup> s = CurrentSetup();
  if (!s) return false;
  if (std::string e = ValidateForSave(*s); !e.empty()) {
    Message(e);
    return false;
  }
  if (std::string e = diagrams::ButSave(S(path), *s); !e.empty()) {
    Message(e);
    return false;
  }
  setWindowTitle(tr("Phase Stability Diagrams - %1").arg(QFileInfo(path).fileName()));
  return true;
}

void Predom::ButSave_Click() {
  std::optional<PredomSetup> s = CurrentSetup();
  if (!s) return;
  if (std::string e = ValidateForSave(*s); !e.empty()) {
    Message(e);
    return;
  }
  QString path = QFileDialog::getSaveFileName(this, tr("Save Set-up"), TppFolder(true), tr("TPP Files (*.tpp)"));
  if (path.isEmpty()) return;
  if (QFileInfo(path).suffix().isEmpty()) path += "." + QString::fromLatin1(kTppExtension.data());
  SaveSetup(path);
}

bool Predom::LoadSetup(const QString& path) {
  TppReadResult r = ParseFile(S(path), *source_);
  if (!r.setup) {
    Message(r.error);
    return false;
  }
  for (const std::string& m : r.messages) Message(m);
  ApplySetup(*r.setup);
  setWindowTitle(tr("Phase Stability Diagrams - %1").arg(QFileInfo(path).fileName()));
  return true;
}

void Predom::ButLoad_Click() {
  QString path = QFileDialog::getOpenFileName(this, tr("Open Set-up"), TppFolder(false), tr("TPP Files (*.tpp)"));
  if (!path.isEmpty()) LoadSetup(path);
}

bool Predom::SavePicture(const QString& path, QSize size) {
  const DiagramPicture* pic = Picture();
  if (!pic) {
    Message("Please, calculate a diagram first.");
    return false;
  }
  QString error;
  if (!RenderToFile(*pic, path, size, &error)) {
    Message(S(error));
    return false;
  }
  return true;
}

void Predom::SavePictureAs() {
  if (!Picture()) {
    Message("Please, calculate a diagram first.");
    return;
  }
  QString filter;
  QString path = QFileDialog::getSaveFileName(this, tr("Save Picture"), TppFolder(true),
                                              tr("PNG Image (*.png);;SVG Drawing (*.svg);;PDF Document (*.pdf)"),
                                              &filter);
  if (path.isEmpty()) return;
  if (QFileInfo(path).suffix().isEmpty())
    path += filter.contains("svg") ? ".svg" : filter.contains("pdf") ? ".pdf" : ".png";
  SavePicture(path);
}

std::optional<DiagramPicture> Predom::PictureFor(bool boxes) const {
  if (!model_ || !result_) return std::nullopt;
  PictureOptions po;
  po.fill_areas = MUseCol->isChecked();
  po.box_lines = boxes;
  po.palette = palette_;
  return BuildPicture(*model_, *result_, po);
}

void Predom::PrintLines() { Print(false); }
void Predom::PrintBoxLines() { Print(true); }
void Predom::CopyLines() { Copy(false); }
void Predom::CopyBoxLines() { Copy(true); }

void Predom::Print(bool boxes) {
  std::optional<DiagramPicture> pic = PictureFor(boxes);
  if (!pic) {
    Message("Please, calculate a diagram first.");
    return;
  }
  PrintDiagram(*pic, this);  // the 5:4 shape of the picture, centred on the page
}

void Predom::Copy(bool boxes) {
  std::optional<DiagramPicture> pic = PictureFor(boxes);
  if (!pic) {
    Message("Please, calculate a diagram first.");
    return;
  }
  CopyDiagram(*pic);
}

void Predom::MLoadUPal_Click() {
  QString path = QFileDialog::getOpenFileName(this, tr("Load User Palette"), TppFolder(false), tr("PAL Files (*.pal)"));
  if (path.isEmpty()) return;
  std::string error;
  std::optional<Palette> p = LoadPalette(S(path), &error);
  if (!p) {
    Message(error);
    return;
  }
  SetPalette(*p);
}

void Predom::MColPal_Click() {
  // One row per species of the diagram (or of the list): click to choose its colour.
  std::vector<std::string> names;
  if (model_) names = model_->names;
  else
    for (int i = 0; i < SpList->count(); ++i) names.push_back(S(SpList->item(i)->text()));
  if (names.empty()) {
    Message("Please, select the elements and species first.");
    return;
  }
  Palette edited = palette_;
  QDialog dlg(this);
  dlg.setWindowTitle(tr("Palette Colours"));
  auto* lay = new QVBoxLayout(&dlg);
  auto* list = new QListWidget(&dlg);
  auto swatch = [](const Rgb& c) {
    QPixmap pm(28, 16);
    pm.fill(ToQColor(c));
    return QIcon(pm);
  };
  for (size_t k = 0; k < names.size(); ++k)
    new QListWidgetItem(swatch(edited.Species(static_cast<int>(k) + 1)), Q(names[k]), list);
  connect(list, &QListWidget::itemActivated, &dlg, [&](QListWidgetItem* item) {
    int k = list->row(item) + 1;
    QColor c = QColorDialog::getColor(ToQColor(edited.Species(k)), &dlg, item->text());
    if (!c.isValid()) return;
    edited.colors[k + kSpeciesColorOffset] = {static_cast<uint8_t>(c.red()), static_cast<uint8_t>(c.green()),
                                              static_cast<uint8_t>(c.blue())};
    item->setIcon(swatch(edited.Species(k)));
  });
  lay->addWidget(new QLabel(tr("Double-click a species to change its colour."), &dlg));
  lay->addWidget(list);
  auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dlg);
  QPushButton* save = box->addButton(tr("Save Palette..."), QDialogButtonBox::ActionRole);
  connect(save, &QPushButton::clicked, &dlg, [&] {
    QString path = QFileDialog::getSaveFileName(&dlg, tr("Save Palette"), TppFolder(true), tr("PAL Files (*.pal)"));
    if (path.isEmpty()) return;
    if (QFileInfo(path).suffix().isEmpty()) path += ".pal";
    std::string error;
    if (!platform::WriteFileAtomic(S(path), FormatPalette(edited), &error)) Message(error);
  });
  connect(box, &QDialogButtonBox::accepted, &dlg, &QDialog::accept);
  connect(box, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
  lay->addWidget(box);
  if (dlg.exec() == QDialog::Accepted) SetPalette(edited);
}

}  // namespace zyl::diagrams
