#pragma once
// Runs the built `zyl` and `zyl-gibbs` on files in a fresh folder, with the shipped main database.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "common/temp_dir.h"

namespace zyl::testing {

struct RunResult {
  int status = -1;  ///< exit status; -2 when the program is not built
  std::string out, err;
};

class ProgramFixture : public ::testing::Test {
 protected:
  /// Copies the shipped example data/Gibbs/<example> into the folder as `name`.
  void CopyExample(const std::string& example, const std::string& name) {
    std::filesystem::copy_file(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Gibbs" / example, dir_ / name,
                               std::filesystem::copy_options::overwrite_existing);
  }
  RunResult Exec(const std::string& program, const std::string& args) {
    const std::filesystem::path exe = std::filesystem::path(ZYL_BIN_DIR) / program;
    if (!std::filesystem::exists(exe)) return {-2, "", program + " not built"};
    const std::string db = (std::filesystem::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL").string();
    const std::string cmd = "'" + exe.string() + "' " + args + " --main-db '" + db + "' >'" + (dir_ / "o").string() +
                            "' 2>'" + (dir_ / "e").string() + "'";
    const int rc = std::system(cmd.c_str());
    return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, ReadWholeFile(dir_ / "o"), ReadWholeFile(dir_ / "e")};
  }
  /// The quoted path of a file in the folder, for a command line.
  std::string P(const std::string& name) const { return "'" + (dir_ / name).string() + "'"; }

  TempDir dir_{"zyl_eq"};
};

}  // namespace zyl::testing
