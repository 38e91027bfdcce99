#include "platform/window/help.h"

#include <QDir>
#include <QFile>
#include <QHBoxLayout>
#include <QImageReader>
#include <QTextBlock>
#include <QTextCursor>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QRegularExpression>
#include <QShortcut>
#include <QSplitter>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "platform/paths.h"

namespace zyl::platform::window {

namespace {

QString FirstHeading(const QString& path) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly | QIODevice::Text)) return {};
  for (int i = 0; i < 20 && !f.atEnd(); ++i) {
    const QString line = QString::fromUtf8(f.readLine()).trimmed();
    if (line.startsWith("# ")) return line.mid(2).trimmed();
  }
  return QFileInfo(path).completeBaseName();
}

QString ChapterNumber(const QString& title) {
  static const QRegularExpression re("^(\\d+)\\s");
  const auto m = re.match(title);
  return m.hasMatch() ? m.captured(1) : QString();
}

}  // namespace

QString HelpDir() {
  const QString data = QString::fromStdString(platform::DataDir().string());
  for (const QString& d : {data + "/docs", data + "/../docs"})
    if (QDir(d).exists()) return QDir(d).canonicalPath();
  return data + "/docs";
}

QList<HelpChapter> HelpChapters(const QString& dir) {
  QList<HelpChapter> list;
  HelpChapter index;
  for (const QFileInfo& fi : QDir(dir).entryInfoList({"*.md"}, QDir::Files, QDir::Name)) {
    HelpChapter c{FirstHeading(fi.absoluteFilePath()), fi.absoluteFilePath()};
    if (fi.fileName() == "index.md") index = c;
    else list << c;
  }
  std::sort(list.begin(), list.end(), [](const HelpChapter& a, const HelpChapter& b) {
    const QString na = ChapterNumber(a.title), nb = ChapterNumber(b.title);
    if (na.isEmpty() != nb.isEmpty()) return !na.isEmpty();
    if (na != nb) return na.toInt() < nb.toInt();
    return QString::localeAwareCompare(a.title, b.title) < 0;
  });
  if (!index.path.isEmpty()) list.prepend(index);
  return list;
}

QString FindHelpChapter(const QList<HelpChapter>& chapters, const QString& chapter) {
  QString want = chapter.trimmed();
  if (want.endsWith(".doc", Qt::CaseInsensitive)) want.chop(4);
  for (const auto& c : chapters)
    if (c.title.compare(want, Qt::CaseInsensitive) == 0) return c.path;
  const QString number = ChapterNumber(want + " ");
  if (!number.isEmpty())
    for (const auto& c : chapters)
      if (ChapterNumber(c.title).toInt() == number.toInt()) return c.path;
  for (const auto& c : chapters)
    if (QFileInfo(c.path).fileName() == "index.md") return c.path;
  return chapters.isEmpty() ? QString() : chapters.first().path;
}

HelpWindow::HelpWindow(const QString& dir, QWidget* parent) : QWidget(parent), chapters_(HelpChapters(dir)) {
  setObjectName("Help");
  setWindowTitle(tr("ZYL Help"));
  auto* split = new QSplitter(this);
  list_ = new QListWidget(split);
  for (const auto& c : chapters_) list_->addItem(c.title);
  auto* right = new QWidget(split);
  auto* rl = new QVBoxLayout(right);
  rl->setContentsMargins(0, 0, 0, 0);
  auto* bar = new QHBoxLayout;
  find_ = new QLineEdit(right);
  find_->setPlaceholderText(tr("Find in chapter (Ctrl+F, Enter for next)"));
  find_->setClearButtonEnabled(true);
  bar->addWidget(find_);
  rl->addLayout(bar);
  browser_ = new QTextBrowser(right);
  browser_->setOpenExternalLinks(true);
  browser_->setSearchPaths({dir});
  rl->addWidget(browser_);
  split->setStretchFactor(1, 1);
  split->setSizes({220, 640});
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(6, 6, 6, 6);
  layout->addWidget(split);
  connect(list_, &QListWidget::currentRowChanged, this, [this](int row) {
    if (row >= 0 && row < chapters_.size() && chapters_[row].path != current_) ShowFile(chapters_[row].path);
  });
  connect(browser_, &QTextBrowser::sourceChanged, this, [this](const QUrl& url) {
    current_ = url.toLocalFile();
    FitImages();
    for (int i = 0; i < chapters_.size(); ++i)
      if (chapters_[i].path == current_) {
        QSignalBlocker block(list_);
        list_->setCurrentRow(i);
      }
  });
  connect(find_, &QLineEdit::returnPressed, this, [this] { Find(false); });
  new QShortcut(QKeySequence::Find, this, [this] { find_->setFocus(); find_->selectAll(); });
  new QShortcut(QKeySequence::FindNext, this, [this] { Find(false); });
  new QShortcut(QKeySequence::FindPrevious, this, [this] { Find(true); });
  new QShortcut(QKeySequence::Close, this, [this] { close(); });
  resize(900, 640);
}

void HelpWindow::ShowFile(const QString& path) {
  current_ = path;
  browser_->setSource(QUrl::fromLocalFile(path), QTextDocument::MarkdownResource);
  FitImages();
}

void HelpWindow::FitImages() {
  // Screenshots are shown at most kMaxImageWidth wide, keeping their shape.
  QTextDocument* doc = browser_->document();
  const QDir dir = QFileInfo(current_).dir();
  for (QTextBlock b = doc->begin(); b.isValid(); b = b.next()) {
    for (auto it = b.begin(); !it.atEnd(); ++it) {
      const QTextFragment f = it.fragment();
      if (!f.charFormat().isImageFormat()) continue;
      QTextImageFormat img = f.charFormat().toImageFormat();
      const QSize size = QImageReader(dir.filePath(img.name())).size();
      if (!size.isValid() || size.width() <= kMaxImageWidth) continue;
      img.setWidth(kMaxImageWidth);
      img.setHeight(double(size.height()) * kMaxImageWidth / size.width());
      QTextCursor c(doc);
      c.setPosition(f.position());
      c.setPosition(f.position() + f.length(), QTextCursor::KeepAnchor);
      c.setCharFormat(img);
    }
  }
}

void HelpWindow::Open(const QString& chapter) {
  const QString path = FindHelpChapter(chapters_, chapter);
  if (path.isEmpty()) {
    browser_->setMarkdown(tr("# Help\n\nThe user guide was not found in %1.").arg(HelpDir()));
    return;
  }
  ShowFile(path);
}

void HelpWindow::Find(bool backward) {
  if (find_->text().isEmpty()) return;
  QTextDocument::FindFlags flags;
  if (backward) flags |= QTextDocument::FindBackward;
  if (!browser_->find(find_->text(), flags)) {
    QTextCursor c = browser_->textCursor();
    c.movePosition(backward ? QTextCursor::End : QTextCursor::Start);
    browser_->setTextCursor(c);
    browser_->find(find_->text(), flags);
  }
}

HelpWindow* ShowHelpChapter(const QString& chapter) {
  static QPointer<HelpWindow> window;
  if (!window) {
    window = new HelpWindow(HelpDir());
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setAttribute(Qt::WA_QuitOnClose, false);
  }
  window->Open(chapter);
  window->show();
  window->raise();
  window->activateWindow();
  return window;
}

}  // namespace zyl::platform::window
