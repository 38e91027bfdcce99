#include "platform/paths.h"

#include <unistd.h>

#include <cstdlib>
#include <system_error>

#ifndef ZYL_SOURCE_DATA_DIR
#define ZYL_SOURCE_DATA_DIR ""
#endif

namespace zyl::platform {

namespace fs = std::filesystem;

fs::path ProgramDir() {
  std::error_code ec;
  fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  if (ec) return fs::current_path(ec);
  return exe.parent_path();
}

static fs::path& DataDirOverride() {
  static fs::path dir;
  return dir;
}

void SetDataDir(const fs::path& dir) { DataDirOverride() = dir; }

fs::path DataDir() {
  if (!DataDirOverride().empty()) return DataDirOverride();
  static const fs::path dir = [] {
    std::error_code ec;
    const fs::path prog = ProgramDir();
    for (const fs::path& candidate : {prog / ".." / "share" / "zyl", prog / "data"}) {
      if (fs::is_directory(candidate / "Databases", ec)) return fs::weakly_canonical(candidate, ec);
    }
    return fs::path(ZYL_SOURCE_DATA_DIR);
  }();
  return dir;
}

static fs::path XdgDir(const char* var, const char* fallback) {
  const char* v = std::getenv(var);
  if (v && *v && fs::path(v).is_absolute()) return fs::path(v) / "zyl";
  const char* home = std::getenv("HOME");
  return fs::path(home && *home ? home : "/tmp") / fallback / "zyl";
}

fs::path ConfigDir() { return XdgDir("XDG_CONFIG_HOME", ".config"); }
fs::path UserDataDir() { return XdgDir("XDG_DATA_HOME", ".local/share"); }

fs::path DataPath(std::string_view relative) { return DataDir() / fs::path(std::string(relative)); }

}  // namespace zyl::platform
