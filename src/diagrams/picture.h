#pragma once
// The drawable form of a predominance diagram (Qt-free): lines, filled cells, labels and axes in
// display units, plus the colour palette. The window, the printer and the file renderer all paint
// this one structure; WritePicture/ReadPicture carry it from the command line to the renderer.
//
// Palette files "*.pal" (JASC-PAL text): "JASC-PAL", "0100", the number of colours, then one
// "R G B" line (0-255 each) per colour. Entries: 0 border lines, 1 background, 2 frame and ticks,
// 3 text, 4 grid; species k is filled with entry k + 10.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "diagrams/predom.h"

namespace zyl::diagrams {

inline constexpr std::string_view kPalFilter = "PAL Files (*.pal)|*.pal|";
inline constexpr int kPaletteSize = 256;
inline constexpr int kColorBorder = 0, kColorBackground = 1, kColorFrame = 2, kColorText = 3, kColorGrid = 4;
inline constexpr int kSpeciesColorOffset = 10;

struct Rgb {
  uint8_t r = 0, g = 0, b = 0;
  bool operator==(const Rgb&) const = default;
};

struct Palette {
  std::vector<Rgb> colors;  ///< kPaletteSize entries
  Rgb At(int i) const { return i >= 0 && i < static_cast<int>(colors.size()) ? colors[i] : Rgb{}; }
  Rgb Species(int k) const { return At(k + kSpeciesColorOffset); }
};

/// The built-in palette (the same as the shipped Tpp/pptcol.pal).
Palette DefaultPalette();
std::optional<Palette> ParsePalette(std::string_view text, std::string* error = nullptr);
std::string FormatPalette(const Palette& p);
std::optional<Palette> LoadPalette(const std::filesystem::path& path, std::string* error = nullptr);
/// The shipped palette for a screen of that many colours: "Tpp/ppt256.pal" for exactly 256, else
/// "Tpp/pptcol.pal" (relative to the data folder).
std::string PaletteFileFor(int64_t device_colors);

/// Tick spacing for an axis span, from the thresholds 1.2, 3, 6, 12, 24, 75, 160, 300 and 800.
double TickStep(double span);
/// Tick values from min to max (inclusive where they fall on a multiple of the step).
std::vector<double> Ticks(double min, double max);

struct PictureAxis {
  std::string title;
  double min = 0, max = 1;  ///< display units (log10 p, or deg C / K)
};
struct PictureFill {
  double x1, y1, x2, y2;
  int species;
};
struct PictureLabel {
  std::string text;
  double x, y;  ///< display units
  int species;
};

/// A line piece drawn in a species' colour (function-of-temperature diagrams).
struct PictureCurve {
  double x1, y1, x2, y2;
  int species;
};

/// A scale beside the plot: ticks at display positions along the right edge (y values) or the
/// bottom edge (x values), with their texts. Several scales on one edge stack outwards.
struct PictureScale {
  enum Edge { Right, Bottom };
  Edge edge = Right;
  std::string title;
  std::vector<double> at;          ///< display units
  std::vector<std::string> texts;  ///< one per tick
};
/// A named point drawn as a dot with its name (display units).
struct PicturePoint {
  std::string text;
  double x, y;
};

struct DiagramPicture {
  std::string title, subtitle;
  PictureAxis x, y;
  std::vector<Segment> lines;      ///< display units
  std::vector<PictureFill> fills;  ///< display units
  std::vector<PictureLabel> labels;
  /// Final cells of the border, drawn as filled black boxes instead of the traced lines.
  std::vector<PictureFill> boxes;
  std::vector<PictureCurve> curves;  ///< display units, in species colours
  std::vector<PictureScale> scales;
  std::vector<PicturePoint> points;
  std::vector<PictureLabel> legend;  ///< entries of a legend box (x, y unused), in species colours
  bool fill_areas = true;
  Palette palette;
};

struct PictureOptions {
  bool fill_areas = true;
  bool box_lines = false;  ///< the border as the search's final cells rather than traced lines
  Palette palette = DefaultPalette();
};

/// Axis title of a quantity: "log p(O2)" for a gas, "Temperature (°C)" or "Temperature (K)".
std::string AxisTitle(const PredomModel& m, bool x_axis);

/// What an axis of the diagram shows, for reports and bindings.
struct AxisDescription {
  std::string title;  ///< AxisTitle
  std::string name;   ///< "Temperature" or the gas of the axis
  std::string unit;   ///< "K" or "log10(p/bar)"
  double min = 0;     ///< in unit
  double max = 0;     ///< in unit
};
AxisDescription DescribeAxis(const PredomModel& m, bool x_axis);
/// The line under the title naming the constant: "T = 1000 K", "log p(S2) = -2".
std::string ConstantText(const PredomModel& m);

/// Everything to draw, from a finished search (border lines traced, cells merged, labels placed).
DiagramPicture BuildPicture(const PredomModel& m, const PredomResult& r, const PictureOptions& o = {});

std::string WritePicture(const DiagramPicture& p);
std::optional<DiagramPicture> ReadPicture(std::string_view text, std::string* error = nullptr);

}  // namespace zyl::diagrams
