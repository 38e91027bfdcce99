#include "diagrams/eph_setup.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <set>

#include "diagrams/species_source.h"
#include "thermo/formula.h"

namespace zyl::diagrams {

EphSpeciesReader DatabaseReader(const thermo::SpeciesDatabases& dbs) {
  return [&dbs](const std::string& name) { return thermo::ReadSpeciesData(thermo::FindSpecies(name, dbs), name); };
}

namespace {

/// True when every element of the formula is one of `allowed`, O or H.
bool Inside(const thermo::FormulaComposition& comp, const std::vector<std::string>& allowed) {
  return std::all_of(comp.entries.begin(), comp.entries.end(), [&](const thermo::FormulaEntry& e) {
    return e.symbol == "O" || e.symbol == "H" || e.symbol == thermo::kElectron ||
           std::find(allowed.begin(), allowed.end(), e.symbol) != allowed.end();
  });
}

}  // namespace

std::vector<std::string> EphSpeciesOf(const std::vector<std::string>& elements, const thermo::SpeciesDatabases& dbs) {
  std::vector<std::string> out;
  if (elements.empty()) return out;
  ForEachDatabaseFormula(dbs, [&](std::string_view f, const thermo::FormulaComposition& comp) {
    if (f.find("(ia") != std::string_view::npos) return;
    if (comp.Charge() != 0 && f.ends_with("g)")) return;  // gas ions are no species of an aqueous system
    // The main element's species with any of the others, or one other element's own species.
    bool keep = comp.Amount(elements[0]) > 0 && Inside(comp, elements);
    for (size_t i = 1; i < elements.size() && !keep; ++i)
      keep = comp.Amount(elements[i]) > 0 && Inside(comp, {elements[i]});
    if (keep) out.emplace_back(f);
  });
  return out;
}

std::vector<EphDiagram> ComputeSetup(const IepSetup& s, const EphSpeciesReader& read) {
  std::vector<EphDiagram> out;
  for (size_t i = 0; i < s.temperatures.size(); ++i) {
    EphInput in;
    in.element = s.elements.empty() ? std::string() : s.elements[0].symbol;
    for (size_t k = 1; k < s.elements.size(); ++k) {
      const IepElement& e = s.elements[k];
      in.secondary.push_back({e.symbol, {}, std::pow(10.0, e.log_activity), std::pow(10.0, e.log_pressure)});
    }
    for (const std::string& name : s.species) {
      // A species without the main element belongs to the first other element it is made of.
      thermo::FormulaComposition comp = thermo::ParseFormula(name);
      EphSecondary* owner = nullptr;
      if (!(comp.Amount(in.element) > 0)) {
        for (EphSecondary& x : in.secondary)
          if (!owner && comp.Amount(x.element) > 0 && Inside(comp, {x.element})) owner = &x;
      }
      (owner ? owner->species : in.species).push_back(name);
    }
    const double la = i < s.log_activity.size() ? s.log_activity[i] : (s.elements.empty() ? -6 : s.elements[0].log_activity);
    const double lp = i < s.log_pressure.size() ? s.log_pressure[i] : (s.elements.empty() ? 0 : s.elements[0].log_pressure);
    in.activity = std::pow(10.0, la);
    in.pressure = std::pow(10.0, lp);
    in.water_activity = std::pow(10.0, s.log_water_activity);
    in.T = s.Kelvin(i);
    in.ph_min = s.ph_min;
    in.ph_max = s.ph_max;
    in.eh_min = s.eh_min;
    in.eh_max = s.eh_max;
    out.push_back(ComputeEph(in, read));
  }
  return out;
}

std::string EphTitle(const IepSetup& s, size_t i) {
  std::string system = s.elements.empty() ? std::string("?") : s.elements[0].symbol;
  for (size_t k = 1; k < s.elements.size(); ++k) system += "-" + s.elements[k].symbol;
  const double t = i < s.temperatures.size() ? s.temperatures[i] : 0;
  return fmt::format("Eh - pH Diagram of the {}-O-H System at {} {}", system, FormatFixed(t, 2), s.celsius ? "C" : "K");
}

namespace {
constexpr int kFillStrips = 280;  ///< vertical strips across the pH range
}  // namespace

namespace {

/// The area holding the point, or null.
const EphArea* AreaAt(const std::vector<EphArea>& areas, double ph, double eh) {
  for (const EphArea& a : areas) {
    bool inside = true;
    for (size_t j = 0; j + 1 < a.polygon.size() && inside; ++j) {
      const EphPoint& p = a.polygon[j];
      const EphPoint& q = a.polygon[j + 1];
      inside = (q[0] - p[0]) * (eh - p[1]) - (q[1] - p[1]) * (ph - p[0]) >= 0;
    }
    if (inside) return &a;
  }
  return nullptr;
}

constexpr int kDashesPerPh = 12;         ///< dashes of the secondary elements' borders per pH unit
constexpr double kAcrossBorder = 1e-6;  ///< share of the box to step across a border

}  // namespace

DiagramPicture BuildEphPicture(const IepSetup& s, size_t i, const EphDiagram& d) {
  DiagramPicture pic;
  pic.title = EphTitle(s, i);
  const double la = i < s.log_activity.size() ? s.log_activity[i] : -6;
  const double lp = i < s.log_pressure.size() ? s.log_pressure[i] : 0;
  pic.subtitle = fmt::format("log a = {:g}, log p = {:g}", la, lp);
  for (size_t k = 1; k < s.elements.size(); ++k)
    pic.subtitle += fmt::format("; {}: log a = {:g}, log p = {:g}", s.elements[k].symbol, s.elements[k].log_activity,
                                s.elements[k].log_pressure);
  pic.subtitle += fmt::format(" (T = {:.2f} K)", d.T);
  pic.x = {"pH", s.ph_min, s.ph_max};
  pic.y = {"Eh (V)", s.eh_min, s.eh_max};
  pic.palette = DefaultPalette();
  const double eps = 1e-9 * (s.ph_max - s.ph_min + s.eh_max - s.eh_min);
  auto on_box = [&](const EphPoint& p, const EphPoint& q) {
    return (std::abs(p[0] - q[0]) < eps && (std::abs(p[0] - s.ph_min) < eps || std::abs(p[0] - s.ph_max) < eps)) ||
           (std::abs(p[1] - q[1]) < eps && (std::abs(p[1] - s.eh_min) < eps || std::abs(p[1] - s.eh_max) < eps));
  };
  // The species on the other side of an edge of a counter-clockwise polygon.
  const double step = kAcrossBorder * std::hypot(s.ph_max - s.ph_min, s.eh_max - s.eh_min);
  auto across = [&](const EphPoint& p, const EphPoint& q) -> const EphArea* {
    const double len = std::hypot(q[0] - p[0], q[1] - p[1]);
    if (!(len > 0)) return nullptr;
    return AreaAt(d.areas, (p[0] + q[0]) / 2 + step * (q[1] - p[1]) / len, (p[1] + q[1]) / 2 - step * (q[0] - p[0]) / len);
  };
  // With other elements a species may have one area per mosaic field: areas of one species that share
  // a border form one field, labelled once at its largest area.
  std::vector<size_t> group(d.areas.size());
  for (size_t k = 0; k < group.size(); ++k) group[k] = k;
  auto root = [&](size_t k) {
    while (group[k] != k) k = group[k] = group[group[k]];
    return k;
  };
  for (size_t k = 0; k < d.areas.size(); ++k) {
    const EphArea& a = d.areas[k];
    if (a.secondary.empty()) continue;
    for (size_t j = 0; j + 1 < a.polygon.size(); ++j) {
      const EphArea* other = across(a.polygon[j], a.polygon[j + 1]);
      if (other && other->species == a.species) group[root(k)] = root(static_cast<size_t>(other - d.areas.data()));
    }
  }
  std::vector<const EphArea*> labelled(d.areas.size(), nullptr);
  for (size_t k = 0; k < d.areas.size(); ++k) {
    const EphArea*& best = labelled[root(k)];
    if (!best || d.areas[k].area > best->area) best = &d.areas[k];
  }
  const double strip = (s.ph_max - s.ph_min) / kFillStrips;
  for (const EphArea& a : d.areas) {
    const auto it = std::find(s.species.begin(), s.species.end(), a.species);
    const int k = static_cast<int>(it - s.species.begin()) + 1;
    double lo = a.polygon[0][0], hi = lo;
    for (size_t j = 0; j + 1 < a.polygon.size(); ++j) {
      const EphPoint& p = a.polygon[j];
      const EphPoint& q = a.polygon[j + 1];
      lo = std::min(lo, p[0]);
      hi = std::max(hi, p[0]);
      if (on_box(p, q)) continue;
      // A border of the secondary mosaic inside one species' field is no border of the diagram.
      const EphArea* other = a.secondary.empty() ? nullptr : across(p, q);
      if (!other || other->species != a.species) pic.lines.push_back({p[0], p[1], q[0], q[1]});
    }
    // Each strip: the polygon's Eh span at the strip's middle (the polygon is convex).
    for (double x = s.ph_min; x < hi - eps; x += strip) {
      const double x2 = std::min(x + strip, s.ph_max);
      if (x2 < lo + eps) continue;
      const double xm = std::clamp((x + x2) / 2, lo, hi);
      double ylo = 1e300, yhi = -1e300;
      for (size_t j = 0; j + 1 < a.polygon.size(); ++j) {
        const EphPoint& p = a.polygon[j];
        const EphPoint& q = a.polygon[j + 1];
        if ((p[0] - xm) * (q[0] - xm) > 0) continue;
        const double t = q[0] == p[0] ? 0 : (xm - p[0]) / (q[0] - p[0]);
        const double y = p[1] + t * (q[1] - p[1]);
        ylo = std::min({ylo, y, q[0] == p[0] ? std::min(p[1], q[1]) : y});
        yhi = std::max({yhi, y, q[0] == p[0] ? std::max(p[1], q[1]) : y});
      }
      if (ylo < yhi) pic.fills.push_back({std::max(x, lo), ylo, std::min(x2, hi), yhi, k});
    }
    if (std::find(labelled.begin(), labelled.end(), &a) != labelled.end())
      pic.labels.push_back({a.species, a.label[0], a.label[1], k});
  }
  // The other elements' own fields: their borders dashed in the text colour.
  const double dash = 1.0 / kDashesPerPh;
  for (const std::vector<EphArea>& fields : d.secondary_areas) {
    for (const EphArea& a : fields) {
      for (size_t j = 0; j + 1 < a.polygon.size(); ++j) {
        const EphPoint& p = a.polygon[j];
        const EphPoint& q = a.polygon[j + 1];
        // Each border once (its two fields walk it in opposite directions), so the dashes keep their gaps.
        if (on_box(p, q) || q[0] - p[0] < -eps || (std::abs(q[0] - p[0]) <= eps && q[1] < p[1])) continue;
        const double len = std::hypot(q[0] - p[0], q[1] - p[1]);
        const int n = std::max(1, static_cast<int>(len / dash));
        for (int m = 0; m < n; m += 2) {
          const double t1 = static_cast<double>(m) / n, t2 = static_cast<double>(m + 1) / n;
          pic.curves.push_back({p[0] + t1 * (q[0] - p[0]), p[1] + t1 * (q[1] - p[1]), p[0] + t2 * (q[0] - p[0]),
                                p[1] + t2 * (q[1] - p[1]), kColorText - kSpeciesColorOffset});
        }
      }
    }
  }
  for (const auto& line : {d.o2_line, d.h2_line}) {
    // Clipped to the Eh limits (the line falls with pH).
    EphPoint a = line[0], b = line[1];
    const double slope = (b[1] - a[1]) / (b[0] - a[0]);
    auto at_eh = [&](double eh) { return EphPoint{a[0] + (eh - a[1]) / slope, eh}; };
    if (a[1] > s.eh_max) a = at_eh(s.eh_max);
    if (b[1] < s.eh_min) b = at_eh(s.eh_min);
    if (a[0] < b[0] && a[1] >= s.eh_min && b[1] <= s.eh_max) pic.lines.push_back({a[0], a[1], b[0], b[1]});
  }
  return pic;
}

}  // namespace zyl::diagrams
