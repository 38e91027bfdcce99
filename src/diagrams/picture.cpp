#include "diagrams/picture.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <tuple>

#include <fmt/format.h>

#include "platform/files.h"
#include "platform/text.h"

namespace zyl::diagrams {

namespace {

using platform::TrimView;

// Light, clearly distinguishable area colours (after ColorBrewer "Set3"), then golden-angle hues.
constexpr Rgb kAreaColors[] = {{141, 211, 199}, {255, 255, 179}, {190, 186, 218}, {251, 128, 114},
                               {128, 177, 211}, {253, 180, 98},  {179, 222, 105}, {252, 205, 229},
                               {217, 217, 217}, {188, 128, 189}, {204, 235, 197}, {255, 237, 111}};

Rgb FromHsl(double h, double s, double l) {
  auto f = [&](double n) {
    double k = std::fmod(n + h / 30.0, 12.0);
    double a = s * std::min(l, 1 - l);
    return l - a * std::max(-1.0, std::min({k - 3, 9 - k, 1.0}));
  };
  auto byte = [](double v) { return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255)); };
  return {byte(f(0)), byte(f(8)), byte(f(4))};
}

std::string GasLabel(const std::string& name) {
  std::string n = name;
  if (n.size() > 3 && n.compare(n.size() - 3, 3, "(g)") == 0) n.resize(n.size() - 3);
  return n;
}

// Reads whitespace-separated numbers from a line; false when fewer than wanted or not numbers.
template <typename T>
bool ReadNumbers(std::string_view& s, T* out, int count) {
  for (int i = 0; i < count; ++i) {
    while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
    const char* end = s.data() + s.size();
    auto [p, ec] = std::from_chars(s.data(), end, out[i]);
    if (ec != std::errc()) return false;
    s.remove_prefix(static_cast<size_t>(p - s.data()));
  }
  return true;
}

}  // namespace

Palette DefaultPalette() {
  Palette p;
  p.colors.assign(kPaletteSize, Rgb{255, 255, 255});
  p.colors[kColorBorder] = {0, 0, 0};
  p.colors[kColorBackground] = {255, 255, 255};
  p.colors[kColorFrame] = {40, 40, 40};
  p.colors[kColorText] = {20, 20, 20};
  p.colors[kColorGrid] = {205, 205, 205};
  for (int i = 5; i <= kSpeciesColorOffset; ++i) p.colors[i] = {128, 128, 128};
  constexpr int n = static_cast<int>(std::size(kAreaColors));
  for (int k = 1; kSpeciesColorOffset + k < kPaletteSize; ++k) {
    p.colors[kSpeciesColorOffset + k] =
        k <= n ? kAreaColors[k - 1] : FromHsl(std::fmod(k * 137.50776, 360.0), 0.55, 0.80);
  }
  return p;
}

std::optional<Palette> ParsePalette(std::string_view text, std::string* error) {
  auto fail = [&](std::string msg) -> std::optional<Palette> {
    if (error) *error = std::move(msg);
    return std::nullopt;
  };
  std::vector<std::string_view> lines;
  for (size_t start = 0; start < text.size();) {
    size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back(TrimView(text.substr(start, end - start)));
    start = end + 1;
  }
  if (lines.size() < 3 || lines[0] != "JASC-PAL") return fail("This is not a palette file (JASC-PAL).");
  int count = 0;
  std::string_view c = lines[2];
  if (!ReadNumbers(c, &count, 1) || count < 1 || count > 4096) return fail("The palette file gives no colour count.");
  if (static_cast<int>(lines.size()) < 3 + count) return fail("The palette file holds fewer colours than it says.");
  Palette p = DefaultPalette();
  if (count > kPaletteSize) p.colors.resize(count);
  for (int i = 0; i < count; ++i) {
    std::string_view l = lines[3 + i];
    int v[3];
    if (!ReadNumbers(l, v, 3) || std::any_of(v, v + 3, [](int x) { return x < 0 || x > 255; }))
      return fail(fmt::format("The palette file has a bad colour on line {}.", 4 + i));
    p.colors[i] = {static_cast<uint8_t>(v[0]), static_cast<uint8_t>(v[1]), static_cast<uint8_t>(v[2])};
  }
  return p;
}

std::string FormatPalette(const Palette& p) {
  std::string out = fmt::format("JASC-PAL\n0100\n{}\n", p.colors.size());
  for (const Rgb& c : p.colors) out += fmt::format("{} {} {}\n", c.r, c.g, c.b);
  return out;
}

std::optional<Palette> LoadPalette(const std::filesystem::path& path, std::string* error) {
  std::optional<std::string> text = platform::ReadFile(path, error);
  if (!text) return std::nullopt;
  return ParsePalette(*text, error);
}

std::string PaletteFileFor(int64_t device_colors) {
  return device_colors == 256 ? "Tpp/ppt256.pal" : "Tpp/pptcol.pal";
}

double TickStep(double span) {
  span = std::fabs(span);
  static constexpr double kLimits[] = {1.2, 3, 6, 12, 24, 75, 160, 300, 800};
  static constexpr double kSteps[] = {0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50};
  for (size_t i = 0; i < std::size(kLimits); ++i)
    if (span < kLimits[i]) return kSteps[i];
  if (span < 1600) return 100;
  double step = 100;
  while (span / step > 16) step *= span / step > 40 ? 5 : 2;
  return step;
}

std::vector<double> Ticks(double min, double max) {
  if (max < min) std::swap(min, max);
  double step = TickStep(max - min);
  std::vector<double> t;
  if (!(step > 0) || !std::isfinite(min) || !std::isfinite(max)) return t;
  double eps = step * 1e-9;
  for (double k = std::ceil((min - eps) / step); k * step <= max + eps && t.size() < 1000; k += 1) {
    double v = k * step;
    t.push_back(std::fabs(v) < eps ? 0.0 : v);
  }
  return t;
}

std::string AxisTitle(const PredomModel& m, bool x_axis) {
  Quantity q = x_axis ? m.xq : m.yq;
  if (q == Quantity::Temperature) return m.celsius ? "Temperature (°C)" : "Temperature (K)";
  bool first = (q == Quantity::Gas1) != m.swap_gases;
  return "log p(" + GasLabel(first ? m.gas1 : m.gas2) + ")";
}

AxisDescription DescribeAxis(const PredomModel& m, bool x_axis) {
  AxisDescription a;
  a.title = AxisTitle(m, x_axis);
  const Quantity q = x_axis ? m.xq : m.yq;
  if (q == Quantity::Temperature) {
    a.name = std::string(kTemperature);
    a.unit = "K";
  } else {
    const bool first = (q == Quantity::Gas1) != m.swap_gases;
    a.name = first ? m.gas1 : m.gas2;
    a.unit = "log10(p/bar)";
  }
  a.min = x_axis ? m.xmin : m.ymin;
  a.max = x_axis ? m.xmax : m.ymax;
  return a;
}

std::string ConstantText(const PredomModel& m) {
  if (m.xq != Quantity::Temperature) {
    if (m.celsius) return fmt::format("T = {:g} °C", m.T - kCelsiusOffset);
    return fmt::format("T = {:g} K", m.T);
  }
  const std::string& gas = m.swap_gases ? m.gas1 : m.gas2;
  return fmt::format("log p({}) = {:g}", GasLabel(gas), m.log_p_constant);
}

DiagramPicture BuildPicture(const PredomModel& m, const PredomResult& r, const PictureOptions& o) {
  DiagramPicture p;
  p.title = DiagramTitle(m.elements);
  p.subtitle = ConstantText(m);
  p.fill_areas = o.fill_areas;
  p.palette = o.palette;
  const bool tx = m.xq == Quantity::Temperature && m.celsius;
  auto X = [&](double x) { return tx ? x - kCelsiusOffset : x; };
  p.x = {AxisTitle(m, true), X(m.xmin), X(m.xmax)};
  p.y = {AxisTitle(m, false), m.ymin, m.ymax};

  if (o.box_lines) {
    for (const BoundaryCell& c : r.cells) p.boxes.push_back({X(c.x), c.y, X(c.x + r.cell_w), c.y + r.cell_h, c.species});
  } else {
    for (const Segment& s : TraceBoundaries(m, r)) p.lines.push_back({X(s.x1), s.y1, X(s.x2), s.y2});
  }

  // Uniform cells and the quarters of the final cells (by their corners), merged along rows and
  // then along columns: a few thousand rectangles instead of tens of thousands.
  std::vector<PictureFill> cells;
  cells.reserve(r.labels.size() + 4 * r.cells.size());
  for (const AreaLabel& a : r.labels) {
    double hw = std::ldexp(r.cell_w, r.resolution - a.level) / 2;
    double hh = std::ldexp(r.cell_h, r.resolution - a.level) / 2;
    cells.push_back({a.x - hw, a.y - hh, a.x + hw, a.y + hh, a.species});
  }
  for (const BoundaryCell& c : r.cells) {
    double hw = r.cell_w / 2, hh = r.cell_h / 2;
    for (int k = 0; k < 4; ++k) {
      double x = c.x + (k & 1) * hw, y = c.y + (k >> 1) * hh;
      cells.push_back({x, y, x + hw, y + hh, c.corners[k]});
    }
  }
  const double tol = 1e-9 * std::max(r.cell_w, r.cell_h);
  auto merge = [&](bool rows) {
    std::sort(cells.begin(), cells.end(), [&](const PictureFill& a, const PictureFill& b) {
      return rows ? std::tie(a.y1, a.y2, a.x1) < std::tie(b.y1, b.y2, b.x1)
                  : std::tie(a.x1, a.x2, a.y1) < std::tie(b.x1, b.x2, b.y1);
    });
    std::vector<PictureFill> merged;
    for (const PictureFill& c : cells) {
      if (!merged.empty()) {
        PictureFill& last = merged.back();
        bool joins = rows ? last.y1 == c.y1 && last.y2 == c.y2 && std::fabs(last.x2 - c.x1) < tol
                          : last.x1 == c.x1 && last.x2 == c.x2 && std::fabs(last.y2 - c.y1) < tol;
        if (joins && last.species == c.species) {
          (rows ? last.x2 : last.y2) = rows ? c.x2 : c.y2;
          continue;
        }
      }
      merged.push_back(c);
    }
    cells = std::move(merged);
  };
  merge(true);
  merge(false);
  p.fills = std::move(cells);
  for (PictureFill& f : p.fills) f.x1 = X(f.x1), f.x2 = X(f.x2);

  for (const AreaSummary& a : PlaceLabels(r)) p.labels.push_back({m.names[a.species - 1], X(a.x), a.y, a.species});
  return p;
}

std::string WritePicture(const DiagramPicture& p) {
  std::string out = "ZYLPICTURE 1\n";
  out += "title " + p.title + "\n";
  out += "subtitle " + p.subtitle + "\n";
  out += fmt::format("xaxis {} {} {}\n", p.x.min, p.x.max, p.x.title);
  out += fmt::format("yaxis {} {} {}\n", p.y.min, p.y.max, p.y.title);
  out += fmt::format("fill {}\n", p.fill_areas ? 1 : 0);
  for (size_t i = 0; i < p.palette.colors.size(); ++i) {
    const Rgb& c = p.palette.colors[i];
    out += fmt::format("color {} {} {} {}\n", i, c.r, c.g, c.b);
  }
  for (const Segment& s : p.lines) out += fmt::format("L {} {} {} {}\n", s.x1, s.y1, s.x2, s.y2);
  for (const PictureFill& f : p.fills) out += fmt::format("F {} {} {} {} {}\n", f.x1, f.y1, f.x2, f.y2, f.species);
  for (const PictureFill& b : p.boxes) out += fmt::format("B {} {} {} {} {}\n", b.x1, b.y1, b.x2, b.y2, b.species);
  for (const PictureCurve& c : p.curves) out += fmt::format("C {} {} {} {} {}\n", c.x1, c.y1, c.x2, c.y2, c.species);
  for (const PictureLabel& l : p.labels) out += fmt::format("T {} {} {} {}\n", l.x, l.y, l.species, l.text);
  for (const PictureScale& sc : p.scales) {
    out += fmt::format("S {} {}\n", sc.edge == PictureScale::Right ? 0 : 1, sc.title);
    for (size_t i = 0; i < sc.at.size() && i < sc.texts.size(); ++i) out += fmt::format("K {} {}\n", sc.at[i], sc.texts[i]);
  }
  for (const PicturePoint& pt : p.points) out += fmt::format("P {} {} {}\n", pt.x, pt.y, pt.text);
  for (const PictureLabel& l : p.legend) out += fmt::format("G {} {}\n", l.species, l.text);
  return out;
}

std::optional<DiagramPicture> ReadPicture(std::string_view text, std::string* error) {
  auto fail = [&](size_t line) -> std::optional<DiagramPicture> {
    if (error) *error = fmt::format("picture data: bad line {}", line);
    return std::nullopt;
  };
  DiagramPicture p;
  p.palette.colors.assign(kPaletteSize, Rgb{255, 255, 255});
  size_t n = 0;
  bool header = false;
  for (size_t start = 0; start < text.size(); ++n) {
    size_t end = std::min(text.find('\n', start), text.size());
    std::string_view l = text.substr(start, end - start);
    start = end + 1;
    if (n == 0) {
      if (l != "ZYLPICTURE 1") return fail(1);
      header = true;
      continue;
    }
    size_t sp = l.find(' ');
    std::string_view key = l.substr(0, sp), rest = sp == std::string_view::npos ? "" : l.substr(sp + 1);
    auto axis = [&](PictureAxis& a) {
      double v[2];
      if (!ReadNumbers(rest, v, 2)) return false;
      a.min = v[0], a.max = v[1];
      a.title = std::string(TrimView(rest));
      return true;
    };
    if (key == "title") {
      p.title = std::string(rest);
    } else if (key == "subtitle") {
      p.subtitle = std::string(rest);
    } else if (key == "xaxis" || key == "yaxis") {
      if (!axis(key == "xaxis" ? p.x : p.y)) return fail(n + 1);
    } else if (key == "fill") {
      p.fill_areas = TrimView(rest) == "1";
    } else if (key == "color") {
      int v[4];
      if (!ReadNumbers(rest, v, 4) || v[0] < 0 || v[0] >= 4096) return fail(n + 1);
      if (v[0] >= static_cast<int>(p.palette.colors.size())) p.palette.colors.resize(v[0] + 1);
      p.palette.colors[v[0]] = {static_cast<uint8_t>(v[1]), static_cast<uint8_t>(v[2]), static_cast<uint8_t>(v[3])};
    } else if (key == "L") {
      double v[4];
      if (!ReadNumbers(rest, v, 4)) return fail(n + 1);
      p.lines.push_back({v[0], v[1], v[2], v[3]});
    } else if (key == "F" || key == "B") {
      double v[4];
      int s = 0;
      if (!ReadNumbers(rest, v, 4) || !ReadNumbers(rest, &s, 1)) return fail(n + 1);
      (key == "F" ? p.fills : p.boxes).push_back({v[0], v[1], v[2], v[3], s});
    } else if (key == "C") {
      double v[4];
      int s = 0;
      if (!ReadNumbers(rest, v, 4) || !ReadNumbers(rest, &s, 1)) return fail(n + 1);
      p.curves.push_back({v[0], v[1], v[2], v[3], s});
    } else if (key == "T") {
      double v[2];
      int s = 0;
      if (!ReadNumbers(rest, v, 2) || !ReadNumbers(rest, &s, 1)) return fail(n + 1);
      p.labels.push_back({std::string(TrimView(rest)), v[0], v[1], s});
    } else if (key == "S") {
      int e = 0;
      if (!ReadNumbers(rest, &e, 1) || (e != 0 && e != 1)) return fail(n + 1);
      p.scales.push_back({e == 0 ? PictureScale::Right : PictureScale::Bottom, std::string(TrimView(rest)), {}, {}});
    } else if (key == "K") {
      double v = 0;
      if (p.scales.empty() || !ReadNumbers(rest, &v, 1)) return fail(n + 1);
      p.scales.back().at.push_back(v);
      p.scales.back().texts.push_back(std::string(TrimView(rest)));
    } else if (key == "P") {
      double v[2];
      if (!ReadNumbers(rest, v, 2)) return fail(n + 1);
      p.points.push_back({std::string(TrimView(rest)), v[0], v[1]});
    } else if (key == "G") {
      int s = 0;
      if (!ReadNumbers(rest, &s, 1)) return fail(n + 1);
      p.legend.push_back({std::string(TrimView(rest)), 0, 0, s});
    } else if (!l.empty()) {
      return fail(n + 1);
    }
  }
  if (!header) return fail(1);
  return p;
}

}  // namespace zyl::diagrams
