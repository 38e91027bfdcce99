#include "diagrams/eph.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "thermo/constants.h"
#include "thermo/formula.h"

namespace zyl::diagrams {
namespace {

constexpr double kLn10 = 2.302585092994046;
constexpr double kCalToJoule = thermo::kCalToJ;
/// Fields smaller than this share of the axis box are numerical slivers of a boundary.
constexpr double kMinAreaShare = 1e-10;
/// Two planes closer than this (J/mol over the box) are the same plane.
constexpr double kSamePlane = 1e-9;

bool EndsWith(const std::string& s, std::string_view tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

/// D(k) = c + alpha pH + beta Eh, J per mol of the element.
struct Plane {
  double c = 0, alpha = 0, beta = 0;
};

struct SpeciesPlanes {
  std::vector<std::string> names;
  std::vector<Plane> planes;
};

/// True when the formula holds only the element, the others, O, H and charge.
bool MadeOf(const thermo::FormulaComposition& comp, const std::string& element, const std::vector<std::string>& others) {
  return std::all_of(comp.entries.begin(), comp.entries.end(), [&](const thermo::FormulaEntry& e) {
    return e.symbol == element || e.symbol == "O" || e.symbol == "H" || e.symbol == thermo::kElectron ||
           std::find(others.begin(), others.end(), e.symbol) != others.end();
  });
}


/// The part of `poly` where species k's plane lies below all others.
std::vector<EphPoint> ClipToField(const SpeciesPlanes& s, size_t k, std::vector<EphPoint> poly) {
  for (size_t j = 0; j < s.planes.size() && !poly.empty(); ++j) {
    if (j == k) continue;
    const double a = s.planes[k].c - s.planes[j].c;
    const double b = s.planes[k].alpha - s.planes[j].alpha;
    const double c = s.planes[k].beta - s.planes[j].beta;
    if (std::abs(a) < kSamePlane && std::abs(b) < kSamePlane && std::abs(c) < kSamePlane) {
      if (j < k) poly.clear();  // the same plane twice: the first one wins
      continue;
    }
    poly = ClipHalfPlane(poly, a, b, c);
  }
  return poly;
}

/// Every species' field inside the convex polygon `region`; slivers left out.
std::vector<EphArea> Fields(const SpeciesPlanes& s, const std::vector<EphPoint>& region, double box_area,
                            const std::vector<std::string>& secondary) {
  std::vector<EphArea> out;
  for (size_t k = 0; k < s.planes.size(); ++k) {
    std::vector<EphPoint> poly = ClipToField(s, k, region);
    EphPoint centre{};
    const double area = poly.size() >= 3 ? PolygonArea(poly, &centre) : 0;
    if (area <= kMinAreaShare * box_area) continue;
    EphArea a;
    a.species = s.names[k];
    a.polygon = poly;
    a.polygon.push_back(poly.front());
    a.label = centre;
    a.area = area;
    a.secondary = secondary;
    out.push_back(std::move(a));
  }
  return out;
}

}  // namespace

std::vector<EphPoint> ClipHalfPlane(const std::vector<EphPoint>& poly, double a, double b, double c) {
  std::vector<EphPoint> out;
  const size_t n = poly.size();
  if (n == 0) return out;
  out.reserve(n + 1);
  auto f = [&](const EphPoint& p) { return a + b * p[0] + c * p[1]; };
  for (size_t i = 0; i < n; ++i) {
    const EphPoint& p = poly[i];
    const EphPoint& q = poly[(i + 1) % n];
    const double fp = f(p), fq = f(q);
    if (fp <= 0) out.push_back(p);
    if ((fp < 0 && fq > 0) || (fp > 0 && fq < 0)) {
      const double t = fp / (fp - fq);
      out.push_back({p[0] + t * (q[0] - p[0]), p[1] + t * (q[1] - p[1])});
    }
  }
  return out;
}

double PolygonArea(const std::vector<EphPoint>& poly, EphPoint* centroid) {
  double a2 = 0, cx = 0, cy = 0;
  const size_t n = poly.size();
  for (size_t i = 0; i < n; ++i) {
    const EphPoint& p = poly[i];
    const EphPoint& q = poly[(i + 1) % n];
    const double cross = p[0] * q[1] - q[0] * p[1];
    a2 += cross;
    cx += (p[0] + q[0]) * cross;
    cy += (p[1] + q[1]) * cross;
  }
  if (centroid) {
    if (a2 != 0) {
      *centroid = {cx / (3 * a2), cy / (3 * a2)};
    } else if (n > 0) {
      *centroid = poly[0];
    }
  }
  return a2 / 2;
}

EphDiagram ComputeEph(const EphInput& in, const EphSpeciesReader& read) {
  EphDiagram d;
  d.T = in.T;
  if (!(in.T > 0)) {
    d.error = "The temperature must be above 0 K.";
    return d;
  }
  if (!(in.ph_min < in.ph_max) || !(in.eh_min < in.eh_max)) {
    d.error = "The axis limits must be increasing: pH min < pH max and Eh min < Eh max.";
    return d;
  }
  if (!(in.activity > 0) || !(in.pressure > 0) || !(in.water_activity > 0)) {
    d.error = "The activities and the pressure must be positive.";
    return d;
  }
  const double T = in.T;
  const double RT = kGasConstantExact * T;
  d.nernst = kLn10 * RT / kFaraday;

  auto gibbs = [&](const std::string& name, bool required, double* g) -> bool {
    thermo::SpeciesData sp = read(name);
    if (sp.ranges.empty()) {
      if (required) d.error = fmt::format("Species {} is not in the database.", name);
      return false;
    }
    thermo::SpeciesValues v = thermo::CalcSpeciesAtT(sp, T);
    if (!v.ok) {
      if (required) d.error = fmt::format("Species {} has no data at {:.2f} K.", name, T);
      return false;
    }
    *g = v.g * kCalToJoule;
    return true;
  };
  double g_w = 0, g_h2 = 0, g_o2 = 0, g_h = 0, g_oh = 0;
  if (!gibbs(kWaterName, true, &g_w) || !gibbs(kHydrogenName, true, &g_h2) || !gibbs(kOxygenName, true, &g_o2))
    return d;
  g_w += RT * std::log(in.water_activity);
  gibbs(kProtonName, false, &g_h);  // absent: zero by convention
  const double g_e = 0.5 * g_h2 - g_h;

  // Water: O2 + 4H+ + 4e- = 2H2O and 2H+ + 2e- = H2, gases at 1 bar.
  const double e_o2 = (g_o2 + 4 * g_h + 4 * g_e - 2 * g_w) / (4 * kFaraday);
  const double e_h2 = (2 * g_h + 2 * g_e - g_h2) / (2 * kFaraday);
  for (int i = 0; i < 2; ++i) {
    const double ph = i == 0 ? in.ph_min : in.ph_max;
    d.o2_line[i] = {ph, e_o2 - d.nernst * ph};
    d.h2_line[i] = {ph, e_h2 - d.nernst * ph};
  }
  if (gibbs(kHydroxideName, false, &g_oh)) {
    const double pkw = (g_h + g_oh - g_w) / (kLn10 * RT);
    d.neutral_ph = pkw / 2;
  } else {
    d.warnings.push_back(fmt::format("Species {} is not in the database: no neutral pH.", kHydroxideName));
  }

  // The plane of a species before dividing by its atoms of the element: formation from its elements,
  // water, protons and electrons.
  auto raw_plane = [&](const std::string& name, const thermo::FormulaComposition& comp, double g, double activity,
                       double pressure) {
    const double o = comp.Amount("O"), h = comp.Amount("H"), z = comp.Charge();
    const double nh = 2 * o - h, ne = 2 * o - h + z;
    if (EndsWith(name, "a)")) {
      g += RT * std::log(activity);
    } else if (EndsWith(name, "g)")) {
      g += RT * std::log(pressure);
    }
    return Plane{g + nh * g_h + ne * g_e - o * g_w, -nh * kLn10 * RT, -ne * kFaraday};
  };
  auto plane_less = [](const Plane& p, const Plane& q, double f) {
    return Plane{p.c - f * q.c, p.alpha - f * q.alpha, p.beta - f * q.beta};
  };

  // Secondary elements: their own species and fields.
  std::vector<std::string> others;
  for (const EphSecondary& x : in.secondary) others.push_back(x.element);
  std::vector<SpeciesPlanes> second(in.secondary.size());
  const std::vector<EphPoint> box = {
      {in.ph_min, in.eh_min}, {in.ph_max, in.eh_min}, {in.ph_max, in.eh_max}, {in.ph_min, in.eh_max}};
  const double box_area = (in.ph_max - in.ph_min) * (in.eh_max - in.eh_min);
  for (size_t i = 0; i < in.secondary.size(); ++i) {
    const EphSecondary& x = in.secondary[i];
    if (!(x.activity > 0) || !(x.pressure > 0)) {
      d.error = "The activities and the pressure must be positive.";
      return d;
    }
    for (const std::string& name : x.species) {
      thermo::FormulaComposition comp = thermo::ParseFormula(name);
      const double n = comp.Amount(x.element);
      if (!(n > 0) || !MadeOf(comp, x.element, {})) {
        d.warnings.push_back(fmt::format("{} left out: not made of {}, O and H only.", name, x.element));
        continue;
      }
      double g = 0;
      if (!gibbs(name, false, &g)) {
        d.warnings.push_back(fmt::format("{} left out: not in the database.", name));
        continue;
      }
      Plane p = raw_plane(name, comp, g, x.activity, x.pressure);
      second[i].names.push_back(name);
      second[i].planes.push_back({p.c / n, p.alpha / n, p.beta / n});
    }
    if (second[i].planes.empty()) {
      d.error = fmt::format("No species of {} to draw.", x.element);
      return d;
    }
    d.secondary_areas.push_back(Fields(second[i], box, box_area, {}));
  }

  // The main element's species: raw planes and their atoms of each secondary element.
  SpeciesPlanes main;
  std::vector<double> atoms_m;
  std::vector<std::vector<double>> atoms_x;
  for (const std::string& name : in.species) {
    thermo::FormulaComposition comp = thermo::ParseFormula(name);
    const double m = comp.Amount(in.element);
    if (!(m > 0) || !MadeOf(comp, in.element, others)) {
      d.warnings.push_back(others.empty() ? fmt::format("{} left out: not made of {}, O and H only.", name, in.element)
                                          : fmt::format("{} left out: not made of {}, {}, O and H only.", name,
                                                        in.element, fmt::join(others, ", ")));
      continue;
    }
    double g = 0;
    if (!gibbs(name, false, &g)) {
      d.warnings.push_back(fmt::format("{} left out: not in the database.", name));
      continue;
    }
    main.names.push_back(name);
    main.planes.push_back(raw_plane(name, comp, g, in.activity, in.pressure));
    atoms_m.push_back(m);
    std::vector<double> n;
    for (const std::string& x : others) n.push_back(comp.Amount(x));
    atoms_x.push_back(std::move(n));
  }
  if (main.planes.empty()) {
    d.error = fmt::format("No species of {} to draw.", in.element);
    return d;
  }

  // The mosaic: every combination of secondary fields that overlaps, as (polygon, species index per element).
  struct Piece {
    std::vector<EphPoint> polygon;  ///< open
    std::vector<size_t> basis;
  };
  std::vector<Piece> mosaic = {{box, {}}};
  for (size_t i = 0; i < second.size(); ++i) {
    std::vector<Piece> next;
    for (const Piece& piece : mosaic) {
      for (size_t k = 0; k < second[i].planes.size(); ++k) {
        std::vector<EphPoint> poly = ClipToField(second[i], k, piece.polygon);
        if (poly.size() < 3 || PolygonArea(poly) <= kMinAreaShare * box_area) continue;
        Piece p{std::move(poly), piece.basis};
        p.basis.push_back(k);
        next.push_back(std::move(p));
      }
    }
    mosaic = std::move(next);
  }
  for (const Piece& piece : mosaic) {
    SpeciesPlanes here;
    here.names = main.names;
    for (size_t k = 0; k < main.planes.size(); ++k) {
      Plane p = main.planes[k];
      for (size_t i = 0; i < second.size(); ++i) p = plane_less(p, second[i].planes[piece.basis[i]], atoms_x[k][i]);
      here.planes.push_back({p.c / atoms_m[k], p.alpha / atoms_m[k], p.beta / atoms_m[k]});
    }
    std::vector<std::string> basis;
    for (size_t i = 0; i < second.size(); ++i) basis.push_back(second[i].names[piece.basis[i]]);
    for (EphArea& a : Fields(here, piece.polygon, box_area, basis)) d.areas.push_back(std::move(a));
  }
  if (second.empty()) return d;
  // In the order of the input species, mosaic fields in turn.
  std::stable_sort(d.areas.begin(), d.areas.end(), [&](const EphArea& a, const EphArea& b) {
    auto pos = [&](const std::string& n) { return std::find(main.names.begin(), main.names.end(), n) - main.names.begin(); };
    return pos(a.species) < pos(b.species);
  });
  return d;
}

}  // namespace zyl::diagrams
