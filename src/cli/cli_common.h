#pragma once
// Helpers shared by the command groups of `zyl`.

#include <string_view>

namespace CLI {
class App;
}

namespace zyl::cli {

/// The subcommand group `name` of app ("db"), added with `description` when no command made it yet.
CLI::App* SubcommandGroup(CLI::App& app, std::string_view name, std::string_view description);

}  // namespace zyl::cli
