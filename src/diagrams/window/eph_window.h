#pragma once
// The Eh-pH diagram program's window: one tab per temperature of a set-up, each a diagram view;
// zoom (the fields are recomputed for the new limits), copy, print and PNG/SVG/PDF pictures.

#include <QMainWindow>
#include <QString>
#include <vector>

#include "diagrams/eph_setup.h"
#include "thermo/lookup.h"

class QTabWidget;
class QLabel;

namespace zyl::diagrams {

class PredomView;

class EphWindow : public QMainWindow {
  Q_OBJECT
 public:
  explicit EphWindow(QWidget* parent = nullptr);
  /// Reads the set-up and computes its diagrams; false with the message shown when it can not.
  bool Open(const QString& path);
  /// The same from a set-up in memory and a species reader (tests).
  bool Show(const IepSetup& setup, EphSpeciesReader read);

  int Temperatures() const { return static_cast<int>(diagrams_.size()); }
  const EphDiagram& Diagram(int i) const { return diagrams_.at(static_cast<size_t>(i)); }
  const DiagramPicture& Picture(int i) const { return pictures_.at(static_cast<size_t>(i)); }
  QString LastError() const { return error_; }
  /// Writes the current tab's diagram (.png, .svg or .pdf by suffix).
  bool SavePicture(const QString& path, QSize size = QSize(1000, 800));
  /// Zooms the current view about its centre (factor < 1 zooms in); 1 and the set-up's limits reset.
  void Zoom(double factor);
  void ResetZoom();

 private:
  void Recompute();
  void Copy();
  void Print();
  void SaveAs();
  void OpenFile();
  void Fail(const QString& message);

  QTabWidget* tabs_ = nullptr;
  std::vector<PredomView*> views_;
  IepSetup setup_;
  IepSetup shown_;  ///< the set-up with the zoomed limits
  EphSpeciesReader read_;
  thermo::SpeciesDatabases dbs_;
  std::vector<EphDiagram> diagrams_;
  std::vector<DiagramPicture> pictures_;
  QString error_;
};

}  // namespace zyl::diagrams
