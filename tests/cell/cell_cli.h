#pragma once
// Runs the command line's `zyl cell ARGS --json` and reads the standard potential it prints.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <regex>
#include <string>

namespace zyl::cell::testing {

/// E0 (V) printed by `zyl cell <args> --json`; NaN (after a test failure) when the command fails.
inline double CliE0(const std::string& args) {
  std::string cmd = ZYL_BIN_DIR;
  cmd.append("/zyl cell ").append(args).append(" --json");
  FILE* p = popen(cmd.c_str(), "r");
  if (!p) {
    ADD_FAILURE() << "can not run " << cmd;
    return std::nan("");
  }
  std::string out;
  char buf[256];
  while (std::fgets(buf, sizeof buf, p)) out += buf;
  int status = pclose(p);
  std::smatch m;
  if (status != 0 || !std::regex_search(out, m, std::regex(R"("E0": ([0-9.]+))"))) {
    ADD_FAILURE() << cmd << " gave " << out;
    return std::nan("");
  }
  return std::stod(m[1]);
}

}  // namespace zyl::cell::testing
