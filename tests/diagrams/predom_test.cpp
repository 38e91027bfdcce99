#include "diagrams/predom.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>

#include "diagrams/cu_s_o.h"

namespace zyl::diagrams {
namespace {

using testing::CuSODatabase;
using testing::CuSOSetup;
using testing::FindSample;
using testing::SampleSpecies;

constexpr double kR = 8.314;

// G(T) in J/mol by Simpson integration of Cp and Cp/T from 298.15 K (independent of Energy).
double SimpsonG(const std::vector<CalorieRange>& ranges, double T) {
  auto cp = [](const CalorieRange& r, double t) {
    return 4.184 * (r.A + r.B * 1e-3 * t + r.C * 1e5 / (t * t) + r.D * 1e-6 * t * t);
  };
  double H = 0, S = 0, lo = 298.15;
  for (size_t k = 0; k < ranges.size(); ++k) {
    const CalorieRange& r = ranges[k];
    H += 4184 * r.H;
    S += 4.184 * r.S;
    if (k > 0) lo = r.T1;
    double hi = (k + 1 < ranges.size() && T > r.T2) ? r.T2 : T;
    const int n = 400;
    double h = (hi - lo) / n, ih = 0, is = 0;
    for (int i = 0; i <= n; ++i) {
      double t = lo + i * h, w = (i == 0 || i == n) ? 1 : (i % 2 ? 4 : 2);
      ih += w * cp(r, t);
      is += w * cp(r, t) / t;
    }
    H += ih * h / 3;
    S += is * h / 3;
    if (hi == T) break;
  }
  return H - T * S;
}

double SampleG(const std::string& name, double T) {
  static std::map<std::pair<std::string, double>, double> memo;
  auto [it, fresh] = memo.try_emplace({name, T}, 0.0);
  if (fresh) it->second = SimpsonG(testing::SampleRanges(*FindSample(name)), T);
  return it->second;
}

// Formation energy per mol of Cu from Cu, SO2 and O2, written out from the reaction
//   (1/x) CuxSyOz = Cu + (y/x) SO2 + ((z - 2y) / 2x) O2   (reversed).
double IndependentD(const SampleSpecies& s, double T, double log_pso2, double log_po2) {
  double gso2 = SampleG("SO2(g)", T) + kR * T * log_pso2 * std::log(10.0);
  double go2 = SampleG("O2(g)", T) + kR * T * log_po2 * std::log(10.0);
  return SampleG(s.name, T) / s.cu - s.s / s.cu * gso2 - (s.o - 2 * s.s) / (2 * s.cu) * go2;
}

TEST(PredomEnergy, MatchesNumericalIntegrationAcrossRanges) {
  CalorieRange r1{0, -10.0, 12.0, 6.0, 2.5, -1.2, 0.8, 298.15, 700};
  CalorieRange r2{0, 1.5, 2.1, 9.0, 1.0, 0.5, -0.3, 700, 1500};
  std::vector<CalorieRange> cal = {r1, r2};
  std::vector<EnergyRange> j = ToJoules(cal);
  for (double T : {298.15, 450.0, 700.0, 701.0, 1200.0, 1500.0}) {
    EXPECT_NEAR(Energy(j, T), SimpsonG(cal, T), 1e-4 * std::fabs(SimpsonG(cal, T)) + 0.01) << T;
    EXPECT_EQ(Energy(j, T), Energy2(j, T));
  }
  // At 298.15 K exactly H - T S, whatever the coefficients.
  EXPECT_DOUBLE_EQ(Energy(j, 298.15), -10.0 * 4184 - 298.15 * 12.0 * 4.184);
  // Exactly at the shared limit the first range is taken, without the second range's jump.
  EXPECT_NEAR(Energy(j, 700), SimpsonG({r1}, 700), 0.05);
}

TEST(PredomEnergy, RangeListEndsAtZeroUpperLimitAndLowStartCountsFrom298) {
  CalorieRange r1{0, -5.0, 10.0, 7.0, 0, 0, 0, 298.15, 1000};
  CalorieRange garbage{0, 99, 99, 99, 0, 0, 0, 1000, 0};
  std::vector<EnergyRange> j = ToJoules({r1, garbage});
  // Above the last range: the same formulas with the last real range.
  double T = 1500, H = -5000 * 4.184 + 7 * 4.184 * (T - 298.15), S = 10 * 4.184 + 7 * 4.184 * std::log(T / 298.15);
  EXPECT_NEAR(Energy(j, T), H - T * S, 1e-6);
  // A first range that starts below 298.15 K integrates from 298.15 K (H and S are 298.15 K values);
  // one stored as single-precision 298.15 starts at its own limit.
  CalorieRange low = r1;
  low.T1 = 200;
  EXPECT_DOUBLE_EQ(Energy(ToJoules({low}), 298.15), -5000 * 4.184 - 298.15 * 10 * 4.184);
  CalorieRange single = r1;
  single.T1 = static_cast<float>(298.15);
  EXPECT_GT(single.T1, kBelow298Second);
  EXPECT_NEAR(Energy(ToJoules({single}), 900), Energy(ToJoules({r1}), 900), 1e-3);
}

TEST(PredomSetupChecks, MessagesInOrder) {
  PredomSetup s = CuSOSetup();
  EXPECT_EQ(ValidateSetup(s), "");
  PredomSetup t = s;
  t.species.resize(2);
  EXPECT_EQ(ValidateSetup(t), "Please, select at least three Species");
  t = s, t.x_axis.clear();
  EXPECT_EQ(ValidateSetup(t), "Please, select X - axis also");
  t = s, t.y_axis.clear();
  EXPECT_EQ(ValidateSetup(t), "Please, select Y - axis also");
  t = s, t.constant.clear();
  EXPECT_EQ(ValidateSetup(t), "Please, select Constant variable also");
  t = s, t.y_axis = t.x_axis;
  EXPECT_EQ(ValidateSetup(t), "Please, select different axises.");
  EXPECT_FALSE(CollectData(t, CuSODatabase()).model.has_value());
  t = s, t.constant = "S2(g)";
  EXPECT_EQ(ValidateSetup(t), std::string(kMsgTemperatureMissing));
  t = s, t.x_axis = std::string(kTemperature), t.constant = "O2(g)";
  EXPECT_EQ(ValidateSetup(t), "Please, select different axises.");
  t.constant = "S2(g)";
  EXPECT_EQ(ValidateSetup(t), "");
}

TEST(PredomSpeciesChoice, ListsFollowTheElementsAndGases) {
  MemorySpeciesSource db = CuSODatabase();
  db.Add("Fe", testing::SampleRanges(*FindSample("Cu")));
  EXPECT_EQ(ChooseSpecies({"Cu", "S"}, db).error, "Please, select at least THREE elements");
  EXPECT_EQ(ChooseSpecies({"Cu", "S", "O", "Fe"}, db).error, "Please, select at most THREE elements");
  SpeciesChoice c = ChooseSpecies({"Cu", "S", "O"}, db);
  ASSERT_EQ(c.error, "");
  EXPECT_EQ(c.x_list, (std::vector<std::string>{"Temperature", "O2(g)", "SO2(g)", "S2(g)"}));
  EXPECT_EQ(c.y_list, (std::vector<std::string>{"O2(g)", "SO2(g)", "S2(g)"}));
  EXPECT_EQ(c.c_list, (std::vector<std::string>{"Temperature", "O2(g)", "S2(g)"}));
  EXPECT_EQ(c.species.size(), 8u);
  EXPECT_EQ(std::count(c.species.begin(), c.species.end(), "Fe"), 0);
}

TEST(PredomCoefficients, FormationPerMolOfTheFreeElement) {
  PredomSetup s = CuSOSetup();
  CollectResult r = CollectData(s, CuSODatabase());
  ASSERT_TRUE(r.model) << r.error;
  const PredomModel& m = *r.model;
  EXPECT_EQ(m.gas1, "SO2(g)");
  EXPECT_EQ(m.gas2, "O2(g)");
  EXPECT_EQ(m.free_element, "Cu");
  // "S" holds no copper: left out with a message.
  EXPECT_EQ(m.skipped, std::vector<std::string>{"S"});
  ASSERT_EQ(r.warnings.size(), 1u);
  struct Want {
    const char* name;
    double a, b, c;
  };
  for (Want w : {Want{"Cu", 1, 0, 0}, Want{"Cu2O", 0.5, 0, -0.25}, Want{"CuSO4", 1, -1, -1},
                 Want{"Cu2S", 0.5, -0.5, 0.5}, Want{"CuO*CuSO4", 0.5, -0.5, -0.75}}) {
    int k = static_cast<int>(std::find(m.names.begin(), m.names.end(), w.name) - m.names.begin());
    ASSERT_LT(k, m.Count()) << w.name;
    EXPECT_NEAR(m.a[k], w.a, 1e-12) << w.name;
    EXPECT_NEAR(m.b[k], w.b, 1e-12) << w.name;
    EXPECT_NEAR(m.c[k], w.c, 1e-12) << w.name;
  }
  // Two gases of one element leave two elements free and can not span the field.
  PredomModel bad = m;
  bad.gas1 = "O2(g)", bad.gas2 = "O3(g)";
  EXPECT_NE(ParseNametoMatrix(bad), "");
}

TEST(PredomCollect, MissingSpeciesAndBadLimits) {
  PredomSetup s = CuSOSetup();
  s.species.push_back("Cu3O4");
  EXPECT_EQ(CollectData(s, CuSODatabase()).error, "The Specie: Cu3O4 is no longer available.");
  s = CuSOSetup();
  s.xmin = s.xmax;
  EXPECT_FALSE(CollectData(s, CuSODatabase()).model);
  s = CuSOSetup();
  s.constant_value = -300, s.celsius = true;
  EXPECT_FALSE(CollectData(s, CuSODatabase()).model);
  // Absurd limits used to give labels at -inf and area weights of 4e301.
  struct Case {
    void (*edit)(PredomSetup&);
    std::string_view message;
  };
  const Case cases[] = {
      {[](PredomSetup& s) { s.xmin = -1e300; }, kMsgXLimits},
      {[](PredomSetup& s) { s.ymax = NAN; }, kMsgYLimits},
      {[](PredomSetup& s) { s.ymin = -INFINITY; }, kMsgYLimits},
      {[](PredomSetup& s) { s.constant_value = 1e6; }, kMsgConstantLimits},
      {[](PredomSetup& s) { s.constant_value = NAN; }, kMsgConstantLimits},
      {[](PredomSetup& s) { s.x_axis = "Temperature", s.xmin = 500, s.xmax = 1e308, s.constant = "S2(g)"; }, kMsgXLimits},
      {[](PredomSetup& s) { s.x_axis = "Temperature", s.xmin = 500, s.xmax = 900, s.constant = "S2(g)", s.constant_value = 2000; },
       kMsgConstantLimits},
  };
  for (const Case& c : cases) {
    s = CuSOSetup();
    c.edit(s);
    EXPECT_EQ(CollectData(s, CuSODatabase()).error, c.message);
  }
  s = CuSOSetup();
  s.xmin = -1000, s.xmax = 1000;  // the widest accepted
  EXPECT_TRUE(CollectData(s, CuSODatabase()).model);
}

// A file or command line could hand over what the form never offers: "CuCr2O4" was read as "CuO4" and took
// most of the diagram, a condensed "S" became an axis gas.
TEST(PredomCollect, ItemsOutsideTheThreeElementSystemAreRefused) {
  struct Case {
    void (*edit)(PredomSetup&);
    const char* message;
  };
  const Case cases[] = {
      {[](PredomSetup& s) { s.species.push_back("CuCr2O4"); }, "The Specie: CuCr2O4 is not a condensed species of Cu-S-O."},
      {[](PredomSetup& s) { s.species.push_back("SO2(g)"); }, "The Specie: SO2(g) is not a condensed species of Cu-S-O."},
      {[](PredomSetup& s) { s.species.push_back("Cu(+2a)"); }, "The Specie: Cu(+2a) is not a condensed species of Cu-S-O."},
      {[](PredomSetup& s) { s.x_axis = "S"; }, "The x-axis: S is not a gas of Cu-S-O."},
      {[](PredomSetup& s) { s.y_axis = "N2(g)"; }, "The y-axis: N2(g) is not a gas of Cu-S-O."},
      {[](PredomSetup& s) { s.x_axis = "Temperature", s.xmin = 800, s.xmax = 1400, s.constant = "SO2(g)"; },
       "The diagram constant: SO2(g) is not a gas of one element of Cu-S-O."},
      {[](PredomSetup& s) { s.elements[2] = "S"; }, "Please, select at least THREE elements"},
  };
  for (const Case& c : cases) {
    PredomSetup s = CuSOSetup();
    c.edit(s);
    CollectResult r = CollectData(s, CuSODatabase());
    EXPECT_FALSE(r.model) << c.message;
    EXPECT_EQ(r.error, c.message);
  }
  // A set-up of the system itself passes, with temperature on the x-axis and an elemental gas constant.
  PredomSetup ok = CuSOSetup();
  ok.x_axis = "Temperature", ok.xmin = 800, ok.xmax = 1400, ok.constant = "S2(g)", ok.constant_value = -2;
  EXPECT_TRUE(CheckSystem(ok, false).empty());
}

// Species evaluated beyond their data used to be silent in the diagram (FeS2 above 1400 K).
TEST(PredomCollect, ExtrapolationIsNoted) {
  MemorySpeciesSource db = CuSODatabase();
  db.Add("CuSO4", SampleRanges(*FindSample("CuSO4"), 298.15, 900));
  PredomSetup s = CuSOSetup(kResolutionLow, 1000);
  CollectResult r = CollectData(s, db);
  ASSERT_TRUE(r.model) << r.error;
  EXPECT_EQ(ExtrapolationNotes(*r.model), std::vector<std::string>{"CuSO4: Extrapolated from 298.15-900 K"});
  s.constant_value = 800;  // inside every range
  EXPECT_TRUE(ExtrapolationNotes(*CollectData(s, db).model).empty());
  // A temperature axis reaching below 298.15 K leaves every species and the axis gas below its data.
  s.x_axis = "Temperature", s.xmin = 250, s.xmax = 800, s.constant = "S2(g)", s.constant_value = -3;
  r = CollectData(s, db);
  ASSERT_TRUE(r.model) << r.error;
  std::vector<std::string> notes = ExtrapolationNotes(*r.model);
  ASSERT_EQ(notes.size(), 2u + r.model->names.size());
  EXPECT_EQ(notes[0], "O2(g): Extrapolated from 298.15-3000 K");
}

PredomModel Model(const PredomSetup& s, const SpeciesSource& db) {
  CollectResult r = CollectData(s, db);
  EXPECT_TRUE(r.model) << r.error;
  return r.model ? *r.model : PredomModel{};
}

// The species whose independent D is lowest at a point of the SO2 / O2 field.
std::string IndependentWinner(const PredomModel& m, double T, double x, double y) {
  std::string best;
  double dmin = 1e300;
  for (const auto& name : m.names) {
    double d = IndependentD(*FindSample(name), T, x, y);
    if (d < dmin) dmin = d, best = name;
  }
  return best;
}

TEST(PredomSearch, BoundaryCellsLieOnTheReactionLines) {
  MemorySpeciesSource db = CuSODatabase();
  PredomModel m = Model(CuSOSetup(kResolutionMedium), db);
  PredomResult r = MakePicture(m);
  ASSERT_GT(r.BoundaryPoints(), 500);
  EXPECT_EQ(r.bx.size(), r.cells.size());
  std::set<int> seen;
  for (const BoundaryCell& c : r.cells) {
    // A line passes within one cell width: the independent winners differ around the cell.
    std::set<std::string> around;
    for (int i = -1; i <= 2; ++i)
      for (int j = -1; j <= 2; ++j)
        around.insert(IndependentWinner(m, 1000, c.x + i * r.cell_w, c.y + j * r.cell_h));
    EXPECT_GE(around.size(), 2u) << "cell at " << c.x << ", " << c.y;
    for (int s : c.corners) seen.insert(s);
  }
  EXPECT_GE(seen.size(), 5u);
  // Inside the areas the search agrees with the independent winner.
  for (const AreaLabel& a : r.labels) {
    if (a.level >= 4) continue;
    EXPECT_EQ(m.names[a.species - 1], IndependentWinner(m, 1000, a.x, a.y));
  }
}

TEST(PredomSearch, AdaptiveFindsTheBruteForceCells) {
  PredomModel m = Model(CuSOSetup(kResolutionMedium), CuSODatabase());
  PredomResult r = MakePicture(m);
  auto key = [&](const BoundaryCell& c) {
    return std::tuple(std::lround((c.x - m.xmin) / r.cell_w), std::lround((c.y - m.ymin) / r.cell_h), c.species);
  };
  std::set<std::tuple<long, long, int>> adaptive, brute;
  for (const auto& c : r.cells) adaptive.insert(key(c));
  for (const auto& c : BruteForceCells(m)) brute.insert(key(c));
  EXPECT_EQ(adaptive, brute);
  EXPECT_EQ(adaptive.size(), r.cells.size()) << "a cell was recorded twice";
  // Far fewer evaluations than the full grid of 513 x 513 points.
  EXPECT_LT(r.evaluations * 4, 513 * 513);
}

TEST(PredomSearch, UniformFieldHasNoBorder) {
  MemorySpeciesSource db = CuSODatabase();
  auto cuso4 = testing::SampleRanges(*FindSample("CuSO4"));
  cuso4[0].H = -1000;  // overwhelmingly stable
  db.Add("CuSO4", cuso4);
  PredomModel m = Model(CuSOSetup(kResolutionLow), db);
  PredomResult r = MakePicture(m);
  EXPECT_EQ(r.BoundaryPoints(), 0);
  EXPECT_TRUE(r.cells.empty());
  ASSERT_EQ(r.labels.size(), 4u);  // the first box is uniform: its four cells
  for (const AreaLabel& a : r.labels) EXPECT_EQ(m.names[a.species - 1], "CuSO4");
  std::vector<AreaSummary> areas = PlaceLabels(r);
  ASSERT_EQ(areas.size(), 1u);
  EXPECT_NEAR(areas[0].x, -4, 1e-9);
  EXPECT_NEAR(areas[0].y, -9, 1e-9);
}

TEST(PredomSearch, TieGoesToTheLowerIndex) {
  MemorySpeciesSource db = CuSODatabase();
  db.Add("CuO(l)", testing::SampleRanges(*FindSample("CuO")));  // same composition, same data
  for (bool copy_first : {false, true}) {
    PredomSetup s = CuSOSetup(kResolutionLow);
    s.species = copy_first ? std::vector<std::string>{"Cu", "CuO(l)", "Cu2O", "CuO"}
                           : std::vector<std::string>{"Cu", "CuO", "Cu2O", "CuO(l)"};
    PredomModel m = Model(s, db);
    PredomResult r = MakePicture(m);
    std::set<std::string> found;
    for (const AreaLabel& a : r.labels) found.insert(m.names[a.species - 1]);
    EXPECT_TRUE(found.count(copy_first ? "CuO(l)" : "CuO"));
    EXPECT_FALSE(found.count(copy_first ? "CuO" : "CuO(l)"));
  }
}

TEST(PredomSearch, HighResolutionDoublesTheBorderOfAStraightLine) {
  PredomSetup s = CuSOSetup();
  s.species = {"Cu", "Cu2O", "CuO"};  // two horizontal borders in log p(O2)
  int points[3];
  for (int R : {kResolutionLow, kResolutionMedium, kResolutionHigh}) {
    s.resolution = R;
    PredomModel m = Model(s, CuSODatabase());
    PredomResult r = MakePicture(m);
    points[R - kResolutionLow] = r.BoundaryPoints();
    EXPECT_DOUBLE_EQ(r.cell_w, 12.0 / (1 << (R + 1)));
  }
  EXPECT_NEAR(points[1] / double(points[0]), 2.0, 0.1);
  EXPECT_NEAR(points[2] / double(points[1]), 2.0, 0.1);
  EXPECT_EQ(points[1], 2 * 512);  // two lines, one cell per column
}

TEST(PredomSearch, TemperatureAxisAgainstOxygen) {
  PredomSetup s;
  s.elements = {"Cu", "O", "S"};
  s.x_axis = std::string(kTemperature);
  s.y_axis = "O2(g)";
  s.constant = "S2(g)";
  s.constant_value = -8;
  s.xmin = 500, s.xmax = 1100, s.celsius = true;  // deg C on the axis, K in the search
  s.ymin = -24, s.ymax = 0;
  s.species = {"Cu", "Cu2O", "CuO", "Cu2S"};
  s.resolution = kResolutionMedium;
  PredomModel m = Model(s, CuSODatabase());
  EXPECT_EQ(m.gas1, "O2(g)");
  EXPECT_EQ(m.gas2, "S2(g)");
  EXPECT_DOUBLE_EQ(m.tmin, 773.15);
  Evaluator ev(m);
  EXPECT_EQ(ev.TableRows(), 256 + 4);  // Tmin .. Tmax + 3 steps
  PredomResult r = MakePicture(m);
  ASSERT_GT(r.BoundaryPoints(), 100);
  auto winner = [&](double T, double lpo2) {
    // Per mol Cu from Cu, O2 and S2: D = G/x - (z / 2x) g(O2) - (y / 2x) g(S2).
    double go2 = SampleG("O2(g)", T) + kR * T * lpo2 * std::log(10.0);
    double gs2 = SampleG("S2(g)", T) + kR * T * -8 * std::log(10.0);
    std::string best;
    double dmin = 1e300;
    for (const auto& n : m.names) {
      const SampleSpecies& sp = *FindSample(n);
      double d = SampleG(n, T) / sp.cu - sp.o / (2 * sp.cu) * go2 - sp.s / (2 * sp.cu) * gs2;
      if (d < dmin) dmin = d, best = n;
    }
    return best;
  };
  int checked = 0;
  for (size_t k = 0; k < r.cells.size(); k += 7, ++checked) {
    const BoundaryCell& c = r.cells[k];
    std::set<std::string> around;
    // The energy table holds one row per two cells, so allow three cells along T.
    for (int i = -3; i <= 4; ++i)
      for (int j = -1; j <= 2; ++j) around.insert(winner(c.x + i * r.cell_w, c.y + j * r.cell_h));
    EXPECT_GE(around.size(), 2u) << c.x << " " << c.y;
  }
  EXPECT_GT(checked, 10);
}

TEST(PredomSearch, SliverSeenOnlyAtBorderCornersStillGetsAnArea) {
  // Two final cells whose corners name a species that has no uniform cell of its own.
  PredomResult r;
  r.cell_w = r.cell_h = 0.5;
  r.labels.push_back({1, 1, 4, 1, 0});
  r.cells.push_back({2, 2, 1, {1, 3, 1, 1}});
  r.cells.push_back({3, 2, 3, {3, 1, 1, 1}});
  std::vector<AreaSummary> a = PlaceLabels(r);
  ASSERT_EQ(a.size(), 2u);
  EXPECT_EQ(a[1].species, 3);
  EXPECT_EQ(a[1].weight, 0);
  EXPECT_DOUBLE_EQ(a[1].x, 2.75);
  EXPECT_DOUBLE_EQ(a[1].y, 2);
}

TEST(PredomSearch, SwitchExchangesThePressures) {
  PredomSetup s = CuSOSetup(kResolutionLow);
  PredomModel m = Model(s, CuSODatabase());
  PredomModel w = m;
  w.swap_gases = true;
  Evaluator a(m), b(w);
  // With the switch the X coordinate feeds the second gas: the field is mirrored in x = y.
  for (double u : {-8.0, -4.0, -1.0})
    for (double v : {-15.0, -6.0, 0.0}) EXPECT_EQ(b.Predominant(u, v), a.Predominant(v, u));
}

TEST(PredomSearch, ObserverSeesEveryCellAndLabelsStayInside) {
  PredomModel m = Model(CuSOSetup(kResolutionLow), CuSODatabase());
  struct Count : SearchObserver {
    int uniform = 0, final = 0;
    void UniformCell(double, double, double, double, int) override { ++uniform; }
    void FinalCell(double, double, double, double, int) override { ++final; }
  } obs;
  PredomResult r = MakePicture(m, &obs);
  EXPECT_EQ(obs.uniform, static_cast<int>(r.labels.size()));
  EXPECT_EQ(obs.final, r.BoundaryPoints());
  Evaluator ev(m);
  std::vector<AreaSummary> areas = PlaceLabels(r);
  EXPECT_GE(areas.size(), 5u);
  for (const AreaSummary& a : areas) EXPECT_EQ(ev.Predominant(a.x, a.y), a.species) << m.names[a.species - 1];
  // Traced border pieces stay near final cells and connect into lines.
  std::vector<Segment> segs = TraceBoundaries(m, r);
  EXPECT_GE(segs.size(), r.cells.size());
  EXPECT_EQ(DiagramTitle(m.elements), "Predominance Diagram for Cu-S-O System");
}

}  // namespace
}  // namespace zyl::diagrams
