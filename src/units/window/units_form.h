#pragma once
// The units form: the units workbook in a grid, a converter over its sheets, own sheets, save as UNI or XLS.

#include <QWidget>
#include <memory>

#include "platform/workbook.h"
#include "units/units.h"

class QComboBox;
class QLabel;
class QLineEdit;

namespace zyl::platform::window {
class Grid;
}

namespace zyl::units::window {

class Units : public QWidget {
  Q_OBJECT
 public:
  /// Opens the workbook at path (default: the shipped Units4.UNI).
  explicit Units(const QString& path = {}, QWidget* parent = nullptr);
  ~Units() override;

  platform::Workbook& Book() { return *book_; }
  bool Open(const QString& path);
  bool Save(const QString& path);
  bool AddSheet(const QString& name);
  /// Deletes the current sheet; a basic one gives "Can not delete basic sheets !".
  bool DeleteCurrentSheet();
  /// Converts the value field from the first to the second unit of the converter; the result text.
  QString ConvertNow();

 private:
  void FillUnits();
  void ShowError(const std::string& err);

  std::unique_ptr<platform::Workbook> book_;
  std::vector<std::string> basic_;
  std::vector<Unit> units_;
  platform::window::Grid* grid_ = nullptr;
  QLineEdit* value_ = nullptr;
  QComboBox *from_ = nullptr, *to_ = nullptr;
  QLabel* result_ = nullptr;
};

}  // namespace zyl::units::window
