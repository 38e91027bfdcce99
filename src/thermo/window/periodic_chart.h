#pragma once
// The periodic chart: elements in their places with atomic weight and its uncertainty, the number of
// species per element in the own and the main database; a click lists that element's species.

#include <QWidget>
#include <array>
#include <string>
#include <vector>

#include "thermo/elements.h"
#include "thermo/lookup.h"

class QLabel;
class QListWidget;
class QPushButton;

namespace zyl::thermo::window {

/// Row (0-6 periods, 8-9 the lanthanide and actinide rows) and column (0-17) of element Z (1..100).
struct ChartPlace {
  int row = 0, col = 0;
};
ChartPlace PlaceOfElement(int z);

/// Where a species of the chart's list is opened.
enum class ChartTarget { Reaction, Diagram, Database };

/// Species of a database whose formula holds the element, in record order, each name once.
std::vector<std::string> SpeciesWithElement(const SpeciesDb& db, std::string_view symbol);

class PeriodicChart : public QWidget {
  Q_OBJECT
 public:
  explicit PeriodicChart(QWidget* parent = nullptr);
  /// Shows an element's details and lists its species (own database first, marked "(own)").
  void SelectElement(int z);
  QStringList ListedSpecies() const;
  QString Details() const;
  /// Selects a listed species by its list text; false when it is not listed.
  bool SelectSpecies(const QString& text);
  /// Asks for the selected species to be opened in `target` (nothing when none is selected).
  void OpenSelected(ChartTarget target);

 signals:
  /// A species to open: its formula, whether it came from the own database, and the window.
  /// A double click opens it in the reaction window.
  void openSpecies(const QString& formula, bool own, zyl::thermo::window::ChartTarget target);

 private:
  void UpdateButtons();
  QLabel* details_ = nullptr;
  QListWidget* list_ = nullptr;
  QPushButton* reaction_ = nullptr;
  QPushButton* diagram_ = nullptr;
  QPushButton* database_ = nullptr;
};

}  // namespace zyl::thermo::window
