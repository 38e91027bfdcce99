#include "balance/balance_io.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "balance/balance_calc.h"
#include "balance_test_util.h"

namespace zyl::balance {
namespace {

constexpr int R = kFirstDataRow;

TEST(Description, BuildsRowsAsTypedWithStreams) {
  BalanceDescription d;
  const char* json = R"j({"energy_unit": "MJ", "temperature_unit": "K", "areas": [
      {"in": [{"species": "CH4(g)", "T": 298.15, "kmol": 1},
              {"species": "O2(g)", "T": 298.15, "Nm3": 44.8272, "stream": "Air"},
              {"species": "N2(g)", "kg": 210.67, "stream": "Air"},
              {"heat": "Electric heating", "value": 5}],
       "out": [{"species": "CO2(g)", "T": 1500, "kmol": 1}]},
      {"in": [], "out": []}]})j";
  ASSERT_EQ(ParseDescription(json, d), "");
  EXPECT_EQ(d.units.energy, EnergyUnit::MJ);
  EXPECT_EQ(d.units.temp, TempUnit::K);
  ASSERT_EQ(d.areas.size(), 2u);
  testing::Fixture f;
  ASSERT_EQ(BuildBalance(f.book, d), "");
  EXPECT_EQ(f.book.AreaCount(), 2);
  const platform::Sheet& in = f.book.book().sheet(f.book.InSheet(1));
  EXPECT_EQ(in.Value(R, col::kFormula).text, "CH4(g)");
  EXPECT_EQ(f.book.Kind(f.book.InSheet(1), R + 1), RowKind::Stream);
  EXPECT_EQ(in.Value(R + 1, col::kFormula).text, "Air");
  EXPECT_EQ(in.Formula(R + 2, col::kKmol), "=D6/J6");  // typed Nm3
  EXPECT_NEAR(in.Number(R + 2, col::kKmol).value(), 2.0, 1e-9);
  EXPECT_TRUE(in.Value(R + 3, col::kTemp).empty());  // no T: 25 °C, shown as an empty cell
  EXPECT_EQ(in.Formula(R + 1, col::kKmol), "=SUM(C6:C7)");
  EXPECT_EQ(f.book.Kind(f.book.InSheet(1), R + 5), RowKind::Heat);
  EXPECT_NEAR(ReadBalSheet(f.book)[0].in.tot_h, -17.89 * 4.184 + 5 + in.Number(R + 3, col::kTotH).value(), 1e-6);

  const char* bad[][2] = {
      {"[]", "the description is not a JSON object"},
      {R"j({"areas": []})j", "\"areas\" must be a non-empty list"},
      {R"j({"energy_unit": "BTU", "areas": [{}]})j", "\"energy_unit\" must be one of kcal, Mcal, kJ, MJ, kWh"},
      {R"j({"areas": [{"in": [{"species": "O2(g)", "kmol": 1, "kg": 32}]}]})j",
       "area 1 in row 1: give exactly one of \"kmol\", \"kg\", \"Nm3\""},
      {R"j({"areas": [{"out": [{"T": 5, "kmol": 1}]}]})j", "area 1 out row 1: \"species\" missing"},
  };
  for (auto& [text, msg] : bad) EXPECT_EQ(ParseDescription(text, d), msg) << text;
}

constexpr const char* kOhe = R"j(# kiln, old format
UNIT MJ
COMPONENT
IN   CaCO3   25   1
OUT  CaO     900  1
OUT  CO2(g)  900  44.01 kg
EXTRA INPUT
CH4(g)  25  0.2
EXTRA HEAT:
Burner air preheat   150.5
HEAT LOSESS
Shell losses  120
)j";

TEST(Ohe, ImportsAllSectionsIncludingTheOldSpelling) {
  testing::Fixture f;
  ASSERT_EQ(ImportOheText(f.book, kOhe), "");
  EXPECT_EQ(f.book.units().energy, EnergyUnit::MJ);
  std::vector<RowData> in = f.book.Rows(f.book.InSheet(1)), out = f.book.Rows(f.book.OutSheet(1));
  ASSERT_EQ(in.size(), 3u);
  ASSERT_EQ(out.size(), 3u);
  EXPECT_EQ(in[1].formula, "CH4(g)");
  EXPECT_EQ(in[2].kind, RowKind::Heat);
  EXPECT_DOUBLE_EQ(in[2].tot_h, 150.5);
  EXPECT_EQ(out[2].formula, "Shell losses");
  EXPECT_NEAR(out[1].kmol, 1.0, 1e-3);
  for (const char* head : {"HEAT LOSSES", "HEAT LOSSES:"}) {
    BalanceDescription d;
    std::string text = std::string("COMPONENT\nIN O2(g) 25 1\n") + head + "\nLoss 3\n";
    ASSERT_EQ(ParseOheText(text, d), "");
    ASSERT_EQ(d.areas[0].out.size(), 1u);
    EXPECT_TRUE(d.areas[0].out[0].heat);
  }
  BalanceDescription d;
  EXPECT_EQ(ParseOheText("COMPONENT\nIN O2(g) hot 1\n", d),
            "Error in line 2: IN O2(g) hot 1 (temperature and amount must be numbers)");
  EXPECT_EQ(ParseOheText("UNIT kcal\n", d), "Error in line 1: UNIT kcal (energy unit Mcal, MJ or kWh expected)");
  // Overflowing numbers used to become #NUM! cells, read later as 0.
  EXPECT_EQ(ParseOheText("COMPONENT\nIN O2(g) 25 1e999\n", d),
            "Error in line 2: IN O2(g) 25 1e999 (temperature and amount must be numbers)");
  EXPECT_EQ(ParseOheText("COMPONENT\nOUT CO2(g) nan 1\n", d),
            "Error in line 2: OUT CO2(g) nan 1 (temperature and amount must be numbers)");
  EXPECT_EQ(ParseOheText("EXTRA HEAT\nBurner -inf\n", d),
            "Error in line 2: Burner -inf (the value is not a number)");
}

TEST(Ohe, ParserSurvivesRandomInput) {
  // Random lines built from the format's own words, numbers and junk; the parser must never crash.
  int cases = 100000;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1, std::atoi(env));
  std::mt19937 rng(12345);
  const char* words[] = {"COMPONENT", "EXTRA INPUT", "EXTRA HEAT:", "HEAT LOSESS", "UNIT", "MJ", "IN", "OUT",
                         "CaO", "O2(g)", "1", "-2.5e3", "kg", "Nm3", ";", "\t", "#", "", "1e999", "nan", "x"};
  std::string text;
  BalanceDescription d;
  int ok = 0;
  for (int i = 0; i < cases; ++i) {
    text.clear();
    int lines = 1 + static_cast<int>(rng() % 4);
    for (int l = 0; l < lines; ++l) {
      int n = static_cast<int>(rng() % 5);
      for (int w = 0; w < n; ++w) {
        text += words[rng() % std::size(words)];
        text += ' ';
      }
      if (rng() % 7 == 0) text += static_cast<char>(rng() % 256);
      text += '\n';
    }
    if (ParseOheText(text, d).empty()) ++ok;
  }
  EXPECT_GT(ok, 0);
}

TEST(Description, ParserSurvivesRandomValues) {
  // Descriptions of the right shape with values of random types: errors, never exceptions or crashes.
  std::mt19937 rng(7);
  const char* values[] = {"1", "-2.5", "\"CH4(g)\"", "\"=IN1!C4\"", "null", "true", "[]", "{}", "[1,2]",
                          "\"\"", "1e308", "\"kWh\""};
  const char* keys[] = {"species", "T", "kmol", "kg", "Nm3", "stream", "heat", "value"};
  const char* tkeys[] = {"variable", "min", "max", "target", "value", "iterations", "name"};
  auto v = [&] { return std::string(values[rng() % std::size(values)]); };
  BalanceDescription d;
  int cases = 10000, accepted = 0;
  for (int i = 0; i < cases; ++i) {
    std::string row = "{";
    for (const char* k : keys)
      if (std::string_view(k) == "heat" ? rng() % 8 == 0 : rng() % 2 == 0) row += std::string(row.size() > 1 ? "," : "") + "\"" + k + "\":" + v();
    row += "}";
    std::string target = "{";
    for (const char* k : tkeys)
      if (rng() % 3) target += std::string(target.size() > 1 ? "," : "") + "\"" + k + "\":" + v();
    target += "}";
    std::string eu = rng() % 4 ? "\"kJ\"" : v(), tu = rng() % 4 ? "\"K\"" : v();
    std::string json = "{\"energy_unit\":" + eu + ",\"temperature_unit\":" + tu + ",\"areas\":[{\"in\":[" + row +
                       "],\"out\":" + (rng() % 4 ? "[" + row + "]" : v()) + "}]" +
                       (rng() % 4 ? "" : ",\"targets\":[" + target + "]") + "}";
    if (ParseDescription(json, d).empty()) ++accepted;
  }
  EXPECT_GT(accepted, 0);  // some random rows are valid ones
}

}  // namespace
}  // namespace zyl::balance
