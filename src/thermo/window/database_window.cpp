#include "thermo/window/database_window.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QSignalBlocker>
#include <QTimer>
#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QShortcut>
#include <QSplitter>
#include <QTabWidget>
#include <QTableView>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>

#include "platform/files.h"
#include "platform/text.h"
#include "platform/window/dialogs.h"
#include "platform/window/help.h"
#include "platform/window/qt_messages.h"
#include "platform/window/xy_plot.h"
#include "thermo/db_tools.h"
#include "thermo/elements.h"
#include "thermo/formula.h"
#include "thermo/lookup.h"
#include "thermo/window/fit_plot.h"

namespace zyl::thermo::window {

using platform::window::AppMessages;
using platform::window::FromQ;
using platform::window::ToQ;

namespace {

constexpr double kCalPerKcal = 1000.0;
constexpr int kPlotSteps = 300;
constexpr int kValueRole = Qt::UserRole + 1;  // the stored value behind a cell's text
constexpr int kTextRole = Qt::UserRole + 2;   // the text first shown (unchanged text keeps the value)

enum RangeColumn { cT1, cT2, cPhase, cH, cS, cA, cB, cC, cD, cDensity, cMelt, cBoil, cRefs, cName, cCount };

const char* const kElementNames[] = {
    "Hydrogen", "Helium", "Lithium", "Beryllium", "Boron", "Carbon", "Nitrogen", "Oxygen", "Fluorine", "Neon",
    "Sodium", "Magnesium", "Aluminium", "Silicon", "Phosphorus", "Sulfur", "Chlorine", "Argon", "Potassium",
    "Calcium", "Scandium", "Titanium", "Vanadium", "Chromium", "Manganese", "Iron", "Cobalt", "Nickel", "Copper",
    "Zinc", "Gallium", "Germanium", "Arsenic", "Selenium", "Bromine", "Krypton", "Rubidium", "Strontium", "Yttrium",
    "Zirconium", "Niobium", "Molybdenum", "Technetium", "Ruthenium", "Rhodium", "Palladium", "Silver", "Cadmium",
    "Indium", "Tin", "Antimony", "Tellurium", "Iodine", "Xenon", "Caesium", "Barium", "Lanthanum", "Cerium",
    "Praseodymium", "Neodymium", "Promethium", "Samarium", "Europium", "Gadolinium", "Terbium", "Dysprosium",
    "Holmium", "Erbium", "Thulium", "Ytterbium", "Lutetium", "Hafnium", "Tantalum", "Tungsten", "Rhenium", "Osmium",
    "Iridium", "Platinum", "Gold", "Mercury", "Thallium", "Lead", "Bismuth", "Polonium", "Astatine", "Radon",
    "Francium", "Radium", "Actinium", "Thorium", "Protactinium", "Uranium", "Neptunium", "Plutonium", "Americium",
    "Curium", "Berkelium", "Californium", "Einsteinium", "Fermium", "Electron", "Deuterium"};
static_assert(std::size(kElementNames) == kElementCount);

QString Num(double v) { return ToQ(platform::ShortestNumber(v)); }
QString Short(double v, int digits = 6) { return QString::number(v, 'g', digits); }
/// Shortest text that reads back as the same single-precision value ("298.15", not "298.149994").
QString FloatText(float v) {
  char buf[32];
  auto res = std::to_chars(buf, buf + sizeof buf, v);
  return QString::fromLatin1(buf, static_cast<int>(res.ptr - buf));
}

QTableWidgetItem* Cell(const QString& text, bool editable = false) {
  auto* item = new QTableWidgetItem(text);
  if (!editable) item->setFlags(item->flags() & ~Qt::ItemIsEditable);
  return item;
}

QPushButton* Button(const QString& text, const char* name, QWidget* parent) {
  auto* b = new QPushButton(text, parent);
  b->setObjectName(QString::fromLatin1(name));
  return b;
}

}  // namespace

// ---------------------------------------------------------------- species list model

void SpeciesListModel::SetSpecies(std::vector<SpeciesSummary> list) {
  beginResetModel();
  all_ = std::move(list);
  keys_ = SpeciesSearchKeys(all_);
  Apply();
  endResetModel();
}

void SpeciesListModel::SetFilter(const QString& query) {
  beginResetModel();
  query_ = query;
  Apply();
  endResetModel();
}

void SpeciesListModel::Apply() {
  rows_ = FilterSpecies(keys_, FromQ(query_));
  auto key = [&](int i) -> const SpeciesSummary& { return all_[static_cast<size_t>(i)]; };
  auto less = [&](int a, int b) {
    const SpeciesSummary& x = key(a);
    const SpeciesSummary& y = key(b);
    switch (sort_column_) {
      case kName: return x.chemical_name < y.chemical_name;
      case kPhases: return x.phases < y.phases;
      case kTRange: return x.t_min < y.t_min || (x.t_min == y.t_min && x.t_max < y.t_max);
      case kSource: return x.references < y.references;
      case kReliability: return x.reliability < y.reliability;
      default: return x.formula < y.formula;
    }
  };
  if (sort_order_ == Qt::AscendingOrder) std::stable_sort(rows_.begin(), rows_.end(), less);
  else std::stable_sort(rows_.begin(), rows_.end(), [&](int a, int b) { return less(b, a); });
}

const SpeciesSummary* SpeciesListModel::At(int row) const {
  if (row < 0 || row >= static_cast<int>(rows_.size())) return nullptr;
  return &all_[static_cast<size_t>(rows_[static_cast<size_t>(row)])];
}

int SpeciesListModel::RowOf(const QString& formula) const {
  const std::string f = FromQ(formula);
  for (size_t r = 0; r < rows_.size(); ++r)
    if (all_[static_cast<size_t>(rows_[r])].formula == f) return static_cast<int>(r);
  return -1;
}

int SpeciesListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}
int SpeciesListModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : kColumns; }

QVariant SpeciesListModel::data(const QModelIndex& index, int role) const {
  const SpeciesSummary* s = At(index.row());
  if (!s || (role != Qt::DisplayRole && role != Qt::ToolTipRole)) return {};
  switch (index.column()) {
    case kFormula: return ToQ(s->formula);
    case kName: return ToQ(s->chemical_name);
    case kPhases: return ToQ(s->phases);
    case kTRange: return QStringLiteral("%1 - %2").arg(Short(s->t_min), Short(s->t_max));
    case kSource: return ToQ(s->references);
    case kReliability: return s->reliability;
    default: return {};
  }
}

QVariant SpeciesListModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return QAbstractTableModel::headerData(section, orientation, role);
  static const char* const kTitles[] = {"Formula", "Chemical Name", "Phases", "T range K", "References",
                                        "Reliability Class"};
  return section >= 0 && section < kColumns ? QString::fromLatin1(kTitles[section]) : QVariant();
}

void SpeciesListModel::sort(int column, Qt::SortOrder order) {
  beginResetModel();
  sort_column_ = column;
  sort_order_ = order;
  Apply();
  endResetModel();
}

// ---------------------------------------------------------------- window

DataBase::DataBase(QWidget* parent) : QWidget(parent) {
  setObjectName(QStringLiteral("DataBase"));
  setWindowTitle(QStringLiteral("ZYL Database Module"));
  setAttribute(Qt::WA_DeleteOnClose);
  tabs_ = new QTabWidget(this);
  tabs_->setObjectName(QStringLiteral("TabsDb"));
  tabs_->addTab(BuildSpeciesPage(), QStringLiteral("Species"));
  tabs_->addTab(BuildFitPage(), QStringLiteral("Cp fitting"));
  tabs_->addTab(BuildMaintenancePage(), QStringLiteral("Maintenance"));
  tabs_->addTab(BuildReferencesPage(), QStringLiteral("References"));
  tabs_->addTab(BuildElementsPage(), QStringLiteral("Elements"));
  auto* lay = new QVBoxLayout(this);
  lay->addWidget(tabs_);
  resize(1200, 760);
  new QShortcut(QKeySequence::HelpContents, this, [] { platform::window::ShowHelpChapter("26 Database Window"); });
  ReloadList();
}

QWidget* DataBase::BuildSpeciesPage() {
  auto* page = new QWidget(this);
  which_ = new QComboBox(page);
  which_->setObjectName(QStringLiteral("ListDb"));
  which_->addItems({QStringLiteral("Own database"), QStringLiteral("Main database (read-only)")});
  search_ = new QLineEdit(page);
  search_->setObjectName(QStringLiteral("TxtSearch"));
  search_->setPlaceholderText(QStringLiteral("Search formula, name, phase or reference"));
  search_->setClearButtonEnabled(true);
  count_ = new QLabel(page);
  count_->setObjectName(QStringLiteral("LabCount"));
  model_ = new SpeciesListModel(this);
  list_ = new QTableView(page);
  list_->setObjectName(QStringLiteral("ListSpecies"));
  list_->setModel(model_);
  list_->setSelectionBehavior(QAbstractItemView::SelectRows);
  list_->setSelectionMode(QAbstractItemView::SingleSelection);
  list_->setSortingEnabled(true);
  list_->sortByColumn(SpeciesListModel::kFormula, Qt::AscendingOrder);
  list_->verticalHeader()->setVisible(false);
  list_->verticalHeader()->setDefaultSectionSize(list_->fontMetrics().height() + 6);
  list_->horizontalHeader()->setStretchLastSection(true);

  auto* left = new QWidget(page);
  auto* ll = new QVBoxLayout(left);
  ll->setContentsMargins(0, 0, 0, 0);
  auto* top = new QHBoxLayout;
  top->addWidget(which_);
  top->addWidget(search_, 1);
  ll->addLayout(top);
  ll->addWidget(list_, 1);
  ll->addWidget(count_);

  ranges_ = new QTableWidget(0, cCount, page);
  ranges_->setObjectName(QStringLiteral("F1Ranges"));
  units_ = new QComboBox(page);
  units_->setObjectName(QStringLiteral("ListUnits"));
  units_->addItems({QStringLiteral("cal"), QStringLiteral("J")});
  plot_kind_ = new QComboBox(page);
  plot_kind_->setObjectName(QStringLiteral("ListPlot"));
  plot_kind_->addItems({QStringLiteral("Cp"), QStringLiteral("H"), QStringLiteral("S"), QStringLiteral("G")});
  plot_ = new platform::window::XYPlot(page);
  plot_->setObjectName(QStringLiteral("PlotSpecies"));
  ro_note_ = new QLabel(page);
  ro_note_->setObjectName(QStringLiteral("LabReadOnly"));
  ro_note_->setWordWrap(true);
  but_save_ = Button(QStringLiteral("Save to OwnDB"), "ButSave", page);
  but_copy_ = Button(QStringLiteral("Copy to OwnDB"), "ButCopy", page);
  but_delete_ = Button(QStringLiteral("Delete species"), "ButDelete", page);
  but_add_range_ = Button(QStringLiteral("Add range"), "ButAddRange", page);
  but_delete_range_ = Button(QStringLiteral("Delete range"), "ButDeleteRange", page);
  auto* but_new = Button(QStringLiteral("New species..."), "ButNew", page);

  auto* right = new QWidget(page);
  auto* rl = new QVBoxLayout(right);
  rl->setContentsMargins(0, 0, 0, 0);
  auto* bar = new QHBoxLayout;
  bar->addWidget(new QLabel(QStringLiteral("Energy unit:"), page));
  bar->addWidget(units_);
  bar->addStretch(1);
  for (QPushButton* b : {but_new, but_add_range_, but_delete_range_, but_save_, but_copy_, but_delete_}) bar->addWidget(b);
  rl->addLayout(bar);
  rl->addWidget(ro_note_);
  auto* split_v = new QSplitter(Qt::Vertical, right);
  split_v->addWidget(ranges_);
  auto* plot_box = new QWidget(split_v);
  auto* pl = new QVBoxLayout(plot_box);
  pl->setContentsMargins(0, 0, 0, 0);
  auto* pk = new QHBoxLayout;
  pk->addWidget(new QLabel(QStringLiteral("Plot:"), plot_box));
  pk->addWidget(plot_kind_);
  pk->addStretch(1);
  pl->addLayout(pk);
  pl->addWidget(plot_, 1);
  split_v->addWidget(plot_box);
  rl->addWidget(split_v, 1);

  auto* split = new QSplitter(Qt::Horizontal, page);
  split->addWidget(left);
  split->addWidget(right);
  split->setStretchFactor(0, 2);
  split->setStretchFactor(1, 3);
  auto* lay = new QVBoxLayout(page);
  lay->addWidget(split);

  connect(which_, &QComboBox::currentIndexChanged, this, [this](int index) {
    if (!MayDropEdits()) {
      QSignalBlocker block(which_);
      which_->setCurrentIndex(1 - index);
      return;
    }
    ReloadList();
  });
  connect(search_, &QLineEdit::textChanged, this, [this](const QString& q) {
    model_->SetFilter(q);
    count_->setText(QStringLiteral("%1 of %2 species").arg(model_->rowCount()).arg(model_->TotalCount()));
    int row = model_->RowOf(formula_);
    if (row >= 0) list_->selectRow(row);
  });
  connect(list_->selectionModel(), &QItemSelectionModel::currentRowChanged, this, [this] { ShowSelected(); });
  connect(units_, &QComboBox::currentIndexChanged, this, [this](int i) { SetJoules(i == 1); });
  connect(plot_kind_, &QComboBox::currentIndexChanged, this, [this] { UpdatePlot(); });
  connect(ranges_, &QTableWidget::itemChanged, this, [this] {
    if (filling_) return;
    dirty_ = Shown() == Which::Own;
    UpdatePlot();
  });
  connect(but_save_, &QPushButton::clicked, this, [this] { SaveSpeciesToOwn(); });
  connect(but_copy_, &QPushButton::clicked, this, [this] { CopyToOwn(); });
  connect(but_delete_, &QPushButton::clicked, this, [this] { DeleteSelected(); });
  connect(but_add_range_, &QPushButton::clicked, this, [this] { AddRange(); });
  connect(but_new, &QPushButton::clicked, this, [this] {
    std::string name;
    if (AppMessages().AskText("Formula of the new species (as the lookup will find it, e.g. CaTiO3 or Fe(+3a)):",
                              platform::kDefaultTitle, name))
      NewSpecies(ToQ(platform::Trim(name)));
  });
  connect(but_delete_range_, &QPushButton::clicked, this, [this] { DeleteRange(); });
  return page;
}

QWidget* DataBase::BuildFitPage() {
  auto* page = new QWidget(this);
  fit_text_ = new QPlainTextEdit(page);
  fit_text_->setObjectName(QStringLiteral("TxtTable"));
  fit_text_->setPlaceholderText(
      QStringLiteral("Paste or type a table with a header, e.g.\nT,Cp\n298.15,24.44\n400,25.25\n...\n\n"
                     "Columns: T (K) and any of Cp, H-H298, S, G, Phase;\nJ/(mol K) and kJ/mol, or cal and kcal."));
  fit_text_->setFont(QFont(QStringLiteral("monospace")));
  fit_name_ = new QLineEdit(page);
  fit_name_->setObjectName(QStringLiteral("TxtFitName"));
  fit_name_->setMaxLength(kFormulaWidth);
  fit_phase_ = new QComboBox(page);
  fit_phase_->setObjectName(QStringLiteral("ListFitPhase"));
  fit_phase_->addItems({QStringLiteral("s"), QStringLiteral("l"), QStringLiteral("g"), QStringLiteral("a")});
  fit_breaks_ = new QLineEdit(page);
  fit_breaks_->setObjectName(QStringLiteral("TxtBreaks"));
  fit_breaks_->setPlaceholderText(QStringLiteral("empty: proposed"));
  fit_cal_ = new QCheckBox(QStringLiteral("Table in cal/(mol K) and kcal/mol"), page);
  fit_cal_->setObjectName(QStringLiteral("ChkCal"));
  auto* load = Button(QStringLiteral("Load table..."), "ButLoadTable", page);
  auto* fit = Button(QStringLiteral("Fit"), "ButFit", page);
  but_store_fit_ = Button(QStringLiteral("Store in OwnDB"), "ButStoreFit", page);
  but_store_fit_->setEnabled(false);
  fit_summary_ = new QLabel(page);
  fit_summary_->setObjectName(QStringLiteral("LabFitSummary"));
  fit_summary_->setWordWrap(true);
  fit_summary_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  fit_ranges_ = new QTableWidget(0, 9, page);
  fit_ranges_->setObjectName(QStringLiteral("F1FitRanges"));
  fit_ranges_->setHorizontalHeaderLabels({"T1 K", "T2 K", "Phase", "H kcal/mol", "S cal/(mol*K)", "A", "B", "C", "D"});
  fit_residuals_ = new QTableWidget(0, 0, page);
  fit_residuals_->setObjectName(QStringLiteral("F1Residuals"));
  fit_plot_kind_ = new QComboBox(page);
  fit_plot_kind_->setObjectName(QStringLiteral("ListFitPlot"));
  fit_plot_kind_->addItems({QStringLiteral("Cp"), QStringLiteral("H-H298"), QStringLiteral("S"), QStringLiteral("G")});
  fit_plot_ = new FitPlot(page);
  fit_plot_->setObjectName(QStringLiteral("PlotFit"));
  fit_resid_plot_ = new FitPlot(page);
  fit_resid_plot_->setObjectName(QStringLiteral("PlotResiduals"));

  auto* form = new QFormLayout;
  form->addRow(QStringLiteral("Formula:"), fit_name_);
  form->addRow(QStringLiteral("Phase:"), fit_phase_);
  form->addRow(QStringLiteral("Breaks K:"), fit_breaks_);
  form->addRow(fit_cal_);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(load);
  buttons->addWidget(fit);
  buttons->addWidget(but_store_fit_);
  auto* left = new QWidget(page);
  auto* ll = new QVBoxLayout(left);
  ll->setContentsMargins(0, 0, 0, 0);
  ll->addWidget(fit_text_, 1);
  ll->addLayout(form);
  ll->addLayout(buttons);
  auto* right = new QSplitter(Qt::Vertical, page);
  auto* top = new QWidget(right);
  auto* tl = new QVBoxLayout(top);
  tl->setContentsMargins(0, 0, 0, 0);
  tl->addWidget(fit_summary_);
  tl->addWidget(fit_ranges_, 1);
  right->addWidget(top);
  auto* plots = new QWidget(right);
  auto* pl = new QGridLayout(plots);
  pl->setContentsMargins(0, 0, 0, 0);
  pl->addWidget(fit_plot_kind_, 0, 0, Qt::AlignLeft);
  pl->addWidget(fit_plot_, 1, 0);
  pl->addWidget(fit_resid_plot_, 1, 1);
  right->addWidget(plots);
  right->addWidget(fit_residuals_);
  auto* split = new QSplitter(Qt::Horizontal, page);
  split->addWidget(left);
  split->addWidget(right);
  split->setStretchFactor(1, 3);
  auto* lay = new QVBoxLayout(page);
  lay->addWidget(split);

  connect(fit, &QPushButton::clicked, this, [this] { RunFit(); });
  connect(but_store_fit_, &QPushButton::clicked, this, [this] { StoreFit(); });
  connect(fit_plot_kind_, &QComboBox::currentIndexChanged, this, [this] { UpdateFitPlots(); });
  connect(load, &QPushButton::clicked, this, [this] {
    QString path = platform::window::AppDialogs().OpenFile(this, QStringLiteral("Cp table"), QString(),
                                                         QStringLiteral("Tables (*.csv *.txt);;All files (*)"));
    if (path.isEmpty()) return;
    std::string error;
    auto text = platform::ReadFile(FromQ(path), &error);
    if (!text) {
      AppMessages().Error(fmt::format("{} {}\n{}", kMsgCanNotOpen, FromQ(path), error));
      return;
    }
    fit_text_->setPlainText(ToQ(*text));
  });
  return page;
}

QWidget* DataBase::BuildMaintenancePage() {
  auto* page = new QWidget(this);
  findings_ = new QListWidget(page);
  findings_->setObjectName(QStringLiteral("ListFindings"));
  auto* check = Button(QStringLiteral("Check database"), "ButCheck", page);
  auto* merge = Button(QStringLiteral("Merge a database file into OwnDB..."), "ButMerge", page);
  auto* exp = Button(QStringLiteral("Export (TXT or CSV)..."), "ButExport", page);
  auto* imp = Button(QStringLiteral("Import into OwnDB (TXT or CSV)..."), "ButImport", page);
  auto* sort = Button(QStringLiteral("Sort OwnDB and rebuild its catalogue"), "ButSort", page);
  auto* convert = Button(QStringLiteral("Convert a ZYL 2.0 file..."), "ButConvert", page);
  auto* note = new QLabel(
      QStringLiteral("Check, export and the list work on the database shown on the Species page; merging, "
                     "importing and sorting change the own database only."),
      page);
  note->setWordWrap(true);
  auto* col = new QVBoxLayout;
  for (QPushButton* b : {check, merge, exp, imp, sort, convert}) col->addWidget(b);
  col->addWidget(note);
  col->addStretch(1);
  auto* lay = new QHBoxLayout(page);
  lay->addLayout(col);
  lay->addWidget(findings_, 1);

  connect(check, &QPushButton::clicked, this, [this] { RunCheck(); });
  connect(sort, &QPushButton::clicked, this, [this] { SortOwn(); });
  connect(convert, &QPushButton::clicked, this, [this] {
    auto& dlg = platform::window::AppDialogs();
    QString in = dlg.OpenFile(this, QStringLiteral("ZYL 2.0 DATABASE"), QString(), QStringLiteral("ZYL 2.0 (*.zyl *.ZYL)"));
    if (in.isEmpty()) return;
    QString out = dlg.SaveFile(this, QStringLiteral("Save the converted database as"), QString(),
                               QStringLiteral("ZYL database (*.ZYL)"));
    if (!out.isEmpty()) ConvertOldFile(in, out);
  });
  connect(findings_, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) {
    QString f = item->data(Qt::UserRole).toString();
    if (f.isEmpty()) return;
    tabs_->setCurrentIndex(0);
    SelectSpecies(f);
  });
  connect(findings_, &QListWidget::itemClicked, findings_, &QListWidget::itemActivated);
  const QString filter = QStringLiteral("ZYL database (*.ZYL *.zyl);;All files (*)");
  connect(merge, &QPushButton::clicked, this, [this, filter] {
    QString path = platform::window::AppDialogs().OpenFile(this, QStringLiteral("Merge into OwnDB"), QString(), filter);
    if (!path.isEmpty()) MergeFile(path);
  });
  connect(exp, &QPushButton::clicked, this, [this] {
    QString path = platform::window::AppDialogs().SaveFile(
        this, ToQ(kTextTitle), QString(), QStringLiteral("Text (*.TXT *.txt);;CSV (*.csv)"));
    if (!path.isEmpty()) ExportTo(path);
  });
  connect(imp, &QPushButton::clicked, this, [this] {
    QString path = platform::window::AppDialogs().OpenFile(this, QStringLiteral("Import into OwnDB"), QString(),
                                                         QStringLiteral("Text (*.TXT *.txt);;CSV (*.csv)"));
    if (!path.isEmpty()) ImportFrom(path);
  });
  return page;
}

QWidget* DataBase::BuildReferencesPage() {
  auto* page = new QWidget(this);
  refs_ = new QTableWidget(0, 4, page);
  refs_->setObjectName(QStringLiteral("F1Refs"));
  refs_->setHorizontalHeaderLabels({"Formula", "References", "Chemical Name", "Reliability Class"});
  refs_->verticalHeader()->setVisible(false);
  refs_->horizontalHeader()->setStretchLastSection(true);
  but_save_refs_ = Button(QStringLiteral("Save references to OwnDB"), "ButSaveRefs", page);
  auto* note = new QLabel(QStringLiteral("The reference codes, chemical name and reliability class of every species of "
                                         "the database shown on the Species page; editable for the own database "
                                         "(a change applies to all ranges of the species)."),
                          page);
  note->setWordWrap(true);
  auto* lay = new QVBoxLayout(page);
  lay->addWidget(note);
  lay->addWidget(refs_, 1);
  lay->addWidget(but_save_refs_, 0, Qt::AlignRight);
  connect(but_save_refs_, &QPushButton::clicked, this, [this] { SaveReferences(); });
  connect(tabs_, &QTabWidget::currentChanged, this, [this, page](int) {
    if (tabs_->currentWidget() == page) FillReferences();
  });
  return page;
}

void DataBase::FillReferences() {
  const bool own = Shown() == Which::Own;
  SpeciesDb* db = Db(Shown());
  std::vector<SpeciesSummary> list = db ? SummariseSpecies(*db) : std::vector<SpeciesSummary>{};
  refs_->setRowCount(static_cast<int>(list.size()));
  for (int r = 0; r < static_cast<int>(list.size()); ++r) {
    const SpeciesSummary& s = list[static_cast<size_t>(r)];
    refs_->setItem(r, 0, Cell(ToQ(s.formula)));
    refs_->setItem(r, 1, Cell(ToQ(s.references), own));
    refs_->setItem(r, 2, Cell(ToQ(s.chemical_name), own));
    refs_->setItem(r, 3, Cell(QString::number(s.reliability), own));
    for (int c = 1; c < 4; ++c) refs_->item(r, c)->setData(kTextRole, refs_->item(r, c)->text());
  }
  refs_->resizeColumnsToContents();
  but_save_refs_->setEnabled(own);
}

int DataBase::SaveReferences() {
  platform::Messages& msgs = AppMessages();
  if (!MayDropEdits()) return 0;
  SpeciesDb* own = Db(Which::Own);
  if (!own || Shown() != Which::Own) return 0;
  auto all = ReadAllSpeciesRecords(*own);
  if (!all) return 0;
  std::vector<SpeciesRecord> changed;
  for (int r = 0; r < refs_->rowCount(); ++r) {
    bool edited = false;
    for (int c = 1; c < 4; ++c) edited |= refs_->item(r, c)->text() != refs_->item(r, c)->data(kTextRole).toString();
    if (!edited) continue;
    bool ok = false;
    const int cls = refs_->item(r, 3)->text().trimmed().toInt(&ok);
    if (!ok || cls < -32768 || cls > 32767) {
      msgs.Error(fmt::format("{}: the reliability class must be a whole number", FromQ(refs_->item(r, 0)->text())));
      return 0;
    }
    const std::string formula = FromQ(refs_->item(r, 0)->text());
    for (const SpeciesRecord& rec : *all)
      if (rec.formula == formula) {
        SpeciesRecord x = rec;
        x.references = FromQ(refs_->item(r, 1)->text().trimmed());
        x.chemical_name = FromQ(refs_->item(r, 2)->text().trimmed());
        x.reliability_class = static_cast<int16_t>(cls);
        changed.push_back(std::move(x));
      }
  }
  if (changed.empty()) return 0;
  int species = 0;
  for (size_t i = 0; i < changed.size(); ++i) species += i == 0 || changed[i].formula != changed[i - 1].formula;
  auto res = ImportSpecies(*own, DbRole::Own, std::move(changed), false, msgs);
  if (!res.ok) {
    msgs.Error(res.message);
    return 0;
  }
  FillReferences();
  ReloadList();
  return species;
}

QWidget* DataBase::BuildElementsPage() {
  auto* page = new QWidget(this);
  const ElementTable& el = Elements();
  elements_ = new QTableWidget(kElementCount, 5, page);
  elements_->setObjectName(QStringLiteral("F1Elements"));
  elements_->setHorizontalHeaderLabels({"No.", "Symbol", "Name", "Atomic weight g/mol", "Uncertainty g/mol"});
  elements_->verticalHeader()->setVisible(false);
  for (int i = 1; i <= kElementCount; ++i) {
    const int r = i - 1;
    elements_->setItem(r, 0, Cell(QString::number(i)));
    elements_->setItem(r, 1, Cell(ToQ(el.symbol[static_cast<size_t>(i)])));
    elements_->setItem(r, 2, Cell(QString::fromLatin1(kElementNames[r])));
    elements_->setItem(r, 3, Cell(Num(el.weight[static_cast<size_t>(i)])));
    elements_->setItem(r, 4, Cell(el.second[static_cast<size_t>(i)] ? Num(el.second[static_cast<size_t>(i)]) : QString()));
  }
  elements_->resizeColumnsToContents();
  auto* source = new QLabel(
      QStringLiteral("Source: atomic weights file AWDB4.ZYL of the installation, IUPAC standard atomic weights 2021 "
                     "(T. Prohaska et al., Pure Appl. Chem. 94 (2022) 573), abridged values with their "
                     "uncertainties; entries 101 and 102 are the electron and deuterium."),
      page);
  source->setObjectName(QStringLiteral("LabElementSource"));
  source->setWordWrap(true);
  auto* lay = new QVBoxLayout(page);
  lay->addWidget(elements_, 1);
  lay->addWidget(source);
  return page;
}

SpeciesDb* DataBase::Db(Which which) const {
  auto& dbs = SharedSpeciesDatabases();
  return which == Which::Own ? dbs.own.get() : dbs.main.get();
}

DataBase::Which DataBase::Shown() const { return which_->currentIndex() == 1 ? Which::Main : Which::Own; }

void DataBase::ShowDatabase(Which which) {
  QSignalBlocker block(which_);
  which_->setCurrentIndex(which == Which::Main ? 1 : 0);
  ReloadList();
}

void DataBase::ReloadList() {
  SpeciesDb* db = Db(Shown());
  model_->SetSpecies(db ? SummariseSpecies(*db) : std::vector<SpeciesSummary>{});
  model_->SetFilter(search_->text());
  count_->setText(db ? QStringLiteral("%1 of %2 species").arg(model_->rowCount()).arg(model_->TotalCount())
                     : QStringLiteral("The database is not open."));
  list_->resizeColumnToContents(SpeciesListModel::kFormula);
  const QString keep = formula_;
  formula_.clear();
  dirty_ = false;
  if (!keep.isEmpty() && SelectSpecies(keep)) return;
  original_.clear();
  FillGrid(original_);
  UpdateButtons();
}

bool DataBase::SelectSpecies(const QString& formula) {
  int row = model_->RowOf(formula);
  if (row < 0) return false;
  list_->selectRow(row);
  list_->scrollTo(model_->index(row, 0));
  if (formula_ != formula) ShowSelected();
  return true;
}

void DataBase::ShowSelected() {
  const SpeciesSummary* s = model_->At(list_->currentIndex().row());
  SpeciesDb* db = Db(Shown());
  // A search that hides the selected species leaves it in the grid.
  if (!s || !db || ToQ(s->formula) == formula_) return;
  if (!MayDropEdits()) {
    // Back to the species being edited, once the view has finished changing its selection.
    QTimer::singleShot(0, this, [this, keep = formula_] {
      int row = model_->RowOf(keep);
      QSignalBlocker block(list_->selectionModel());
      if (row >= 0) {
        list_->selectRow(row);
      } else {
        list_->selectionModel()->clear();  // a second click on the refused species asks again
      }
    });
    return;
  }
  formula_ = ToQ(s->formula);
  original_ = ReadSpeciesRanges(*db, s->first, s->last);
  dirty_ = false;
  FillGrid(original_);
  UpdateButtons();
}

bool DataBase::MayDropEdits() {
  if (!dirty_ || formula_.isEmpty()) return true;
  if (AppMessages().AskYesNo(FromQ(formula_) + ": the changes are not saved. Discard them?") != platform::Answer::Yes)
    return false;
  dirty_ = false;
  return true;
}

void DataBase::closeEvent(QCloseEvent* e) {
  if (dirty_ && !formula_.isEmpty()) {
    auto a = AppMessages().AskYesNoCancel("Save the changes of " + FromQ(formula_) + " to OwnDB ?");
    if (a == platform::Answer::Cancel || (a == platform::Answer::Yes && !SaveSpeciesToOwn())) {
      e->ignore();
      return;
    }
  }
  QWidget::closeEvent(e);
}

void DataBase::SetJoules(bool joules) {
  if (units_->currentIndex() != (joules ? 1 : 0)) {
    units_->setCurrentIndex(joules ? 1 : 0);  // comes back here through the signal
    return;
  }
  // Keep edits that were not saved: re-read the grid in the old unit first.
  QString error;
  auto recs = GridRecords(&error);
  joules_ = joules;
  FillGrid(recs ? *recs : original_);
}

void DataBase::FillGrid(const std::vector<SpeciesRecord>& ranges) {
  filling_ = true;
  const double f = joules_ ? kCalToJ : 1.0;
  const QString e = joules_ ? QStringLiteral("J") : QStringLiteral("cal");
  ranges_->setHorizontalHeaderLabels({"T1 K", "T2 K", "Phase", QStringLiteral("H k%1/mol").arg(e),
                                      QStringLiteral("S %1/(mol*K)").arg(e), QStringLiteral("A %1/(mol*K)").arg(e),
                                      "B", "C", "D", "Density kg/l", "Melting Point K", "Boiling Point K", "References",
                                      "Chemical Name"});
  ranges_->setRowCount(static_cast<int>(ranges.size()));
  const bool editable = Shown() == Which::Own;
  for (int r = 0; r < static_cast<int>(ranges.size()); ++r) {
    const SpeciesRecord& rec = ranges[static_cast<size_t>(r)];
    auto num = [&](int col, float v, double scale) {
      QString text = scale == 1.0 ? FloatText(v) : Short(static_cast<double>(v) * scale, 7);
      auto* item = Cell(text, editable);
      item->setData(kValueRole, static_cast<double>(v));
      item->setData(kTextRole, text);
      item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
      ranges_->setItem(r, col, item);
    };
    num(cT1, rec.t1, 1);
    num(cT2, rec.t2, 1);
    ranges_->setItem(r, cPhase, Cell(ToQ(rec.phase), editable));
    num(cH, rec.h, f);
    num(cS, rec.s, f);
    num(cA, rec.a, f);
    num(cB, rec.b, f);
    num(cC, rec.c, f);
    num(cD, rec.d, f);
    num(cDensity, rec.density, 1);
    num(cMelt, rec.melting_point, 1);
    num(cBoil, rec.boiling_point, 1);
    ranges_->setItem(r, cRefs, Cell(ToQ(rec.references), editable));
    ranges_->setItem(r, cName, Cell(ToQ(rec.chemical_name), editable));
  }
  ranges_->resizeColumnsToContents();
  filling_ = false;
  UpdatePlot();
}

std::optional<std::vector<SpeciesRecord>> DataBase::GridRecords(QString* error) const {
  std::vector<SpeciesRecord> out;
  const double f = joules_ ? kCalToJ : 1.0;
  for (int r = 0; r < ranges_->rowCount(); ++r) {
    SpeciesRecord rec;
    if (r < static_cast<int>(original_.size())) rec = original_[static_cast<size_t>(r)];
    else if (!original_.empty()) {
      rec = original_.back();
      rec.h = rec.s = 0;
    }
    rec.formula = FromQ(formula_);
    bool ok = true;
    auto num = [&](int col, double scale) -> float {
      const QTableWidgetItem* item = ranges_->item(r, col);
      if (!item) return 0.0f;
      // Unchanged text keeps the stored value exactly (no round trip through the display unit).
      if (item->data(kTextRole).toString() == item->text() && item->data(kValueRole).isValid())
        return static_cast<float>(item->data(kValueRole).toDouble());
      QString t = item->text().trimmed();
      if (t.isEmpty()) return 0.0f;
      bool good = false;
      double v = t.toDouble(&good);
      if (!good || !std::isfinite(v)) {
        if (ok && error)
          *error = QStringLiteral("Range %1, %2: \"%3\" is not a number")
                       .arg(r + 1)
                       .arg(ranges_->horizontalHeaderItem(col)->text(), t);
        ok = false;
        return 0.0f;
      }
      return static_cast<float>(v / scale);
    };
    auto text = [&](int col) { return ranges_->item(r, col) ? FromQ(ranges_->item(r, col)->text().trimmed()) : std::string(); };
    rec.t1 = num(cT1, 1);
    rec.t2 = num(cT2, 1);
    rec.phase = text(cPhase);
    rec.h = num(cH, f);
    rec.s = num(cS, f);
    rec.a = num(cA, f);
    rec.b = num(cB, f);
    rec.c = num(cC, f);
    rec.d = num(cD, f);
    rec.density = num(cDensity, 1);
    rec.melting_point = num(cMelt, 1);
    rec.boiling_point = num(cBoil, 1);
    rec.references = text(cRefs);
    rec.chemical_name = text(cName);
    if (!ok) return std::nullopt;
    out.push_back(std::move(rec));
  }
  return out;
}

void DataBase::UpdatePlot() {
  const int kind = plot_kind_->currentIndex();
  const QString e = joules_ ? QStringLiteral("J") : QStringLiteral("cal");
  static const char* const kNames[] = {"Cp", "H", "S", "G"};
  QString unit = kind == 0 || kind == 2 ? QStringLiteral("%1/(mol K)").arg(e) : QStringLiteral("k%1/mol").arg(e);
  plot_->SetTitle(formula_);
  plot_->SetAxisTitles(QStringLiteral("T K"), QStringLiteral("%1 %2").arg(QString::fromLatin1(kNames[kind]), unit));
  auto recs = GridRecords();
  QVector<QPointF> pts;
  QVector<double> joins;
  if (recs && !recs->empty() && !HasErrors(ValidateSpecies(*recs))) {
    SpeciesData sp;
    SetSpeciesName(sp, FromQ(formula_));
    for (const auto& r : *recs) sp.ranges.push_back(RangeOf(r));
    const double t0 = sp.ranges.front().t1, t1 = sp.ranges.back().t2;
    const double f = joules_ ? kCalToJ : 1.0;
    for (int i = 0; i <= kPlotSteps; ++i) {
      double t = t0 + (t1 - t0) * i / kPlotSteps;
      SpeciesValues v = CalcSpeciesAtTPlain(sp, t);
      double y = kind == 0 ? v.cp : kind == 1 ? v.h / kCalPerKcal : kind == 2 ? v.s : v.g / kCalPerKcal;
      pts << QPointF(t, y * f);
    }
    for (size_t k = 0; k + 1 < sp.ranges.size(); ++k) joins << sp.ranges[k].t2;
  }
  plot_->SetData(pts);
  plot_->SetMarkers(joins);
}

void DataBase::UpdateButtons() {
  const bool own = Shown() == Which::Own;
  const bool selected = !formula_.isEmpty();
  but_save_->setEnabled(own && selected);
  but_delete_->setEnabled(own && selected);
  but_add_range_->setEnabled(own && selected);
  but_delete_range_->setEnabled(own && selected && ranges_->rowCount() > 1);
  but_copy_->setEnabled(!own && selected && Db(Which::Own));
  ranges_->setEditTriggers(own ? QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                                     QAbstractItemView::AnyKeyPressed
                               : QAbstractItemView::NoEditTriggers);
  ro_note_->setText(own ? QString()
                        : QStringLiteral("The main database is read-only: \"Copy to OwnDB\" makes an editable copy, "
                                         "which the lookup then takes before the main database's data."));
  ro_note_->setVisible(!own);
}

bool DataBase::SaveSpeciesToOwn() {
  platform::Messages& msgs = AppMessages();
  if (Shown() == Which::Main) {
    msgs.Error(platform::JoinLines({kMsgCanNotSaveMain, kMsgChangeMainToOwn}));
    return false;
  }
  SpeciesDb* own = Db(Which::Own);
  if (!own || formula_.isEmpty()) return false;
  QString error;
  auto recs = GridRecords(&error);
  if (!recs) {
    msgs.Error(FromQ(error));
    return false;
  }
  auto issues = ValidateSpecies(*recs);
  for (const auto& i : issues)
    if (i.error) {
      msgs.Error(i.text);
      return false;
    }
  for (const auto& i : issues)
    if (msgs.AskYesNo(i.text + "\nSave anyway?") != platform::Answer::Yes) return false;
  auto res = SaveSpecies(*own, DbRole::Own, *recs, msgs, true);
  if (!res.ok) {
    msgs.Error(res.message);
    return false;
  }
  const QString keep = formula_;
  formula_.clear();
  ReloadList();
  SelectSpecies(keep);
  return true;
}

bool DataBase::CopyToOwn() {
  platform::Messages& msgs = AppMessages();
  SpeciesDb* own = Db(Which::Own);
  SpeciesDb* main = Db(Which::Main);
  if (!own || !main || formula_.isEmpty()) return false;
  SpeciesSpan span = FindSpeciesSpan(*main, FromQ(formula_));
  if (!span.first) return false;
  const bool exists = FindSpeciesSpan(*own, FromQ(formula_)).first != 0;
  if (exists && msgs.AskYesNo(FromQ(formula_) + " is in OwnDB already. Replace it with the main database's data?") !=
                    platform::Answer::Yes)
    return false;
  auto res = SaveSpecies(*own, DbRole::Own, ReadSpeciesRanges(*main, span.first, span.last), msgs, exists);
  if (!res.ok) {
    msgs.Error(res.message);
    return false;
  }
  const QString keep = formula_;
  ShowDatabase(Which::Own);
  SelectSpecies(keep);
  return true;
}

bool DataBase::DeleteSelected() {
  SpeciesDb* own = Db(Which::Own);
  if (!own || formula_.isEmpty()) return false;
  auto res = DeleteSpecies(*own, Shown() == Which::Own ? DbRole::Own : DbRole::Main, FromQ(formula_), 0, AppMessages());
  if (!res.ok) {
    if (res.message != "Not deleted.") AppMessages().Error(res.message);
    return false;
  }
  formula_.clear();
  ReloadList();
  return true;
}

void DataBase::AddRange() {
  if (Shown() != Which::Own || formula_.isEmpty()) return;
  QString error;
  auto recs = GridRecords(&error);
  if (!recs || recs->empty()) return;
  SpeciesRecord next = recs->back();
  next.t1 = recs->back().t2;
  next.t2 = next.t1 + 100.0f;
  next.h = next.s = 0;
  recs->push_back(next);
  original_.push_back(next);
  FillGrid(*recs);
  dirty_ = true;
  UpdateButtons();
}

void DataBase::DeleteRange() {
  if (Shown() != Which::Own || ranges_->rowCount() <= 1) {
    if (ranges_->rowCount() == 1) AppMessages().Error(kMsgCanNotDeleteLast);
    return;
  }
  int row = ranges_->currentRow();
  if (row < 0) row = ranges_->rowCount() - 1;
  auto recs = GridRecords();
  if (!recs) return;
  recs->erase(recs->begin() + row);
  if (row < static_cast<int>(original_.size())) original_.erase(original_.begin() + row);
  FillGrid(*recs);
  dirty_ = true;
  UpdateButtons();
}

bool DataBase::NewSpecies(const QString& formula) {
  platform::Messages& msgs = AppMessages();
  SpeciesDb* own = Db(Which::Own);
  if (!own || formula.isEmpty()) return false;
  const std::string f = FromQ(formula);
  if (f.size() > static_cast<size_t>(kFormulaWidth)) {
    msgs.Error(fmt::format("The formula is longer than {} characters.", kFormulaWidth));
    return false;
  }
  if (FindSpeciesSpan(*own, f).first) {
    msgs.Error("Species already in the database: " + f);
    return false;
  }
  if (!MayDropEdits()) return false;
  ShowDatabase(Which::Own);
  list_->clearSelection();
  SpeciesRecord r;
  r.formula = f;
  r.t1 = static_cast<float>(kT0);
  r.t2 = 1000.0f;
  r.phase.assign(1, 's');  // assign, not = "s": GCC 12 warns falsely (-Wrestrict) on the literal here
  const double mw = MolarMass(f);
  if (mw > 0) r.mw = static_cast<float>(mw);
  formula_ = formula;
  original_ = {r};
  FillGrid(original_);
  dirty_ = true;
  UpdateButtons();
  return true;
}

// ---------------------------------------------------------------- fitting

bool DataBase::RunFit() {
  platform::Messages& msgs = AppMessages();
  std::string error;
  fit_cal_units_ = fit_cal_->isChecked();
  auto table = ParseCpTable(FromQ(fit_text_->toPlainText()), fit_cal_units_, &error);
  if (!table) {
    msgs.Error(error);
    return false;
  }
  CpFitOptions opt;
  opt.phase = FromQ(fit_phase_->currentText());
  for (const QString& part : fit_breaks_->text().split(QRegularExpression(QStringLiteral("[,; ]+")), Qt::SkipEmptyParts)) {
    bool ok = false;
    double t = part.toDouble(&ok);
    if (!ok) {
      msgs.Error(fmt::format("Breaks: \"{}\" is not a temperature", FromQ(part)));
      return false;
    }
    opt.breaks.push_back(t);
  }
  std::sort(opt.breaks.begin(), opt.breaks.end());
  CpFitResult res = FitCpTable(*table, opt);
  if (!res.ok) {
    msgs.Error(res.error);
    return false;
  }
  fit_ = std::move(res);
  ShowFit();
  but_store_fit_->setEnabled(true);
  return true;
}

void DataBase::ShowFit() {
  fit_ranges_->setRowCount(static_cast<int>(fit_.ranges.size()));
  for (int r = 0; r < static_cast<int>(fit_.ranges.size()); ++r) {
    const CpFitRange& x = fit_.ranges[static_cast<size_t>(r)];
    const double vals[] = {x.t1, x.t2, 0, x.h, x.s, x.a, x.b, x.c, x.d};
    for (int c = 0; c < 9; ++c)
      fit_ranges_->setItem(r, c, Cell(c == 2 ? ToQ(x.phase) : FloatText(static_cast<float>(vals[c]))));
  }
  fit_ranges_->resizeColumnsToContents();
  // Residual table in the table's own units.
  const double es = fit_cal_units_ ? 1.0 : kCalToJ;                           // cal/(mol K) -> shown
  const double ee = fit_cal_units_ ? 1 / kCalPerKcal : kCalToJ / kCalPerKcal;  // cal/mol -> shown
  bool has[4] = {false, false, false, false};
  for (const auto& p : fit_.points) {
    has[0] |= p.given.cp.has_value();
    has[1] |= p.given.dh.has_value();
    has[2] |= p.given.s.has_value();
    has[3] |= p.given.g.has_value();
  }
  static const char* const kNames[] = {"Cp", "H-H298", "S", "G"};
  QStringList heads = {QStringLiteral("T K"), QStringLiteral("Range")};
  for (int k = 0; k < 4; ++k)
    if (has[k])
      heads << QStringLiteral("%1 given").arg(QLatin1String(kNames[k])) << QStringLiteral("%1 fitted").arg(QLatin1String(kNames[k]))
            << (k == 0 ? QStringLiteral("dCp %") : QStringLiteral("d%1").arg(QLatin1String(kNames[k])));
  fit_residuals_->clear();
  fit_residuals_->setColumnCount(static_cast<int>(heads.size()));
  fit_residuals_->setHorizontalHeaderLabels(heads);
  fit_residuals_->setRowCount(static_cast<int>(fit_.points.size()));
  for (int r = 0; r < static_cast<int>(fit_.points.size()); ++r) {
    const CpFitPoint& p = fit_.points[static_cast<size_t>(r)];
    int c = 0;
    fit_residuals_->setItem(r, c++, Cell(Num(p.given.t)));
    fit_residuals_->setItem(r, c++, Cell(QString::number(p.range + 1)));
    const std::optional<double> given[] = {p.given.cp, p.given.dh, p.given.s, p.given.g};
    const double fitted[] = {p.cp, p.dh, p.s, p.g};
    const double scale[] = {es, ee, es, ee};
    for (int k = 0; k < 4; ++k) {
      if (!has[k]) continue;
      if (!given[k]) {
        c += 3;
        continue;
      }
      double g = *given[k] * scale[k], f = fitted[k] * scale[k];
      fit_residuals_->setItem(r, c++, Cell(Short(g, 7)));
      fit_residuals_->setItem(r, c++, Cell(Short(f, 7)));
      double d = k == 0 ? (g != 0 ? 100 * (f - g) / g : 0) : f - g;
      fit_residuals_->setItem(r, c++, Cell(Short(d, 3)));
    }
  }
  fit_residuals_->resizeColumnsToContents();
  const QString eu = fit_cal_units_ ? QStringLiteral("kcal/mol") : QStringLiteral("kJ/mol");
  const QString su = fit_cal_units_ ? QStringLiteral("cal/(mol K)") : QStringLiteral("J/(mol K)");
  QStringList lines;
  lines << QStringLiteral("%1 range(s) from %2 rows.").arg(fit_.ranges.size()).arg(fit_.points.size());
  if (has[0]) lines << QStringLiteral("Worst Cp deviation: %1 %").arg(fit_.max_cp_error, 0, 'f', 4);
  if (has[1]) lines << QStringLiteral("Worst H-H298 deviation: %1 %2").arg(Short(fit_.max_dh_error * ee, 3), eu);
  if (has[2]) lines << QStringLiteral("Worst S deviation: %1 %2").arg(Short(fit_.max_s_error * es, 3), su);
  if (has[3]) lines << QStringLiteral("Worst G deviation: %1 %2").arg(Short(fit_.max_g_error * ee, 3), eu);
  for (const auto& n : fit_.notes) lines << ToQ(n);
  fit_summary_->setText(lines.join(QLatin1Char('\n')));
  UpdateFitPlots();
}

void DataBase::UpdateFitPlots() {
  const int kind = fit_plot_kind_->currentIndex();
  QVector<QVector<QPointF>> pieces;
  QVector<QPointF> given, resid;
  QVector<double> joins;
  const double es = fit_cal_units_ ? 1.0 : kCalToJ;
  const double ee = fit_cal_units_ ? 1 / kCalPerKcal : kCalToJ / kCalPerKcal;
  const double scale = kind == 0 || kind == 2 ? es : ee;
  const int steps = fit_.ranges.empty() ? 0 : std::max(8, kPlotSteps / static_cast<int>(fit_.ranges.size()));
  for (size_t k = 0; k < fit_.ranges.size(); ++k) {
    const CpFitRange& r = fit_.ranges[k];
    if (k > 0) joins << r.t1;
    QVector<QPointF> piece;
    for (int i = 0; i <= steps; ++i) {
      double t = r.t1 + (r.t2 - r.t1) * i / steps;
      double v[4];
      EvaluateFitRange(fit_.ranges, static_cast<int>(k), t, &v[0], &v[1], &v[2], &v[3]);
      piece << QPointF(t, v[kind] * scale);
    }
    pieces << piece;
  }
  for (const auto& p : fit_.points) {
    const std::optional<double> g[] = {p.given.cp, p.given.dh, p.given.s, p.given.g};
    const double fitted[] = {p.cp, p.dh, p.s, p.g};
    if (!g[kind]) continue;
    given << QPointF(p.given.t, *g[kind] * scale);
    double d = kind == 0 ? (*g[kind] != 0 ? 100 * (fitted[kind] - *g[kind]) / *g[kind] : 0) : (fitted[kind] - *g[kind]) * scale;
    resid << QPointF(p.given.t, d);
  }
  static const char* const kNames[] = {"Cp", "H-H298", "S", "G"};
  const QString name = QLatin1String(kNames[kind]);
  const QString unit = kind == 0 || kind == 2 ? (fit_cal_units_ ? QStringLiteral("cal/(mol K)") : QStringLiteral("J/(mol K)"))
                                              : (fit_cal_units_ ? QStringLiteral("kcal/mol") : QStringLiteral("kJ/mol"));
  fit_plot_->SetTitles(QStringLiteral("%1: fitted curve and given points").arg(name), QStringLiteral("T K"),
                       QStringLiteral("%1 %2").arg(name, unit));
  fit_plot_->SetData(pieces, given, joins);
  QVector<QVector<QPointF>> zero;
  if (!fit_.ranges.empty()) zero << QVector<QPointF>{{fit_.ranges.front().t1, 0.0}, {fit_.ranges.back().t2, 0.0}};
  fit_resid_plot_->SetTitles(QStringLiteral("Residuals (fitted - given)"), QStringLiteral("T K"),
                             kind == 0 ? QStringLiteral("dCp %") : QStringLiteral("d%1 %2").arg(name, unit));
  fit_resid_plot_->SetData(zero, resid, joins);
}

bool DataBase::StoreFit() {
  platform::Messages& msgs = AppMessages();
  if (!MayDropEdits()) return false;
  SpeciesDb* own = Db(Which::Own);
  if (!own || fit_.ranges.empty()) return false;
  const std::string name = platform::Trim(FromQ(fit_name_->text()));
  if (name.empty()) {
    msgs.Error("Type the formula of the species first.");
    return false;
  }
  const SpeciesSpan span = FindSpeciesSpan(*own, name);
  const SpeciesRecord* like = nullptr;
  std::vector<SpeciesRecord> old;
  if (span.first) {
    if (msgs.AskYesNo(name + " is in OwnDB already. Replace its ranges with the fitted ones?") != platform::Answer::Yes)
      return false;
    old = ReadSpeciesRanges(*own, span.first, span.last);
    if (!old.empty()) like = &old.front();
  }
  auto recs = FitToRecords(fit_.ranges, name, like);
  auto res = SaveSpecies(*own, DbRole::Own, recs, msgs, span.first != 0);
  if (!res.ok) {
    msgs.Error(res.message);
    return false;
  }
  ShowDatabase(Which::Own);
  tabs_->setCurrentIndex(0);
  SelectSpecies(ToQ(name));
  return true;
}

// ---------------------------------------------------------------- maintenance

int DataBase::RunCheck() {
  findings_->clear();
  SpeciesDb* db = Db(Shown());
  if (!db) return 0;
  int n = 0;
  for (const RangeProblem& p : CheckRanges(*db))
    for (const std::string& text : p.problems) {
      auto* item = new QListWidgetItem(ToQ(fmt::format("{}  (records {}-{}): {}", p.formula, p.first, p.last, text)), findings_);
      item->setData(Qt::UserRole, ToQ(p.formula));
      ++n;
    }
  if (!db->catalogue_usable()) {
    new QListWidgetItem(QStringLiteral("The catalogue does not match the file: sort and rebuild it."), findings_);
    ++n;
  }
  if (n == 0) new QListWidgetItem(QStringLiteral("%1: no problems found.").arg(ToQ(db->path().string())), findings_);
  return n;
}

bool DataBase::MergeFile(const QString& path) {
  platform::Messages& msgs = AppMessages();
  if (!MayDropEdits()) return false;
  SpeciesDb* own = Db(Which::Own);
  if (!own) return false;
  std::string error;
  auto other = OpenSpeciesDb(FromQ(path), nullptr, false, &error);
  if (!other) {
    msgs.Error(error);
    return false;
  }
  auto incoming = ReadAllSpeciesRecords(*other);
  auto mine = ReadAllSpeciesRecords(*own);
  if (!incoming || !mine) return false;
  std::vector<std::string> clashes;
  for (const SpeciesSpan& s : ListSpecies(*other))
    if (FindSpeciesSpan(*own, s.formula).first) clashes.push_back(s.formula);
  ClashChoice choice = ClashChoice::KeepOwn;
  if (!clashes.empty()) {
    std::string list;
    for (size_t i = 0; i < clashes.size() && i < 10; ++i) list += (i ? ", " : "") + clashes[i];
    if (clashes.size() > 10) list += ", ...";
    auto a = msgs.AskYesNoCancel(fmt::format("{} species of\n{}\nare in OwnDB already: {}\n\nYes: take them from the file\n"
                                             "No: keep the OwnDB data\nCancel: merge nothing",
                                             clashes.size(), FromQ(path), list));
    if (a == platform::Answer::Cancel) return false;
    choice = a == platform::Answer::Yes ? ClashChoice::TakeIncoming : ClashChoice::KeepOwn;
  }
  MergeResult m = MergeSpecies(*mine, *incoming, [&](const std::string&) { return choice; });
  auto res = ImportSpecies(*own, DbRole::Own, std::move(m.records), true, msgs);
  if (!res.ok) {
    msgs.Error(res.message);
    return false;
  }
  msgs.Show(fmt::format("Merged into {}: {} species added, {} replaced, {} kept.", own->path().string(), m.added,
                        m.replaced, m.kept));
  if (Shown() == Which::Own) ReloadList();
  return true;
}

bool DataBase::ExportTo(const QString& path) {
  SpeciesDb* db = Db(Shown());
  if (!db) return false;
  auto recs = ReadAllSpeciesRecords(*db);
  if (!recs) return false;
  const bool csv = QFileInfo(path).suffix().compare(QStringLiteral("csv"), Qt::CaseInsensitive) == 0;
  std::string error;
  if (!platform::WriteFileAtomic(FromQ(path), csv ? FormatSpeciesCsv(*recs) : FormatSpeciesText(*recs), &error)) {
    AppMessages().Error(fmt::format("Can not save: {}\n{}", FromQ(path), error));
    return false;
  }
  return true;
}

bool DataBase::ImportFrom(const QString& path) {
  platform::Messages& msgs = AppMessages();
  if (!MayDropEdits()) return false;
  SpeciesDb* own = Db(Which::Own);
  if (!own) return false;
  std::string error;
  auto text = platform::ReadFile(FromQ(path), &error);
  if (!text) {
    msgs.Error(fmt::format("{} {}\n{}", kMsgCanNotOpen, FromQ(path), error));
    return false;
  }
  const bool csv = QFileInfo(path).suffix().compare(QStringLiteral("csv"), Qt::CaseInsensitive) == 0;
  auto recs = csv ? ParseSpeciesCsv(*text, &error) : ParseSpeciesText(*text, &error);
  if (!recs) {
    msgs.Error(fmt::format("{}\n{}", FromQ(path), error));
    return false;
  }
  auto res = ImportSpecies(*own, DbRole::Own, std::move(*recs), false, msgs);
  if (!res.ok) {
    msgs.Error(res.message);
    return false;
  }
  if (Shown() == Which::Own) ReloadList();
  return true;
}

bool DataBase::ConvertOldFile(const QString& in, const QString& out) {
  platform::Messages& msgs = AppMessages();
  const std::filesystem::path src = FromQ(in), dst = FromQ(out);
  const DbFormat format = CheckDbFormat(src);
  if (format == DbFormat::Current) {
    msgs.Error(fmt::format("{}\nThis file is in the current format already: merge it instead.", src.string()));
    return false;
  }
  if (format == DbFormat::Unknown) {
    msgs.Error(DbFormatMessage(src, format));
    return false;
  }
  for (Which w : {Which::Own, Which::Main}) {
    std::error_code ec;
    if (SpeciesDb* db = Db(w); db && std::filesystem::equivalent(db->path(), dst, ec)) {
      msgs.Error(fmt::format("{}\nis an open database: save the converted file under a new name and merge it.", dst.string()));
      return false;
    }
  }
  std::string error;
  auto bytes = platform::ReadFile(src, &error);
  if (!bytes) {
    msgs.Error(fmt::format("{} {}\n{}", kMsgCanNotOpen, src.string(), error));
    return false;
  }
  auto recs = DecodeOldDatabase(*bytes, &error);
  if (!recs) {
    msgs.Error(fmt::format("{}\n{}", src.string(), error));
    return false;
  }
  const size_t n = recs->size();
  if (!WriteSpeciesDatabase(dst, std::move(*recs), &error)) {
    msgs.Error(fmt::format("Can not save: {}\n{}", dst.string(), error));
    return false;
  }
  msgs.Show(fmt::format("{} records converted to\n{}", n, dst.string()));
  return true;
}

bool DataBase::SortOwn() {
  if (!MayDropEdits()) return false;
  SpeciesDb* own = Db(Which::Own);
  if (!own) return false;
  auto recs = ReadAllSpeciesRecords(*own);
  if (!recs) return false;
  auto res = ImportSpecies(*own, DbRole::Own, std::move(*recs), true, AppMessages());
  if (!res.ok) {
    AppMessages().Error(res.message);
    return false;
  }
  if (Shown() == Which::Own) ReloadList();
  return true;
}

}  // namespace zyl::thermo::window
