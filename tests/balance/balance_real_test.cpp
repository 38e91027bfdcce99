// Process cases on the shipped main database and through the command line.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <nlohmann/json.hpp>

#include "balance/balance_calc.h"
#include "balance/balance_io.h"
#include "balance/stream_editor.h"
#include "balance/target.h"
#include "balance_test_util.h"
#include "common/libreoffice.h"
#include "thermo/lookup.h"

namespace zyl::balance {
namespace {

namespace fs = std::filesystem;
constexpr int R = kFirstDataRow;

struct RealDb : ::testing::Test {
  thermo::SpeciesDatabases dbs;
  std::unique_ptr<DbSpeciesSource> species;
  platform::HeadlessMessages msgs{false};
  std::unique_ptr<BalanceBook> book;
  void SetUp() override {
    fs::path main = fs::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL";
    if (!fs::exists(main)) GTEST_SKIP() << "shipped main database missing: " << main;
    ASSERT_EQ(OpenReadOnlyDatabases(dbs, (fs::path(ZYL_SOURCE_DATA_DIR) / "none.ZYL").string(), main.string()), "");
    species = std::make_unique<DbSpeciesSource>(&dbs);
    book = std::make_unique<BalanceBook>(*species, msgs);
  }
  /// 1 kmol methane with stoichiometric air in area 1, everything at 25 °C.
  void MethaneWithAir() {
    int in = book->InSheet(1), out = book->OutSheet(1);
    book->PutSpecies(in, R, "CH4(g)", 25, col::kKmol, 1);
    book->PutSpecies(in, R + 1, "O2(g)", 25, col::kKmol, 2);
    book->PutSpecies(in, R + 2, "N2(g)", 25, col::kKmol, 7.52);
    book->PutSpecies(out, R, "CO2(g)", 25, col::kKmol, 1);
    book->PutSpecies(out, R + 1, "H2O(g)", 25, col::kKmol, 2);
    book->PutSpecies(out, R + 2, "N2(g)", 25, col::kKmol, 7.52);
  }
};

TEST_F(RealDb, MethaneWithStoichiometricAir) {
  MethaneWithAir();
  book->book().Recalculate();
  // Lower heating value of methane, 802.3 kJ/mol (NIST-JANAF): the heat balance of products at 25 °C.
  book->MUnits({EnergyUnit::kJ, TempUnit::C, false});
  EXPECT_NEAR(ReadBalSheet(*book)[0].balance.tot_h, -802300, 1500);
  TBalResult r = CalTBal(*book, 1, false);
  // Adiabatic flame temperature of a stoichiometric methane-air mixture without dissociation, about 2330 K.
  EXPECT_NEAR(r.T, 2328, 15);
  EXPECT_EQ(r.relation, " = ");
  EXPECT_TRUE(ElementErrors(GetEleBal(*book, 1)).empty());
}

TEST_F(RealDb, LimestoneCalcinationEnthalpy) {
  int in = book->InSheet(1), out = book->OutSheet(1);
  book->MUnits({EnergyUnit::MJ, TempUnit::C, false});
  book->PutSpecies(in, R, "CaCO3", 25, col::kKg, 100.087);
  book->PutSpecies(out, R, "CaO", 25, col::kKmol, 1);
  book->PutSpecies(out, R + 1, "CO2(g)", 25, col::kKmol, 1);
  book->book().Recalculate();
  // CaCO3 = CaO + CO2: 178.3 kJ/mol at 25 °C (NBS tables).
  EXPECT_NEAR(ReadBalSheet(*book)[0].balance.tot_h, 178.3, 2.0);
  EXPECT_NEAR(ReadBalSheet(*book)[0].balance.kg, 0.0, 0.01);
}

std::string Zyl(const std::string& args, int* status) {
  std::string cmd = std::string(ZYL_BIN_DIR) + "/zyl " + args + " 2>&1";
  FILE* p = ::popen(cmd.c_str(), "r");
  std::string out;
  char buf[4096];
  while (p && std::fgets(buf, sizeof buf, p)) out += buf;
  int rc = p ? ::pclose(p) : -1;
  *status = WEXITSTATUS(rc);
  return out;
}

TEST(BalanceCli, ExamplesFromDescriptionToGoalSeek) {
  if (!fs::exists(fs::path(ZYL_BIN_DIR) / "zyl")) GTEST_SKIP() << "zyl is not built";
  fs::path main = fs::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL";
  if (!fs::exists(main)) GTEST_SKIP() << "shipped main database missing";
  testing::TempDir dir;
  std::string db = " --main-db " + main.string() + " --own-db " + (dir / "none.ZYL").string();
  std::string ex = std::string(ZYL_SOURCE_DATA_DIR) + "/Balance/";
  std::string file = (dir / "m.xlsx").string();
  int st = 0;
  Zyl("balance new " + file + " --from " + ex + "methane_air.json" + db, &st);
  ASSERT_EQ(st, 0);
  auto recalc = nlohmann::json::parse(Zyl("balance recalc " + file + " --json" + db, &st));
  ASSERT_EQ(st, 0);
  EXPECT_EQ(recalc["energy_unit"], "MJ");
  EXPECT_NEAR(recalc["areas"][0]["in"]["Nm3"].get<double>(), 100 + 42.4754 * 22.4136, 0.5);
  EXPECT_NEAR(recalc["total"]["kg"].get<double>(), 0.0, 0.01);
  for (const char* key : {"kmol", "kg", "Nm3", "latent_H", "total_H"})
    EXPECT_TRUE(recalc["total"].contains(key)) << key;

  auto t = nlohmann::json::parse(Zyl("balance temperature " + file + " --json --save" + db, &st));
  ASSERT_EQ(st, 0);
  EXPECT_EQ(t["unit"], "C");
  EXPECT_EQ(t["relation"], " = ");
  EXPECT_NEAR(t["T"].get<double>(), 2328 - 273.15, 15);
  auto t2 = nlohmann::json::parse(Zyl("balance temperature " + file + " --json" + db, &st));
  EXPECT_NEAR(t2["T"].get<double>(), t["T"].get<double>(), 0.2);

  auto e = nlohmann::json::parse(Zyl("balance elements " + file + " --json" + db, &st));
  ASSERT_EQ(st, 0);
  EXPECT_EQ(e["elements"].size(), 4u);
  EXPECT_EQ(e["out"]["species"][0]["species"], "CO2(g)");

  std::string calc = (dir / "c.xlsx").string();
  Zyl("balance new " + calc + " --from " + ex + "calciner.json" + db, &st);
  ASSERT_EQ(st, 0);
  auto g = nlohmann::json::parse(Zyl("balance target " + calc + " --json --save" + db, &st));
  ASSERT_EQ(st, 0);
  ASSERT_EQ(g["tasks"].size(), 1u);
  EXPECT_TRUE(g["tasks"][0]["message"].is_null());
  EXPECT_LT(std::fabs(g["tasks"][0]["reached"].get<double>()), kTargetTolerance);
  // The fuel found makes the products come out at the 900 °C they were set to.
  auto t3 = nlohmann::json::parse(Zyl("balance temperature " + calc + " --json" + db, &st));
  EXPECT_TRUE(t3["message"] == "Temperature balance OK" || std::fabs(t3["T"].get<double>() - 900) < 0.5);

  Zyl("balance temperature " + (dir / "missing.xlsx").string() + db, &st);
  EXPECT_EQ(st, 1);

  std::string kiln = (dir / "k.xlsx").string();
  Zyl("balance import " + kiln + " --from " + ex + "kiln.OHE" + db, &st);
  ASSERT_EQ(st, 0);
  auto k = nlohmann::json::parse(Zyl("balance recalc " + kiln + " --json" + db, &st));
  EXPECT_EQ(k["energy_unit"], "MJ");
  EXPECT_NEAR(k["areas"][0]["in"]["kg"].get<double>(), k["areas"][0]["out"]["kg"].get<double>(), 0.05);
}

// Errors, unknown species and impossible temperatures used to print zeros with exit 0.
TEST_F(RealDb, CommandLineRefusesBalancesItCanNotTrust) {
  if (!fs::exists(fs::path(ZYL_BIN_DIR) / "zyl")) GTEST_SKIP() << "zyl is not built";
  testing::TempDir dir;
  std::string db = " --main-db " + (fs::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL").string() +
                   " --own-db " + (dir / "none.ZYL").string();
  const int in = book->InSheet(1), out = book->OutSheet(1);
  MethaneWithAir();
  book->MReCalc();
  const std::string good = (dir / "good.xlsx").string();
  ASSERT_EQ(book->Save(good), "");
  int st = 0;
  // The printed material balance closes with the temperature of the products.
  std::string report = Zyl("balance elements " + good + db, &st);
  EXPECT_EQ(st, 0) << report;
  const size_t at = report.find("Temperature of Products = ");
  ASSERT_NE(at, std::string::npos) << report;
  EXPECT_NEAR(std::stod(report.substr(at + 26)), 2328 - 273.15, 15);
  // The products at the flame temperature are inside their data: nothing is marked.
  auto tj = nlohmann::json::parse(Zyl("balance temperature " + good + " --json" + db, &st));
  EXPECT_TRUE(tj["extrapolated"].empty()) << tj.dump();
  auto ej = nlohmann::json::parse(Zyl("balance elements " + good + " --json" + db, &st));
  EXPECT_TRUE(ej["extrapolated"].empty()) << ej.dump();
  // Element masses as printed: standard atomic weights C 12.011, H 1.008, O 15.999, N 14.007 (IUPAC).
  const double kg[] = {1 * 12.011, 4 * 1.008, 4 * 15.999, 15.04 * 14.007};
  ASSERT_EQ(ej["elements"].size(), 4u);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(ej["elements"][i]["in_kg"].get<double>(), kg[i], 2e-3 * kg[i]) << ej["elements"][i].dump();
    EXPECT_NEAR(ej["elements"][i]["out_kg"].get<double>(), kg[i], 2e-3 * kg[i]) << ej["elements"][i].dump();
  }
  EXPECT_NEAR(ej["product_T"].get<double>(), 2328 - 273.15, 15);
  EXPECT_NEAR(ej["in"]["species"][0]["T"].get<double>(), 25, 1e-9);  // compositions as in the file

  struct Case {
    const char* name;
    int sheet, row, col;
    const char* input;
    const char* message;
  };
  const Case cases[] = {{"div0", in, R, col::kKmol, "=1/0", "IN1!C4 holds #DIV/0!"},
                        {"name", in, R + 1, col::kKmol, "=NOSUCH(1)", "IN1!C5 holds #NAME?"},
                        {"text", out, R, col::kTemp, "hot", "OUT1!B4: the temperature is not a number"},
                        {"cold", in, R + 1, col::kTemp, "-500", "IN1!B5: -500 °C is below absolute zero"},
                        {"unknown", out, R + 1, col::kFormula, "Foo(g)", "OUT1!A5: Cannot find: Foo(g)"}};
  for (const Case& c : cases) {
    BalanceBook b(*species, msgs);
    ASSERT_EQ(b.Open(good), "");
    b.book().sheet(c.sheet).SetInput(c.row, c.col, c.input);
    const std::string file = (dir / (std::string(c.name) + ".xlsx")).string();
    ASSERT_EQ(b.Save(file), "");
    for (const char* cmd : {"balance recalc ", "balance temperature --save ", "balance elements "}) {
      std::string text = Zyl(cmd + file + db, &st);
      EXPECT_EQ(st, 1) << cmd << c.name << "\n" << text;
      EXPECT_NE(text.find(file + ": " + c.message), std::string::npos) << cmd << c.name << "\n" << text;
      EXPECT_EQ(text.find("BALANCE"), std::string::npos) << cmd << c.name << "\n" << text;
    }
  }
  msgs.Clear();

  // FeO at 1800 °C is beyond its data (to 1600 K): marked in the text and in --json.
  {
    BalanceBook b(*species, msgs);
    ASSERT_EQ(b.Open(good), "");
    b.PutSpecies(b.OutSheet(1), R + 3, "FeO", 1800, col::kKmol, 0.1);
    const std::string file = (dir / "feo.xlsx").string();
    ASSERT_EQ(b.Save(file), "");
    std::string text = Zyl("balance recalc " + file + db, &st);
    EXPECT_EQ(st, 0) << text;
    EXPECT_NE(text.find("Note: OUT1!B7 FeO at 1800 °C: Extrapolated from 298.15-1600 K"), std::string::npos) << text;
    auto j = nlohmann::json::parse(Zyl("balance recalc " + file + " --json" + db, &st));
    ASSERT_EQ(j["extrapolated"].size(), 1u);
    EXPECT_EQ(j["extrapolated"][0]["cell"], "OUT1!B7");
    EXPECT_EQ(j["extrapolated"][0]["note"], "Extrapolated from 298.15-1600 K");
  }

  // A stream with an unknown species is not written; neither is one at an impossible temperature.
  for (const std::string args :
       {" \"O2(g)=21\" \"Foo(g)=79\"", " \"O2(g)=21\" -T -300", " \"O2(g)=21\" -T nan", " \"O2(g)=nan\""}) {
    const std::string file = (dir / "s.STR").string();
    std::string text = Zyl("stream new " + file + args + db, &st);
    EXPECT_EQ(st, 1) << args << "\n" << text;
    EXPECT_FALSE(fs::exists(file)) << args;
  }
}

TEST(BalanceCli, StreamConvertRoundTrip) {
  if (!fs::exists(fs::path(ZYL_BIN_DIR) / "zyl")) GTEST_SKIP() << "zyl is not built";
  fs::path main = fs::path(ZYL_SOURCE_DATA_DIR) / "Databases" / "MainDB6.ZYL";
  if (!fs::exists(main)) GTEST_SKIP() << "shipped main database missing";
  testing::TempDir dir;
  std::string db = " --main-db " + main.string() + " --own-db " + (dir / "none.ZYL").string();
  std::string file = (dir / "air.STR").string();
  fs::copy_file(fs::path(ZYL_SOURCE_DATA_DIR) / "Balance" / "Air.STR", file);
  int st = 0;
  auto nm3 = nlohmann::json::parse(Zyl("stream convert " + file + " --to Nm3 --json" + db, &st));
  ASSERT_EQ(st, 0);
  EXPECT_EQ(nm3["content_unit"], "vol-%");
  EXPECT_NEAR(nm3["rows"][0]["amount"].get<double>(), 21 * 22.4136, 1e-6);
  // Text output against the blessed copy (regenerate on purpose only).
  std::string text = Zyl("stream convert " + file + " --to Nm3 -o " + (dir / "b.STR").string() + db, &st);
  std::ifstream golden(std::string(ZYL_TESTS_DIR) + "/golden/balance_stream_air_nm3.txt");
  std::stringstream want;
  want << golden.rdbuf();
  EXPECT_EQ(text, want.str());
  auto kmol = nlohmann::json::parse(Zyl("stream convert " + file + " --to kmol --json" + db, &st));
  EXPECT_NEAR(kmol["rows"][0]["amount"].get<double>(), 21, 1e-9);
  EXPECT_NEAR(kmol["rows"][1]["amount"].get<double>(), 79, 1e-9);
  Zyl("stream convert " + file + " --to litres" + db, &st);
  EXPECT_EQ(st, 1);
}

}  // namespace
}  // namespace zyl::balance

namespace zyl::balance {
namespace {

TEST(BalanceFile, SameTotalsAfterASpreadsheetProgramRecalculates) {
  // LibreOffice, where installed, opens the saved balance, recalculates it and saves it again.
  const std::string office = zyl::testing::FindOffice();
  if (office.empty()) GTEST_SKIP() << "LibreOffice (soffice) not installed";
  testing::Fixture f;
  int in = f.book.InSheet(1), out = f.book.OutSheet(1);
  f.book.PutStream(in, R, "Feed", 25);
  f.book.PutSpecies(in, R + 1, "CH4(g)", 25, col::kKmol, 1);
  f.book.PutSpecies(in, R + 2, "O2(g)", 25, col::kKg, 64);
  f.book.RefreshStreamT(in);
  f.book.PutSpecies(out, R, "CO2(g)", 1200, col::kNm3, 22.4136);
  f.book.book().Recalculate();
  testing::TempDir dir;
  ASSERT_EQ(f.book.Save(dir / "b.xlsx"), "");
  fs::create_directories(dir / "lo");
  ASSERT_TRUE(zyl::testing::OfficeConvert(office, dir / "b.xlsx", dir / "lo", "xlsx"));
  platform::Workbook wb;
  ASSERT_EQ(wb.Load(dir / "lo" / "b.xlsx"), "");
  for (int c = col::kKmol; c <= col::kTotH; ++c)
    for (int r = 3; r <= 5; ++r)
      EXPECT_NEAR(wb.sheet(0).Number(r, c).value_or(1e300), f.book.book().sheet(0).Number(r, c).value(), 1e-6)
          << platform::CellName(r, c);
}

}  // namespace
}  // namespace zyl::balance
