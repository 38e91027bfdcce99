#include "platform/window/qt_messages.h"

#include <QInputDialog>
#include <QMessageBox>

namespace zyl::platform::window {

QString ToQ(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }
std::string FromQ(const QString& s) { return s.toStdString(); }

namespace {

QMessageBox::Icon ToBoxIcon(Icon icon) {
  switch (icon) {
    case Icon::Information: return QMessageBox::Information;
    case Icon::Warning: return QMessageBox::Warning;
    case Icon::Error: return QMessageBox::Critical;
    case Icon::Question: return QMessageBox::Question;
  }
  return QMessageBox::NoIcon;
}

Answer Ask(QWidget* parent, std::string_view text, std::string_view title, QMessageBox::StandardButtons buttons,
           QMessageBox::StandardButton def) {
  QMessageBox box(QMessageBox::Question, ToQ(title), ToQ(text), buttons, parent);
  box.setDefaultButton(def);
  switch (box.exec()) {
    case QMessageBox::Yes: return Answer::Yes;
    case QMessageBox::No: return Answer::No;
    case QMessageBox::Cancel: return Answer::Cancel;
    default: return buttons.testFlag(QMessageBox::Cancel) ? Answer::Cancel : Answer::No;
  }
}

Messages* g_override = nullptr;

}  // namespace

void QtMessages::Show(std::string_view text, std::string_view title, Icon icon) {
  QMessageBox box(ToBoxIcon(icon), ToQ(title), ToQ(text), QMessageBox::Ok, parent_);
  box.setTextInteractionFlags(Qt::TextSelectableByMouse);
  box.exec();
}

Answer QtMessages::AskYesNo(std::string_view text, std::string_view title) {
  return Ask(parent_, text, title, QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes);
}

Answer QtMessages::AskYesNoCancel(std::string_view text, std::string_view title) {
  return Ask(parent_, text, title, QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel, QMessageBox::No);
}

bool QtMessages::AskText(std::string_view prompt, std::string_view title, std::string& value) {
  bool ok = false;
  QString v = QInputDialog::getText(parent_, ToQ(title), ToQ(prompt), QLineEdit::Normal, ToQ(value), &ok);
  if (ok) value = FromQ(v);
  return ok;
}

Messages& AppMessages() {
  static QtMessages boxes;
  return g_override ? *g_override : boxes;
}

void SetAppMessages(Messages* m) { g_override = m; }

}  // namespace zyl::platform::window
