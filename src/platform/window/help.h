#pragma once
// The user guide: the Markdown chapters of the docs folder shipped with the data, shown in one
// help window. A chapter is found by its first heading ("# 10 Reaction Equations").

#include <QList>
#include <QString>
#include <QWidget>

class QListWidget;
class QTextBrowser;
class QLineEdit;

namespace zyl::platform::window {

struct HelpChapter {
  QString title;  ///< first heading of the file
  QString path;   ///< the Markdown file
};

/// The docs folder: <data>/docs when installed, else the source tree's docs beside data/.
QString HelpDir();

/// Chapters of a docs folder, the index first, then by title.
QList<HelpChapter> HelpChapters(const QString& dir);

/// The file of a chapter such as "10 Reaction Equations" (".doc" suffix ignored): an exact title first,
/// then a title with the same chapter number, then the index. Empty when the folder has no chapters.
QString FindHelpChapter(const QList<HelpChapter>& chapters, const QString& chapter);

class HelpWindow : public QWidget {
  Q_OBJECT
 public:
  explicit HelpWindow(const QString& dir, QWidget* parent = nullptr);
  void Open(const QString& chapter);
  QString CurrentFile() const { return current_; }
  QTextBrowser* Browser() const { return browser_; }

 private:
  void ShowFile(const QString& path);
  void FitImages();

  static constexpr int kMaxImageWidth = 900;  ///< px
  void Find(bool backward);

  QList<HelpChapter> chapters_;
  QListWidget* list_ = nullptr;
  QTextBrowser* browser_ = nullptr;
  QLineEdit* find_ = nullptr;
  QString current_;
};

/// Opens (or raises) the program's help window at a chapter; an empty chapter shows the index.
HelpWindow* ShowHelpChapter(const QString& chapter);

}  // namespace zyl::platform::window
