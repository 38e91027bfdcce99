#include "platform/window/grid.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QShortcut>
#include <QTabBar>
#include <QTableView>
#include <QTextDocument>
#include <QVBoxLayout>

#include "platform/window/qt_messages.h"

namespace zyl::platform::window {

namespace {

constexpr int kSpareRows = 50;  ///< empty rows shown below the last used one
constexpr int kSpareCols = 4;
constexpr int kMinRows = 100;
constexpr int kMinCols = 10;
const QColor kInputCell(255, 253, 231);  ///< unlocked cells of a protected sheet

Qt::Alignment AlignmentOf(const CellStyle& style, const CellValue& v) {
  switch (style.align) {
    case HAlign::Left: return Qt::AlignLeft | Qt::AlignVCenter;
    case HAlign::Center: return Qt::AlignCenter;
    case HAlign::Right: return Qt::AlignRight | Qt::AlignVCenter;
    case HAlign::General: break;
  }
  if (v.is_number()) return Qt::AlignRight | Qt::AlignVCenter;
  if (v.is_bool() || v.is_error()) return Qt::AlignCenter;
  return Qt::AlignLeft | Qt::AlignVCenter;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------

int WorkbookTableModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : rows_; }
int WorkbookTableModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : cols_; }

Qt::ItemFlags WorkbookTableModel::flags(const QModelIndex& index) const {
  if (!index.isValid()) return Qt::NoItemFlags;
  return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable;
}

QVariant WorkbookTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole) return {};
  if (orientation == Qt::Horizontal) return ToQ(ColumnName(section));
  return section + 1;
}

QVariant WorkbookTableModel::CellData(const Sheet& s, int r, int c, int role) {
  switch (role) {
    case Qt::DisplayRole: return ToQ(s.DisplayText(r, c));
    case Qt::EditRole: return ToQ(s.InputText(r, c));
    case Qt::TextAlignmentRole: return QVariant::fromValue(AlignmentOf(s.Style(r, c), s.Value(r, c)));
    case Qt::FontRole: {
      const CellStyle& st = s.Style(r, c);
      if (!st.bold && !st.italic) return {};
      QFont f;
      f.setBold(st.bold);
      f.setItalic(st.italic);
      return f;
    }
    case Qt::ForegroundRole: {
      const CellStyle& st = s.Style(r, c);
      if (st.color == kBlack) return {};
      return QColor::fromRgb(QRgb(0xFF000000u | st.color));
    }
    default: return {};
  }
}

// ---------------------------------------------------------------------------------------------------------------

SheetModel::SheetModel(Workbook* book, QObject* parent)
    : WorkbookTableModel(book, parent), protection_message_(ToQ(kCellLocked)) {
  sheet_ = book_->SheetCount() > 0 ? book_->ActiveSheet() : 0;
  listener_ = book_->AddListener([this](const WorkbookEvent& e) { OnEvent(e); });
  Resize();
}

SheetModel::~SheetModel() { book_->RemoveListener(listener_); }

void SheetModel::SetSheet(int index) {
  beginResetModel();
  sheet_ = std::clamp(index, 0, std::max(0, book_->SheetCount() - 1));
  Resize();
  endResetModel();
}

void SheetModel::Resize() {
  if (book_->SheetCount() == 0) {
    rows_ = cols_ = 0;
    return;
  }
  const Sheet& s = book_->sheet(sheet_);
  rows_ = std::min(kMaxRows, std::max(kMinRows, s.LastRow() + 1 + kSpareRows));
  cols_ = std::min(kMaxCols, std::max(kMinCols, s.LastCol() + 1 + kSpareCols));
}

void SheetModel::OnEvent(const WorkbookEvent& e) {
  if (e.kind == WorkbookEvent::Kind::Cells && e.sheet == sheet_ && e.r2 < rows_ - 1 && e.c2 < cols_ - 1) {
    emit dataChanged(index(e.r1, e.c1), index(std::min(e.r2, rows_ - 1), std::min(e.c2, cols_ - 1)));
    return;
  }
  if (e.kind == WorkbookEvent::Kind::Cells && e.sheet != sheet_) return;
  if (e.kind == WorkbookEvent::Kind::Styles && e.sheet == sheet_) {
    emit dataChanged(index(0, 0), index(rows_ - 1, cols_ - 1));
    emit headerDataChanged(Qt::Horizontal, 0, cols_ - 1);
    return;
  }
  beginResetModel();
  sheet_ = std::clamp(sheet_, 0, std::max(0, book_->SheetCount() - 1));
  Resize();
  endResetModel();
}

QVariant SheetModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || book_->SheetCount() == 0) return {};
  const Sheet& s = book_->sheet(sheet_);
  const int r = index.row(), c = index.column();
  switch (role) {
    case Qt::BackgroundRole:
      if (s.Protected() && s.Editable(r, c)) return kInputCell;
      return {};
    case Qt::ToolTipRole: {
      const std::string f = s.Formula(r, c);
      return f.empty() ? QVariant() : QVariant(ToQ(f));
    }
    default: return CellData(s, r, c, role);
  }
}

bool SheetModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (!index.isValid() || role != Qt::EditRole || book_->SheetCount() == 0) return false;
  Sheet& s = book_->sheet(sheet_);
  const std::string input = FromQ(value.toString());
  if (input == s.InputText(index.row(), index.column())) return false;
  const std::string error = s.Edit(index.row(), index.column(), input);
  if (error == kCellLocked) {
    AppMessages().Show(FromQ(protection_message_), kDefaultTitle, Icon::Information);
    return false;
  }
  if (!error.empty()) AppMessages().Show(error, kDefaultTitle, Icon::Warning);
  return true;
}

// ---------------------------------------------------------------------------------------------------------------

Grid::Grid(Workbook* book, QWidget* parent) : QWidget(parent), book_(book) {
  model_ = new SheetModel(book, this);
  view_ = new QTableView(this);
  view_->setObjectName("F1Book");
  view_->setModel(model_);
  view_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  view_->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                         QAbstractItemView::AnyKeyPressed);
  view_->horizontalHeader()->setHighlightSections(true);
  view_->verticalHeader()->setDefaultSectionSize(view_->fontMetrics().height() + 6);
  view_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  view_->setContextMenuPolicy(Qt::CustomContextMenu);
  view_->setWordWrap(false);
  tabs_ = new QTabBar(this);
  tabs_->setShape(QTabBar::RoundedSouth);
  tabs_->setDocumentMode(true);
  tabs_->setExpanding(false);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(view_, 1);
  layout->addWidget(tabs_);
  connect(tabs_, &QTabBar::currentChanged, this, [this](int i) {
    if (i >= 0 && i != model_->SheetIndex()) SelectSheet(i);
  });
  connect(view_, &QWidget::customContextMenuRequested, this, &Grid::ContextMenu);
  connect(model_, &QAbstractItemModel::modelReset, this, [this] {
    if (tabs_->count() != book_->SheetCount()) Refresh();
    ApplyColumnWidths();
  });
  auto shortcut = [this](QKeySequence key, auto fn) {
    auto* s = new QShortcut(key, view_, fn);
    s->setContext(Qt::WidgetWithChildrenShortcut);
  };
  shortcut(QKeySequence::Copy, [this] { CopySelection(); });
  shortcut(QKeySequence::Paste, [this] { PasteClipboard(); });
  shortcut(QKeySequence::Delete, [this] { ClearSelection(); });
  Refresh();
}

void Grid::Refresh() {
  QSignalBlocker block(tabs_);
  while (tabs_->count() > 0) tabs_->removeTab(0);
  for (int i = 0; i < book_->SheetCount(); ++i) tabs_->addTab(ToQ(book_->sheet(i).name()));
  tabs_->setVisible(book_->SheetCount() > 1);
  if (book_->SheetCount() > 0) {
    const int active = std::clamp(book_->ActiveSheet(), 0, book_->SheetCount() - 1);
    tabs_->setCurrentIndex(active);
    if (model_->SheetIndex() != active) model_->SetSheet(active);
  }
  ApplyColumnWidths();
}

void Grid::SelectSheet(int index) {
  if (index < 0 || index >= book_->SheetCount()) return;
  book_->SetActiveSheet(index);
  model_->SetSheet(index);
  {
    QSignalBlocker block(tabs_);
    tabs_->setCurrentIndex(index);
  }
  ApplyColumnWidths();
  emit sheetChanged(index);
}

void Grid::SetGridFont(const QFont& font) {
  view_->setFont(font);
  view_->verticalHeader()->setDefaultSectionSize(QFontMetrics(font).height() + 6);
  ApplyColumnWidths();
}

void Grid::ApplyColumnWidths() {
  if (book_->SheetCount() == 0) return;
  const Sheet& s = book_->sheet(model_->SheetIndex());
  const int digit = view_->fontMetrics().horizontalAdvance('0');
  for (int c = 0; c < model_->columnCount(); ++c) {
    view_->setColumnHidden(c, s.ColumnHidden(c));
    view_->setColumnWidth(c, int(s.ColumnWidth(c) * digit + 10));
  }
}

bool Grid::SelectedRange(int* r1, int* c1, int* r2, int* c2) const {
  const QModelIndexList list = view_->selectionModel()->selectedIndexes();
  if (list.isEmpty()) return false;
  int a = INT_MAX, b = INT_MAX, c = -1, d = -1;
  for (const QModelIndex& i : list) {
    a = std::min(a, i.row());
    b = std::min(b, i.column());
    c = std::max(c, i.row());
    d = std::max(d, i.column());
  }
  // One block exactly when the selected cells fill their bounding rectangle.
  int hidden = 0;
  for (int col = b; col <= d; ++col) hidden += view_->isColumnHidden(col) ? 1 : 0;
  const qsizetype area = qsizetype(c - a + 1) * (d - b + 1 - hidden);
  if (area != list.size()) return false;
  *r1 = a;
  *c1 = b;
  *r2 = c;
  *c2 = d;
  return true;
}

bool Grid::CopySelection() {
  int r1, c1, r2, c2;
  if (!SelectedRange(&r1, &c1, &r2, &c2)) {
    if (!view_->selectionModel()->selectedIndexes().isEmpty())
      AppMessages().Show(kOneRange, kDefaultTitle, Icon::Information);
    return false;
  }
  const Sheet& s = book_->sheet(model_->SheetIndex());
  QString text;
  for (int r = r1; r <= r2; ++r) {
    QStringList cells;
    for (int c = c1; c <= c2; ++c)
      if (!view_->isColumnHidden(c)) cells << ToQ(s.DisplayText(r, c)).trimmed();
    text += cells.join('\t') + '\n';
  }
  QApplication::clipboard()->setText(text);
  return true;
}

std::string Grid::PasteText(int row, int col, const QString& tsv) {
  QStringList lines = tsv.split('\n');
  if (!lines.isEmpty() && lines.last().isEmpty()) lines.removeLast();
  Sheet& s = book_->sheet(model_->SheetIndex());
  if (row + lines.size() > kMaxRows) return std::string(kPasteOffSheet);
  for (int i = 0; i < lines.size(); ++i) {
    QString line = lines[i];
    if (line.endsWith('\r')) line.chop(1);
    const QStringList cells = line.split('\t');
    if (col + cells.size() > kMaxCols) return std::string(kPasteOffSheet);
    for (int j = 0; j < cells.size(); ++j) {
      const std::string error = s.Edit(row + i, col + j, FromQ(cells[j].trimmed()));
      if (error == kCellLocked) return FromQ(model_->ProtectionMessage());
      if (!error.empty()) return error;
    }
  }
  return {};
}

bool Grid::PasteClipboard() {
  const QModelIndex at = view_->currentIndex();
  if (!at.isValid()) return false;
  const std::string error = PasteText(at.row(), at.column(), QApplication::clipboard()->text());
  if (error.empty()) return true;
  AppMessages().Show(error, kDefaultTitle, Icon::Information);
  return false;
}

void Grid::ClearSelection() {
  Sheet& s = book_->sheet(model_->SheetIndex());
  bool refused = false;
  for (const QModelIndex& i : view_->selectionModel()->selectedIndexes()) {
    if (!s.Editable(i.row(), i.column())) {
      refused = true;
      continue;
    }
    s.ClearContents(i.row(), i.column(), i.row(), i.column());
  }
  if (refused) AppMessages().Show(FromQ(model_->ProtectionMessage()), kDefaultTitle, Icon::Information);
}

QString Grid::BlockHtml(int r1, int c1, int r2, int c2) const {
  const Sheet& s = book_->sheet(model_->SheetIndex());
  QString html = "<table cellspacing='0' cellpadding='2' style='border-collapse:collapse'>";
  for (int r = r1; r <= r2; ++r) {
    html += "<tr>";
    for (int c = c1; c <= c2; ++c) {
      if (s.ColumnHidden(c)) continue;
      const CellStyle& st = s.Style(r, c);
      const Qt::Alignment a = AlignmentOf(st, s.Value(r, c));
      QString text = ToQ(s.DisplayText(r, c)).toHtmlEscaped();
      if (st.bold) text = "<b>" + text + "</b>";
      if (st.italic) text = "<i>" + text + "</i>";
      html += QString("<td align='%1' style='padding-right:8px'>%2</td>")
                  .arg(a & Qt::AlignRight ? "right" : a & Qt::AlignHCenter ? "center" : "left", text);
    }
    html += "</tr>";
  }
  return html + "</table>";
}

void Grid::PrintTo(QPrinter* printer, bool selection_only) const {
  int r1 = 0, c1 = 0, r2 = 0, c2 = 0;
  if (!selection_only || !SelectedRange(&r1, &c1, &r2, &c2)) {
    const Sheet& s = book_->sheet(model_->SheetIndex());
    r1 = c1 = 0;
    r2 = std::max(0, s.LastRow());
    c2 = std::max(0, s.LastCol());
  }
  QTextDocument doc;
  QFont f = view_->font();
  doc.setDefaultFont(f);
  doc.setHtml(BlockHtml(r1, c1, r2, c2));
  doc.print(printer);
}

bool Grid::Print(const QString& no_printer_message, bool selection_only) {
  if (QPrinterInfo::availablePrinterNames().isEmpty()) {
    AppMessages().Show(FromQ(no_printer_message), kDefaultTitle, Icon::Warning);
    return false;
  }
  QPrinter printer(QPrinter::HighResolution);
  QPrintDialog dialog(&printer, this);
  int r1, c1, r2, c2;
  if (SelectedRange(&r1, &c1, &r2, &c2) && (r1 != r2 || c1 != c2)) dialog.setOption(QAbstractPrintDialog::PrintSelection);
  if (selection_only) dialog.setPrintRange(QAbstractPrintDialog::Selection);
  if (dialog.exec() != QDialog::Accepted) return false;
  PrintTo(&printer, dialog.printRange() == QAbstractPrintDialog::Selection);
  return true;
}

void Grid::ContextMenu(const QPoint& pos) {
  QMenu menu(this);
  menu.addAction(tr("&Copy"), QKeySequence::Copy, this, [this] { CopySelection(); });
  menu.addAction(tr("&Paste"), QKeySequence::Paste, this, [this] { PasteClipboard(); });
  menu.addAction(tr("C&lear"), QKeySequence::Delete, this, [this] { ClearSelection(); });
  menu.exec(view_->viewport()->mapToGlobal(pos));
}

}  // namespace zyl::platform::window
