#pragma once
// One QApplication for a test program (offscreen), with Qt's test-mode paths so that
// recent files and histories never touch the user's own settings.

#include <QApplication>
#include <QStandardPaths>
#include <QString>

#include "common/temp_dir.h"
#include "platform/window/link.h"

#include <ostream>

#ifdef ZYL_SANITIZED
// fontconfig keeps a cache for the life of the process; the leak checker should not count it.
extern "C" __attribute__((used)) inline const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }
#endif

// Readable QString values in test failures.
inline void PrintTo(const QString& s, std::ostream* os) { *os << '"' << s.toStdString() << '"'; }

namespace zyl::testing {

inline QApplication& App() {
  static int argc = 1;
  static char name[] = "zyl-test";
  static char* argv[] = {name, nullptr};
  static QApplication* app = [] {
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QStandardPaths::setTestModeEnabled(true);
    auto* a = new QApplication(argc, argv);
    QApplication::setOrganizationName("zyl-test");
    QApplication::setApplicationName("zyl-test");
    // Companion links of this test program only: parallel tests must not reach each other.
    platform::window::SetLinkNamespace(QString::number(QCoreApplication::applicationPid()));
    return a;
  }();
  return *app;
}

/// A file name in a test's temporary folder as a Qt string.
inline QString QtPath(const TempDir& dir, const QString& name) {
  return QString::fromStdString(dir.path().string()) + "/" + name;
}

}  // namespace zyl::testing
