#include "balance/heat_loss.h"

#include <cmath>
#include <numbers>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "thermo/constants.h"

namespace zyl::balance {

namespace {

constexpr double kTolK = 1e-9;
constexpr int kMaxIterations = 500;

// Radiation between a surface at ts and surroundings at tg (K), as a coefficient on (tg - ts).
double RadiationCoefficient(double emissivity, double tg, double ts) {
  return emissivity * kStefanBoltzmann * (tg * tg + ts * ts) * (tg + ts);
}

bool NoFilm(const WallFace& f) { return f.h == 0 && f.emissivity == 0; }

}  // namespace

std::string CheckWall(const WallInput& in) {
  if (in.layers.empty()) return "Give at least one wall layer.";
  if (int(in.layers.size()) > kMaxWallLayers)
    return fmt::format("A wall has at most {} layers.", kMaxWallLayers);
  for (std::size_t i = 0; i < in.layers.size(); ++i) {
    const auto& l = in.layers[i];
    if (!(l.thickness > 0)) return fmt::format("Layer {}: the thickness must be above 0 m.", i + 1);
    if (!(l.conductivity > 0)) return fmt::format("Layer {}: the conductivity must be above 0 W/(m K).", i + 1);
  }
  if (in.shape == WallShape::Flat && !(in.area > 0)) return "The wall area must be above 0 m2.";
  if (in.shape == WallShape::Cylinder) {
    if (!(in.inner_radius > 0)) return "The inner radius must be above 0 m.";
    if (!(in.length > 0)) return "The length must be above 0 m.";
  }
  for (const auto* f : {&in.inside, &in.outside}) {
    const char* side = f == &in.inside ? "Inside" : "Outside";
    if (!std::isfinite(f->t_c) || f->t_c <= -thermo::kCelsiusOffset)
      return fmt::format("{}: the temperature must be above absolute zero.", side);
    if (!(f->h >= 0) || !std::isfinite(f->h)) return fmt::format("{}: the convection coefficient can not be negative.", side);
    if (!(f->emissivity >= 0 && f->emissivity <= 1)) return fmt::format("{}: the emissivity must be 0 to 1.", side);
  }
  return {};
}

WallResult SolveWall(const WallInput& in) {
  WallResult r;
  r.error = CheckWall(in);
  if (!r.ok()) return r;
  constexpr double kTwoPi = 2 * std::numbers::pi;
  // Resistances of the layers, K/W.
  std::vector<double> layer_r;
  double radius = in.inner_radius;
  for (const auto& l : in.layers) {
    double rl;
    if (in.shape == WallShape::Flat) {
      rl = l.thickness / (l.conductivity * in.area);
    } else {
      double outer = radius + l.thickness;
      rl = std::log(outer / radius) / (kTwoPi * l.conductivity * in.length);
      radius = outer;
    }
    layer_r.push_back(rl);
    r.wall_resistance += rl;
  }
  r.inner_area = in.shape == WallShape::Flat ? in.area : kTwoPi * in.inner_radius * in.length;
  r.outer_area = in.shape == WallShape::Flat ? in.area : kTwoPi * radius * in.length;

  const double tin = in.inside.t_c + thermo::kCelsiusOffset, tout = in.outside.t_c + thermo::kCelsiusOffset;
  // Surface temperatures by successive linearisation of the radiation terms; the film resistances are
  // monotone in the surface temperatures, so this converges from the linear (convection-only) start.
  double s1 = tin - (tin - tout) * 0.1, s2 = tout + (tin - tout) * 0.1;
  for (r.iterations = 1; r.iterations <= kMaxIterations; ++r.iterations) {
    double r_in = 0, r_out = 0;
    if (!NoFilm(in.inside)) {
      r.h_rad_inside = RadiationCoefficient(in.inside.emissivity, tin, s1);
      r_in = 1.0 / ((in.inside.h + r.h_rad_inside) * r.inner_area);
    }
    if (!NoFilm(in.outside)) {
      r.h_rad_outside = RadiationCoefficient(in.outside.emissivity, tout, s2);
      r_out = 1.0 / ((in.outside.h + r.h_rad_outside) * r.outer_area);
    }
    r.q_w = (tin - tout) / (r_in + r.wall_resistance + r_out);
    double n1 = tin - r.q_w * r_in, n2 = tout + r.q_w * r_out;
    // Damping keeps the iteration stable when radiation dominates.
    double d = std::max(std::fabs(n1 - s1), std::fabs(n2 - s2));
    s1 = 0.5 * (s1 + n1);
    s2 = 0.5 * (s2 + n2);
    if (d < kTolK) {
      s1 = n1;
      s2 = n2;
      break;
    }
  }
  if (r.iterations > kMaxIterations) {
    r.error = "The surface temperatures did not converge.";
    return r;
  }
  r.t_inner_surface = s1 - thermo::kCelsiusOffset;
  r.t_outer_surface = s2 - thermo::kCelsiusOffset;
  r.flux_outer = r.q_w / r.outer_area;
  double t = s1;
  for (std::size_t i = 0; i + 1 < layer_r.size(); ++i) {
    t -= r.q_w * layer_r[i];
    r.interfaces.push_back(t - thermo::kCelsiusOffset);
  }
  return r;
}

std::string ParseWallJson(std::string_view text, WallInput* out) {
  nlohmann::json j = nlohmann::json::parse(text, nullptr, false);
  if (j.is_discarded() || !j.is_object()) return "The heat loss file is not valid JSON.";
  WallInput in;
  auto number = [](const nlohmann::json& o, const char* key, double* v) -> std::string {
    if (!o.contains(key)) return {};
    if (!o[key].is_number()) return fmt::format("\"{}\" must be a number.", key);
    *v = o[key].get<double>();
    return {};
  };
  std::string e;
  std::string shape = j.value("shape", std::string("flat"));
  if (shape == "flat") in.shape = WallShape::Flat;
  else if (shape == "cylinder") in.shape = WallShape::Cylinder;
  else return "\"shape\" must be \"flat\" or \"cylinder\".";
  std::string unit = j.contains("temperature_unit") && j["temperature_unit"].is_string()
                         ? j["temperature_unit"].get<std::string>() : "C";
  if (unit != "C" && unit != "K") return "\"temperature_unit\" must be \"C\" or \"K\".";
  if (!(e = number(j, "area", &in.area)).empty()) return e;
  if (!(e = number(j, "inner_radius", &in.inner_radius)).empty()) return e;
  if (!(e = number(j, "length", &in.length)).empty()) return e;
  if (!j.contains("layers") || !j["layers"].is_array()) return "The heat loss file needs a \"layers\" array.";
  for (const auto& l : j["layers"]) {
    if (!l.is_object()) return "Every layer must be an object {name, thickness, conductivity}.";
    WallLayer layer;
    if (l.contains("name") && l["name"].is_string()) layer.name = l["name"].get<std::string>();
    if (!(e = number(l, "thickness", &layer.thickness)).empty()) return e;
    if (!(e = number(l, "conductivity", &layer.conductivity)).empty()) return e;
    in.layers.push_back(layer);
  }
  for (auto [key, face] : {std::pair{"inside", &in.inside}, std::pair{"outside", &in.outside}}) {
    if (!j.contains(key)) continue;
    const auto& f = j[key];
    if (!f.is_object()) return fmt::format("\"{}\" must be an object {{T, h, emissivity}}.", key);
    if (!(e = number(f, "T", &face->t_c)).empty()) return e;
    if (unit == "K" && f.contains("T")) face->t_c -= thermo::kCelsiusOffset;
    if (!(e = number(f, "h", &face->h)).empty()) return e;
    if (!(e = number(f, "emissivity", &face->emissivity)).empty()) return e;
  }
  e = CheckWall(in);
  if (!e.empty()) return e;
  *out = in;
  return {};
}

std::string HeatLossLine(const WallResult& r, std::string_view description) {
  return fmt::format("{} {:.6g}", description, r.q_w / 1000.0);
}

}  // namespace zyl::balance
