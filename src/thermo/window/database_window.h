#pragma once
// The database window: browse both species databases, edit the own one, fit heat-capacity tables,
// maintain databases (check, merge, import, export, sort) and view the element table.

#include <QAbstractTableModel>
#include <QWidget>

#include <vector>

#include "thermo/cp_table_fit.h"
#include "thermo/db_maintenance.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;
class QTableView;
class QTableWidget;

namespace zyl::platform::window {
class XYPlot;
}

namespace zyl::thermo::window {

class FitPlot;

/// The species of one database as a sortable, filterable table.
class SpeciesListModel : public QAbstractTableModel {
  Q_OBJECT
 public:
  enum Column { kFormula, kName, kPhases, kTRange, kSource, kReliability, kColumns };
  explicit SpeciesListModel(QObject* parent = nullptr) : QAbstractTableModel(parent) {}

  void SetSpecies(std::vector<SpeciesSummary> list);
  void SetFilter(const QString& query);
  const SpeciesSummary* At(int row) const;
  int RowOf(const QString& formula) const;  ///< -1 when not shown
  int TotalCount() const { return static_cast<int>(all_.size()); }

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  void sort(int column, Qt::SortOrder order) override;

 private:
  void Apply();
  std::vector<SpeciesSummary> all_;
  std::vector<std::string> keys_;
  std::vector<int> rows_;
  QString query_;
  int sort_column_ = kFormula;
  Qt::SortOrder sort_order_ = Qt::AscendingOrder;
};

class DataBase : public QWidget {
  Q_OBJECT
 public:
  /// Works on the program's shared pair of databases (SharedSpeciesDatabases).
  explicit DataBase(QWidget* parent = nullptr);

  enum class Which { Own = 0, Main = 1 };
  void ShowDatabase(Which which);
  Which Shown() const;
  /// Energy unit of the grid and plot: joules (true) or calories.
  void SetJoules(bool joules);
  /// Selects a species of the shown database; false when it is not listed.
  bool SelectSpecies(const QString& formula);
  QString SelectedFormula() const { return formula_; }
  /// The grid's ranges as records (nullopt with the first problem in *error).
  std::optional<std::vector<SpeciesRecord>> GridRecords(QString* error = nullptr) const;

  // Handlers (buttons), public for tests and menus.
  bool SaveSpeciesToOwn();   ///< validates the grid and saves it to the own database
  bool CopyToOwn();          ///< copies the selected main-database species into the own database
  bool DeleteSelected();     ///< deletes the selected species from the own database
  void AddRange();
  void DeleteRange();
  bool RunFit();             ///< fits the table on the fitting page
  bool StoreFit();           ///< stores the fit in the own database
  int RunCheck();            ///< lists the check's findings; returns their count
  bool MergeFile(const QString& path);
  bool ExportTo(const QString& path);  ///< TXT or CSV by the extension
  bool ImportFrom(const QString& path);
  bool SortOwn();
  /// Converts an old 110-byte file into a new current-format database file `out`.
  bool ConvertOldFile(const QString& in, const QString& out);
  /// Starts a new species of one range in the grid (saved by SaveSpeciesToOwn); false when cancelled.
  bool NewSpecies(const QString& formula);
  void FillReferences();      ///< the references page from the shown database
  int SaveReferences();       ///< writes changed references of the own database; returns species changed

  QTabWidget* Tabs() const { return tabs_; }
  QLineEdit* Search() const { return search_; }
  QTableView* SpeciesList() const { return list_; }
  SpeciesListModel* ListModel() const { return model_; }
  QTableWidget* RangesGrid() const { return ranges_; }
  platform::window::XYPlot* SpeciesPlot() const { return plot_; }
  QPlainTextEdit* FitTable() const { return fit_text_; }
  QLineEdit* FitName() const { return fit_name_; }
  QLineEdit* FitBreaks() const { return fit_breaks_; }
  QTableWidget* FitRanges() const { return fit_ranges_; }
  QTableWidget* FitResiduals() const { return fit_residuals_; }
  QLabel* FitSummary() const { return fit_summary_; }
  FitPlot* FitCurvePlot() const { return fit_plot_; }
  FitPlot* FitResidualPlot() const { return fit_resid_plot_; }
  QListWidget* Findings() const { return findings_; }
  QTableWidget* ElementsGrid() const { return elements_; }
  QTableWidget* ReferencesGrid() const { return refs_; }
  const CpFitResult& LastFit() const { return fit_; }
  /// True while the grid holds edits that are not saved.
  bool HasUnsavedEdits() const { return dirty_; }

 protected:
  void closeEvent(QCloseEvent* e) override;

 private:
  QWidget* BuildSpeciesPage();
  QWidget* BuildFitPage();
  QWidget* BuildMaintenancePage();
  QWidget* BuildElementsPage();
  QWidget* BuildReferencesPage();
  SpeciesDb* Db(Which which) const;
  void ReloadList();
  void ShowSelected();
  void FillGrid(const std::vector<SpeciesRecord>& ranges);
  void UpdatePlot();
  void UpdateButtons();
  void ShowFit();
  void UpdateFitPlots();

  QTabWidget* tabs_ = nullptr;
  QComboBox* which_ = nullptr;
  QLineEdit* search_ = nullptr;
  QLabel* count_ = nullptr;
  QTableView* list_ = nullptr;
  SpeciesListModel* model_ = nullptr;
  QTableWidget* ranges_ = nullptr;
  QComboBox* units_ = nullptr;
  QComboBox* plot_kind_ = nullptr;
  platform::window::XYPlot* plot_ = nullptr;
  QLabel* ro_note_ = nullptr;
  QPushButton* but_save_ = nullptr;
  QPushButton* but_copy_ = nullptr;
  QPushButton* but_delete_ = nullptr;
  QPushButton* but_add_range_ = nullptr;
  QPushButton* but_delete_range_ = nullptr;

  QPlainTextEdit* fit_text_ = nullptr;
  QLineEdit* fit_name_ = nullptr;
  QComboBox* fit_phase_ = nullptr;
  QLineEdit* fit_breaks_ = nullptr;
  QCheckBox* fit_cal_ = nullptr;
  QTableWidget* fit_ranges_ = nullptr;
  QTableWidget* fit_residuals_ = nullptr;
  QLabel* fit_summary_ = nullptr;
  QComboBox* fit_plot_kind_ = nullptr;
  FitPlot* fit_plot_ = nullptr;
  FitPlot* fit_resid_plot_ = nullptr;
  QPushButton* but_store_fit_ = nullptr;

  QListWidget* findings_ = nullptr;
  QTableWidget* elements_ = nullptr;
  QTableWidget* refs_ = nullptr;
  QPushButton* but_save_refs_ = nullptr;

  QString formula_;                     ///< selected species
  std::vector<SpeciesRecord> original_;  ///< its records as read (fields the grid does not show)
  bool filling_ = false;
  bool dirty_ = false;
  /// Asks whether unsaved edits may be dropped; true to go on.
  bool MayDropEdits();
  bool joules_ = false;
  CpFitResult fit_;
  bool fit_cal_units_ = false;
};

}  // namespace zyl::thermo::window
