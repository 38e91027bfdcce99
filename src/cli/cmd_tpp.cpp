#include <CLI/CLI.hpp>

#include "cli/commands.h"

namespace zyl::cli {

void RegisterTpp(CLI::App& app) { (void)app; }

}  // namespace zyl::cli
