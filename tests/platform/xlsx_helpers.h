#pragma once
// Builds zip containers from hand-written parts, as a foreign spreadsheet writer would.

#include <minizip/zip.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/files.h"

namespace zyl::platform::testing {

using Parts = std::vector<std::pair<std::string, std::string>>;

inline bool WriteZip(const std::filesystem::path& path, const Parts& parts, int level = 6) {
  zipFile z = zipOpen64(path.c_str(), 0);
  if (!z) return false;
  for (const auto& [name, content] : parts) {
    zip_fileinfo info{};
    if (zipOpenNewFileInZip64(z, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED, level, 0) != ZIP_OK)
      return false;
    zipWriteInFileInZip(z, content.data(), unsigned(content.size()));
    zipCloseFileInZip(z);
  }
  return zipClose(z, nullptr) == ZIP_OK;
}

inline std::string ZipBytes(const std::filesystem::path& dir, const Parts& parts) {
  auto p = dir / "tmp.zip";
  WriteZip(p, parts);
  return ReadFile(p).value_or("");
}

inline const char* kContentTypes =
    R"(<?xml version="1.0" encoding="UTF-8"?><Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"/>)";

inline std::string WorkbookXml(const std::vector<std::string>& names) {
  std::string s =
      R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<workbook xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"><sheets>)";
  for (std::size_t i = 0; i < names.size(); ++i)
    s += "<sheet name=\"" + names[i] + "\" sheetId=\"" + std::to_string(i + 1) + "\" r:id=\"rId" +
         std::to_string(i + 1) + "\"/>";
  return s + "</sheets></workbook>";
}

inline std::string RelsXml(std::size_t sheets) {
  std::string s = R"(<?xml version="1.0" encoding="UTF-8"?>
<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)";
  for (std::size_t i = 0; i < sheets; ++i)
    s += "<Relationship Id=\"rId" + std::to_string(i + 1) +
         "\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet\" "
         "Target=\"worksheets/sheet" + std::to_string(i + 1) + ".xml\"/>";
  return s + "</Relationships>";
}

inline std::string SheetXml(const std::string& data, const std::string& extra = "") {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<worksheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">)" +
         extra + "<sheetData>" + data + "</sheetData></worksheet>";
}

/// A minimal foreign workbook: one sheet per entry of sheet_data.
inline Parts MinimalParts(const std::vector<std::pair<std::string, std::string>>& sheets) {
  Parts p{{"[Content_Types].xml", kContentTypes}};
  std::vector<std::string> names;
  for (const auto& s : sheets) names.push_back(s.first);
  p.push_back({"xl/workbook.xml", WorkbookXml(names)});
  p.push_back({"xl/_rels/workbook.xml.rels", RelsXml(sheets.size())});
  for (std::size_t i = 0; i < sheets.size(); ++i)
    p.push_back({"xl/worksheets/sheet" + std::to_string(i + 1) + ".xml", SheetXml(sheets[i].second)});
  return p;
}

}  // namespace zyl::platform::testing
