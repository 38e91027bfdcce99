#pragma once
// The settings form: every key of a settings file in a grid, read from and saved to a chosen file.

#include <QString>
#include <QWidget>

#include "shell/settings.h"

class QLabel;
class QTableWidget;

namespace zyl::shell::window {

class ZYL_INI : public QWidget {
  Q_OBJECT
 public:
  explicit ZYL_INI(QWidget* parent = nullptr);

  /// Opens the form on a settings file (the running program's one when empty).
  void Start_INI(const QString& path);
  /// Loads a settings file into the grid; false (grid unchanged) when it can not be read.
  bool Read_INI_Txt(const QString& path);
  /// Writes the grid to a file in the file's order; false when a value is invalid or the write fails.
  bool Save_INI_Txt(const QString& path);
  /// The save button: asks "Save Settings to:" and saves there.
  void Save_INI();
  /// The open button: asks "Read Settings from:" and reads that file.
  void Open_INI();
  /// Rebuilds the sixteen rows and fills empty values with the defaults.
  void RepairF1();

  /// The settings the grid holds (the diagram font and other values not in the grid come from the file read).
  /// Returns false with a message in *error when a number is invalid.
  bool GridSettings(Settings* out, QString* error) const;
  QTableWidget* Grid() const { return grid_; }
  QString Value(const QString& key) const;
  void SetValue(const QString& key, const QString& value);
  const QString& FilePath() const { return path_; }

  /// The grid's key names in file order.
  static const QStringList& Keys();

 private:
  void Fill(const Settings& s);
  void UpdateCaption();
  void Browse();

  QTableWidget* grid_ = nullptr;
  QLabel* db1_ = nullptr;
  QLabel* db2_ = nullptr;
  QString path_;
  Settings loaded_;
};

}  // namespace zyl::shell::window
