#pragma once
// The phase stability program's window (zyl-lpp): one Lpp set-up computed with the predominance
// engine and shown in a diagram view, with copy, print and PNG/SVG/PDF pictures.

#include <QMainWindow>
#include <optional>

#include "diagrams/lpp_file.h"
#include "diagrams/picture.h"
#include "thermo/lookup.h"

namespace zyl::diagrams {

class PredomView;

class LppWindow : public QMainWindow {
  Q_OBJECT
 public:
  explicit LppWindow(QWidget* parent = nullptr);
  /// Reads and computes a set-up; false with LastError() (shown when visible) when it can not.
  bool Open(const QString& path);
  bool Show(const LppSetup& setup, const SpeciesSource& source);
  const DiagramPicture* Picture() const { return picture_ ? &*picture_ : nullptr; }
  bool SavePicture(const QString& path, QSize size = QSize(1000, 800));
  QString LastError() const { return error_; }

 private:
  void Fail(const QString& message);
  void SaveAs();
  void Copy();
  void Print();

  PredomView* view_ = nullptr;
  thermo::SpeciesDatabases dbs_;
  std::optional<DiagramPicture> picture_;
  QString error_;
};

}  // namespace zyl::diagrams
