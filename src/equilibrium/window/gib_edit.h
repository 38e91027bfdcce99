#pragma once
// GibEdit: the equilibrium sheet. Phase rows (a type in column B) and species rows below them with
// amounts in columns C, D and E and their SUM totals and an amount step in F; temperature and
// pressure with the temperature step and the counts of temperatures and amount points; written as
// any of the five solver files in the user's Gibbs folder.

#include <QMainWindow>
#include <QString>
#include <functional>
#include <memory>

#include <string>
#include <vector>

#include "platform/workbook.h"

namespace zyl::platform {
class Messages;
}
namespace zyl::platform::window {
class Grid;
}

namespace zyl::equilibrium {
struct Sheet;
enum class SolverFormat;
}  // namespace zyl::equilibrium

namespace zyl::equilibrium::window {

/// Sheet layout (0-based rows and columns of the "Gibbs" sheet).
inline constexpr int kTRow = 1;       ///< B: T (K), D: step (K), F: count, H: amount count
inline constexpr int kPRow = 2;       ///< B: P (atm)
inline constexpr int kTotalRow = 3;   ///< C, D, E: SUM of the amount columns
inline constexpr int kHeaderRow = 4;
inline constexpr int kStepCol = 5;    ///< F: amount step (mol) of a species row
inline constexpr int kAmountCountCol = 7;  ///< H of kTRow: number of amount points
inline constexpr int kFirstRow = 5;   ///< first phase or species row
inline constexpr int kLastRow = 2004; ///< last row the totals cover

/// Writes a sheet into the workbook's first sheet (layout above) / reads it back.
void PutSheet(platform::Workbook& book, const Sheet& s);
Sheet GetSheet(const platform::Workbook& book);

class GibEdit : public QMainWindow {
  Q_OBJECT
 public:
  explicit GibEdit(platform::Messages* msgs = nullptr, QWidget* parent = nullptr);
  ~GibEdit() override;

  /// Starts the solver form on an input file; while unset, Run Solver shows "The solver form is not available.".
  static std::function<void(QWidget* parent, const QString& input_file)> ShowSolverRun;

  platform::Workbook& book() { return book_; }
  platform::window::Grid* grid() const { return grid_; }
  Sheet CurrentSheet() const;
  void SetSheet(const Sheet& s);

  /// Fills the sheet with every database species of the elements (gases, condensed, aqueous).
  bool FillFromElements(const std::vector<std::string>& elements, bool gas, bool condensed, bool aqueous);
  /// A new sheet from streams (name, mol): gases in one phase "GAS", aqueous species in one phase
  /// "AQUEOUS", each other species a pure phase. `raw` amounts go to column C; `products` are listed
  /// with zero amount unless they are raw materials too.
  void PasteSpecies(const std::vector<std::pair<std::string, double>>& raw,
                    const std::vector<std::pair<std::string, double>>& products);
  /// Deletes rows first..last (0-based sheet rows at or below the first data row).
  void DeleteRows(int first, int last);
  /// Writes the solver file; messages of the checks are shown. False when refused or not written.
  bool SaveSolverFile(const QString& path, SolverFormat format);
  bool OpenFile(const QString& path);
  bool SaveFile(const QString& path);
  /// Writes <Gibbs folder>/INPUT.gem and hands it to ShowSolverRun.
  void RunSolver();
  QString Name() const { return name_; }

 private:
  void SetName(const QString& name);
  std::unique_ptr<platform::Messages> own_msgs_;
  platform::Messages* msgs_;
  platform::Workbook book_;
  platform::window::Grid* grid_ = nullptr;
  QString name_ = "Gibbs001";
};

/// The user's Gibbs folder (created when missing).
QString GibbsFolder();
/// "Gibbs (*.gem);;Gibbs (*.igi);;SGM (*.isg);;ChemSAGE 2 (*.da2);;ChemSAGE 3 (*.dat)"
QString SolverFileFilter();

}  // namespace zyl::equilibrium::window
