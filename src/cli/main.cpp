#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "platform/paths.h"
#include "shell/settings.h"

namespace zyl::cli {

int& ExitCode() {
  static int code = 0;
  return code;
}

int Fail(std::string_view message, int status) {
  std::fprintf(stderr, "zyl: %.*s\n", static_cast<int>(message.size()), message.data());
  ExitCode() = status;
  return status;
}

void PrintJson(const nlohmann::json& value) { std::cout << value.dump(2) << '\n'; }

namespace {
const shell::Settings& UserSettings() {
  static const shell::Settings settings = [] {
    std::string error;
    shell::Settings s = shell::LoadUserSettings(&error);
    if (!error.empty()) std::fprintf(stderr, "zyl: %s\n", error.c_str());
    return s;
  }();
  return settings;
}
}  // namespace

std::filesystem::path SettingsOwnDb() { return UserSettings().own_db; }
std::filesystem::path SettingsMainDb() { return UserSettings().main_db; }

namespace {

// Without a subcommand: start the desktop program that sits beside this one.
int StartDesktop(int argc, char** argv) {
  const char* platform = std::getenv("QT_QPA_PLATFORM");
  const char* display = std::getenv("DISPLAY");
  const char* wayland = std::getenv("WAYLAND_DISPLAY");
  if ((!platform || !*platform) && (!display || !*display) && (!wayland || !*wayland)) {
    std::fprintf(stderr,
                 "zyl: no display found, so the desktop program can not start.\n"
                 "Use the command line instead (zyl --help lists the commands), or choose a Qt platform,\n"
                 "for example QT_QPA_PLATFORM=offscreen.\n");
    return 1;
  }
  const std::string gui = (platform::ProgramDir() / "zyl-gui").string();
  if (::access(gui.c_str(), X_OK) != 0) {
    std::fprintf(stderr, "zyl: the desktop program is not built (%s); zyl --help lists the commands.\n", gui.c_str());
    return 1;
  }
  argv[0] = const_cast<char*>(gui.c_str());
  (void)argc;
  ::execv(gui.c_str(), argv);
  std::perror("zyl: can not start the desktop program");
  return 1;
}

}  // namespace

int Main(int argc, char** argv) {
  if (argc == 1) return StartDesktop(argc, argv);

  CLI::App app{"ZYL: chemical thermodynamics. Without a command, starts the desktop program.", "zyl"};
  app.set_version_flag("--version", std::string(ZYL_VERSION));
  app.require_subcommand(1);
  RegisterMw(app);
  RegisterSpecies(app);
  RegisterDbBuild(app);
  RegisterDbFit(app);
  RegisterReaction(app);
  RegisterSheet(app);
  RegisterTpp(app);
  RegisterBalance(app);
  RegisterWater(app);
  RegisterMiner(app);
  RegisterHeatLoss(app);
  RegisterCell(app);
  RegisterEph(app);
  RegisterDiagram(app);
  RegisterUnits(app);
  RegisterConvert(app);
  RegisterEquilibrium(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e);
  }
  return ExitCode();
}

}  // namespace zyl::cli
