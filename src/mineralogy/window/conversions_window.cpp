#include "mineralogy/window/conversions_window.h"

#include <QComboBox>
#include <QFile>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>
#include <filesystem>

#include "platform/files.h"
#include "platform/text.h"
#include "platform/window/dialogs.h"
#include "platform/window/grid.h"
#include "platform/window/menus.h"
#include "platform/window/qt_messages.h"
#include "platform/workbook_files.h"

namespace zyl::mineralogy::window {

namespace {

using platform::window::AppDialogs;
using platform::window::AppMessages;
using platform::window::FromQ;
using platform::window::ToQ;

constexpr const char* kPrinterError = "Printer error. No printers installed?";
constexpr const char* kBasisTexts[] = {"wt-%", "mol-%", "ppm"};
constexpr int kFirstRow = 1;  ///< row 0 holds the headings
constexpr int kMaxSampleRows = 500;

/// Writes one block of result rows under a heading; returns the next free row.
int WriteRows(platform::Sheet& sh, int row, const char* heading, const std::vector<ContentRow>& rows) {
  sh.SetText(row, 0, heading);
  sh.SetText(row, 1, "M g/mol");
  sh.SetText(row, 2, "wt-%");
  sh.SetText(row, 3, "mol-%");
  sh.SetText(row, 4, "ppm");
  const int first = row + 1;
  for (const auto& r : rows) {
    ++row;
    sh.SetText(row, 0, r.name);
    sh.SetNumber(row, 1, r.molar_mass);
    sh.SetNumber(row, 2, r.wt);
    sh.SetNumber(row, 3, r.mol);
    sh.SetNumber(row, 4, r.ppm);
  }
  if (row >= first) {
    sh.SetNumberFormat(first, 1, row, 3, "0.000");
    sh.SetNumberFormat(first, 4, row, 4, "0");
  }
  return row + 2;
}

}  // namespace

Conversions::Conversions(QWidget* parent) : QWidget(parent), book_(std::make_unique<platform::Workbook>(kInputSheet)) {
  setObjectName("Conversions");
  setWindowTitle("Composition Conversions");
  book_->InsertSheet(kResultSheet);
  auto& in = book_->sheet(0);
  in.SetText(0, 0, "Compound / element");
  in.SetText(0, 1, "Amount");
  in.SetText(0, 2, "Carrier (for elements)");
  Build();
  resize(760, 520);
}

Conversions::~Conversions() { delete grid_; }  // the grid listens to the workbook: it goes first

void Conversions::Build() {
  auto [top, menu] = platform::window::AddMenuBarLayout(this);
  auto* file = menu->addMenu("&File");
  const platform::window::NamedActions act(this);
  act(file, "MSaveX", "Save X&LS…", [this] {
    QString f = AppDialogs().SaveFile(this, "Save XLS", "Conversion.xlsx", "XLS Files (*.xlsx)");
    if (!f.isEmpty()) SaveXlsx(f);
  });
  act(file, "MPrint", "&Print…", [this] { grid_->Print(kPrinterError); });
  auto* edit = menu->addMenu("&Edit");
  act(edit, "MCopy", "&Copy", [this] { grid_->CopySelection(); });
  act(edit, "MPaste", "&Paste", [this] { grid_->PasteClipboard(); });

  auto* bar = new QHBoxLayout;
  top->addLayout(bar);
  from_ = new QComboBox(this);
  from_->setObjectName("ComboFrom");
  from_->addItems({"Compound or mineral contents", "Element contents"});
  bar->addWidget(from_);
  basis_ = new QComboBox(this);
  basis_->setObjectName("ComboBasis");
  for (auto b : kBasisTexts) basis_->addItem(b);
  bar->addWidget(basis_);
  auto* calc = new QPushButton("Convert", this);
  calc->setObjectName("ButCalc");
  connect(calc, &QPushButton::clicked, this, [this] { Convert(); });
  bar->addWidget(calc);
  total_ = new QLabel(this);
  total_->setObjectName("LabelTotal");
  bar->addWidget(total_, 1);

  grid_ = new platform::window::Grid(book_.get(), this);
  grid_->setObjectName("F1Book");
  top->addWidget(grid_, 1);
  grid_->Refresh();
  grid_->SelectSheet(0);
}

void Conversions::SetSample(const std::vector<Content>& contents, const std::vector<std::string>& carriers) {
  auto& in = book_->sheet(0);
  in.ClearContents(kFirstRow, 0, platform::kMaxRows - 1, 2);
  for (size_t i = 0; i < contents.size(); ++i) {
    const int row = kFirstRow + static_cast<int>(i);
    in.SetText(row, 0, contents[i].name);
    in.SetNumber(row, 1, contents[i].amount);
    if (i < carriers.size()) in.SetText(row, 2, carriers[i]);
  }
  grid_->Refresh();
}

bool Conversions::Convert() {
  const auto& in = book_->sheet(0);
  std::vector<Content> contents;
  std::vector<Carrier> carriers;
  const bool elements = from_->currentIndex() == 1;
  const int last = std::min(in.LastRow(), kFirstRow + kMaxSampleRows);
  for (int r = kFirstRow; r <= last; ++r) {
    const std::string name = platform::Trim(in.DisplayText(r, 0));
    if (name.empty()) continue;
    const auto amount = in.Number(r, 1);
    if (!amount || !std::isfinite(*amount) || *amount < 0) {
      AppMessages().Show(platform::CellName(r, 1) + ": the amount of " + name + " is not a number of 0 or more.");
      return false;
    }
    if (elements) {
      const std::string carrier = platform::Trim(in.DisplayText(r, 2));
      // An element without a carrier is reported as itself.
      carriers.push_back({carrier.empty() ? name : carrier, name});
    }
    contents.push_back({name, *amount});
  }
  if (contents.empty()) {
    AppMessages().Show(kMsgNoContents);
    return false;
  }
  Basis basis = static_cast<Basis>(basis_->currentIndex());
  result_ = elements ? ElementsToCompounds(contents, basis, carriers) : ConvertCompounds(contents, basis);
  if (!result_.ok()) {
    AppMessages().Show(result_.error);
    return false;
  }
  WriteResult();
  return true;
}

void Conversions::WriteResult() {
  const int index = book_->FindSheet(kResultSheet);
  auto& sh = book_->sheet(index);
  sh.ClearAll(0, 0, platform::kMaxRows - 1, platform::kMaxCols - 1);
  int row = WriteRows(sh, 0, "Compound", result_.compounds);
  WriteRows(sh, row, "Element", result_.elements);
  total_->setText(QString("Total %1 wt-%").arg(result_.total_wt, 0, 'f', 3));
  grid_->Refresh();
  grid_->SelectSheet(index);
}

bool Conversions::SaveXlsx(const QString& path) {
  const std::filesystem::path target(QFile::encodeName(path).toStdString());
  const std::filesystem::path temp = platform::TempNameBeside(target);
  std::string error = platform::WriteXlsx(*book_, temp);
  if (error.empty() && !platform::ReplaceFile(temp, target, &error) && error.empty()) error = "Can not write " + target.string();
  if (error.empty()) return true;
  std::error_code ec;
  std::filesystem::remove(temp, ec);
  AppMessages().Show(error);
  return false;
}

}  // namespace zyl::mineralogy::window
