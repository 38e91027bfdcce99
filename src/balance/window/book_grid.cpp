#include "balance/window/book_grid.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QTabBar>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

namespace zyl::balance::window {

using platform::Workbook;

namespace {
constexpr int kMinRows = 60;
constexpr int kMinCols = 26;
constexpr int kSpareRows = 30;
}  // namespace

BookModel::BookModel(Workbook* book, QObject* parent) : WorkbookTableModel(book, parent) { Listen(); }

BookModel::~BookModel() {
  if (book_ && listener_ >= 0) book_->RemoveListener(listener_);
}

void BookModel::Listen() {
  listener_ = book_->AddListener([this](const platform::WorkbookEvent& e) { OnEvent(e); });
  Reset();
}

void BookModel::SetBook(Workbook* book) {
  if (book_ && listener_ >= 0) book_->RemoveListener(listener_);
  book_ = book;
  sheet_ = 0;
  Listen();
}

void BookModel::SetSheet(int index) {
  if (index < 0 || index >= book_->SheetCount()) return;
  sheet_ = index;
  Reset();
}

void BookModel::Reset() {
  beginResetModel();
  names_.clear();
  for (int i = 0; i < book_->SheetCount(); ++i) names_.push_back(book_->sheet(i).name());
  if (sheet_ >= book_->SheetCount()) sheet_ = 0;
  const platform::Sheet& sh = book_->sheet(sheet_);
  rows_ = std::max(kMinRows, sh.LastRow() + 1 + kSpareRows);
  cols_ = std::max(kMinCols, sh.LastCol() + 2);
  endResetModel();
}

void BookModel::OnEvent(const platform::WorkbookEvent& e) {
  // Changes arrive in bursts (a refilled row writes a dozen cells): repaint once, after the burst.
  if (e.kind == platform::WorkbookEvent::Kind::Sheets || e.kind == platform::WorkbookEvent::Kind::Reset) {
    bool reset = e.kind == platform::WorkbookEvent::Kind::Reset;
    QTimer::singleShot(0, this, [this, reset] {
      std::vector<std::string> names;
      for (int i = 0; i < book_->SheetCount(); ++i) names.push_back(book_->sheet(i).name());
      if (!reset && names == names_) return;  // only the active sheet changed
      Reset();
      emit sheetsChanged();
    });
    return;
  }
  if (pending_) return;
  pending_ = true;
  QTimer::singleShot(0, this, [this] {
    pending_ = false;
    const platform::Sheet& sh = book_->sheet(std::min(sheet_, book_->SheetCount() - 1));
    int rows = std::max(kMinRows, sh.LastRow() + 1 + kSpareRows), cols = std::max(kMinCols, sh.LastCol() + 2);
    // Grow in place (a reset would lose the cursor); never shrink while editing.
    if (rows > rows_) {
      beginInsertRows(QModelIndex(), rows_, rows - 1);
      rows_ = rows;
      endInsertRows();
    }
    if (cols > cols_) {
      beginInsertColumns(QModelIndex(), cols_, cols - 1);
      cols_ = cols;
      endInsertColumns();
    }
    emit dataChanged(index(0, 0), index(rows_ - 1, cols_ - 1));
  });
}

QVariant BookModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || sheet_ >= book_->SheetCount()) return {};
  return CellData(book_->sheet(sheet_), index.row(), index.column(), role);
}

bool BookModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (!index.isValid() || role != Qt::EditRole) return false;
  std::string input = value.toString().toStdString();
  if (input == book_->sheet(sheet_).InputText(index.row(), index.column())) return false;
  bool ok = true;
  if (edit_) {
    ok = edit_(sheet_, index.row(), index.column(), input);
  } else {
    ok = book_->sheet(sheet_).Edit(index.row(), index.column(), input).empty();
    book_->RecalculateDirty();
  }
  return ok;
}

// ---------------------------------------------------------------------------------------------------------------

BookGrid::BookGrid(Workbook* book, QWidget* parent) : QWidget(parent), book_(book) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  view_ = new QTableView(this);
  model_ = new BookModel(book, this);
  view_->setModel(model_);
  view_->verticalHeader()->setDefaultSectionSize(20);
  view_->horizontalHeader()->setDefaultSectionSize(72);
  view_->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                         QAbstractItemView::AnyKeyPressed);
  tabs_ = new QTabBar(this);
  tabs_->setShape(QTabBar::RoundedSouth);
  tabs_->setObjectName("SheetTabs");
  layout->addWidget(view_);
  layout->addWidget(tabs_);
  connect(tabs_, &QTabBar::currentChanged, this, [this](int i) {
    if (i < 0 || i == model_->SheetIndex()) return;
    model_->SetSheet(i);
    book_->SetActiveSheet(i);
    ApplyColumns();
    emit sheetChanged(i);
  });
  connect(model_, &BookModel::sheetsChanged, this, [this] { Refresh(); });
  Refresh();
}

void BookGrid::SetBook(Workbook* book) {
  book_ = book;
  model_->SetBook(book);
  Refresh();
}

void BookGrid::Refresh() {
  QSignalBlocker block(tabs_);
  while (tabs_->count() > 0) tabs_->removeTab(0);
  for (int i = 0; i < book_->SheetCount(); ++i) tabs_->addTab(QString::fromStdString(book_->sheet(i).name()));
  int s = std::min(model_->SheetIndex(), book_->SheetCount() - 1);
  tabs_->setCurrentIndex(s);
  if (s != model_->SheetIndex()) model_->SetSheet(s);
  ApplyColumns();
}

void BookGrid::SelectSheet(int index) {
  if (index < 0 || index >= book_->SheetCount()) return;
  if (tabs_->count() != book_->SheetCount()) Refresh();
  model_->SetSheet(index);
  book_->SetActiveSheet(index);
  {
    QSignalBlocker block(tabs_);
    tabs_->setCurrentIndex(index);
  }
  ApplyColumns();
  emit sheetChanged(index);
}

void BookGrid::ApplyColumns() {
  const platform::Sheet& sh = book_->sheet(model_->SheetIndex());
  for (int c = 0; c < model_->columnCount(); ++c) {
    view_->setColumnHidden(c, sh.ColumnHidden(c));
    view_->setColumnWidth(c, static_cast<int>(sh.ColumnWidth(c) * 8.5));
  }
}

std::pair<int, int> BookGrid::CurrentCell() const {
  QModelIndex i = view_->currentIndex();
  return i.isValid() ? std::pair{i.row(), i.column()} : std::pair{0, 0};
}

void BookGrid::SetCurrentCell(int row, int col) { view_->setCurrentIndex(model_->index(row, col)); }

bool BookGrid::SelectedRange(int* r1, int* c1, int* r2, int* c2) const {
  QModelIndexList sel = view_->selectionModel()->selectedIndexes();
  if (sel.isEmpty()) {
    QModelIndex i = view_->currentIndex();
    if (!i.isValid()) return false;
    *r1 = *r2 = i.row();
    *c1 = *c2 = i.column();
    return true;
  }
  *r1 = *c1 = 1 << 30;
  *r2 = *c2 = -1;
  for (const QModelIndex& i : sel) {
    *r1 = std::min(*r1, i.row());
    *c1 = std::min(*c1, i.column());
    *r2 = std::max(*r2, i.row());
    *c2 = std::max(*c2, i.column());
  }
  return true;
}

QString BookGrid::Html(bool selection_only) const {
  const platform::Sheet& sh = book_->sheet(model_->SheetIndex());
  int r1 = 0, c1 = 0, r2 = sh.LastRow(), c2 = sh.LastCol();
  if (selection_only) SelectedRange(&r1, &c1, &r2, &c2);
  QString html = "<table border=1 cellspacing=0 cellpadding=2>";
  for (int r = r1; r <= r2; ++r) {
    html += "<tr>";
    for (int c = c1; c <= c2; ++c) {
      if (sh.ColumnHidden(c)) continue;
      html += "<td>" + QString::fromStdString(sh.DisplayText(r, c)).toHtmlEscaped() + "</td>";
    }
    html += "</tr>";
  }
  return html + "</table>";
}

}  // namespace zyl::balance::window
