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

namespace zyl::thermo::window {

/// Row (0-6 periods, 8-9 the lanthanide and actinide rows) and column (0-17) of element Z (1..100).
struct ChartPlace {
  int row = 0, col = 0;
};
ChartPlace PlaceOfElement(int z);

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

 signals:
  /// A species of the list was double-clicked (for the reaction, diagram or database windows).
  void speciesActivated(const QString& name);

 private:
  QLabel* details_ = nullptr;
  QListWidget* list_ = nullptr;
};

}  // namespace zyl::thermo::window
