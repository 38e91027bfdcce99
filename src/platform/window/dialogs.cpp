#include "platform/window/dialogs.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QEvent>
#include <QSettings>

namespace zyl::platform::window {

namespace {

class QtDialogs : public FileDialogs {
 public:
  QString OpenFile(QWidget* parent, const QString& caption, const QString& dir, const QString& filter) override {
    return QFileDialog::getOpenFileName(parent, caption, dir, filter);
  }
  QString SaveFile(QWidget* parent, const QString& caption, const QString& dir, const QString& filter,
                   QString* selected_filter) override {
    return QFileDialog::getSaveFileName(parent, caption, dir, filter, selected_filter);
  }
  QString Folder(QWidget* parent, const QString& caption, const QString& dir) override {
    return QFileDialog::getExistingDirectory(parent, caption, dir);
  }
};

FileDialogs* g_dialogs = nullptr;
constexpr int kMaxRecent = 8;

// Saves the geometry of the window it watches when that window closes.
class GeometryKeeper : public QObject {
 public:
  GeometryKeeper(QWidget* w, QString key) : QObject(w), key_(std::move(key)) { w->installEventFilter(this); }
  bool eventFilter(QObject* o, QEvent* e) override {
    if (e->type() == QEvent::Close) QSettings().setValue("geometry/" + key_, static_cast<QWidget*>(o)->saveGeometry());
    return false;
  }

 private:
  QString key_;
};

}  // namespace

void RememberGeometry(QWidget* window, const QString& key) {
  const QByteArray g = QSettings().value("geometry/" + key).toByteArray();
  if (!g.isEmpty()) window->restoreGeometry(g);
  new GeometryKeeper(window, key);
}

FileDialogs& AppDialogs() {
  static QtDialogs qt;
  return g_dialogs ? *g_dialogs : qt;
}

void SetAppDialogs(FileDialogs* d) { g_dialogs = d; }

QString LastFolder(const QString& purpose, const QString& fallback) {
  QSettings s;
  return s.value("folders/" + purpose, fallback).toString();
}

void SetLastFolder(const QString& purpose, const QString& file_or_folder) {
  QFileInfo fi(file_or_folder);
  QSettings s;
  s.setValue("folders/" + purpose, fi.isDir() ? fi.absoluteFilePath() : fi.absolutePath());
}

QStringList RecentFiles(const QString& purpose) {
  QSettings s;
  return s.value("recent/" + purpose).toStringList();
}

void AddRecentFile(const QString& purpose, const QString& file) {
  QSettings s;
  QStringList list = s.value("recent/" + purpose).toStringList();
  const QString abs = QFileInfo(file).absoluteFilePath();
  list.removeAll(abs);
  list.prepend(abs);
  while (list.size() > kMaxRecent) list.removeLast();
  s.setValue("recent/" + purpose, list);
  SetLastFolder(purpose, abs);
}

}  // namespace zyl::platform::window
