#include "balance/heat_loss.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "thermo/constants.h"

namespace zyl::balance {
namespace {

TEST(HeatLoss, SingleLayerMatchesClosedForm) {
  // Flat: Q = dT / (1/(hi A) + t/(k A) + 1/(ho A)) = 780 / 0.185 W.
  WallInput flat;
  flat.area = 2;
  flat.layers = {{"brick", 0.2, 0.8}};
  flat.inside = {800, 50, 0};
  flat.outside = {20, 10, 0};
  WallResult f = SolveWall(flat);
  ASSERT_TRUE(f.ok()) << f.error;
  EXPECT_NEAR(f.q_w, 780.0 / 0.185, 1e-6);
  EXPECT_NEAR(f.t_inner_surface, 800 - f.q_w / 100, 1e-6);
  EXPECT_NEAR(f.t_outer_surface, 20 + f.q_w / 20, 1e-6);
  EXPECT_TRUE(f.interfaces.empty());

  // Insulated pipe: Q = dT / (1/(hi 2 pi r1 L) + ln(r2/r1)/(2 pi k L) + 1/(ho 2 pi r2 L)).
  WallInput pipe;
  pipe.shape = WallShape::Cylinder;
  pipe.inner_radius = 0.05;
  pipe.length = 10;
  pipe.layers = {{"wool", 0.05, 0.05}};
  pipe.inside = {200, 1000, 0};
  pipe.outside = {20, 10, 0};
  const double pi2 = 2 * std::numbers::pi;
  double expected = 180.0 / (1 / (1000 * pi2 * 0.05 * 10) + std::log(2.0) / (pi2 * 0.05 * 10) + 1 / (10 * pi2 * 0.1 * 10));
  WallResult p = SolveWall(pipe);
  ASSERT_TRUE(p.ok()) << p.error;
  EXPECT_NEAR(p.q_w, expected, 1e-6 * expected);
  EXPECT_NEAR(p.outer_area, pi2 * 0.1 * 10, 1e-12);
}

TEST(HeatLoss, TwoLayerFurnaceWallWithRadiation) {
  // Hot face 1100 °C, 230 mm firebrick (1.04 W/(m K)) and 115 mm insulating brick (0.17 W/(m K)), outside
  // convection 8 W/(m2 K) and emissivity 0.9 to a 25 °C room. Hand calculation by bisection on the outer
  // surface temperature: 96.314 °C, 1118.16 W/m2, interface 852.71 °C.
  WallInput w;
  w.layers = {{"firebrick", 0.23, 1.04}, {"insulating brick", 0.115, 0.17}};
  w.inside = {1100, 0, 0};
  w.outside = {25, 8, 0.9};
  WallResult r = SolveWall(w);
  ASSERT_TRUE(r.ok()) << r.error;
  EXPECT_NEAR(r.t_outer_surface, 96.314, 0.001);
  EXPECT_NEAR(r.q_w, 1118.16, 0.01);
  ASSERT_EQ(r.interfaces.size(), 1u);
  EXPECT_NEAR(r.interfaces[0], 852.71, 0.01);
  EXPECT_DOUBLE_EQ(r.t_inner_surface, 1100);
  EXPECT_EQ(HeatLossLine(r), "Wall heat loss 1.11816");
}

TEST(HeatLoss, RadiationOnBothFacesBalances) {
  // Energy balance at each surface, evaluated independently of the solver's linearisation.
  WallInput w;
  w.layers = {{"a", 0.1, 1.5}, {"b", 0.05, 0.1}, {"c", 0.005, 45}};
  w.inside = {1400, 30, 0.8};
  w.outside = {30, 12, 0.85};
  WallResult r = SolveWall(w);
  ASSERT_TRUE(r.ok()) << r.error;
  auto k = [](double c) { return c + thermo::kCelsiusOffset; };
  double q_in = 30 * (1400 - r.t_inner_surface) +
                0.8 * kStefanBoltzmann * (std::pow(k(1400), 4) - std::pow(k(r.t_inner_surface), 4));
  double q_out = 12 * (r.t_outer_surface - 30) +
                 0.85 * kStefanBoltzmann * (std::pow(k(r.t_outer_surface), 4) - std::pow(k(30), 4));
  EXPECT_NEAR(q_in, r.q_w, 1e-6 * r.q_w);
  EXPECT_NEAR(q_out, r.q_w, 1e-6 * r.q_w);
  EXPECT_EQ(r.interfaces.size(), 2u);
  // Heat flowing inward (cold store) gives a negative loss.
  std::swap(w.inside, w.outside);
  EXPECT_LT(SolveWall(w).q_w, 0);
}

TEST(HeatLoss, BadInputGivesMessages) {
  WallInput w;
  EXPECT_EQ(SolveWall(w).error, "Give at least one wall layer.");
  w.layers.assign(11, {"x", 0.1, 1});
  EXPECT_EQ(CheckWall(w), "A wall has at most 10 layers.");
  w.layers = {{"x", 0, 1}};
  EXPECT_EQ(CheckWall(w), "Layer 1: the thickness must be above 0 m.");
  w.layers = {{"x", 0.1, 1}};
  w.outside.emissivity = 1.5;
  EXPECT_EQ(CheckWall(w), "Outside: the emissivity must be 0 to 1.");

  WallInput parsed;
  EXPECT_NE(ParseWallJson("{", &parsed), "");
  EXPECT_NE(ParseWallJson(R"({"layers": [{"thickness": "a"}]})", &parsed), "");
  EXPECT_EQ(ParseWallJson(R"({"shape": "sphere", "layers": []})", &parsed), "\"shape\" must be \"flat\" or \"cylinder\".");
  ASSERT_EQ(ParseWallJson(R"({"shape": "cylinder", "inner_radius": 0.5, "length": 3, "temperature_unit": "K",
      "layers": [{"name": "lining", "thickness": 0.2, "conductivity": 1.1}],
      "inside": {"T": 1273.15, "h": 0, "emissivity": 0}, "outside": {"T": 298.15, "h": 10, "emissivity": 0.9}})",
                          &parsed), "");
  EXPECT_EQ(parsed.shape, WallShape::Cylinder);
  EXPECT_NEAR(parsed.inside.t_c, 1000, 1e-9);
  EXPECT_NEAR(parsed.outside.t_c, 25, 1e-9);
  EXPECT_EQ(parsed.layers[0].name, "lining");
}

}  // namespace
}  // namespace zyl::balance
