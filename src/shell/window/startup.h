#pragma once
// The start-up sequence of the desktop program, run before the main menu is shown.
// Every folder and the message boxes can be injected, so tests run it without blocking.

#include <QLocale>
#include <QString>
#include <filesystem>

#include "platform/messages.h"
#include "shell/program_state.h"

namespace zyl::shell::window {

class InstanceGuard;

struct StartupOptions {
  std::filesystem::path data_dir;       ///< empty: platform::DataDir()
  std::filesystem::path write_dir;      ///< empty: platform::ConfigDir()
  std::filesystem::path work_dir;       ///< empty: platform::UserDataDir()
  std::filesystem::path settings_path;  ///< empty: write_dir / "ZYL6.INI"
  platform::Messages* messages = nullptr;  ///< null: the program's message boxes
  QLocale locale = QLocale::system();      ///< decimal separator check
  bool check_printer = true;               ///< the default printer's status (slow without a print server)
  bool check_second_copy = true;
};

enum class StartupOutcome { ShowMenu, EndSecondCopy };

/// Runs the start-up steps in order: write test, second copy, decimal separator, screen font,
/// operating system, default printer, settings, element table, species databases.
/// Only a refused second copy ends the start-up (the running copy has been asked to come forward).
StartupOutcome RunStartup(const StartupOptions& options, ProgramState& state, InstanceGuard& guard);

/// The printer step on its own: warns when the default printer reports an error state.
void CheckDefaultPrinter(platform::Messages& messages);

/// Messages of the start-up steps.
inline constexpr std::string_view kAlreadyRunning = "ZYL is already running !";
inline constexpr std::string_view kRunSeveral = "Do you want to run several ZYL copies ?";

}  // namespace zyl::shell::window
