#include <CLI/CLI.hpp>

#include "cli/commands.h"

namespace zyl::cli {

void RegisterReaction(CLI::App& app) { (void)app; }

}  // namespace zyl::cli
