#pragma once
// Builds the standard units workbook (Databases/Units4.UNI) from the SI conversion tables
// (NIST SP 811, 2008, appendix B; exact where the definition is exact).

#include <filesystem>
#include <string>

#include "platform/workbook.h"

namespace zyl::tools {

/// Fills an empty workbook with the standard sheets and the prefix table.
void BuildStandardUnits(platform::Workbook& book);
/// Builds and saves it; returns the error text or "".
std::string WriteStandardUnits(const std::filesystem::path& path);

}  // namespace zyl::tools
