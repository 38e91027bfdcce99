#pragma once
// Detects a running copy of the program (a per-user local socket) and brings it to the front.

#include <QLocalServer>
#include <QObject>
#include <QString>

namespace zyl::shell::window {

class InstanceGuard : public QObject {
  Q_OBJECT
 public:
  /// name: the socket name; empty gives the per-user default "zyl-main-<uid>".
  explicit InstanceGuard(QString name = {}, QObject* parent = nullptr);

  /// True when another copy answers on the socket.
  bool OtherRunning() const;
  /// Asks the running copy to raise its main window; false when it did not answer.
  bool RaiseOther() const;
  /// Becomes the copy that others find (removes a stale socket left by a crashed copy).
  bool Listen();
  const QString& Name() const { return name_; }

 signals:
  /// Another copy asked this one to come to the front.
  void raiseRequested();

 private:
  QString name_;
  QLocalServer server_;
};

}  // namespace zyl::shell::window
