#pragma once
// Small species databases built by the tests themselves.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "thermo/species_db.h"
#include "thermo/species_record.h"

namespace zyl::thermo::testing {

/// A fresh folder under the test temp dir, removed at the end.
class TempDir {
 public:
  TempDir() {
    static std::atomic<int> n{0};
    path_ = std::filesystem::path(::testing::TempDir()) /
            ("zyl_thermo_" + std::to_string(::getpid()) + "_" + std::to_string(n++));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

/// One range; H kcal/mol, S and Cp coefficients cal/(mol K), T K.
inline SpeciesRecord Range(std::string formula, float t1, float t2, std::string phase, float h, float s, float a,
                           float b = 0, float c = 0, float d = 0) {
  SpeciesRecord r;
  r.formula = std::move(formula);
  r.t1 = t1;
  r.t2 = t2;
  r.phase = std::move(phase);
  r.h = h;
  r.s = s;
  r.a = a;
  r.b = b;
  r.c = c;
  r.d = d;
  return r;
}

inline void WriteBytes(const std::filesystem::path& p, const std::string& bytes) {
  std::ofstream(p, std::ios::binary) << bytes;
}

/// Writes the records in the given order, without sorting and without a catalogue.
inline void WriteRaw(const std::filesystem::path& p, const std::vector<SpeciesRecord>& recs) {
  std::string bytes;
  for (const auto& r : recs) {
    RecordBytes b = EncodeSpeciesRecord(r);
    bytes.append(reinterpret_cast<const char*>(b.data()), b.size());
  }
  WriteBytes(p, bytes);
}

}  // namespace zyl::thermo::testing
