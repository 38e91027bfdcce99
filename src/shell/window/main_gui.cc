// zyl-gui: the desktop program. Runs the start-up sequence, then the main menu until it is closed.
//   --startup-time     print the milliseconds from process start to the shown main menu, then exit
//   --screenshots DIR  save pictures of the main windows with sample input into DIR, then exit

#include <QApplication>
#include <QElapsedTimer>
#include <QIcon>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <unistd.h>

#include "shell/program_state.h"
#include "shell/window/instance_guard.h"
#include "shell/window/main_menu.h"
#include "shell/window/screenshots.h"
#include "shell/window/startup.h"

namespace {

// Milliseconds since the process started (the kernel's start time), so that loading the libraries counts too.
double MsSinceProcessStart() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  FILE* f = std::fopen("/proc/self/stat", "r");
  if (!f) return -1;
  unsigned long long start_ticks = 0;
  // Field 22 is the start time in clock ticks after boot; the command name (field 2) may hold blanks.
  char buf[1024];
  const size_t n = std::fread(buf, 1, sizeof buf - 1, f);
  std::fclose(f);
  buf[n] = 0;
  const char* p = std::strrchr(buf, ')');
  if (!p) return -1;
  int field = 2;
  for (; *p && field < 22; ++p)
    if (*p == ' ') ++field;
  start_ticks = std::strtoull(p, nullptr, 10);
  const double start_s = double(start_ticks) / double(sysconf(_SC_CLK_TCK));
  return (double(now.tv_sec) + now.tv_nsec * 1e-9 - start_s) * 1000.0;
}

// Qt's offscreen platform reports window-manager features it lacks on every window; they are no problem here.
void QuietMessages(QtMsgType type, const QMessageLogContext& context, const QString& text) {
  if (type == QtWarningMsg && text.startsWith("This plugin does not support")) return;
  if (text.startsWith("QStandardPaths: XDG_RUNTIME_DIR not set")) return;
  std::fprintf(stderr, "%s\n", qFormatLogMessage(type, context, text).toLocal8Bit().constData());
}

}  // namespace

int main(int argc, char** argv) {
  qInstallMessageHandler(QuietMessages);
  QApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
  QApplication app(argc, argv);
  QApplication::setOrganizationName("zyl");
  QApplication::setApplicationName("zyl");
  QApplication::setApplicationDisplayName("ZYL");
  QApplication::setApplicationVersion(ZYL_VERSION);
  QApplication::setDesktopFileName("zyl");
  QApplication::setWindowIcon(QIcon(":/zyl/zyl.svg"));
  const QStringList args = app.arguments();
  const bool timing = args.contains("--startup-time");
  const int shots = args.indexOf("--screenshots");

  zyl::shell::window::InstanceGuard guard;
  zyl::shell::window::StartupOptions options;
  options.check_second_copy = !timing && shots < 0;
  if (zyl::shell::window::RunStartup(options, zyl::shell::ZYL5main(), guard) ==
      zyl::shell::window::StartupOutcome::EndSecondCopy)
    return 0;

  zyl::shell::window::MainMenu menu;
  QObject::connect(&guard, &zyl::shell::window::InstanceGuard::raiseRequested, &menu,
                   &zyl::shell::window::MainMenu::BringToFront);
  menu.show();
  if (shots >= 0) {
    const int n = zyl::shell::window::SaveScreenshots(menu, args.value(shots + 1, "screenshots"));
    std::printf("%d pictures saved\n", n);
    menu.close();
    return n > 0 ? 0 : 1;
  }
  if (timing) {
    // The first event-loop turn comes after the window has been laid out and painted.
    QTimer::singleShot(0, &menu, [] {
      std::printf("startup: %.1f ms to the shown main menu\n", MsSinceProcessStart());
      QApplication::quit();
    });
  }
  return app.exec();
}
