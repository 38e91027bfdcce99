#include "shell/window/instance_guard.h"

#include <QLocalSocket>
#include <unistd.h>

namespace zyl::shell::window {

namespace {
constexpr int kConnectTimeoutMs = 200;
constexpr char kRaise[] = "raise\n";
}  // namespace

InstanceGuard::InstanceGuard(QString name, QObject* parent)
    : QObject(parent), name_(name.isEmpty() ? QStringLiteral("zyl-main-%1").arg(::getuid()) : std::move(name)) {
  connect(&server_, &QLocalServer::newConnection, this, [this] {
    while (QLocalSocket* s = server_.nextPendingConnection()) {
      connect(s, &QLocalSocket::readyRead, this, [this, s] {
        if (s->readAll().contains("raise")) emit raiseRequested();
      });
      connect(s, &QLocalSocket::disconnected, s, &QObject::deleteLater);
    }
  });
}

bool InstanceGuard::OtherRunning() const {
  QLocalSocket socket;
  socket.connectToServer(name_);
  const bool up = socket.waitForConnected(kConnectTimeoutMs);
  socket.abort();
  return up;
}

bool InstanceGuard::RaiseOther() const {
  QLocalSocket socket;
  socket.connectToServer(name_);
  if (!socket.waitForConnected(kConnectTimeoutMs)) return false;
  socket.write(kRaise);
  const bool ok = socket.waitForBytesWritten(kConnectTimeoutMs);
  socket.disconnectFromServer();
  return ok;
}

bool InstanceGuard::Listen() {
  if (server_.isListening()) return true;
  server_.setSocketOptions(QLocalServer::UserAccessOption);
  if (server_.listen(name_)) return true;
  QLocalServer::removeServer(name_);
  return server_.listen(name_);
}

}  // namespace zyl::shell::window
