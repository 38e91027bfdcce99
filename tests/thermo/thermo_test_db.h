#pragma once
// Small species databases built by the tests themselves.

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "common/species_range.h"
#include "common/temp_dir.h"
#include "thermo/species_db.h"
#include "thermo/species_record.h"

namespace zyl::testing {

inline void WriteBytes(const std::filesystem::path& p, const std::string& bytes) {
  std::ofstream(p, std::ios::binary) << bytes;
}

/// Writes the records in the given order, without sorting and without a catalogue.
inline void WriteRaw(const std::filesystem::path& p, const std::vector<thermo::SpeciesRecord>& recs) {
  std::string bytes;
  for (const auto& r : recs) {
    thermo::RecordBytes b = thermo::EncodeSpeciesRecord(r);
    bytes.append(reinterpret_cast<const char*>(b.data()), b.size());
  }
  WriteBytes(p, bytes);
}

}  // namespace zyl::testing
