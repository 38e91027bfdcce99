#include "cli/cli_common.h"

#include <CLI/CLI.hpp>
#include <string>

namespace zyl::cli {

CLI::App* SubcommandGroup(CLI::App& app, std::string_view name, std::string_view description) {
  for (CLI::App* sub : app.get_subcommands([](CLI::App*) { return true; }))
    if (sub->get_name() == name) return sub;
  return app.add_subcommand(std::string(name), std::string(description));
}

}  // namespace zyl::cli
