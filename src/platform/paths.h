#pragma once
// Where the program, its shipped data and the user's files live (XDG conventions on Linux).

#include <filesystem>
#include <string>

namespace zyl::platform {

/// Folder of the running executable.
std::filesystem::path ProgramDir();

/// The installation's data folder (holds "Databases", "Reaction", "Tpp", ...). Looked for, in order:
/// <program>/../share/zyl, <program>/data, then the source tree's data folder.
std::filesystem::path DataDir();
/// Makes DataDir return `dir` from now on: for a library loaded by another program (the Python module finds
/// the data relative to its own file). Call before the data are first used.
void SetDataDir(const std::filesystem::path& dir);

/// $XDG_CONFIG_HOME/zyl (default ~/.config/zyl): the settings file lives here.
std::filesystem::path ConfigDir();

/// $XDG_DATA_HOME/zyl (default ~/.local/share/zyl): the user's own database and files.
std::filesystem::path UserDataDir();

/// Joins a folder and a relative path the way the data paths are built.
std::filesystem::path DataPath(std::string_view relative);

}  // namespace zyl::platform
