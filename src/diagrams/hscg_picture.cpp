#include "diagrams/hscg_picture.h"

#include <algorithm>

namespace zyl::diagrams {

namespace {
constexpr Rgb kLineColors[] = {{0, 92, 175},  {200, 30, 30},  {0, 140, 60},  {150, 60, 170}, {230, 120, 0},
                               {0, 150, 160}, {120, 80, 40},  {210, 40, 140}, {90, 90, 90},  {110, 150, 0}};
constexpr double kMarkHeight = 0.012;  ///< of the y span
constexpr double kLabelGap = 0.045;    ///< smallest vertical distance of two labels, of the y span
}  // namespace

Palette LinePalette() {
  Palette p = DefaultPalette();
  constexpr int n = static_cast<int>(std::size(kLineColors));
  for (int k = 1; kSpeciesColorOffset + k < kPaletteSize; ++k) p.colors[kSpeciesColorOffset + k] = kLineColors[(k - 1) % n];
  return p;
}

DiagramPicture BuildHscgPicture(const HscgTable& t, double ymin, double ymax) {
  DiagramPicture pic;
  pic.palette = LinePalette();
  pic.fill_areas = false;
  const auto& o = t.options;
  std::string gas = t.series.empty() ? std::string("O2") : t.series.front().gas;
  if (auto p = gas.find('('); p != std::string::npos) gas.erase(p);
  if (gas.empty()) gas = "O2";
  pic.title = std::string(EntryText(t.quantity));
  if (t.quantity == HscgQuantity::DeltaG) pic.title = "Ellingham Diagram";
  pic.x.title = HscgXTitle(o.temp_unit);
  pic.y.title = HscgYTitle(t.quantity, o.per_kg, o.joule, gas);
  if (t.T.empty()) return pic;
  pic.x.min = std::min(t.T.front(), t.T.back());
  pic.x.max = std::max(t.T.front(), t.T.back());
  double lo = ymin, hi = ymax;
  if (!std::isfinite(lo) || !std::isfinite(hi) || hi <= lo) AutoYRange(t, &lo, &hi);
  pic.y.min = lo;
  pic.y.max = hi;
  const double mark = kMarkHeight * (hi - lo);
  for (size_t k = 0; k < t.series.size(); ++k) {
    const auto& s = t.series[k];
    const int colour = static_cast<int>(k) + 1;
    size_t last = t.T.size();
    for (size_t i = 0; i + 1 < t.T.size(); ++i) {
      if (!std::isfinite(s.values[i]) || !std::isfinite(s.values[i + 1])) continue;
      pic.curves.push_back({t.T[i], s.values[i], t.T[i + 1], s.values[i + 1], colour});
      last = i + 1;
    }
    for (const auto& m : s.marks)
      if (std::isfinite(m.value)) pic.curves.push_back({m.T, m.value - mark, m.T, m.value + mark, colour});
    pic.legend.push_back({s.species, 0, 0, colour});
    if (last < t.T.size()) {
      const double y = std::clamp(s.values[last], lo + 2 * mark, hi - 2 * mark);
      pic.labels.push_back({s.species, t.T[last] - 0.06 * (pic.x.max - pic.x.min), y + 1.5 * mark, colour});
    }
  }
  // Labels kept apart vertically so that lines ending close together stay readable.
  const double gap = kLabelGap * (hi - lo);
  std::vector<size_t> order(pic.labels.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return pic.labels[a].y > pic.labels[b].y; });
  for (size_t i = 1; i < order.size(); ++i) {
    auto& cur = pic.labels[order[i]];
    const auto& prev = pic.labels[order[i - 1]];
    if (prev.y - cur.y < gap) cur.y = prev.y - gap;
  }
  return pic;
}

bool AddEllinghamScales(DiagramPicture& pic, const HscgTable& t, const thermo::SpeciesDatabases& dbs) {
  const auto unit = t.options.temp_unit;
  const double x0 = reactions::FromKelvin(0, unit);
  // Room for the origin points: the x axis from 0 K, the y axis over them.
  const double x1 = std::min(pic.x.min, x0), x2 = pic.x.max;
  std::vector<EllinghamScale> scales = EllinghamScales(t, dbs, x1, x2, pic.y.min, pic.y.max);
  if (scales.empty()) return false;
  double ylo = pic.y.min, yhi = pic.y.max;
  for (const auto& sc : scales) {
    ylo = std::min(ylo, sc.a);
    yhi = std::max(yhi, sc.a);
  }
  if (ylo < pic.y.min || yhi > pic.y.max) {
    const double margin = 0.03 * (yhi - ylo);
    scales = EllinghamScales(t, dbs, x1, x2, ylo < pic.y.min ? ylo - margin : ylo, yhi > pic.y.max ? yhi + margin : yhi);
    pic.y.min = ylo < pic.y.min ? ylo - margin : ylo;
    pic.y.max = yhi > pic.y.max ? yhi + margin : yhi;
  }
  pic.x.min = x1;
  for (const auto& sc : scales) {
    PictureScale right{PictureScale::Right, sc.title, {}, {}}, bottom{PictureScale::Bottom, sc.title, {}, {}};
    for (const auto& tk : sc.ticks) {
      auto& edge = tk.right ? right : bottom;
      edge.at.push_back(tk.at);
      edge.texts.push_back(PowerOfTenText(static_cast<int>(tk.log_value)));
    }
    pic.scales.push_back(std::move(right));
    if (!bottom.at.empty()) pic.scales.push_back(std::move(bottom));
    pic.points.push_back({sc.origin, x0, sc.a});
  }
  return true;
}

}  // namespace zyl::diagrams
