// The Cp fit and the H/S bookkeeping, against closed forms and numerical integration.

#include "tools/cp_fit.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zyl::tools {
namespace {

/// Cp given by the stored four-term form itself, with H and S from its exact integrals.
class FourTermSource final : public ThermoSource {
 public:
  FourTermSource(CpCoefficients c, double h298, double s298) : c_(c), h_(h298), s_(s298) {}
  double Cp(double T) const override { return c_.Cp(T); }
  double H(double T) const override { return h_ + c_.DeltaH(kTRef, T); }
  double S(double T) const override { return s_ + c_.DeltaS(kTRef, T); }

 private:
  CpCoefficients c_;
  double h_, s_;
};

/// A heat capacity no four-term form follows over a wide range (a smooth step), with H and S by
/// numerical integration from 298.15 K (Simpson's rule).
class StepSource final : public ThermoSource {
 public:
  double Cp(double T) const override { return 10 + 8 / (1 + std::exp(-(T - 900) / 60)); }
  double H(double T) const override { return Integrate(T, false); }
  double S(double T) const override { return 20 + Integrate(T, true); }

 private:
  double Integrate(double T, bool over_t) const {
    const int n = 4000;
    double a = kTRef, h = (T - a) / n, sum = 0;
    for (int i = 0; i <= n; ++i) {
      double t = a + h * i, w = (i == 0 || i == n) ? 1 : (i % 2 ? 4 : 2);
      sum += w * (over_t ? Cp(t) / t : Cp(t));
    }
    return sum * h / 3;
  }
};

TEST(CpFit, RecoversAFourTermHeatCapacity) {
  CpCoefficients exact{12.5, 3.25, -2.0, 0.5};
  FourTermSource src(exact, -50000, 25);
  CpCoefficients fit = FitCp(src, 300, 1500);
  for (double T : {300.0, 650.0, 1100.0, 1500.0}) EXPECT_NEAR(fit.Cp(T), exact.Cp(T), 1e-4) << T;
  auto ranges = FitSpecies({{std::make_shared<FourTermSource>(exact, -50000, 25), 298.15, 1500, "s", "test"}});
  ASSERT_EQ(ranges.size(), 1u);  // fits at once, no split
  EXPECT_FLOAT_EQ(ranges[0].H, -50.0f);
  EXPECT_FLOAT_EQ(ranges[0].S, 25.0f);
  EXPECT_TRUE(ranges[0].within_tolerance);
}

TEST(CpFit, SplitsUntilTheToleranceIsMet) {
  auto src = std::make_shared<StepSource>();
  FitTolerance tol;
  auto ranges = FitSpecies({{src, 298.15, 3000, "s", "step"}}, tol);
  ASSERT_GT(ranges.size(), 1u);
  EXPECT_EQ(ranges.front().t1, ToFloat(298.15));
  EXPECT_EQ(ranges.back().t2, 3000);
  for (size_t k = 0; k < ranges.size(); ++k) {
    EXPECT_TRUE(ranges[k].within_tolerance) << k;
    if (k > 0) {
      EXPECT_EQ(ranges[k].t1, ranges[k - 1].t2);
    }
  }
  // Independent check of the evaluation against the source on a fine grid.
  for (double T = 300; T <= 3000; T += 7.3) {
    double h, s, cp;
    EvaluateRanges(ranges, T, &h, &s, &cp);
    EXPECT_NEAR(cp, src->Cp(T), std::max(tol.cp_rel * src->Cp(T), tol.cp_abs) * 1.01) << T;
    EXPECT_NEAR(h, src->H(T), tol.h) << T;
    EXPECT_NEAR(s, src->S(T), tol.s) << T;
  }
}

// Two phases: the jump stored in the second range reproduces the transition enthalpy and entropy,
// the first range is exact at 298.15 K, and a boundary belongs to the range below it.
TEST(CpFit, PhaseTransitionCarriesItsEnthalpyAndEntropy) {
  CpCoefficients solid{6.0, 2.0, -1.0, 0.0}, liquid{9.0, 0.0, 0.0, 0.0};
  const double Ttr = 1000, dHtr = 3500, dStr = dHtr / Ttr;  // cal/mol, cal/(mol K)
  auto s = std::make_shared<FourTermSource>(solid, -20000, 10);
  // The liquid's absolute H and S at Ttr are the solid's plus the transition.
  double h_l = s->H(Ttr) + dHtr, s_l = s->S(Ttr) + dStr;
  auto l = std::make_shared<FourTermSource>(liquid, h_l - liquid.DeltaH(kTRef, Ttr), s_l - liquid.DeltaS(kTRef, Ttr));
  auto r = FitSpecies({{s, 298.15, Ttr, "s", "solid"}, {l, Ttr, 2500, "l", "liquid"}});
  ASSERT_EQ(r.size(), 2u);
  EXPECT_NEAR(1000 * r[1].H, dHtr, 1e-2);
  EXPECT_NEAR(r[1].S, dStr, 1e-5);
  EXPECT_EQ(r[1].phase, "l");
  double h, sv;
  EvaluateRanges(r, kTRef, &h, &sv);
  EXPECT_NEAR(h, -20000, 1e-3);
  EXPECT_NEAR(sv, 10, 1e-5);
  EvaluateRanges(r, Ttr, &h, &sv);
  EXPECT_NEAR(h, s->H(Ttr), 1e-2);  // T = T2 of the solid: no jump yet
  EvaluateRanges(r, Ttr + 1e-6, &h, &sv);
  EXPECT_NEAR(h, h_l, 1e-2);
  EvaluateRanges(r, 2000, &h, &sv);
  EXPECT_NEAR(h, l->H(2000), 1e-2);
  EXPECT_NEAR(sv, l->S(2000), 1e-5);
}

// A first range that does not hold 298.15 K (ice below 273.15 K) is anchored at its nearest end.
TEST(CpFit, FirstRangeBelowReferenceIsAnchoredAtItsTop) {
  CpCoefficients ice{2.0, 25.0, 0.0, 0.0};
  auto src = std::make_shared<FourTermSource>(ice, -70000, 10);
  auto r = FitSpecies({{src, 200, 273.15, "s", "ice"}});
  ASSERT_EQ(r.size(), 1u);
  double h, s;
  EvaluateRanges(r, ToFloat(273.15), &h, &s);
  EXPECT_NEAR(h, src->H(ToFloat(273.15)), 0.01);
  EvaluateRanges(r, 200, &h, &s);
  EXPECT_NEAR(h, src->H(200), 0.05);
}

TEST(CpFit, IntegralsMatchTheClosedFormsOfTheRecord) {
  CpCoefficients c{5, 4, -3, 2};
  // With B = C = D = 0, H rises linearly.
  CpCoefficients lin{7, 0, 0, 0};
  EXPECT_DOUBLE_EQ(lin.DeltaH(298.15, 1298.15), 7000);
  // Simpson's rule against DeltaH and DeltaS.
  const double a = 350, b = 2400;
  const int n = 2000;
  double sh = 0, ss = 0, w = (b - a) / n;
  for (int i = 0; i <= n; ++i) {
    double t = a + w * i, k = (i == 0 || i == n) ? 1 : (i % 2 ? 4 : 2);
    sh += k * c.Cp(t);
    ss += k * c.Cp(t) / t;
  }
  EXPECT_NEAR(c.DeltaH(a, b), sh * w / 3, 1e-6 * std::fabs(sh * w / 3));
  EXPECT_NEAR(c.DeltaS(a, b), ss * w / 3, 1e-8 * std::fabs(ss * w / 3) + 1e-9);
}

TEST(CpFit, StoresSinglePrecision) {
  EXPECT_EQ(ToFloat(579.6), static_cast<double>(579.6f));
  EXPECT_NE(ToFloat(579.6), 579.6);
  auto src = std::make_shared<StepSource>();
  for (const auto& r : FitSpecies({{src, 298.15, 579.6, "s", "x"}})) {
    EXPECT_EQ(r.t2, static_cast<double>(static_cast<float>(r.t2)));
    EXPECT_EQ(r.cp.A, static_cast<double>(static_cast<float>(r.cp.A)));
    EXPECT_EQ(r.H, static_cast<double>(static_cast<float>(r.H)));
  }
}

}  // namespace
}  // namespace zyl::tools
