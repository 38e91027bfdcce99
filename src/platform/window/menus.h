#pragma once
// Menu actions named after their commands, so that tests and key bindings can find them.

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QVBoxLayout>
#include <utility>

namespace zyl::platform::window {

template <typename Fn>
QAction* AddNamedAction(QMenu* menu, const char* name, const QString& text, const QObject* context, Fn&& fn) {
  QAction* a = menu->addAction(text, context, std::forward<Fn>(fn));
  a->setObjectName(name);
  return a;
}

/// Adds named actions with one window as context: act(file, "MOpen", "&Open…", [this] { ... }).
class NamedActions {
 public:
  explicit NamedActions(const QObject* context) : context_(context) {}
  template <typename Fn>
  QAction* operator()(QMenu* menu, const char* name, const QString& text, Fn&& fn) const {
    return AddNamedAction(menu, name, text, context_, std::forward<Fn>(fn));
  }

 private:
  const QObject* context_;
};

/// A window's vertical layout with its menu bar on top.
struct MenuBarLayout {
  QVBoxLayout* top;
  QMenuBar* menu;
};

/// Lays `window` out vertically under a new menu bar.
inline MenuBarLayout AddMenuBarLayout(QWidget* window) {
  auto* top = new QVBoxLayout(window);
  auto* menu = new QMenuBar(window);
  top->setMenuBar(menu);
  return {top, menu};
}

}  // namespace zyl::platform::window
