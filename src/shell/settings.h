#pragma once
// The settings file ZYL6.INI: sections of key=value lines, rewritten whole on every save.
// On Linux it lives in the XDG config folder ($XDG_CONFIG_HOME/zyl/ZYL6.INI).

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/messages.h"

namespace zyl::shell {

inline constexpr std::string_view kSettingsFileName = "ZYL6.INI";
inline constexpr std::string_view kLegacySettingsFileName = "ZYL.INI";

struct FontSetting {
  std::string name;
  int16_t size = 9;    ///< points
  int16_t bold = 0;    ///< flag
  int16_t italic = 0;  ///< flag
};

struct Settings {
  // [ZYL Path]
  std::string server;       ///< installation's shared folder
  std::string terminal;     ///< workstation's own folder
  std::string own_db;       ///< full path of the own species database
  std::string main_db;      ///< full path of the main species database
  std::string sol_gas_mix;  ///< folder or program of the external equilibrium solver
  std::string cat;          ///< "CAT" key: accepted on reading, not written
  // [Table Font], [Diagram Font]
  FontSetting table_font;
  FontSetting diagram_font;
  // [Printer]
  float top = 10;   ///< top margin, mm
  float left = 10;  ///< left margin, mm
  // [Units]: the files always carry "C" and "cal"; the program's current choice lives here.
  std::string temperature = "C";  ///< "C" or "K"
  std::string energy = "cal";     ///< "cal" or "J"
  int16_t warnings = 1;           ///< non-zero shows the warning dialogs
};

/// Defaults for keys a file lacks: shipped main database, own database in the XDG data folder.
Settings DefaultSettings();

/// Splits one line at its first "=" into a trimmed key and a trimmed value (no "=": key only).
std::pair<std::string, std::string> ReadLine(std::string_view line);

/// Parses settings text; keys not present keep their defaults. Accepts ZYL6.INI and the older ZYL.INI.
Settings ParseSettings(std::string_view text, Settings base = DefaultSettings());

/// Reads a settings file; nullopt with the reason in *error when it can not be read.
std::optional<Settings> ReadSettings(const std::filesystem::path& path, std::string* error = nullptr);

/// The file text in its fixed line order. with_italic: the "Italic=" lines of both font sections.
std::string FormatSettings(const Settings& s, bool with_italic);

/// The main menu's writer (with "Italic=" lines). Reports "Cannot save ZYL6.INI file:" on failure.
bool SetIni(const Settings& s, const std::filesystem::path& path, platform::Messages& messages);

/// The shared module's writer (without "Italic=" lines). Same failure report.
bool SaveSettings(const Settings& s, const std::filesystem::path& path, platform::Messages& messages);

/// $XDG_CONFIG_HOME/zyl/ZYL6.INI.
std::filesystem::path SettingsPath();

/// Reads the settings file of the running user, or the defaults when there is none.
/// A file that exists but can not be read gives the defaults and a message in *error.
Settings LoadUserSettings(std::string* error = nullptr);

/// Shortest decimal form with a point, whatever the locale ("10", "12.5", "0.1").
std::string FormatNumber(double v);
std::string FormatNumber(float v);

}  // namespace zyl::shell
