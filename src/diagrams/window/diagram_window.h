#pragma once
// The common frame of the diagram programs' windows (zyl-eph, zyl-lpp): File (Save Picture, Print,
// Exit), Edit (Copy as PNG and SVG) and View (zoom about the centre, whole diagram) over the picture a
// subclass computes. Zooming narrows the axis limits and recomputes, so lines stay exact.

#include <QApplication>
#include <QMainWindow>
#include <QSize>
#include <QString>

#include "diagrams/picture.h"
#include "thermo/lookup.h"

namespace zyl::diagrams {

/// Zoom factor of one Zoom In step (Zoom Out is its inverse).
inline constexpr double kZoomStep = 0.8;

/// Axis limits scaled about their centre by factor (< 1 zooms in).
void ZoomLimits(double& xmin, double& xmax, double& ymin, double& ymax, double factor);

class DiagramWindow : public QMainWindow {
  Q_OBJECT
 public:
  /// Writes the shown diagram (.png, .svg or .pdf by suffix); false with LastError() when it can not.
  bool SavePicture(const QString& path, QSize size = QSize(1000, 800));
  QString LastError() const { return error_; }
  /// Zooms the shown diagram about its centre (factor < 1 zooms in) and recomputes it.
  void Zoom(double factor);
  /// Back to the set-up's limits.
  void ResetZoom();

 protected:
  /// object_name and title of the window; folder: the user's data folder offered for pictures.
  DiagramWindow(QWidget* parent, const QString& object_name, const QString& title, const QString& folder);
  /// The diagram on show, or null.
  virtual const DiagramPicture* CurrentPicture() const = 0;
  /// Scales the shown limits by factor (1: the set-up's limits) and recomputes.
  virtual void ZoomShown(double factor) = 0;
  /// File > Open..., when the window offers it (before Save Picture).
  void AddOpenAction(const QString& filter);
  virtual void OpenPath(const QString&) {}
  /// Keeps the message (LastError) and shows it when the window is visible.
  void Fail(const QString& message);
  void ClearError() { error_.clear(); }
  /// Opens the shipped and own databases once; false with the message when they can not be read.
  bool OpenDatabases();
  /// The window title with the set-up's file name.
  void TitleWithFile(const QString& path);

  thermo::SpeciesDatabases dbs_;
  QString Folder() const { return folder_; }

 private:
  void SaveAs();
  void Copy();
  void Print();

  QMenu* file_ = nullptr;
  QAction* save_ = nullptr;
  QString title_;
  QString folder_;
  QString error_;
};

/// main() of a diagram program: the window W, opening the set-up file named first on the command line
/// (a failure is shown in a message box).
template <class W>
int RunDiagramProgram(int argc, char** argv) {
  QApplication app(argc, argv);
  W w;
  const QStringList args = app.arguments().mid(1);
  w.show();
  if (!args.isEmpty()) w.Open(args.first());
  return app.exec();
}

}  // namespace zyl::diagrams
