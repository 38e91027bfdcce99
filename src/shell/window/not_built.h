#pragma once
// The window of a main-menu entry whose module is not part of this build.

#include <QWidget>

namespace zyl::shell::window {

class NotBuilt : public QWidget {
  Q_OBJECT
 public:
  NotBuilt(const QString& caption, const QString& module, QWidget* parent = nullptr);
};

}  // namespace zyl::shell::window
