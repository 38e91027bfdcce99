#include "thermo/species_data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>

namespace zyl::thermo {
namespace {

SpeciesRange R(double t1, double t2, const char* phase, double h_cal, double s, double a, double b = 0,
               double c = 0, double d = 0) {
  SpeciesRange r;
  r.t1 = t1;
  r.t2 = t2;
  r.h = h_cal;
  r.s = s;
  r.a = a;
  r.b = b;
  r.c = c;
  r.d = d;
  r.phase[0] = phase[0];
  r.phase[1] = phase[1] ? phase[1] : 0;
  return r;
}

// A solid with a transition, a liquid and a gas: jumps at 700, 1000 and 1500 K.
SpeciesData ThreePhase() {
  SpeciesData sp;
  SetSpeciesName(sp, "MX");
  sp.ranges = {R(298.15, 700, "s", -100000, 20, 12.5, 4.1, -2.3, 0.7),
               R(700, 1000, "s", 500, 0.7142857, 14, 2.0, 0.0, 0),
               R(1000, 1500, "l", 7000, 7.0, 21, 0, 0, 0),
               R(1500, 3000, "g", 40000, 26.6666667, 9, 0.8, -1.1, 0.05)};
  return sp;
}

// Cp integrated with Simpson's rule, range by range, with the jumps added at each T1.
void Integrate(const SpeciesData& sp, double T, double& h, double& s) {
  auto simpson = [](auto f, double a, double b) {
    const int n = 2000;
    const double step = (b - a) / n;
    double sum = f(a) + f(b);
    for (int i = 1; i < n; ++i) sum += f(a + i * step) * (i % 2 ? 4 : 2);
    return sum * step / 3;
  };
  h = sp.ranges[0].h;
  s = sp.ranges[0].s;
  double lo = kT0;
  for (size_t k = 0; k < sp.ranges.size(); ++k) {
    const SpeciesRange& r = sp.ranges[k];
    if (k > 0) {
      if (T <= sp.ranges[k - 1].t2) break;
      h += r.h;
      s += r.s;
      lo = r.t1;
    }
    const double hi = std::min(T, r.t2);
    auto cp = [&](double t) { return r.a + r.b * 1e-3 * t + r.c * 1e5 / (t * t) + r.d * 1e-6 * t * t; };
    h += simpson(cp, lo, hi);
    s += simpson([&](double t) { return cp(t) / t; }, lo, hi);
  }
}

TEST(CalcSpeciesAtT, AgreesWithNumericalIntegrationAcrossPhases) {
  const SpeciesData sp = ThreePhase();
  for (double T = 300; T <= 3000; T += 37.5) {
    double h, s;
    Integrate(sp, T, h, s);
    SpeciesValues v = CalcSpeciesAtT(sp, T);
    ASSERT_TRUE(v.ok);
    EXPECT_NEAR(v.h, h, 1e-6 * std::abs(h)) << T;
    EXPECT_NEAR(v.s, s, 1e-7 * std::abs(s)) << T;
    EXPECT_NEAR(v.g, h - T * s, 1e-6 * std::abs(h - T * s)) << T;  // from the integrated H and S
    EXPECT_EQ(v.extrapolated, Extrapolation::None);
  }
}

TEST(CalcSpeciesAtT, CpIsTheSlopeOfHAndTOfS) {
  const SpeciesData sp = ThreePhase();
  for (double T : {400.0, 850.0, 1200.0, 2500.0}) {
    const double dT = 1e-3;
    const SpeciesValues lo = CalcSpeciesAtT(sp, T - dT), hi = CalcSpeciesAtT(sp, T + dT), v = CalcSpeciesAtT(sp, T);
    EXPECT_NEAR((hi.h - lo.h) / (2 * dT), v.cp, 1e-4) << T;
    EXPECT_NEAR(T * (hi.s - lo.s) / (2 * dT), v.cp, 1e-4) << T;
  }
}

TEST(CalcSpeciesAtT, StoredValuesAt298AndLinearH) {
  std::mt19937 rng(1);
  std::uniform_real_distribution<double> u(-50, 50);
  for (int i = 0; i < 100; ++i) {
    SpeciesData sp;
    sp.ranges = {R(100, 1000, "s", u(rng) * 1000, u(rng) + 60, u(rng), u(rng), u(rng), u(rng))};
    SpeciesValues v = CalcSpeciesAtT(sp, 298.15);
    EXPECT_EQ(v.h, sp.ranges[0].h);
    EXPECT_EQ(v.s, sp.ranges[0].s);
  }
  SpeciesData lin;
  lin.ranges = {R(298.15, 2000, "g", -1000, 30, 7.5)};
  for (double T : {200.0, 500.0, 1999.0})
    EXPECT_NEAR(CalcSpeciesAtT(lin, T).h, -1000 + 7.5 * (T - 298.15), 1e-9);
}

TEST(CalcSpeciesAtT, BoundaryBelongsToTheLowerRange) {
  const SpeciesData sp = ThreePhase();
  SpeciesData first_only = sp;
  first_only.ranges.resize(1);
  const SpeciesValues at = CalcSpeciesAtT(sp, 700), alone = CalcSpeciesAtT(first_only, 700);
  EXPECT_EQ(at.h, alone.h);
  EXPECT_EQ(at.s, alone.s);
  EXPECT_EQ(at.cp, alone.cp);
  // Just above: the jump of the second range is in.
  EXPECT_NEAR(CalcSpeciesAtT(sp, 700.000001).h - at.h, 500, 1e-3);
  EXPECT_NEAR(CalcSpeciesAtT(sp, 1000.000001).h - CalcSpeciesAtT(sp, 1000).h, 7000, 1e-3);
}

TEST(CalcSpeciesAtT, OutsideTheRangesUsesTheNearestRange) {
  const SpeciesData sp = ThreePhase();
  SpeciesValues below = CalcSpeciesAtT(sp, 250);
  EXPECT_EQ(below.extrapolated, Extrapolation::Below);
  EXPECT_DOUBLE_EQ(below.cp, RangeCp(sp.ranges[0], 250));
  EXPECT_DOUBLE_EQ(below.h, sp.ranges[0].h + RangeDeltaH(sp.ranges[0], kT0, 250));
  // Above the last range the last range's formulas run on to T.
  SpeciesValues top = CalcSpeciesAtT(sp, 3000), above = CalcSpeciesAtT(sp, 3500);
  EXPECT_EQ(above.extrapolated, Extrapolation::Above);
  EXPECT_NEAR(above.h - top.h, RangeDeltaH(sp.ranges[3], 3000, 3500), 1e-6);
  EXPECT_EQ(ExtrapolationNote(sp, above), "Extrapolated from 1500-3000 K");
  EXPECT_EQ(ExtrapolationNote(sp, top), "");
  EXPECT_FALSE(CalcSpeciesAtT(SpeciesData{}, 300).ok);
}

// Aqueous species and liquid water end at 350 °C, where their Cp diverges: above, H and S stay put;
// aqueous data ending well below keep the Cp of their last T2.
// A gas and a liquid other than water keep running on their last polynomial.
TEST(CalcSpeciesAtT, AqueousSpeciesHoldHAndSAboveTheirRanges) {
  SpeciesData ion;
  SetSpeciesName(ion, "Fe(+3a)");
  // a steep last range, like the fits next to the critical point
  ion.ranges = {R(273.15, 600, "ia", -11850, -66.3, -18, 0.01), R(600, 623.15, "ia", 0, 0, 1.5e7, -3.4e7, -9e6, 2.1e7)};
  const SpeciesValues top = CalcSpeciesAtT(ion, 623.15);
  EXPECT_EQ(top.extrapolated, Extrapolation::None);
  // below T2 the polynomials hold (closed form)
  const double h_top = ion.ranges[0].h + RangeDeltaH(ion.ranges[0], kT0, 600) + RangeDeltaH(ion.ranges[1], 600, 623.15);
  EXPECT_NEAR(top.h, h_top, 1e-6 * std::fabs(h_top));
  for (double T : {623.2, 700.0, 1473.15}) {
    const SpeciesValues v = CalcSpeciesAtT(ion, T);
    EXPECT_EQ(v.extrapolated, Extrapolation::Above);
    EXPECT_EQ(v.cp, 0);
    EXPECT_NEAR(v.h, top.h, 1e-6 * std::fabs(top.h)) << T;
    EXPECT_NEAR(v.s, top.s, 1e-9 * std::fabs(top.s) + 1e-9) << T;
    EXPECT_NEAR(v.g, top.h - T * top.s, 1e-6 * std::fabs(v.g)) << T;
  }
  EXPECT_EQ(ExtrapolationNote(ion, CalcSpeciesAtT(ion, 700)), "Extrapolated from 600-623.15 K");

  SpeciesData water;
  SetSpeciesName(water, "H2O");
  water.ranges = {R(273.15, 623.15, "l", -68315, 16.7, 18, 0, 0, 0)};
  EXPECT_NEAR(CalcSpeciesAtT(water, 900).h, CalcSpeciesAtT(water, 623.15).h, 1e-6);
  // data ending away from the critical point keep the Cp of their last T2
  SpeciesData low = water;
  low.ranges = {R(273.15, 373.15, "l", -68315, 16.7, 18, 10, 0, 0)};
  const double cp_t2 = RangeCp(low.ranges[0], 373.15);
  EXPECT_NEAR(CalcSpeciesAtT(low, 473.15).h - CalcSpeciesAtT(low, 373.15).h, cp_t2 * 100, 1e-6);
  EXPECT_NEAR(CalcSpeciesAtT(low, 473.15).s - CalcSpeciesAtT(low, 373.15).s, cp_t2 * std::log(473.15 / 373.15), 1e-9);
  EXPECT_EQ(CalcSpeciesAtT(low, 473.15).cp, cp_t2);
  SpeciesData other = water;
  SetSpeciesName(other, "Br2");
  EXPECT_NEAR(CalcSpeciesAtT(other, 900).h - CalcSpeciesAtT(other, 623.15).h, 18 * (900 - 623.15), 1e-6);
}

TEST(CalcSpeciesAtT, PowerFreeIntegralsMatchThePowerForms) {
  std::mt19937 rng(9);
  std::uniform_real_distribution<double> u(-30, 30), t(200, 3000);
  for (int i = 0; i < 10000; ++i) {
    const SpeciesRange r = R(0, 0, "s", 0, 0, u(rng), u(rng), u(rng), u(rng));
    const double ta = t(rng), tb = t(rng);
    const double h = r.a * (tb - ta) + r.b * std::pow(10.0, -3) * (std::pow(tb, 2.0) - std::pow(ta, 2.0)) / 2 -
                     r.c * std::pow(10.0, 5) * (1 / tb - 1 / ta) +
                     r.d * std::pow(10.0, -6) * (std::pow(tb, 3.0) - std::pow(ta, 3.0)) / 3;
    const double s = r.a * std::log(tb / ta) + r.b * std::pow(10.0, -3) * (tb - ta) -
                     r.c * std::pow(10.0, 5) * (std::pow(tb, -2.0) - std::pow(ta, -2.0)) / 2 +
                     r.d * std::pow(10.0, -6) * (std::pow(tb, 2.0) - std::pow(ta, 2.0)) / 2;
    const double scale_h = std::abs(r.a * tb) + std::abs(r.b) * tb * tb * 1e-3 + std::abs(r.c) * 1e5 / ta +
                           std::abs(r.d) * 1e-6 * tb * tb * tb + 1;
    ASSERT_NEAR(RangeDeltaH(r, ta, tb), h, 1e-13 * scale_h);
    ASSERT_NEAR(RangeDeltaS(r, ta, tb), s, 1e-13 * (scale_h / ta + 1));
  }
}

class CrissCobbleTest : public ::testing::Test {
 protected:
  void TearDown() override { SetCrissCobble(false); }
  static SpeciesData Ion(const char* name, double s298, const char* phase = "a") {
    SpeciesData sp;
    SetSpeciesName(sp, name);
    sp.ranges = {R(298.15, 573.15, phase, -50000, s298, 0)};
    return sp;
  }
};

TEST_F(CrissCobbleTest, ClassesOfIons) {
  EXPECT_EQ(ClassifyIon("Na(+a)"), IonKind::Cation);
  EXPECT_EQ(ClassifyIon("Cl(-a)"), IonKind::SimpleAnion);
  EXPECT_EQ(ClassifyIon("OH(-a)"), IonKind::SimpleAnion);
  EXPECT_EQ(ClassifyIon("SO4(-2a)"), IonKind::OxyAnion);
  EXPECT_EQ(ClassifyIon("HCO3(-a)"), IonKind::AcidOxyAnion);
  EXPECT_EQ(ClassifyIon("H(+a)"), IonKind::None);
  EXPECT_EQ(ClassifyIon("NaCl(a)"), IonKind::None);
}

TEST_F(CrissCobbleTest, OnlyAqueousIonsAboveRoomTemperatureWithTheFlag) {
  const SpeciesData na = Ion("Na(+a)", 14.4);
  const SpeciesValues off = CalcSpeciesAtT(na, 373.15);
  EXPECT_EQ(off.extrapolated, Extrapolation::None);
  EXPECT_EQ(off.cp, 0);
  SetCrissCobble(true);
  EXPECT_TRUE(CrissCobble());
  const SpeciesValues on = CalcSpeciesAtT(na, 373.15);
  EXPECT_EQ(on.extrapolated, Extrapolation::CrissCobble);
  EXPECT_EQ(ExtrapolationNote(na, on).rfind("Extrapolated from", 0), 0u);
  // Na+ has a small positive heat capacity near 25-100 C (about 9-11 cal/(mol K) measured).
  EXPECT_GT(on.cp, 5);
  EXPECT_LT(on.cp, 15);
  // Cl- has a large negative one (about -30 cal/(mol K) at 25 C).
  const SpeciesValues cl = CalcSpeciesAtT(Ion("Cl(-a)", 13.5), 373.15);
  EXPECT_LT(cl.cp, -15);
  EXPECT_GT(cl.cp, -45);
  // The entropy follows from the mean heat capacity: S = S298 + Cp_mean ln(T / 298.15).
  EXPECT_NEAR(on.s, 14.4 + on.mean_cp * std::log(373.15 / 298.15), 1e-12);
  EXPECT_DOUBLE_EQ(on.g, on.h - 373.15 * on.s);
  // Not applied: at or below 298.15 K, to neutral or non-aqueous species, to H+.
  EXPECT_EQ(CalcSpeciesAtT(na, 298.15).extrapolated, Extrapolation::None);
  EXPECT_EQ(CalcSpeciesAtT(Ion("NaCl(a)", 28), 373.15).extrapolated, Extrapolation::None);
  EXPECT_EQ(CalcSpeciesAtT(Ion("Na(+g)", 14.4, "g"), 373.15).extrapolated, Extrapolation::None);
  EXPECT_EQ(CalcSpeciesAtT(Ion("H(+a)", 0), 373.15).cp, 0);
  EXPECT_EQ(CalcSpeciesAtT(Ion("Na+", 14.4, "ia"), 373.15).extrapolated, Extrapolation::CrissCobble);
}

// The reported Cp used to be the mean heat capacity, not the slope of H (Na+ at 150 °C: 33.9 against a slope
// of 35.2 J/(mol K); SO4-2: -160.6 against -152.1). Now Cp = dH/dT and Cp/T = dS/dT, by central differences.
TEST_F(CrissCobbleTest, HeatCapacityIsTheSlopeOfHAndOfTS) {
  SetCrissCobble(true);
  // Entropies at 25 C, cal/(mol K): Na+ 14.1, Cl- 13.5, SO4-2 4.5, HCO3- 22.7 (NBS tables).
  const std::pair<const char*, double> ions[] = {{"Na(+a)", 14.1}, {"Cl(-a)", 13.5}, {"SO4(-2a)", 4.5}, {"HCO3(-a)", 22.7}};
  for (const auto& [name, s25] : ions) {
    const SpeciesData sp = Ion(name, s25);
    // At and between the tabulated 60, 100, 150 and 200 C, and beyond them.
    for (double t : {40.0, 80.0, 125.0, 150.0, 175.0, 200.0, 250.0}) {
      const double T = t + 273.15, d = 1e-4;  // small: Cp has kinks (not steps) at the tabulated points
      const SpeciesValues v = CalcSpeciesAtT(sp, T);
      const SpeciesValues lo = CalcSpeciesAtT(sp, T - d), hi = CalcSpeciesAtT(sp, T + d);
      EXPECT_NEAR((hi.h - lo.h) / (2 * d), v.cp, 1e-4 * (1 + std::abs(v.cp))) << name << " " << t;
      EXPECT_NEAR(T * (hi.s - lo.s) / (2 * d), v.cp, 1e-4 * (1 + std::abs(v.cp))) << name << " " << t;
    }
    // H from 298.15 K is the integral of Cp (trapezoid rule, 0.25 K steps), across the tabulated temperatures.
    const double step = 0.25;
    double h = CalcSpeciesAtT(sp, 298.15 + 1e-9).h, prev = CalcSpeciesAtT(sp, 298.15 + 1e-9).cp;
    for (int i = 1; i <= 900; ++i) {
      const double cp = CalcSpeciesAtT(sp, 298.15 + i * step).cp;
      h += (prev + cp) / 2 * step;
      prev = cp;
    }
    EXPECT_NEAR(h, CalcSpeciesAtT(sp, 523.15).h, 0.1) << name;  // of some 2000 cal/mol
  }
}

// Mean heat capacities from 25 C to the tabulated temperatures, Cp_mean = alpha + beta S25(abs) on the absolute
// scale, as printed in C. M. Criss and J. W. Cobble, J. Am. Chem. Soc. 86, 5390 (1964), Table II; the absolute
// entropy of H+ is -5.0, -2.5, 2.0, 6.5 and 11.1 cal/(mol K) at 25, 60, 100, 150 and 200 C (ibid. 5385, Table IV).
// Two entropies per class separate alpha from beta, so a wrong constant in either shows.
TEST_F(CrissCobbleTest, MeanHeatCapacityFollowsThePublishedTable) {
  SetCrissCobble(true);
  const double t_c[4] = {60, 100, 150, 200}, s_h[4] = {-2.5, 2.0, 6.5, 11.1};
  struct Row {
    const char* name;
    double alpha[4], beta[4];
  };
  const Row rows[] = {{"Na(+a)", {35, 46, 46, 50}, {-0.41, -0.55, -0.59, -0.63}},
                      {"Cl(-a)", {-46, -58, -61, -65}, {-0.28, 0.00, -0.03, -0.04}},
                      {"SO4(-2a)", {-127, -138, -133, -145}, {1.96, 2.24, 2.27, 2.53}},
                      {"HCO3(-a)", {-122, -135, -143, -152}, {3.44, 3.97, 3.95, 4.24}}};
  for (const Row& row : rows) {
    for (double s25 : {-20.0, 40.0}) {
      const SpeciesData sp = Ion(row.name, s25);
      const double z = sp.charge, s_abs = s25 + z * -5.0;
      for (int i = 0; i < 4; ++i) {
        const double T = t_c[i] + 273.15;
        const double cp_h = (s_h[i] - -5.0) / std::log(T / 298.15);
        const double expected = row.alpha[i] + row.beta[i] * s_abs - z * cp_h;
        EXPECT_NEAR(CalcSpeciesAtT(sp, T).mean_cp, expected, 1e-9) << row.name << " S25 " << s25 << " at " << t_c[i];
      }
    }
  }
}

// The same papers' entropy correspondence, S_t(abs) = a_t + b_t S25(abs) (5385, Table IV), is a second table:
// the entropies at the tabulated temperatures must agree with it to the rounding of the two tables (alpha to
// 1 and beta to 0.01 cal/(mol K) give about 0.15 + 0.003 |S| at 100 C). Where the two tables are consistent:
// cations and simple anions at every temperature, oxy-anions at 60 C, acid oxy-anions to 150 C.
TEST_F(CrissCobbleTest, EntropiesAgreeWithTheCorrespondencePrinciple) {
  SetCrissCobble(true);
  struct Point {
    const char* name;
    double t_c, a, b, s_h;
  };
  const Point points[] = {
      {"Na(+a)", 60, 3.9, 0.955, -2.5},      {"Na(+a)", 100, 10.3, 0.876, 2.0},  {"Na(+a)", 150, 16.2, 0.792, 6.5},
      {"Na(+a)", 200, 23.3, 0.711, 11.1},    {"Cl(-a)", 60, -5.1, 0.969, -2.5},  {"Cl(-a)", 100, -13.0, 1.000, 2.0},
      {"Cl(-a)", 150, -21.3, 0.989, 6.5},    {"Cl(-a)", 200, -30.2, 0.981, 11.1}, {"SO4(-2a)", 60, -14.0, 1.217, -2.5},
      {"HCO3(-a)", 60, -13.5, 1.380, -2.5},  {"HCO3(-a)", 100, -30.3, 1.894, 2.0}, {"HCO3(-a)", 150, -50.0, 2.381, 6.5},
  };
  for (const Point& p : points) {
    for (double s25 : {0.0, 14.1, 30.0}) {
      const SpeciesData sp = Ion(p.name, s25);
      const double z = sp.charge, T = p.t_c + 273.15;
      const double s_abs = p.a + p.b * (s25 + z * -5.0);
      const double expected = s_abs - z * p.s_h;  // back to the conventional scale at t
      EXPECT_NEAR(CalcSpeciesAtT(sp, T).s, expected, 0.25 + 0.005 * std::abs(s25 + z * -5.0))
          << p.name << " S25 " << s25 << " at " << p.t_c;
    }
  }
}

// No step in Cp, H or S at the tabulated temperatures, nor where the extrapolation starts.
TEST_F(CrissCobbleTest, ContinuousInTemperature) {
  SetCrissCobble(true);
  for (const char* name : {"Na(+a)", "Cl(-a)", "SO4(-2a)", "HCO3(-a)"}) {
    const SpeciesData sp = Ion(name, 10);
    for (double T : {298.15, 333.15, 373.15, 423.15, 473.15}) {
      const SpeciesValues lo = T == 298.15 ? CalcSpeciesAtTPlain(sp, T) : CalcSpeciesAtT(sp, T - 1e-6);
      const SpeciesValues hi = CalcSpeciesAtT(sp, T + 1e-6);
      EXPECT_NEAR(lo.h, hi.h, 1e-3) << name << " " << T;
      EXPECT_NEAR(lo.s, hi.s, 1e-6) << name << " " << T;
      if (T != 298.15) {
        EXPECT_NEAR(lo.cp, hi.cp, 1e-3) << name << " " << T;
      }
    }
  }
}

}  // namespace
}  // namespace zyl::thermo
