#pragma once
// The phase stability program's window (zyl-lpp): one Lpp set-up computed with the predominance
// engine and shown in a diagram view, with zoom (the field is searched again within the new limits),
// copy, print and PNG/SVG/PDF pictures.

#include <optional>

#include "diagrams/lpp_file.h"
#include "diagrams/predom.h"
#include "diagrams/window/diagram_window.h"

namespace zyl::diagrams {

class PredomView;

class LppWindow : public DiagramWindow {
  Q_OBJECT
 public:
  explicit LppWindow(QWidget* parent = nullptr);
  /// Reads and computes a set-up; false with LastError() (shown when visible) when it can not.
  bool Open(const QString& path);
  bool Show(const LppSetup& setup, const SpeciesSource& source);
  const DiagramPicture* Picture() const { return picture_ ? &*picture_ : nullptr; }
  /// The model on show, with the zoomed limits (axis units: log10 p, or K).
  const PredomModel* Model() const { return shown_ ? &*shown_ : nullptr; }

 protected:
  const DiagramPicture* CurrentPicture() const override { return Picture(); }
  void ZoomShown(double factor) override;
  void OpenPath(const QString& path) override { Open(path); }

 private:
  void Recompute();

  PredomView* view_ = nullptr;
  std::optional<PredomModel> model_;  ///< as the set-up gives it
  std::optional<PredomModel> shown_;
  std::optional<DiagramPicture> picture_;
};

}  // namespace zyl::diagrams
