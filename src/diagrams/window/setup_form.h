#pragma once
// What the two diagram set-up forms (ZylEpH, ZylPsd) share: the element list, number fields, messages,
// the file name with Save, and the diagram button that saves first and then starts the program.

#include <QString>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class QGridLayout;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace zyl::platform {
class Messages;
}

namespace zyl::diagrams {

class SetupForm : public QWidget {
  Q_OBJECT
 public:
  /// Starts the diagram program with a set-up file; returns false when it could not be started.
  using Launcher = std::function<bool(const QString& file)>;
  ~SetupForm() override;

  void SetLauncher(Launcher l) { launcher_ = std::move(l); }
  QString FileName() const;
  /// Writes the form's set-up; false after a message when it can not.
  virtual bool SaveSetup(const QString& path) = 0;

 signals:
  void helpRequested(const QString& chapter);

 public slots:
  /// Asks for a file name in the user's folder and saves (after the form's checks).
  void ButSave_Click();
  /// Saves (asking for a name the first time) and starts the diagram program with the file.
  void ButPsd_Click();

 protected:
  /// program: the executable next to this one; folder: the user's data subfolder; suffix: ".iep".
  SetupForm(QWidget* parent, platform::Messages* messages, const QString& program, const QString& folder,
            const QString& filter, const QString& suffix, const std::string& start_failed);
  /// True when the form holds a set-up that can be written (messages shown otherwise).
  virtual bool CanSave() = 0;
  void Message(const std::string& text);
  /// A list of the element symbols in order of atomic number.
  QListWidget* NewElementList(const char* object_name, bool multi);
  /// A labelled number field in a row of a grid.
  QLineEdit* NewField(QGridLayout* grid, int row, const QString& label, const char* object_name, const QString& value);
  /// The file name field and the Save and Diagram buttons, connected.
  void NewFileControls();
  QString UserFolder() const;
  /// A finite number in a field, or nothing.
  static std::optional<double> Number(const QLineEdit* e);
  static std::optional<double> Number(const QString& text);

  bool celsius_ = true;
  QLineEdit* FileNa = nullptr;
  QPushButton *ButSave = nullptr, *ButPsd = nullptr;

 private:
  platform::Messages* messages_;
  std::unique_ptr<platform::Messages> own_messages_;
  Launcher launcher_;
  QString folder_, filter_, suffix_;
  std::string start_failed_;
};

}  // namespace zyl::diagrams
