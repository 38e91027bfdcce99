#include "mineralogy/miner.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>

#include "common/temp_dir.h"

namespace zyl::mineralogy {
namespace {

using zyl::testing::TempDir;

// Assay of 30 CuFeS2 + 20 FeS2 + 15 ZnS + 10 PbS + 10 SiO2 (wt-%), computed separately with the IUPAC 2013
// standard atomic weights (Cu 63.546, Fe 55.845, S 32.06, Zn 65.38, Pb 207.2, Si 28.085, O 15.999).
const std::vector<std::pair<std::string, double>> kConcentrateAssay = {
    {"Cu", 10.3884}, {"Fe", 18.4396}, {"Zn", 10.0647}, {"Pb", 8.66}, {"S", 27.4473}, {"Si", 4.6744}, {"O", 5.3256}};

std::vector<MineralInput> Concentrate(double start) {
  return {{"CuFeS2", "Cu", start}, {"FeS2", "Fe", start}, {"ZnS", "Zn", start}, {"PbS", "Pb", start},
          {"SiO2", "Si", start}};
}

TEST(Miner, GridLayoutAndLiveFormulas) {
  Miner m;
  ASSERT_EQ(m.Build(kConcentrateAssay, Concentrate(10)), "");
  const auto& s = m.sheet();
  EXPECT_EQ(s.InputText(0, 4), "Cu");  // E1
  EXPECT_EQ(s.Formula(2, 3), "=SUM(E3:IV3)");
  EXPECT_EQ(s.Formula(3, 3), "=SUM(D5:D200)");
  EXPECT_NEAR(*s.Number(2, 3), 85.0, 1e-3);  // the assay total
  EXPECT_NEAR(*s.Number(3, 3), 50.0, 1e-12);
  // Chalcopyrite holds 34.63 % Cu (Dana's handbook value), pyrite 46.55 % Fe.
  EXPECT_NEAR(*s.Number(4, m.ElementColumn("Cu")), 34.63, 0.01);
  EXPECT_NEAR(*s.Number(5, m.ElementColumn("Fe")), 46.55, 0.01);
  // Row 4 follows the amounts: Fe from 10 CuFeS2 and 10 FeS2.
  int fe = m.ElementColumn("Fe");
  EXPECT_NEAR(*s.Number(3, fe), 3.043 + 4.655, 0.002);
  m.sheet().SetNumber(5, 3, 0);  // no pyrite
  EXPECT_NEAR(*s.Number(3, fe), 3.043, 0.002);
}

TEST(Miner, SulphideConcentrateConvergesToTheAssay) {
  Miner m;
  ASSERT_EQ(m.Build(kConcentrateAssay, Concentrate(10)), "");
  FitAllResult r = m.FitAll(kDefaultIterations);
  EXPECT_EQ(r.message, "");
  EXPECT_TRUE(r.converged);
  EXPECT_GT(r.passes, 1);  // Fe is shared by chalcopyrite and pyrite: one pass is not enough
  const auto& s = m.sheet();
  for (const char* el : {"Cu", "Fe", "Zn", "Pb", "Si", "S", "O"}) {
    int c = m.ElementColumn(el);
    EXPECT_EQ(s.DisplayText(2, c), s.DisplayText(3, c)) << el;
  }
  const double expected[] = {30, 20, 15, 10, 10};
  for (int i = 0; i < 5; ++i) EXPECT_NEAR(m.Amount(4 + i), expected[i], 0.05) << i;
}

TEST(Miner, SingleFitEdgeCases) {
  Miner m;
  ASSERT_EQ(m.Build(kConcentrateAssay, {{"CuFeS2", "Cu", 10}, {"FeS2", "", 7}, {"ZnS", "Zn", 0}}), "");
  // No target: nothing happens.
  FitResult none = m.Fit(5, 10);
  EXPECT_EQ(none.stop, FitStop::NoTarget);
  EXPECT_EQ(m.Amount(5), 7);
  // Calculated Zn is zero: stop at once, amount unchanged.
  FitResult zero = m.Fit(6, 10);
  EXPECT_EQ(zero.stop, FitStop::ZeroContent);
  EXPECT_EQ(zero.iterations, 0);
  EXPECT_EQ(m.Amount(6), 0);
  // One update x a / c is exact for a mineral that alone holds its target: the second would find equal texts,
  // but the first already does.
  FitResult cu = m.Fit(4, 10);
  EXPECT_EQ(cu.stop, FitStop::DisplayEqual);
  EXPECT_EQ(cu.iterations, 1);
  EXPECT_NEAR(m.Amount(4), 30.0, 1e-3);
  // Already equal: one iteration writes x a / c and stops.
  FitResult again = m.Fit(4, 10);
  EXPECT_EQ(again.iterations, 1);
  EXPECT_EQ(again.stop, FitStop::DisplayEqual);
}

TEST(Miner, Messages) {
  Miner m;
  ASSERT_EQ(m.Build({{"Cu", 10}}, {{"CuFeS2", "Au", 10}, {"FeS2", "", 5}}), "");
  FitResult r = m.Fit(4, 5);
  EXPECT_EQ(r.stop, FitStop::NoSuchElement);
  EXPECT_EQ(r.message, "No such element: Au");
  EXPECT_EQ(m.FitAll(5).message, "No such element: Au");

  Miner none;
  ASSERT_EQ(none.Build({{"Cu", 10}}, {{"CuFeS2", "", 10}}), "");
  EXPECT_EQ(none.FitAll(5).message, "Please give at least one\nTarget Element in Column B !");

  Miner bad;
  EXPECT_EQ(bad.Build({{"Qq", 1}}, {}), "No such element: Qq");
  EXPECT_NE(bad.Build({{"Cu", 1}}, {{"CuXx2", "Cu", 1}}), "");
}

TEST(Miner, NonConvergingSetUpsAreReportedNotLooped) {
  // Two minerals fitted by the same element: the split between them is not determined.
  Miner twice;
  ASSERT_EQ(twice.Build({{"Fe", 20}}, {{"CuFeS2", "Fe", 10}, {"FeS2", "Fe", 10}}), "");
  FitAllResult a = twice.FitAll(10);
  EXPECT_NE(a.message.find("both have the target element Fe"), std::string::npos) << a.message;
  EXPECT_EQ(twice.Amount(4), 10);  // nothing changed
  // A target the mineral does not hold.
  Miner foreign;
  ASSERT_EQ(foreign.Build({{"Cu", 10}, {"Zn", 5}}, {{"CuFeS2", "Cu", 10}, {"ZnS", "Cu", 10}}), "");
  EXPECT_NE(foreign.FitAll(10).message.find("ZnS does not contain its target element Cu"), std::string::npos);
  // The assay asks for negative pyrite: the chalcopyrite for 10 % Cu already brings 8.79 % Fe.
  Miner negative;
  ASSERT_EQ(negative.Build({{"Cu", 10}, {"Fe", 5}}, {{"CuFeS2", "Cu", 10}, {"FeS2", "Fe", 10}}), "");
  FitAllResult n = negative.FitAll(10);
  EXPECT_NE(n.message.find("does not reach the assay"), std::string::npos) << n.message;
  EXPECT_LT(n.passes, kMaxPasses);
}

TEST(Miner, LeastSquaresRecoversAmountsAndReportsResiduals) {
  Miner m;
  ASSERT_EQ(m.Build(kConcentrateAssay, Concentrate(0)), "");
  LeastSquaresResult r = m.FitLeastSquares();
  EXPECT_EQ(r.message, "");
  const double expected[] = {30, 20, 15, 10, 10};
  for (int i = 0; i < 5; ++i) EXPECT_NEAR(m.Amount(4 + i), expected[i], 0.01) << i;
  EXPECT_LT(r.norm, 0.01);
  EXPECT_EQ(r.residual.size(), 7u);

  // Cu 10 and Fe 5 can not both be met with non-negative amounts: pyrite drops to zero and the best
  // chalcopyrite x minimises (0.3463 x - 10)^2 + (0.3043 x - 5)^2, x = (3.463 + 1.5215) / (0.3463^2 + 0.3043^2).
  Miner neg;
  ASSERT_EQ(neg.Build({{"Cu", 10}, {"Fe", 5}}, {{"CuFeS2", "Cu", 1}, {"FeS2", "Fe", 1}}), "");
  LeastSquaresResult n = neg.FitLeastSquares();
  EXPECT_EQ(neg.Amount(5), 0);
  double cu = *neg.sheet().Number(4, 4) / 100, fe = *neg.sheet().Number(4, 5) / 100;
  EXPECT_NEAR(neg.Amount(4), (10 * cu + 5 * fe) / (cu * cu + fe * fe), 1e-6);
  EXPECT_LT(n.residual.at("Cu"), 0);
  EXPECT_GT(n.residual.at("Fe"), 0);
}

TEST(Miner, MixtureIsNormalisedToHundred) {
  Miner m;
  ASSERT_EQ(m.Build(kConcentrateAssay, Concentrate(10)), "");
  Mixture mix = m.MixtureComposition();
  EXPECT_DOUBLE_EQ(mix.total, 50);
  double sm = 0, se = 0;
  for (const auto& [f, v] : mix.minerals) sm += v;
  for (const auto& [e, v] : mix.elements) se += v;
  EXPECT_NEAR(sm, 100, 1e-9);
  EXPECT_NEAR(se, 100, 1e-9);
  EXPECT_NEAR(mix.minerals[0].second, 20, 1e-12);
}

TEST(Miner, FilesRoundTripAndShapeCheck) {
  TempDir dir;
  Miner m;
  ASSERT_EQ(m.Build(kConcentrateAssay, Concentrate(12.5)), "");
  ASSERT_EQ(m.Save(dir / "Miner001.MNR"), "");
  ASSERT_EQ(m.Save(dir / "Miner001.xlsx"), "");
  for (const char* name : {"Miner001.MNR", "Miner001.xlsx"}) {
    Miner back;
    ASSERT_EQ(back.Load(dir / name), "") << name;
    EXPECT_EQ(back.MineralRows().size(), 5u);
    EXPECT_EQ(back.Amount(6), 12.5);
    EXPECT_EQ(back.Target(4), "Cu");
    EXPECT_EQ(back.sheet().Formula(3, 3), "=SUM(D5:D200)");
    EXPECT_TRUE(back.FitAll(10).converged);
  }
  // A workbook of another shape is questioned and the grid stays as it was.
  platform::Workbook other("Sheet1");
  other.sheet(0).SetText(0, 4, "Temperature");
  ASSERT_EQ(other.Save(dir / "other.xlsx"), "");
  EXPECT_EQ(m.Load(dir / "other.xlsx"), "This may not be valid Mineralogy File ?");
  EXPECT_EQ(m.MineralRows().size(), 5u);
  EXPECT_EQ(m.Load(dir / "missing.MNR").empty(), false);
}

TEST(Miner, CorruptFilesGiveMessagesNotCrashes) {
  TempDir dir;
  Miner good;
  ASSERT_EQ(good.Build(kConcentrateAssay, Concentrate(10)), "");
  ASSERT_EQ(good.Save(dir / "good.MNR"), "");
  std::ifstream in(dir / "good.MNR", std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), {});
  int cases = 40;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1, std::atoi(env));
  std::mt19937 rng(16);
  for (int i = 0; i < cases; ++i) {
    std::string b = bytes.substr(0, rng() % bytes.size());
    if (i % 2) for (int k = 0; k < 8; ++k) if (!b.empty()) b[rng() % b.size()] = char(rng());
    std::ofstream(dir / "bad.MNR", std::ios::binary) << b;
    Miner m;
    std::string error = m.Load(dir / "bad.MNR");
    if (error.empty()) m.FitAll(3);  // a file that still reads must still fit without trouble
  }
}

}  // namespace
}  // namespace zyl::mineralogy
