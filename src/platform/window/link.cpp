#include "platform/window/link.h"

#include <QLocalSocket>
#include <unistd.h>

namespace zyl::platform::window {

namespace {
QString g_namespace;
}  // namespace

void SetLinkNamespace(const QString& name) { g_namespace = name; }

QString LinkServerName(const QString& application, const QString& topic) {
  const QString base = QStringLiteral("zyl-%1-%2-%3").arg(application, topic).arg(::getuid());
  return g_namespace.isEmpty() ? base : base + "-" + g_namespace;
}

bool SendLinkText(const QString& application, const QString& topic, const QString& item, const QString& text,
                  int timeout_ms) {
  QLocalSocket socket;
  socket.connectToServer(LinkServerName(application, topic));
  if (!socket.waitForConnected(timeout_ms)) return false;
  socket.write((item + "=" + text + "\n").toUtf8());
  const bool ok = socket.waitForBytesWritten(timeout_ms);
  socket.disconnectFromServer();
  return ok;
}

}  // namespace zyl::platform::window
