#include "shell/window/startup.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QPrinterInfo>
#include <QSysInfo>
#include <clocale>

#include "platform/paths.h"
#include "platform/window/qt_messages.h"
#include "shell/window/instance_guard.h"

namespace zyl::shell::window {

namespace fs = std::filesystem;
using platform::JoinLines;

namespace {

constexpr int kScreenFontSize = 9;  ///< points

// The grids need a fixed-pitch font of size 9; fontconfig always offers one when any is installed.
void CheckScreenFont(platform::Messages& messages) {
  QFont f = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  f.setPointSize(kScreenFontSize);
  if (QFontInfo(f).fixedPitch()) return;
  const std::string name = "Monospace";
  messages.Show(JoinLines({"Please install " + name + " 9 font from", "Windows 1 and 2 diskets using",
                           "Control Panel and Fonts icon."}),
                platform::kDefaultTitle, platform::Icon::Information);
}

}  // namespace

void CheckDefaultPrinter(platform::Messages& messages) {
  const QPrinterInfo printer = QPrinterInfo::defaultPrinter();
  if (printer.isNull() || printer.state() != QPrinter::Error) return;
  messages.Show(JoinLines({"The status of the default printer " + printer.printerName().toStdString() + " is not OK.",
                           "Please, select another printer from", "Windows Control Panel Printer Dialog,",
                           "or disconnect computer from the network.",
                           "A defective default printer may slow down the program."}),
                platform::kDefaultTitle, platform::Icon::Warning);
}

StartupOutcome RunStartup(const StartupOptions& o, ProgramState& state, InstanceGuard& guard) {
  platform::Messages& messages = o.messages ? *o.messages : platform::window::AppMessages();
  state.program_dir = platform::ProgramDir();
  state.data_dir = o.data_dir.empty() ? platform::DataDir() : o.data_dir;
  state.write_dir = o.write_dir.empty() ? platform::ConfigDir() : o.write_dir;
  state.work_dir = o.work_dir.empty() ? platform::UserDataDir() : o.work_dir;
  state.settings_path = o.settings_path.empty() ? state.write_dir / std::string(kSettingsFileName) : o.settings_path;

  // 1. The folder where settings are written must be writable.
  WriteTest(state.write_dir, messages);

  // 2. One copy per user unless the user asks for more.
  if (o.check_second_copy) {
    if (guard.OtherRunning()) {
      const auto answer = messages.AskYesNoCancel(JoinLines({kAlreadyRunning, kRunSeveral}), platform::kDefaultTitle);
      if (answer != platform::Answer::Yes) {
        guard.RaiseOther();
        return StartupOutcome::EndSecondCopy;
      }
    } else {
      guard.Listen();
    }
  }

  // 3. Files always use a point; warn when the desktop's locale shows numbers otherwise. The C library
  // reads and writes numbers with a point whatever the locale (Qt set it from the environment).
  std::setlocale(LC_NUMERIC, "C");
  CheckDecimalSeparator(o.locale.toString(0.0, 'f', 1).toStdString(), messages);

  // 4, 5, 6. Screen font, operating system, default printer.
  CheckScreenFont(messages);
  state.os_version = QSysInfo::prettyProductName().toStdString();
  if (o.check_printer) CheckDefaultPrinter(messages);

  // 7, 8, 9. Settings, element table, species databases.
  LoadSettingsStep(state, messages);
  LoadElementsStep(state, messages);
  OpenDatabasesStep(state, messages);
  SetBalanceFile(state);
  return StartupOutcome::ShowMenu;
}

}  // namespace zyl::shell::window
