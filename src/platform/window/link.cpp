#include "platform/window/link.h"

#include <QLocalSocket>
#include <unistd.h>

namespace zyl::platform::window {

QString LinkServerName(const QString& application, const QString& topic) {
  return QStringLiteral("zyl-%1-%2-%3").arg(application, topic).arg(::getuid());
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
