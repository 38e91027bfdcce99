#include "shell/settings.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <system_error>

#include "platform/files.h"
#include "platform/paths.h"
#include "platform/text.h"

namespace zyl::shell {

namespace fs = std::filesystem;

namespace {

using platform::TrimView;

bool EqualNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

template <typename T>
bool ParseValue(std::string_view s, T& out) {
  T v{};
  auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc()) return false;
  out = v;
  return true;
}

bool ParseInt16(std::string_view s, int16_t& out) {
  double v = 0;
  if (!ParseValue(s, v)) return false;
  if (v < std::numeric_limits<int16_t>::min() || v > std::numeric_limits<int16_t>::max()) return false;
  out = static_cast<int16_t>(v);
  return true;
}

template <typename T>
std::string Shortest(T v) {
  char buf[64];
  auto [p, ec] = std::to_chars(buf, buf + sizeof(buf), v);
  return ec == std::errc() ? std::string(buf, p) : std::string("0");
}

enum class Section { None, Path, TableFont, DiagramFont, Printer, Units };

Section SectionOf(std::string_view name) {
  if (EqualNoCase(name, "[ZYL Path]")) return Section::Path;
  if (EqualNoCase(name, "[Table Font]")) return Section::TableFont;
  if (EqualNoCase(name, "[Diagram Font]")) return Section::DiagramFont;
  if (EqualNoCase(name, "[Printer]")) return Section::Printer;
  if (EqualNoCase(name, "[Units]")) return Section::Units;
  return Section::None;
}

void ApplyFontKey(FontSetting& f, std::string_view key, std::string_view value) {
  if (EqualNoCase(key, "Font")) f.name = std::string(value);
  else if (EqualNoCase(key, "Size")) ParseInt16(value, f.size);
  else if (EqualNoCase(key, "Bold")) ParseInt16(value, f.bold);
  else if (EqualNoCase(key, "Italic")) ParseInt16(value, f.italic);
}

bool WriteSettingsFile(const Settings& s, const fs::path& path, bool with_italic, platform::Messages& messages) {
  std::string error;
  std::error_code ec;
  if (path.has_parent_path()) fs::create_directories(path.parent_path(), ec);
  if (platform::WriteFileAtomic(path, FormatSettings(s, with_italic), &error)) return true;
  messages.Error(platform::JoinLines({"Cannot save ZYL6.INI file:", path.string(), "Error Code: " + error,
                                      "Editing of Windows folder may have", "been forbidden by the Addministrator ?"}));
  return false;
}

}  // namespace

std::string FormatNumber(double v) { return Shortest(v); }
std::string FormatNumber(float v) { return Shortest(v); }

Settings DefaultSettings() {
  Settings s;
  s.server = platform::DataDir().string();
  s.terminal = platform::UserDataDir().string();
  s.own_db = (platform::UserDataDir() / "OwnDB6.ZYL").string();
  s.main_db = (platform::DataDir() / "Databases" / "MainDB6.ZYL").string();
  s.table_font = {"DejaVu Sans", 9, 0, 0};
  s.diagram_font = {"DejaVu Sans", 10, 0, 0};
  return s;
}

std::pair<std::string, std::string> ReadLine(std::string_view line) {
  size_t eq = line.find('=');
  if (eq == std::string_view::npos) return {std::string(TrimView(line)), std::string()};
  return {std::string(TrimView(line.substr(0, eq))), std::string(TrimView(line.substr(eq + 1)))};
}

Settings ParseSettings(std::string_view text, Settings s) {
  Section section = Section::None;
  size_t pos = 0;
  while (pos <= text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = TrimView(text.substr(pos, end - pos));
    pos = end + 1;
    if (line.empty()) continue;
    if (line.front() == '[') {
      section = SectionOf(line);
      continue;
    }
    auto [key, value] = ReadLine(line);
    switch (section) {
      case Section::Path:
        if (EqualNoCase(key, "Server")) s.server = value;
        else if (EqualNoCase(key, "Terminal")) s.terminal = value;
        else if (EqualNoCase(key, "OwnDB")) s.own_db = value;
        else if (EqualNoCase(key, "MainDB")) s.main_db = value;
        else if (EqualNoCase(key, "SolGasMix")) s.sol_gas_mix = value;
        else if (EqualNoCase(key, "CAT")) s.cat = value;
        break;
      case Section::TableFont: ApplyFontKey(s.table_font, key, value); break;
      case Section::DiagramFont: ApplyFontKey(s.diagram_font, key, value); break;
      case Section::Printer:
        if (EqualNoCase(key, "Top")) ParseValue(std::string_view(value), s.top);
        else if (EqualNoCase(key, "Left")) ParseValue(std::string_view(value), s.left);
        break;
      case Section::Units:
        if (EqualNoCase(key, "Temperature")) s.temperature = (value == "K" || value == "k") ? "K" : "C";
        else if (EqualNoCase(key, "Energy")) s.energy = (value == "J" || value == "kJ") ? "J" : "cal";
        else if (EqualNoCase(key, "Warnings")) ParseInt16(value, s.warnings);
        break;
      case Section::None: break;
    }
  }
  return s;
}

std::optional<Settings> ReadSettings(const fs::path& path, std::string* error) {
  auto text = platform::ReadFile(path, error);
  if (!text) return std::nullopt;
  return ParseSettings(*text);
}

std::string FormatSettings(const Settings& s, bool with_italic) {
  std::string o;
  auto line = [&o](std::string_view a, std::string_view b = {}) {
    o += a;
    o += b;
    o += '\n';
  };
  auto font = [&](std::string_view title, const FontSetting& f) {
    line(title);
    line("Font=", f.name);
    line("Size=", std::to_string(f.size));
    line("Bold=", std::to_string(f.bold));
    if (with_italic) line("Italic=", std::to_string(f.italic));
    line("");
  };
  line("[ZYL Path]");
  line("Server=", s.server);
  line("Terminal=", s.terminal);
  line("OwnDB=", s.own_db);
  line("MainDB=", s.main_db);
  line("SolGasMix=", s.sol_gas_mix);
  line("");
  font("[Table Font]", s.table_font);
  font("[Diagram Font]", s.diagram_font);
  line("[Printer]");
  line("PaperSize=9");
  line("Top=", FormatNumber(s.top));
  line("Left=", FormatNumber(s.left));
  line("");
  line("[Units]");
  line("Temperature=C");
  line("Energy=cal");
  line("Warnings=", std::to_string(s.warnings));
  return o;
}

bool SetIni(const Settings& s, const fs::path& path, platform::Messages& messages) {
  return WriteSettingsFile(s, path, true, messages);
}

bool SaveSettings(const Settings& s, const fs::path& path, platform::Messages& messages) {
  return WriteSettingsFile(s, path, false, messages);
}

fs::path SettingsPath() { return platform::ConfigDir() / std::string(kSettingsFileName); }

Settings LoadUserSettings(std::string* error) {
  const fs::path path = SettingsPath();
  std::error_code ec;
  if (!fs::exists(path, ec)) {
    const fs::path legacy = platform::ConfigDir() / std::string(kLegacySettingsFileName);
    if (!fs::exists(legacy, ec)) return DefaultSettings();
    auto s = ReadSettings(legacy, error);
    return s ? *s : DefaultSettings();
  }
  auto s = ReadSettings(path, error);
  if (!s) {
    if (error) *error = "Can not find valid ZYL6.INI file: " + path.string() + ": " + *error;
    return DefaultSettings();
  }
  return *s;
}

}  // namespace zyl::shell
