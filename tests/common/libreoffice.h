#pragma once
// LibreOffice as an independent spreadsheet program for round-trip tests: headless, with a private
// profile that recalculates every formula on load instead of trusting the cached results.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace zyl::testing {

/// "soffice" or "libreoffice" when installed, else empty.
inline std::string FindOffice() {
  for (const char* name : {"soffice", "libreoffice"})
    if (std::system((std::string("command -v ") + name + " >/dev/null 2>&1").c_str()) == 0) return name;
  return {};
}

/// Converts `input` into `outdir` as `format` ("csv", "xlsx"); true when the program succeeded.
inline bool OfficeConvert(const std::string& office, const std::filesystem::path& input,
                          const std::filesystem::path& outdir, const std::string& format) {
  namespace fs = std::filesystem;
  const fs::path profile = outdir / "lo-profile";
  fs::create_directories(profile / "user");
  std::ofstream(profile / "user" / "registrymodifications.xcu")
      << R"(<?xml version="1.0" encoding="UTF-8"?>
<oor:items xmlns:oor="http://openoffice.org/2001/registry" xmlns:xs="http://www.w3.org/2001/XMLSchema" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">
<item oor:path="/org.openoffice.Office.Calc/Formula/Load"><prop oor:name="OOXMLRecalcMode" oor:op="fuse"><value>0</value></prop></item>
<item oor:path="/org.openoffice.Office.Calc/Formula/Load"><prop oor:name="ODFRecalcMode" oor:op="fuse"><value>0</value></prop></item>
</oor:items>
)";
  const std::string cmd = "cd '" + outdir.string() + "' && HOME='" + outdir.string() + "' " + office +
                          " -env:UserInstallation=file://" + profile.string() + " --headless --calc --convert-to " +
                          format + " --outdir '" + outdir.string() + "' '" + input.string() + "' >/dev/null 2>&1";
  return std::system(cmd.c_str()) == 0;
}

}  // namespace zyl::testing
