#pragma once
// What `zyl tpp` and `zyl lpp` share: finding a set-up file, the picture size option, and the search of
// a predominance model with its picture, text report and JSON.

#include <filesystem>
#include <string>

#include "diagrams/picture.h"
#include "diagrams/predom.h"

namespace zyl::cli {

inline constexpr const char* kMsgPictureSize = "--size takes WIDTHxHEIGHT in pixels, for example 1000x800";

/// FILE as given, or the copy in the data folder's `subfolder` when FILE is a relative name not found.
std::filesystem::path FindSetupFile(const std::string& file, const char* subfolder);
/// WIDTHxHEIGHT in pixels, each 50 to 20000; false otherwise.
bool ParsePictureSize(const std::string& size, int* width, int* height);

struct PredomReportOptions {
  std::string output;  ///< picture file, empty for none
  std::string size = "1000x800";
  diagrams::PictureOptions picture;
  bool json = false;
};

/// Searches the model's field, writes the picture when asked and prints the report or, with json,
/// {title, elements, species, axes, resolution, boundary_points, boundary_cells, areas, seconds,
/// extrapolated[, output]}. Returns the exit code (the message on stderr when not 0).
int ReportPredom(const diagrams::PredomModel& m, const PredomReportOptions& o);
/// Collects the set-up's data (species left out are noted on stderr), then ReportPredom.
int CollectAndReport(const diagrams::PredomSetup& setup, const diagrams::SpeciesSource& source,
                     const PredomReportOptions& o);

}  // namespace zyl::cli
