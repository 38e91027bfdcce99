#include "diagrams/window/lpp_window.h"

#include "diagrams/species_source.h"
#include "diagrams/window/predom_window.h"
#include "platform/paths.h"

namespace zyl::diagrams {

LppWindow::LppWindow(QWidget* parent)
    : DiagramWindow(parent, "LppWindow", tr("Lpp - Diagrams"),
                    QString::fromStdString((platform::UserDataDir() / "Lpp").string())) {
  view_ = new PredomView(this);
  view_->setObjectName("View");
  setCentralWidget(view_);
  AddOpenAction(tr("Lpp Files (*.lpp)"));
}

bool LppWindow::Open(const QString& path) {
  LppReadResult r = ReadLpp(path.toStdString());
  if (!r.setup) {
    Fail(QString::fromStdString(r.error));
    return false;
  }
  if (!OpenDatabases()) return false;
  TitleWithFile(path);
  DatabaseSpeciesSource source(dbs_);
  return Show(*r.setup, source);
}

bool LppWindow::Show(const LppSetup& setup, const SpeciesSource& source) {
  ClearError();
  const PredomSetup p = ToPredomSetup(setup);
  if (std::string e = ValidateSetup(p); !e.empty()) {
    Fail(QString::fromStdString(e));
    return false;
  }
  CollectResult c = CollectData(p, source);
  if (!c.model) {
    Fail(QString::fromStdString(c.error));
    return false;
  }
  model_ = std::move(c.model);
  shown_ = model_;
  Recompute();
  return true;
}

void LppWindow::Recompute() {
  picture_ = BuildPicture(*shown_, MakePicture(*shown_));
  view_->SetPicture(&*picture_);
}

void LppWindow::ZoomShown(double factor) {
  if (!model_) return;
  if (factor == 1) {
    shown_ = model_;
  } else {
    // Both axes are gas pressures here (the temperature is the set-up's constant).
    PredomModel& m = *shown_;
    ZoomLimits(m.xmin, m.xmax, m.ymin, m.ymax, factor);
  }
  Recompute();
}

}  // namespace zyl::diagrams
