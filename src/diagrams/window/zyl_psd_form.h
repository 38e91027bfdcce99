#pragma once
// The phase stability set-up form: three elements, the two axis gases, the species and the
// temperature; saves an Lpp set-up (temperature in K) and starts zyl-lpp with its file name.

#include <optional>

#include "diagrams/lpp_file.h"
#include "diagrams/window/setup_form.h"

namespace zyl::diagrams {

class ZylPsd : public SetupForm {
  Q_OBJECT
 public:
  /// source: species of the system (default: the program's databases); neither is owned.
  explicit ZylPsd(QWidget* parent = nullptr, const SpeciesSource* source = nullptr,
                  platform::Messages* messages = nullptr);
  ~ZylPsd() override;

  static constexpr const char* kHelpChapter = "21 Phase Stability Diagrams";

  void SelectElements(const QStringList& symbols);  ///< selects in ListEle, then ButOK
  std::optional<LppSetup> CurrentSetup(bool report = true);
  bool SaveSetup(const QString& path) override;

 public slots:
  void ButOK_Click();
  void ButCK_Click();

 protected:
  bool CanSave() override { return CurrentSetup().has_value(); }

 private:
  void BuildUi();
  /// The selected symbols of ListEle, or nothing after the message when they are not three.
  std::optional<std::vector<std::string>> ThreeElements(bool report);

  const SpeciesSource* source_;
  std::unique_ptr<SpeciesSource> own_source_;

  QListWidget *ListEle = nullptr, *ListX = nullptr, *ListY = nullptr, *SpList = nullptr;
  QLineEdit *MhTemp = nullptr, *TextXmin = nullptr, *TextXmax = nullptr, *TextYmin = nullptr, *TextYmax = nullptr;
  QPushButton *ButOK = nullptr, *ButCK = nullptr;
};

}  // namespace zyl::diagrams
