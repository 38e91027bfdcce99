// Readers of the NASA 9-coefficient file and of the OBIGT CSV files, on hand-made records.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <random>

#include "tools/nasa_thermo.h"
#include "tools/obigt.h"

namespace zyl::tools {
namespace {

constexpr double kR = kRNasa / kCalToJ;  // cal/(mol K)

struct Interval {
  double lo, hi;
  double a[7];
  double b1, b2;
};

/// One record in the fixed columns of thermo.inp.
std::string NasaRecordText(const char* name, const char* elements, int phase, double mass, double hf,
                           const std::vector<Interval>& ivs) {
  std::string s = fmt::format("{:<18}Made up for a test.\n", name);
  s += fmt::format("{:2d} g 1/26 {:<40} {:1d}{:13.7f}{:15.3f}\n", static_cast<int>(ivs.size()), elements, phase, mass, hf);
  for (const auto& iv : ivs) {
    s += fmt::format("{:11.3f}{:11.3f}7 -2.0 -1.0  0.0  1.0  2.0  3.0  4.0  0.0         8000.000\n", iv.lo, iv.hi);
    auto d = [](double v) {
      std::string t = fmt::format("{:16.9E}", v);
      for (char& c : t)
        if (c == 'E') c = 'D';
      return t;
    };
    s += d(iv.a[0]) + d(iv.a[1]) + d(iv.a[2]) + d(iv.a[3]) + d(iv.a[4]) + "\n";
    s += d(iv.a[5]) + d(iv.a[6]) + std::string(16, ' ') + d(iv.b1) + d(iv.b2) + "\n";
  }
  return s;
}

std::string SampleFile() {
  // Cp = 3.5 R; H(298.15) = -100 kJ/mol; S(298.15) = 200 J/(mol K).
  const double R = kRNasa, hf = -100000.0;
  double b1 = hf / R - 3.5 * 298.15, b2 = 200.0 / R - 3.5 * std::log(298.15);
  std::string s = "! comment\nthermo\n    200.00   1000.00   6000.00  20000.   9/8/2021\n";
  s += NasaRecordText("XO2+", "X   1.00O   2.00E  -1.00", 0, 50.0, hf,
                      {{298.15, 1000, {0, 0, 3.5, 0, 0, 0, 0}, b1, b2}, {1000, 6000, {0, 0, 3.5, 0, 0, 0, 0}, b1, b2}});
  s += NasaRecordText("FE(cr)", "FE  1.00", 1, 55.845, 0,
                      {{300, 298.15, {0, 0, 3, 0, 0, 0, 0}, 0, 0}, {300, 1000, {0, 0, 3, 1e-3, 0, 0, 0}, -900, -15}});
  s += "END PRODUCTS\n";
  s += NasaRecordText("Fuel", "C   1.00H   4.00", 0, 16.0, -74000, {});
  s += "   298.150      0.0000 0.0  0.0  0.0  0.0  0.0  0.0  0.0  0.0            0.000\n";
  s += "END REACTANTS\n";
  return s;
}

TEST(NasaReader, ReadsFixedColumnsAndEvaluatesThePolynomials) {
  NasaFile f = ParseNasaThermo(SampleFile());
  ASSERT_EQ(f.records.size(), 3u);
  const NasaRecord& ion = f.records[0];
  EXPECT_EQ(ion.name, "XO2+");
  EXPECT_EQ(ion.ref_code, "g 1/26");
  ASSERT_EQ(ion.elements.size(), 3u);
  EXPECT_EQ(ion.elements[0].first, "X");
  EXPECT_EQ(ion.elements[2].first, "E");
  EXPECT_EQ(ion.elements[2].second, -1);
  EXPECT_EQ(ion.phase, 0);
  EXPECT_DOUBLE_EQ(ion.molar_mass, 50.0);
  EXPECT_DOUBLE_EQ(ion.hf298, -100000.0);
  ASSERT_EQ(ion.intervals.size(), 2u);
  NasaPolynomial p(ion.intervals[0]);
  EXPECT_NEAR(p.Cp(700), 3.5 * kR, 1e-12);
  EXPECT_NEAR(p.H(298.15) * kCalToJ, -100000.0, 1e-4);
  EXPECT_NEAR(p.S(298.15) * kCalToJ, 200.0, 1e-6);
  EXPECT_NEAR(p.G(500), p.H(500) - 500 * p.S(500), 1e-9);
  // Degenerate interval dropped with a warning, condensed phase flag read.
  const NasaRecord& fe = f.records[1];
  EXPECT_EQ(fe.phase, 1);
  ASSERT_EQ(fe.intervals.size(), 1u);
  EXPECT_EQ(fe.intervals[0].t_low, 300);
  EXPECT_EQ(f.warnings.size(), 1u);
  // Numerical derivatives of H and S are Cp and Cp/T.
  NasaPolynomial q(fe.intervals[0]);
  const double T = 640, dT = 1e-3;
  EXPECT_NEAR((q.H(T + dT) - q.H(T - dT)) / (2 * dT), q.Cp(T), 1e-5);
  EXPECT_NEAR((q.S(T + dT) - q.S(T - dT)) / (2 * dT), q.Cp(T) / T, 1e-8);
  // A reactant with no intervals keeps its assigned enthalpy only.
  EXPECT_TRUE(f.records[2].reactant_only);
  EXPECT_TRUE(f.records[2].intervals.empty());
  EXPECT_EQ(ParseFortranDouble(" 1.5D+03"), 1500);
  EXPECT_EQ(ParseFortranDouble("   "), 0);
  EXPECT_EQ(ParseFortranDouble("junk"), 0);
}

int FuzzCases() {
  const char* env = std::getenv("ZYL_FUZZ_CASES");
  return env ? std::max(1, std::atoi(env)) : 100000;
}

// Truncated and corrupted files never crash the readers and never give a non-finite number.
TEST(NasaReader, SurvivesCorruptedInput) {
  const std::string good = SampleFile();
  std::mt19937 rng(12345);
  const int cases = FuzzCases();
  for (int i = 0; i < cases; ++i) {
    std::string t = good;
    switch (i % 3) {
      case 0:
        t.resize(rng() % (good.size() + 1));
        break;
      case 1:
        for (int k = 0; k < 4; ++k) t[rng() % t.size()] = static_cast<char>(rng() % 256);
        break;
      default:
        t.erase(rng() % t.size(), rng() % 40);
        break;
    }
    NasaFile f = ParseNasaThermo(t);
    for (const auto& r : f.records)
      for (const auto& iv : r.intervals) ASSERT_TRUE(std::isfinite(iv.t_low) && iv.t_high > iv.t_low);
    if (i % 3 == 1) {
      auto rows = ParseCsv(t);
      (void)rows;
    }
  }
}

TEST(ObigtReader, CsvQuotingAndUnits) {
  auto rows = ParseCsv("a,\"b,c\",\"say \"\"hi\"\"\"\r\n1,,3\n\nlast");
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0][1], "b,c");
  EXPECT_EQ(rows[0][2], "say \"hi\"");
  EXPECT_EQ(rows[1][1], "");
  EXPECT_EQ(rows[2][0], "last");
  std::string header = "name,abbrv,formula,state,ref1,ref2,date,model,E_units,G,H,S,Cp,V,a1.a,a2.b,a3.c,a4.d,c1.e,c2.f,omega.lambda,z.T\n";
  std::vector<std::string> warnings;
  auto r = ParseObigtSpecies(header +
                                 "x,NA,XO,cr,K1,NA,2020,CGL,J,-4184,NA,41.84,NA,10,4.184,0,0,0,0,0,0,1000\n"
                                 "short,row\n",
                             &warnings);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(warnings.size(), 1u);
  EXPECT_DOUBLE_EQ(r[0].G, -1000);
  EXPECT_TRUE(std::isnan(r[0].H));
  EXPECT_DOUBLE_EQ(r[0].S, 10);
  EXPECT_DOUBLE_EQ(r[0].p[0], 1);  // Cp coefficient a converted to calories
  EXPECT_DOUBLE_EQ(r[0].zT, 1000);
}

TEST(ObigtReader, DerivedAqueousValues) {
  // Na+ (Shock & Helgeson 1988): c1 = 18.18, c2 = -2.981e4, omega = 0.3306e5; tabulated Cp = 9.06 cal/(mol K).
  EXPECT_NEAR(HkfCp298(18.18, -2.981, 0.3306), 9.06, 0.05);
  // Element entropies per atom, cal/(mol K): Na(cr) 51.30 J, 1/2 H2(g) 130.68/2 J; Z = -1/2 S(H2).
  std::map<std::string, double> s = {{"Na", 51.30 / kCalToJ}, {"H", 130.68 / 2 / kCalToJ}, {"Z", -130.68 / 2 / kCalToJ}};
  // Na+: dfG = -62591 cal/mol, S = 13.96 cal/(mol K); tabulated dfH = -57433 cal/mol.
  EXPECT_NEAR(EnthalpyFromGibbs(-62591, 13.96, {{"Na", 1}}, 1, s), -57433, 15);
  // H+ is zero in all three.
  EXPECT_NEAR(EnthalpyFromGibbs(0, 0, {{"H", 1}}, 1, s), 0, 1e-9);
  EXPECT_TRUE(std::isnan(EnthalpyFromGibbs(0, 0, {{"Xx", 1}}, 0, s)));
  // NaCl(cr), CODATA: dfG = -384.138, dfH = -411.153 kJ/mol, S = 72.13 J/(mol K); S(Cl2, g) = 223.08 J/(mol K).
  s["Cl"] = 223.08 / 2 / kCalToJ;
  EXPECT_NEAR(EntropyFromGibbs(-384138 / kCalToJ, -411153 / kCalToJ, {{"Na", 1}, {"Cl", 1}}, s) * kCalToJ, 72.13, 0.2);
}

TEST(ObigtReader, MineralHeatCapacityIntegrals) {
  const double coef[7] = {20.0, 0.004, -3e5, -50.0, 1e-6, 2.0, 0.7};
  CglSource src(-100000, 30, coef);
  EXPECT_DOUBLE_EQ(src.H(298.15), -100000);
  EXPECT_DOUBLE_EQ(src.S(298.15), 30);
  for (double T : {320.0, 800.0, 1500.0}) {
    const double dT = 1e-3;
    EXPECT_NEAR((src.H(T + dT) - src.H(T - dT)) / (2 * dT), src.Cp(T), 1e-5) << T;
    EXPECT_NEAR((src.S(T + dT) - src.S(T - dT)) / (2 * dT), src.Cp(T) / T, 1e-8) << T;
  }
}

}  // namespace
}  // namespace zyl::tools
