#pragma once
// Links to companion programs. A companion listens on the local socket "zyl-<Application>-<Topic>"
// (per user); a message is one line "<Item>=<Text>". A companion that is not running makes the
// send fail, which the callers ignore or report as they choose.

#include <QString>

namespace zyl::platform::window {

/// Local socket name of a link "Application|Topic".
QString LinkServerName(const QString& application, const QString& topic);

/// Sets a word put into every socket name, so that separate sessions (tests) do not reach each other.
void SetLinkNamespace(const QString& name);

/// Opens the link, sets item to text, closes it. False when the companion is not reachable in timeout_ms.
bool SendLinkText(const QString& application, const QString& topic, const QString& item, const QString& text,
                  int timeout_ms = 150);

}  // namespace zyl::platform::window
