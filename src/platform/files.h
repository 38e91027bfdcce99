#pragma once
// Whole-file reads and atomic writes: a file is written to a temporary name and renamed into place.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace zyl::platform {

/// Reads a whole file; nullopt (with the reason in *error) when it can not be read.
std::optional<std::string> ReadFile(const std::filesystem::path& path, std::string* error = nullptr);

/// Reads a whole file and parses its text with parse(text) -> Result; when the file can not be read, a
/// Result whose `error` holds the reason (or `unreadable` when there is none).
template <class Result, class Parse>
Result ReadAndParse(const std::filesystem::path& path, Parse&& parse, std::string_view unreadable) {
  std::string error;
  std::optional<std::string> text = ReadFile(path, &error);
  if (!text) {
    Result r;
    r.error = error.empty() ? std::string(unreadable) : error;
    return r;
  }
  return parse(*text);
}

/// Writes content to path through a temporary file in the same folder, then renames it into place.
/// On failure the old file is untouched and *error holds the reason; returns false.
bool WriteFileAtomic(const std::filesystem::path& path, std::string_view content, std::string* error = nullptr);

/// Moves a finished temporary file over path (same folder), keeping the old file on failure.
bool ReplaceFile(const std::filesystem::path& temp, const std::filesystem::path& path, std::string* error = nullptr);

/// A temporary file name beside path, unique to this process.
std::filesystem::path TempNameBeside(const std::filesystem::path& path);

}  // namespace zyl::platform
