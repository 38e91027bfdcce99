#pragma once
// The Eh-pH set-up form: elements, species by category, one to four temperatures, axis limits; saves
// the *.iep set-up and starts the diagram program zyl-eph with its file name.

#include <QString>
#include <QWidget>
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "diagrams/iep_file.h"

class QCheckBox;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace zyl::platform {
class Messages;
}

namespace zyl::diagrams {

class ZylEpH : public QWidget {
  Q_OBJECT
 public:
  /// Species of an element made of it, O and H (default: the program's databases).
  /// Species of a system: the main element first, then the other selected elements.
  using SpeciesLister = std::function<std::vector<std::string>(const std::vector<std::string>& elements)>;
  /// Starts the diagram program with a set-up file; returns false when it could not be started.
  using Launcher = std::function<bool(const QString& file)>;

  explicit ZylEpH(QWidget* parent = nullptr, SpeciesLister lister = {}, platform::Messages* messages = nullptr);
  ~ZylEpH() override;

  static constexpr const char* kHelpChapter = "17 Eh - pH - Diagrams";
  static constexpr const char* kCategories[6] = {"Aqueous Ions", "Aqueous Neutrals", "Condensed",
                                                 "Gas Ions",     "Gases",            "Liquids"};

  /// The category of a species name (one of kCategories).
  static int CategoryOf(const std::string& name);

  /// Selects the elements (the first in ListEle, the others in ListEle2) and lists their species.
  void SelectElements(const QStringList& symbols);
  /// Selects species of SpList by name (all listed ones when empty).
  void SelectSpecies(const QStringList& names = {});
  /// The form's set-up; nullopt after a message when it can not be written.
  std::optional<IepSetup> CurrentSetup(bool report = true);
  bool SaveSetup(const QString& path);
  bool LoadSetup(const QString& path);
  void SetLauncher(Launcher l) { launcher_ = std::move(l); }
  QString FileName() const;

 signals:
  void helpRequested(const QString& chapter);

 public slots:
  void ButOK_Click();
  void ButCK_Click();
  void ButSave_Click();
  void FOpen_Click();
  void ButPsd_Click();

 private:
  void BuildUi();
  void Message(const std::string& text);

  SpeciesLister lister_;
  Launcher launcher_;
  platform::Messages* messages_;
  std::unique_ptr<platform::Messages> own_messages_;
  bool celsius_ = true;

  QListWidget *ListEle = nullptr, *ListEle2 = nullptr, *SpList = nullptr;
  std::array<QCheckBox*, 6> categories_{};
  std::array<QLineEdit*, kMaxEphTemperatures> TempRange{};
  QLineEdit *TextAct = nullptr, *TextPres = nullptr;
  QLineEdit *TextEhMin = nullptr, *TextEhMax = nullptr, *TextPhMin = nullptr, *TextPhMax = nullptr;
  QLineEdit* FileNa = nullptr;
  QPushButton *ButOK = nullptr, *ButCK = nullptr, *ButSave = nullptr, *FOpen = nullptr, *ButPsd = nullptr;
};

}  // namespace zyl::diagrams
