#pragma once
// File dialogs behind an interface, so that tests can answer them without a window.

#include <QString>
#include <QWidget>

namespace zyl::platform::window {

class FileDialogs {
 public:
  virtual ~FileDialogs() = default;
  /// Returns the chosen file, empty when cancelled. filter: "Name (*.ext);;Other (*.x)".
  virtual QString OpenFile(QWidget* parent, const QString& caption, const QString& dir, const QString& filter) = 0;
  /// selected_filter (optional) receives the filter the user picked.
  virtual QString SaveFile(QWidget* parent, const QString& caption, const QString& dir, const QString& filter,
                           QString* selected_filter = nullptr) = 0;
  virtual QString Folder(QWidget* parent, const QString& caption, const QString& dir) = 0;
};

/// Answers from a queue; an empty queue cancels. The captions asked are recorded.
class ScriptedDialogs : public FileDialogs {
 public:
  QString OpenFile(QWidget*, const QString& caption, const QString&, const QString&) override { return Next(caption); }
  QString SaveFile(QWidget*, const QString& caption, const QString&, const QString&, QString*) override {
    return Next(caption);
  }
  QString Folder(QWidget*, const QString& caption, const QString&) override { return Next(caption); }

  QStringList answers;
  QStringList asked;

 private:
  QString Next(const QString& caption) {
    asked << caption;
    return answers.isEmpty() ? QString() : answers.takeFirst();
  }
};

/// The program's dialogs (Qt's own unless replaced; not owned).
FileDialogs& AppDialogs();
void SetAppDialogs(FileDialogs* d);

/// Remembers the last folder per purpose ("reaction", "settings", ...) for the next dialog.
QString LastFolder(const QString& purpose, const QString& fallback);
void SetLastFolder(const QString& purpose, const QString& file_or_folder);

/// Recent files per purpose, newest first (at most 8), kept in the user's Qt settings.
QStringList RecentFiles(const QString& purpose);
void AddRecentFile(const QString& purpose, const QString& file);

/// Restores a window's size and place from the last session and saves them when it closes.
void RememberGeometry(QWidget* window, const QString& key);

}  // namespace zyl::platform::window
