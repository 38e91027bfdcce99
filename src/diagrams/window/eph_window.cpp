#include "diagrams/window/eph_window.h"

#include <QTabWidget>

#include "diagrams/window/predom_window.h"
#include "platform/paths.h"

namespace zyl::diagrams {

EphWindow::EphWindow(QWidget* parent)
    : DiagramWindow(parent, "EphWindow", tr("Eh - pH - Diagrams"),
                    QString::fromStdString((platform::UserDataDir() / "EpH").string())) {
  tabs_ = new QTabWidget(this);
  tabs_->setObjectName("Tabs");
  setCentralWidget(tabs_);
  AddOpenAction(tr("EpH Files (*.iep)"));
}

bool EphWindow::Open(const QString& path) {
  IepReadResult r = ReadIep(path.toStdString());
  if (!r.setup) {
    Fail(QString::fromStdString(r.error));
    return false;
  }
  if (!OpenDatabases()) return false;
  TitleWithFile(path);
  return Show(*r.setup, DatabaseReader(dbs_));
}

bool EphWindow::Show(const IepSetup& setup, EphSpeciesReader read) {
  if (setup.elements.empty() || setup.temperatures.empty()) {
    Fail(tr("The set-up names no element or no temperature."));
    return false;
  }
  setup_ = setup;
  shown_ = setup;
  read_ = std::move(read);
  Recompute();
  return LastError().isEmpty();
}

const DiagramPicture* EphWindow::CurrentPicture() const {
  const int i = tabs_->currentIndex();
  return i >= 0 && i < static_cast<int>(pictures_.size()) ? &pictures_[static_cast<size_t>(i)] : nullptr;
}

void EphWindow::Recompute() {
  ClearError();
  diagrams_ = ComputeSetup(shown_, read_);
  pictures_.clear();
  for (size_t i = 0; i < diagrams_.size(); ++i) {
    if (!diagrams_[i].error.empty()) {
      Fail(QString::fromStdString(diagrams_[i].error));
      diagrams_.clear();
      pictures_.clear();
      break;
    }
    pictures_.push_back(BuildEphPicture(shown_, i, diagrams_[i]));
  }
  const int current = tabs_->currentIndex();
  while (views_.size() > pictures_.size()) {
    delete views_.back();
    views_.pop_back();
  }
  for (size_t i = 0; i < pictures_.size(); ++i) {
    if (i >= views_.size()) {
      auto* v = new PredomView(tabs_);
      v->setObjectName(QString("View%1").arg(i + 1));
      views_.push_back(v);
      tabs_->addTab(v, QString());
    }
    views_[i]->SetPicture(&pictures_[i]);
    tabs_->setTabText(static_cast<int>(i), QString("%1 %2").arg(QString::fromStdString(FormatFixed(shown_.temperatures[i], 2)),
                                                                shown_.celsius ? "C" : "K"));
  }
  if (current >= 0 && current < tabs_->count()) tabs_->setCurrentIndex(current);
}

void EphWindow::ZoomShown(double factor) {
  if (factor == 1) {
    shown_ = setup_;
  } else {
    ZoomLimits(shown_.ph_min, shown_.ph_max, shown_.eh_min, shown_.eh_max, factor);
  }
  Recompute();
}

}  // namespace zyl::diagrams
