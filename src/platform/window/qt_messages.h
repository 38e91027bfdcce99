#pragma once
// Message boxes and questions of the desktop program: platform::Messages shown as modal Qt dialogs.

#include <QPointer>
#include <QWidget>

#include "platform/messages.h"

namespace zyl::platform::window {

class QtMessages : public Messages {
 public:
  /// parent: the window the boxes are modal to (may be null: application-modal).
  explicit QtMessages(QWidget* parent = nullptr) : parent_(parent) {}

  void Show(std::string_view text, std::string_view title = kDefaultTitle,
            Icon icon = Icon::Information) override;
  Answer AskYesNo(std::string_view text, std::string_view title = kDefaultTitle) override;
  Answer AskYesNoCancel(std::string_view text, std::string_view title = kDefaultTitle) override;
  bool AskText(std::string_view prompt, std::string_view title, std::string& value) override;

  void SetParent(QWidget* parent) { parent_ = parent; }

 private:
  QPointer<QWidget> parent_;
};

/// The Messages every window of the running program uses. Tests replace it with a
/// HeadlessMessages (SetAppMessages) so that no box ever blocks.
Messages& AppMessages();
/// Installs m as the program's messages (not owned; null restores the Qt boxes).
void SetAppMessages(Messages* m);

QString ToQ(std::string_view s);
std::string FromQ(const QString& s);

}  // namespace zyl::platform::window
