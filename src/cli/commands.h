#pragma once
// Subcommands of `zyl`. Each group lives in its own cmd_*.cpp and registers itself here.

#include <filesystem>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace CLI {
class App;
}

namespace zyl::cli {

void RegisterMw(CLI::App& app);        // zyl mw
void RegisterSpecies(CLI::App& app);   // zyl species, zyl db
void RegisterDbBuild(CLI::App& app);   // zyl db build (adds to the "db" group made by RegisterSpecies)
void RegisterDbFit(CLI::App& app);     // zyl db fit, convert, merge (add to the "db" group)
void RegisterReaction(CLI::App& app);  // zyl reaction
void RegisterSheet(CLI::App& app);     // zyl sheet
void RegisterTpp(CLI::App& app);       // zyl tpp
void RegisterBalance(CLI::App& app);   // zyl balance, zyl stream
void RegisterWater(CLI::App& app);     // zyl water
void RegisterMiner(CLI::App& app);     // zyl miner
void RegisterHeatLoss(CLI::App& app);  // zyl heatloss
void RegisterCell(CLI::App& app);      // zyl cell
void RegisterEph(CLI::App& app);       // zyl eph, zyl eph new, zyl lpp
void RegisterDiagram(CLI::App& app);   // zyl diagram
void RegisterUnits(CLI::App& app);     // zyl units
void RegisterConvert(CLI::App& app);   // zyl convert
void RegisterEquilibrium(CLI::App& app);  // zyl equilibrium

/// The exit status that main returns; a subcommand sets it when it fails.
int& ExitCode();

/// Prints "zyl: <message>" on stderr, sets the exit status to `status` and returns it.
int Fail(std::string_view message, int status = 1);

/// Database paths of the user's settings file (ZYL6.INI keys "OwnDB=" and "MainDB="), or the
/// shipped defaults when there is no settings file.
std::filesystem::path SettingsOwnDb();
std::filesystem::path SettingsMainDb();

/// Prints a JSON value on stdout, indented, followed by a newline.
void PrintJson(const nlohmann::json& value);

}  // namespace zyl::cli
