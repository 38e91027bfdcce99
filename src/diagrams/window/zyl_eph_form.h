#pragma once
// The Eh-pH set-up form: elements, species by category, one to four temperatures, axis limits; saves
// the *.iep set-up and starts the diagram program zyl-eph with its file name.

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "diagrams/iep_file.h"
#include "diagrams/window/setup_form.h"

class QCheckBox;
class QTableWidget;

namespace zyl::diagrams {

class ZylEpH : public SetupForm {
  Q_OBJECT
 public:
  /// Species of a system, the main element first, then the other selected elements (default: the
  /// program's databases).
  using SpeciesLister = std::function<std::vector<std::string>(const std::vector<std::string>& elements)>;

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
  bool SaveSetup(const QString& path) override;
  bool LoadSetup(const QString& path);

 public slots:
  void ButOK_Click();
  void ButCK_Click();
  void FOpen_Click();

 protected:
  bool CanSave() override { return CurrentSetup().has_value(); }

 private:
  void BuildUi();
  /// One row per selected other element; values already entered for a symbol are kept, new rows
  /// start from the main element's values.
  void UpdateOtherRows(const std::vector<std::string>& others);
  /// The selected other elements, without the main element.
  std::vector<std::string> OtherElements() const;

  SpeciesLister lister_;

  QListWidget *ListEle = nullptr, *ListEle2 = nullptr, *SpList = nullptr;
  std::array<QCheckBox*, 6> categories_{};
  std::array<QLineEdit*, kMaxEphTemperatures> TempRange{};
  QLineEdit *TextAct = nullptr, *TextPres = nullptr;
  /// Log activity and log pressure of each other element (rows follow ListEle2's selection).
  QTableWidget* TabOther = nullptr;
  QLineEdit *TextEhMin = nullptr, *TextEhMax = nullptr, *TextPhMin = nullptr, *TextPhMax = nullptr;
  QPushButton *ButOK = nullptr, *ButCK = nullptr, *FOpen = nullptr;
};

}  // namespace zyl::diagrams
