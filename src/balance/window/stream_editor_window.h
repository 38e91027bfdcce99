#pragma once
// The stream editor window: one stream in F1Stream1, its totals and enthalpy in F1Stream2, the amount unit
// chosen with ComboA. It can copy the stream into the balance window that opened it.

#include <QMainWindow>
#include <QPointer>
#include <memory>

#include "balance/stream_editor.h"
#include "balance/window/book_grid.h"

class QComboBox;
class QLineEdit;
class QDoubleSpinBox;

namespace zyl::balance::window {

class Balance;

class StreamEditor : public QMainWindow {
  Q_OBJECT
 public:
  /// With a balance window the stream can be copied into it; msgs/species as for Balance.
  explicit StreamEditor(Balance* balance = nullptr, platform::Messages* msgs = nullptr,
                        SpeciesSource* species = nullptr);
  ~StreamEditor() override;

  StreamDoc& doc() { return *doc_; }
  BookGrid* F1Stream1() const { return grid1_; }
  BookGrid* F1Stream2() const { return grid2_; }
  QComboBox* ComboA() const { return combo_a_; }

  bool OpenFile(const QString& path);
  bool SaveFile(const QString& path);
  /// Rewrites the totals grid (F1Stream2).
  void RefreshTotals();
  /// Copies the stream into the balance window at its current cell.
  bool CopyToBalance();
  /// Name, temperature and unit controls from the stream.
  void SyncControls();

 private:
  void BuildMenus();

  std::unique_ptr<platform::Messages> own_msgs_;
  std::unique_ptr<SpeciesSource> own_species_;
  platform::Messages* msgs_;
  SpeciesSource* species_;
  QPointer<Balance> balance_;
  std::unique_ptr<StreamDoc> doc_;
  platform::Workbook totals_;
  BookGrid* grid1_;
  BookGrid* grid2_;
  QComboBox* combo_a_;
  QComboBox* combo_e_;
  QLineEdit* name_;
  QDoubleSpinBox* temp_;
  bool syncing_ = false;
};

}  // namespace zyl::balance::window
