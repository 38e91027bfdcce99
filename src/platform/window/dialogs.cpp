#include "platform/window/dialogs.h"

#include <QFileDialog>
#include <QFileInfo>
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

}  // namespace

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
