#pragma once
// Workbook files: the zipped spreadsheet container (.xlsx and the modules' own extensions) and CSV.
// Internal to the platform library; callers use Workbook::Load and Workbook::Save.

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/workbook.h"

namespace zyl::platform {

/// Limits against damaged or hostile files.
inline constexpr std::size_t kMaxFileBytes = 256u << 20;        ///< largest file read
inline constexpr std::size_t kMaxEntryBytes = 256u << 20;       ///< largest unpacked part of a container
inline constexpr std::size_t kMaxUnpackedBytes = 512u << 20;    ///< all unpacked parts together
inline constexpr std::size_t kMaxCells = 4'000'000;             ///< cells in one file

/// Reads a zipped spreadsheet from memory into *out (a fresh workbook); returns the error text or "".
std::string ReadXlsx(std::string_view bytes, Workbook* out);
/// Writes a zipped spreadsheet to path (directly; Save adds the temporary file and rename).
std::string WriteXlsx(const Workbook& wb, const std::filesystem::path& path);

/// Reads CSV text into sheet 0 of *out; returns the error text or "".
std::string ReadCsv(std::string_view text, Workbook* out);
/// One sheet as CSV text.
std::string CsvText(const Workbook& wb, int sheet, bool formatted);

}  // namespace zyl::platform
