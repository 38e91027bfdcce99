#include "equilibrium/window/result_form.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPrinterInfo>
#include <QSplitter>
#include <QTableView>
#include <QVBoxLayout>
#include <cmath>
#include <map>

#include "platform/files.h"
#include "platform/paths.h"
#include "platform/window/dialogs.h"
#include "platform/window/grid.h"
#include "platform/window/qt_messages.h"
#include "platform/window/xy_plot.h"
#include "thermo/formula.h"

namespace zyl::equilibrium::window {

namespace {

constexpr double kGramsPerKg = 1000.0;
constexpr const char* kAmountFormat = "0.0000E+00";
constexpr int kSeriesFirstRow = 1;  ///< first data row of the series sheet (row 0: headers)

double Number(const nlohmann::json& j, const char* key, std::string* error) {
  auto it = j.find(key);
  if (it == j.end() || !it->is_number()) {
    if (error->empty()) *error = std::string("The result file has no number \"") + key + "\".";
    return 0;
  }
  return it->get<double>();
}

std::string Text(const nlohmann::json& j, const char* key, std::string* error) {
  auto it = j.find(key);
  if (it == j.end() || !it->is_string()) {
    if (error->empty()) *error = std::string("The result file has no text \"") + key + "\".";
    return {};
  }
  return it->get<std::string>();
}

std::string SeriesKey(const PhaseResult& ph, const SpeciesResult& sp) { return ph.name + ": " + sp.name; }

}  // namespace

ResultRead ParseResultJson(const std::string& text) {
  ResultRead out;
  nlohmann::json j = nlohmann::json::parse(text, nullptr, false);
  if (j.is_discarded() || !j.is_object()) {
    out.error = "The result file is not valid JSON.";
    return out;
  }
  auto results = j.find("results");
  if (results == j.end() || !results->is_array()) {
    out.error = "The result file has no \"results\" list.";
    return out;
  }
  std::string& err = out.error;
  for (const auto& jp : *results) {
    if (!jp.is_object()) {
      err = "A result of the file is not an object.";
      break;
    }
    PointResult p;
    p.T = Number(jp, "T", &err);
    p.P = Number(jp, "P", &err);
    p.G = Number(jp, "G", &err);
    p.element_residual = Number(jp, "element_residual", &err);
    p.iterations = static_cast<int>(Number(jp, "iterations", &err));
    if (auto swept = jp.find("amounts"); swept != jp.end()) {
      p.amount_index = static_cast<int>(Number(jp, "amount_index", &err));
      if (!swept->is_array() && err.empty()) err = "A result's \"amounts\" is not a list.";
      for (const auto& ja : swept->is_array() ? *swept : nlohmann::json::array()) {
        if (!ja.is_object()) {
          if (err.empty()) err = "A swept amount of the result file is not an object.";
          break;
        }
        p.amounts.push_back({Text(ja, "phase", &err), Text(ja, "name", &err), Number(ja, "amount", &err)});
      }
    }
    auto phases = jp.find("phases");
    if (phases == jp.end() || !phases->is_array()) {
      if (err.empty()) err = "A result of the file has no \"phases\" list.";
      break;
    }
    for (const auto& jph : *phases) {
      if (!jph.is_object()) {
        if (err.empty()) err = "A phase of the result file is not an object.";
        break;
      }
      PhaseResult ph;
      ph.name = Text(jph, "name", &err);
      if (!PhaseTypeFromText(Text(jph, "type", &err), ph.type) && err.empty())
        err = "Phase " + ph.name + " has an unknown type.";
      ph.amount = Number(jph, "amount", &err);
      auto stable = jph.find("stable");
      ph.stable = stable != jph.end() && stable->is_boolean() && stable->get<bool>();
      auto species = jph.find("species");
      if (species == jph.end() || !species->is_array()) {
        if (err.empty()) err = "Phase " + ph.name + " has no \"species\" list.";
        break;
      }
      for (const auto& js : *species) {
        if (!js.is_object()) {
          if (err.empty()) err = "A species of phase " + ph.name + " is not an object.";
          break;
        }
        SpeciesResult s;
        s.name = Text(js, "name", &err);
        s.amount = Number(js, "amount", &err);
        s.mole_fraction = Number(js, "mole_fraction", &err);
        ph.species.push_back(std::move(s));
      }
      p.phases.push_back(std::move(ph));
    }
    if (!err.empty()) break;
    out.points.push_back(std::move(p));
  }
  if (err.empty() && out.points.empty()) err = "The result file holds no result.";
  if (!err.empty()) out.points.clear();
  return out;
}

double SpeciesMolarMass(const std::string& species) { return thermo::MolarMass(species); }

std::string SeriesAxisTitle(const std::vector<PointResult>& points) {
  if (!points.empty() && !points[0].amounts.empty()) return points[0].amounts[0].name + " in mol";
  return "T in K";
}

int FillResultBook(const std::vector<PointResult>& points, platform::Workbook* book) {
  int ri = book->FindSheet(kResultSheet);
  if (ri < 0) {
    book->InsertSheet(kResultSheet, 0);
    ri = book->FindSheet(kResultSheet);
  }
  platform::Sheet& s = book->sheet(ri);
  s.ClearAll(0, 0, platform::kMaxRows - 1, platform::kMaxCols - 1);
  int row = 0;
  for (const auto& p : points) {
    s.SetText(row, 0, "T");
    s.SetNumber(row, 1, p.T);
    s.SetText(row, 2, "K");
    s.SetText(row + 1, 0, "P");
    s.SetNumber(row + 1, 1, p.P);
    s.SetText(row + 1, 2, "atm");
    s.SetText(row + 2, 0, "G");
    s.SetNumber(row + 2, 1, p.G);
    s.SetText(row + 2, 2, "kJ");
    s.SetText(row + 3, 0, "Element residual");
    s.SetNumber(row + 3, 1, p.element_residual);
    s.SetText(row + 3, 2, "largest relative");
    s.SetText(row + 4, 0, "Iterations");
    s.SetNumber(row + 4, 1, p.iterations);
    s.SetNumberFormat(row, 1, row + 2, 1, "0.000");
    s.SetNumberFormat(row + 3, 1, row + 3, 1, "0.00E+00");
    s.SetBold(row, 0, row + 4, 0, true);
    row += 5;
    for (const auto& a : p.amounts) {
      s.SetText(row, 0, "Fed " + a.name);
      s.SetNumber(row, 1, a.amount);
      s.SetText(row, 2, "mol");
      s.SetNumberFormat(row, 1, row, 1, kAmountFormat);
      s.SetBold(row, 0, row, 0, true);
      ++row;
    }
    ++row;
    const char* headers[] = {"Phase", "Species", "Amount mol", "Mole fraction", "Mass kg", "Stable"};
    for (int c = 0; c <= kColStable; ++c) s.SetText(row, c, headers[c]);
    s.SetBold(row, 0, row, kColStable, true);
    ++row;
    for (const auto& ph : p.phases) {
      double kg = 0;
      for (const auto& sp : ph.species) kg += sp.amount * SpeciesMolarMass(sp.name) / kGramsPerKg;
      s.SetText(row, kColPhase, ph.name + " (" + PhaseTypeText(ph.type) + ")");
      s.SetText(row, kColSpecies, "total");
      s.SetNumber(row, kColMol, ph.amount);
      s.SetNumber(row, kColKg, kg);
      s.SetText(row, kColStable, ph.stable ? "yes" : "no");
      s.SetBold(row, kColPhase, row, kColStable, true);
      s.SetNumberFormat(row, kColMol, row, kColKg, kAmountFormat);
      ++row;
      for (const auto& sp : ph.species) {
        s.SetText(row, kColSpecies, sp.name);
        s.SetNumber(row, kColMol, sp.amount);
        s.SetNumber(row, kColFraction, sp.mole_fraction);
        s.SetNumber(row, kColKg, sp.amount * SpeciesMolarMass(sp.name) / kGramsPerKg);
        s.SetNumberFormat(row, kColMol, row, kColKg, kAmountFormat);
        ++row;
      }
    }
    row += 2;
  }
  s.SetProtected(true);  // calculated values
  s.SetColumnWidth(kColPhase, 16);
  s.SetColumnWidth(kColSpecies, 12);
  for (int c = kColMol; c <= kColKg; ++c) s.SetColumnWidth(c, 12);

  int si = book->FindSheet(kSeriesSheet);
  if (points.size() < 2) {
    if (si >= 0) book->DeleteSheet(si);
    book->SetActiveSheet(book->FindSheet(kResultSheet));
    return 1;
  }
  if (si < 0) {
    book->InsertSheet(kSeriesSheet);
    si = book->FindSheet(kSeriesSheet);
  }
  platform::Sheet& t = book->sheet(si);
  t.ClearAll(0, 0, platform::kMaxRows - 1, platform::kMaxCols - 1);
  // With an amount sweep the swept amount is the x column and T follows it.
  const bool swept = !points[0].amounts.empty();
  const int t_col = swept ? 1 : 0, first = swept ? 2 : 1;
  std::vector<std::string> keys;  // in order of first appearance
  std::map<std::string, int> column;
  for (const auto& p : points)
    for (const auto& ph : p.phases)
      for (const auto& sp : ph.species)
        if (column.emplace(SeriesKey(ph, sp), int(keys.size()) + first).second) keys.push_back(SeriesKey(ph, sp));
  if (swept) t.SetText(0, 0, points[0].amounts[0].name + " mol");
  t.SetText(0, t_col, "T K");
  for (size_t k = 0; k < keys.size(); ++k) t.SetText(0, int(k) + first, keys[k] + " mol");
  t.SetBold(0, 0, 0, int(keys.size()) + first - 1, true);
  const int last = kSeriesFirstRow + int(points.size()) - 1;
  for (size_t i = 0; i < points.size(); ++i) {
    const int r = kSeriesFirstRow + int(i);
    if (swept && !points[i].amounts.empty()) t.SetNumber(r, 0, points[i].amounts[0].amount);
    t.SetNumber(r, t_col, points[i].T);
    for (const auto& ph : points[i].phases)
      for (const auto& sp : ph.species) t.SetNumber(r, column[SeriesKey(ph, sp)], sp.amount);
  }
  if (swept) t.SetNumberFormat(kSeriesFirstRow, 0, last, 0, kAmountFormat);
  t.SetNumberFormat(kSeriesFirstRow, t_col, last, t_col, "0.00");
  t.SetNumberFormat(kSeriesFirstRow, first, last, int(keys.size()) + first - 1, kAmountFormat);
  for (size_t k = 0; k < keys.size(); ++k) t.SetColumnWidth(int(k) + first, 16);
  if (swept) t.SetColumnWidth(0, 14);
  t.SetProtected(true);
  book->SetActiveSheet(book->FindSheet(kResultSheet));
  return first;
}

EquiResult::EquiResult(platform::Messages* msgs, QWidget* parent)
    : QMainWindow(parent), msgs_(msgs), book_(kResultSheet) {
  setObjectName("EquiResult");
  setWindowTitle("Equilibrium Calculations - Results");
  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);
  Text1 = new QLineEdit(central);
  Text1->setObjectName("Text1");
  Text1->setReadOnly(true);
  layout->addWidget(Text1);
  split_ = new QSplitter(Qt::Horizontal, central);
  auto* split = split_;
  grid_ = new platform::window::Grid(&book_, split);
  grid_->setObjectName("ResultGrid");
  grid_->SetProtectionMessage(kCalculatedValues);
  split->addWidget(grid_);
  plot_panel_ = new QWidget(split);
  auto* pl = new QVBoxLayout(plot_panel_);
  pl->setContentsMargins(0, 0, 0, 0);
  auto* pick = new QHBoxLayout;
  pick->addWidget(new QLabel("Species:", plot_panel_));
  species_ = new QComboBox(plot_panel_);
  species_->setObjectName("SpeciesCombo");
  pick->addWidget(species_, 1);
  pl->addLayout(pick);
  plot_ = new platform::window::XYPlot(plot_panel_);
  plot_->setObjectName("SeriesPlot");
  pl->addWidget(plot_, 1);
  split->addWidget(plot_panel_);
  split->setStretchFactor(0, 3);
  split->setStretchFactor(1, 2);
  plot_panel_->hide();
  layout->addWidget(split, 1);
  setCentralWidget(central);
  connect(species_, &QComboBox::currentTextChanged, this, &EquiResult::PlotSpecies);

  QMenu* file = menuBar()->addMenu("&File");
  file->addAction("Save &As…", this, [this] {
    const QString fallback = QString::fromStdString((platform::UserDataDir() / "Gibbs").string());
    QString p = platform::window::AppDialogs().SaveFile(
        this, "Save Equilibrium Result", platform::window::LastFolder("equilibrium-result", fallback),
        "Excel workbook (*.xlsx)");
    if (p.isEmpty()) return;
    if (!p.endsWith(".xlsx", Qt::CaseInsensitive)) p += ".xlsx";
    if (SaveFile(p)) platform::window::SetLastFolder("equilibrium-result", p);
  })->setObjectName("MSave");
  file->addAction("&Print…", this, &EquiResult::Print)->setObjectName("MPrint");
  file->addAction("&Close", this, &QWidget::close);
  QMenu* edit = menuBar()->addMenu("&Edit");
  edit->addAction("&Copy", QKeySequence::Copy, this, &EquiResult::Copy)->setObjectName("MCopy");
  resize(1000, 560);
}

EquiResult::~EquiResult() {
  delete grid_;  // the grid listens to book_
  grid_ = nullptr;
}

platform::Messages& EquiResult::Msgs() { return msgs_ ? *msgs_ : platform::window::AppMessages(); }

bool EquiResult::OpenFile(const QString& path) {
  std::string error;
  auto text = platform::ReadFile(path.toStdString(), &error);
  ResultRead read;
  if (!text)
    read.error = "Can not read the result file " + path.toStdString() + (error.empty() ? "" : ": " + error);
  else
    read = ParseResultJson(*text);
  if (!read.ok()) {
    if (text) read.error = path.toStdString() + ": " + read.error;
    ShowPoints({});
    Text1->setText(QString::fromStdString(read.error));
    Msgs().Error(read.error);
    return false;
  }
  setWindowTitle("Equilibrium Calculations - Results - " + QFileInfo(path).fileName());
  ShowPoints(read.points);
  return true;
}

void EquiResult::ShowPoints(const std::vector<PointResult>& points) {
  points_ = points;
  first_key_col_ = FillResultBook(points_, &book_);
  grid_->Refresh();
  grid_->SelectSheet(book_.FindSheet(kResultSheet));
  species_->blockSignals(true);
  species_->clear();
  const int si = book_.FindSheet(kSeriesSheet);
  if (si >= 0) {
    const auto& t = book_.sheet(si);
    QString best;
    double best_amount = -1;
    for (int c = first_key_col_; c <= t.LastCol(); ++c) {
      QString key = QString::fromStdString(t.DisplayText(0, c));
      key.chop(4);  // " mol"
      species_->addItem(key);
      double top = 0;
      for (int r = kSeriesFirstRow; r <= t.LastRow(); ++r) top = std::max(top, t.Number(r, c).value_or(0));
      if (top > best_amount) best_amount = top, best = key;
    }
    species_->setCurrentText(best);
  }
  species_->blockSignals(false);
  if (si >= 0 && plot_panel_->isHidden()) {
    plot_panel_->setVisible(true);
    const int w = std::max(split_->width(), width());
    split_->setSizes({w * 3 / 5, w * 2 / 5});  // the sheet's six columns first
  }
  if (si < 0) plot_panel_->hide();
  if (si >= 0) PlotSpecies(species_->currentText());
}

void EquiResult::PlotSpecies(const QString& key) {
  const int si = book_.FindSheet(kSeriesSheet);
  QVector<QPointF> pts;
  if (si >= 0) {
    const auto& t = book_.sheet(si);
    const std::string header = key.toStdString() + " mol";
    const int t_col = first_key_col_ - 1;
    for (int c = first_key_col_; c <= t.LastCol(); ++c) {
      if (t.DisplayText(0, c) != header) continue;
      for (int r = kSeriesFirstRow; r <= t.LastRow(); ++r) {
        auto x = t.Number(r, 0);
        if (!x) continue;
        // Both temperature and amounts vary: one curve per temperature, with a gap between them.
        if (t_col > 0 && r > kSeriesFirstRow && t.Number(r, t_col) != t.Number(r - 1, t_col))
          pts.push_back({*x, std::nan("")});
        pts.push_back({*x, t.Number(r, c).value_or(std::nan(""))});
      }
    }
  }
  plot_->SetTitle(key);
  plot_->SetAxisTitles(QString::fromStdString(SeriesAxisTitle(points_)), "Amount in mol");
  plot_->SetData(pts);
}

bool EquiResult::SaveFile(const QString& path) {
  const std::string error = book_.Save(path.toStdString());
  if (!error.empty()) {
    Msgs().Error(error);
    return false;
  }
  return true;
}

void EquiResult::Copy() {
  int r1, c1, r2, c2;
  if (grid_->SelectedRange(&r1, &c1, &r2, &c2) && (r1 != r2 || c1 != c2)) {
    grid_->CopySelection();
    return;
  }
  const auto& s = book_.sheet(std::max(0, grid_->Model()->SheetIndex()));
  QString tsv;
  for (int r = 0; r <= s.LastRow(); ++r) {
    for (int c = 0; c <= s.LastCol(); ++c) {
      if (c) tsv += '\t';
      tsv += QString::fromStdString(s.DisplayText(r, c));
    }
    tsv += '\n';
  }
  QApplication::clipboard()->setText(tsv);
}

void EquiResult::Print() {
  if (QPrinterInfo::availablePrinterNames().isEmpty()) {
    Msgs().Show(kNoPrinter, platform::kDefaultTitle, platform::Icon::Warning);
    return;
  }
  grid_->Print(kNoPrinter);
}

}  // namespace zyl::equilibrium::window
