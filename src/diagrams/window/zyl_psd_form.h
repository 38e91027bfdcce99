#pragma once
// The phase stability set-up form: three elements, the two axis gases, the species and the
// temperature; saves an Lpp set-up (temperature in K) and starts zyl-lpp with its file name.

#include <QString>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

#include "diagrams/lpp_file.h"

class QLineEdit;
class QListWidget;
class QPushButton;

namespace zyl::platform {
class Messages;
}

namespace zyl::diagrams {

class ZylPsd : public QWidget {
  Q_OBJECT
 public:
  using Launcher = std::function<bool(const QString& file)>;
  /// source: species of the system (default: the program's databases); neither is owned.
  explicit ZylPsd(QWidget* parent = nullptr, const SpeciesSource* source = nullptr,
                  platform::Messages* messages = nullptr);
  ~ZylPsd() override;

  static constexpr const char* kHelpChapter = "21 Phase Stability Diagrams";

  void SelectElements(const QStringList& symbols);  ///< selects in ListEle, then ButOK
  std::optional<LppSetup> CurrentSetup(bool report = true);
  bool SaveSetup(const QString& path);
  void SetLauncher(Launcher l) { launcher_ = std::move(l); }
  QString FileName() const;

 signals:
  void helpRequested(const QString& chapter);

 public slots:
  void ButOK_Click();
  void ButCK_Click();
  void ButSave_Click();
  void ButPsd_Click();

 private:
  void BuildUi();
  void Message(const std::string& text);

  const SpeciesSource* source_;
  std::unique_ptr<SpeciesSource> own_source_;
  platform::Messages* messages_;
  std::unique_ptr<platform::Messages> own_messages_;
  Launcher launcher_;
  bool celsius_ = true;

  QListWidget *ListEle = nullptr, *ListX = nullptr, *ListY = nullptr, *SpList = nullptr;
  QLineEdit *MhTemp = nullptr, *TextXmin = nullptr, *TextXmax = nullptr, *TextYmin = nullptr, *TextYmax = nullptr;
  QLineEdit* FileNa = nullptr;
  QPushButton *ButOK = nullptr, *ButCK = nullptr, *ButSave = nullptr, *ButPsd = nullptr;
};

}  // namespace zyl::diagrams
