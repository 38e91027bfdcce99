#include "shell/program_state.h"

#include "platform/files.h"
#include "thermo/lookup.h"

#include <fstream>
#include <optional>
#include <system_error>

namespace zyl::shell {

namespace fs = std::filesystem;

fs::path ProgramState::DataPath(std::string_view relative) const { return data_dir / fs::path(std::string(relative)); }

ProgramState& ZYL5main() {
  static ProgramState state;
  return state;
}

bool WriteTest(const fs::path& folder, platform::Messages& messages) {
  std::error_code ec;
  fs::create_directories(folder, ec);
  {
    std::ofstream out(folder / fs::path(std::string(kWriteTestFile)), std::ios::binary | std::ios::trunc);
    if (out) return true;
  }
  messages.Show(platform::JoinLines({"ZYL cannot save INI files to 'Read Only' folder: " + folder.string(),
                                     "Please give Write permissions to this folder!"}),
                " " + std::string(kProgramFullName), platform::Icon::Warning);
  return false;
}

bool CheckDecimalSeparator(std::string_view formatted, platform::Messages& messages) {
  if (formatted.find('.') != std::string_view::npos) return true;
  messages.Show(platform::JoinLines({"You MUST change Decimal Separator to point (.)", "from the Windows Control Panel.",
                                     "Otherwise the results might be in error."}),
                platform::kDefaultTitle, platform::Icon::Information);
  return false;
}

namespace {

// A valid settings file is a readable regular file with at least one key=value line.
std::optional<Settings> ReadValidSettings(const fs::path& path) {
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) return std::nullopt;
  auto text = platform::ReadFile(path);
  if (!text || text->find('=') == std::string::npos) return std::nullopt;
  return ParseSettings(*text);
}

}  // namespace

void LoadSettingsStep(ProgramState& state, platform::Messages& messages) {
  std::error_code ec;
  if (!fs::exists(state.settings_path, ec)) {
    // First run: the older file name if there is one, else the defaults; the file is made so that
    // the user finds it and the settings form can open it.
    const fs::path legacy = state.settings_path.parent_path() / std::string(kLegacySettingsFileName);
    auto old = ReadValidSettings(legacy);
    state.settings = old ? *old : DefaultSettings();
    SetIni(state.settings, state.settings_path, messages);
    return;
  }
  if (auto s = ReadValidSettings(state.settings_path)) {
    state.settings = *s;
    return;
  }
  state.settings = DefaultSettings();
  std::string folder = state.settings_path.parent_path().string();
  if (!messages.AskText(platform::JoinLines({"Can not find valid ZYL6.INI file,", "it should exist in your ZYL6 folder.",
                                             "Please give new path:"}),
                        platform::kDefaultTitle, folder))
    return;
  const fs::path other = fs::path(folder) / std::string(kSettingsFileName);
  if (auto s = ReadValidSettings(other)) {
    state.settings = *s;
    state.settings_path = other;
  }
}

bool LoadElementsStep(ProgramState& state, platform::Messages& messages) {
  std::string error;
  auto table = thermo::LoadAtomicWeights(state.DataPath(kAtomicWeightsFile), &error);
  if (!table) {
    messages.Show(error, platform::kDefaultTitle, platform::Icon::Warning);
    state.elements_loaded = false;
    return false;
  }
  thermo::SetElements(*table);
  state.elements_loaded = true;
  return true;
}

void OpenDatabasesStep(ProgramState& state, platform::Messages& messages) {
  const fs::path own = state.settings.own_db.empty() ? thermo::DefaultOwnDbPath() : fs::path(state.settings.own_db);
  const fs::path main = state.settings.main_db.empty() ? thermo::DefaultMainDbPath() : fs::path(state.settings.main_db);
  std::string error;
  if (!thermo::EnsureOwnDb(own, &error) && !error.empty())
    messages.Show(error, platform::kDefaultTitle, platform::Icon::Warning);
  thermo::OpenSharedSpeciesDatabases(own, main, messages);
  const thermo::SpeciesDatabases& dbs = thermo::SharedSpeciesDatabases();
  state.own_db_open = dbs.own != nullptr;
  state.main_db_open = dbs.main != nullptr;
  state.databases = &thermo::SharedSpeciesDatabases();
}

void SetBalanceFile(ProgramState& state) {
  state.balance_file = state.work_dir / std::string(kBalanceFileName);
  state.balance_name = std::string(kBalanceBaseName);
}

}  // namespace zyl::shell
