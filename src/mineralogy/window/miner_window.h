#pragma once
// The mineralogy window: the F1Miner grid, the iteration count TextN and the fit buttons.

#include <QMainWindow>
#include <QString>
#include <memory>

#include "mineralogy/miner.h"

class QLineEdit;
class QPushButton;
class QLabel;

namespace zyl::platform {
class Messages;
}
namespace zyl::platform::window {
class Grid;
}

namespace zyl::mineralogy::window {

class Miner : public QMainWindow {
  Q_OBJECT
 public:
  explicit Miner(platform::Messages* msgs = nullptr, QWidget* parent = nullptr);
  ~Miner() override;

  mineralogy::Miner& model() { return *miner_; }
  platform::window::Grid* F1Miner() const { return grid_; }
  QLineEdit* TextN() const { return text_n_; }
  QString FileName() const { return file_; }

  int Iterations() const;
  /// The selected grid row (0-based), -1 without a selection.
  int SelectedRow() const;
  void SelectRow(int row);

  void ButIter();
  void ButIterAll();
  void ButLast();
  void ButLeastSquares();
  /// Mixture composition of the minerals: their amounts and element contents scaled to 100 %.
  QString MCalc5();

  bool OpenFile(const QString& path);
  bool SaveFile(const QString& path);

 private:
  void BuildMenus();
  void UpdateTitle();
  /// Ends an open or save of path: shows the error, or takes the file's name into the title.
  bool Finished(const std::string& error, const QString& path);
  void Rebuild();
  void Report(const std::string& text);

  std::unique_ptr<platform::Messages> own_msgs_;
  platform::Messages* msgs_;
  std::unique_ptr<mineralogy::Miner> miner_;
  platform::window::Grid* grid_ = nullptr;
  QLineEdit* text_n_ = nullptr;
  QLabel* status_ = nullptr;
  QString file_;
  int last_row_ = -1;       ///< row of the last single fit
  double last_amount_ = 0;  ///< its amount before that fit
};

}  // namespace zyl::mineralogy::window
