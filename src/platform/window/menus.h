#pragma once
// Menu actions named after their commands, so that tests and key bindings can find them.

#include <QAction>
#include <QMenu>
#include <utility>

namespace zyl::platform::window {

template <typename Fn>
QAction* AddNamedAction(QMenu* menu, const char* name, const QString& text, const QObject* context, Fn&& fn) {
  QAction* a = menu->addAction(text, context, std::forward<Fn>(fn));
  a->setObjectName(name);
  return a;
}

}  // namespace zyl::platform::window
