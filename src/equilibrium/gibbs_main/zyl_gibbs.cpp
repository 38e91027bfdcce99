// zyl-gibbs: the equilibrium solver program. Started with the name of a description file, it
// writes the result next to it (<input without extension>.result.json) and prints "READY".
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "equilibrium/description.h"
#include "equilibrium/solver_files.h"
#include "platform/files.h"
#include "thermo/lookup.h"
#include "thermo/species_db.h"

namespace {

namespace fs = std::filesystem;

int Fail(const std::string& message) {
  std::fprintf(stderr, "zyl-gibbs: %s\n", message.c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace zyl;
  fs::path input, output, main_db = thermo::DefaultMainDbPath(), own_db = thermo::DefaultOwnDbPath();
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if ((a == "--main-db" || a == "--own-db" || a == "-o") && i + 1 < argc) {
      (a == "--main-db" ? main_db : a == "--own-db" ? own_db : output) = argv[++i];
    } else if (a == "-h" || a == "--help") {
      std::printf("usage: zyl-gibbs INPUT [-o RESULT] [--main-db FILE] [--own-db FILE]\n");
      return 0;
    } else if (input.empty()) {
      input = a;
    } else {
      return Fail("unexpected argument: " + a);
    }
  }
  if (input.empty()) return Fail("usage: zyl-gibbs INPUT [-o RESULT] [--main-db FILE] [--own-db FILE]");
  if (output.empty()) output = fs::path(input).replace_extension(".result.json");
  std::string error;
  auto text = platform::ReadFile(input, &error);
  if (!text) return Fail(input.string() + ": " + (error.empty() ? std::string("can not read the file") : error));
  auto read = equilibrium::ReadDescriptionText(*text, input.extension().string());
  if (!read.ok()) return Fail(input.string() + ": " + read.error);
  thermo::SpeciesDatabases dbs;
  if (std::error_code ec; fs::exists(own_db, ec)) dbs.own = thermo::OpenSpeciesDb(own_db, nullptr, false, &error);
  dbs.main = thermo::OpenSpeciesDb(main_db, nullptr, false, &error);
  if (!dbs.main && !dbs.own) return Fail("no species database could be opened: " + main_db.string());
  auto r = equilibrium::Calculate(read.desc, dbs);
  if (!r.ok()) return Fail(r.error);
  if (!platform::WriteFileAtomic(output, equilibrium::ResultJson(r).dump(2) + "\n", &error))
    return Fail(error.empty() ? "can not write " + output.string() : error);
  std::printf("READY\n");
  std::fflush(stdout);
  return 0;
}
