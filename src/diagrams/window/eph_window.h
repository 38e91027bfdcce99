#pragma once
// The Eh-pH diagram program's window: one tab per temperature of a set-up, each a diagram view;
// zoom (the fields are recomputed for the new limits), copy, print and PNG/SVG/PDF pictures.

#include <QString>
#include <vector>

#include "diagrams/eph_setup.h"
#include "diagrams/window/diagram_window.h"

class QTabWidget;

namespace zyl::diagrams {

class PredomView;

class EphWindow : public DiagramWindow {
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

 protected:
  const DiagramPicture* CurrentPicture() const override;
  void ZoomShown(double factor) override;
  void OpenPath(const QString& path) override { Open(path); }

 private:
  void Recompute();

  QTabWidget* tabs_ = nullptr;
  std::vector<PredomView*> views_;
  IepSetup setup_;
  IepSetup shown_;  ///< the set-up with the zoomed limits
  EphSpeciesReader read_;
  std::vector<EphDiagram> diagrams_;
  std::vector<DiagramPicture> pictures_;
};

}  // namespace zyl::diagrams
