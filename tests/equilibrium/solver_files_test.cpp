#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <sstream>

#include "equilibrium/solver_files.h"
#include "thermo/constants.h"
#include "thermo/species_db.h"
#include "shipped_db_fixture.h"

namespace zyl::equilibrium {
namespace {

class SolverFilesTest : public testing::ShippedDbTest {
 protected:
  static SheetRow Phase(const std::string& name, PhaseType t) {
    SheetRow r;
    r.kind = SheetRowKind::Phase;
    r.name = name;
    r.type = t;
    return r;
  }
  static SheetRow Species(const std::string& name, double c, double d = 0, double e = 0) {
    SheetRow r;
    r.kind = SheetRowKind::Species;
    r.name = name;
    r.amount = {c, d, e};
    return r;
  }
  // H2 + air with graphite and an aqueous phase: every phase type.
  static Sheet Mixed() {
    Sheet s;
    s.T = 1000;
    s.T_step = 100;
    s.T_count = 3;
    s.P = 2;
    s.rows = {Phase("GAS", PhaseType::Gas),     Species("H2(g)", 2, 0.5),  Species("O2(g)", 1),
              Species("N2(g)", 3.76),           Species("H2O(g)", 0, 0, 0.25), Phase("AQ", PhaseType::Aqueous),
              Species("Na(+a)", 0.1),           Species("H2O", 55.5),      Species("Cl(-a)", 0.1),
              Phase("GRAPHITE", PhaseType::Pure), Species("C", 1)};
    return s;
  }
  static std::vector<std::string> Texts(const CheckReport& r, int step) {
    std::vector<std::string> out;
    for (const auto& m : r.messages)
      if (m.step == step) out.push_back(m.text);
    return out;
  }
  static bool Has(const CheckReport& r, const std::string& text) {
    for (const auto& m : r.messages)
      if (m.text == text) return true;
    return false;
  }
};

// Constant Cp: G(T) = H0 + a (T - T0) - T (S0 + a ln(T/T0)) in closed form.
TEST_F(SolverFilesTest, GibbsCoefficientsOfConstantCpMatchClosedForm) {
  thermo::SpeciesData sp;
  thermo::SetSpeciesName(sp, "X(g)");
  thermo::SpeciesRange r;
  r.h = -50000;  // cal/mol
  r.s = 45;
  r.a = 7.5;
  r.t1 = 298.15;
  r.t2 = 3000;
  sp.ranges.push_back(r);
  const auto iv = GibbsIntervals(sp);
  ASSERT_EQ(iv.size(), 1u);
  for (double T : {300.0, 750.0, 1500.0, 2999.0}) {
    const double g = (r.h + r.a * (T - 298.15) - T * (r.s + r.a * std::log(T / 298.15))) * thermo::kCalToJ;
    EXPECT_NEAR(GibbsAt(iv[0], T), g, 1e-7 * std::abs(g)) << T;
  }
}

// Every interval reproduces G = H - T S of the species functions inside its range (several
// species with several ranges, a phase change and the 1e5/T² and T² terms).
TEST_F(SolverFilesTest, GibbsCoefficientsMatchSpeciesFunctionsInEveryInterval) {
  for (const char* name : {"H2O(g)", "CO2(g)", "Fe", "CaCO3", "Na(+a)", "C"}) {
    const auto sp = Data(name);
    ASSERT_FALSE(sp.ranges.empty()) << name;
    const auto iv = GibbsIntervals(sp);
    ASSERT_EQ(iv.size(), sp.ranges.size());
    for (size_t k = 0; k < iv.size(); ++k) {
      const auto& rg = sp.ranges[k];
      EXPECT_EQ(iv[k].t_max, rg.t2);
      for (double f : {0.02, 0.3, 0.7, 0.98}) {
        const double T = rg.t1 + f * (rg.t2 - rg.t1);
        const auto v = thermo::CalcSpeciesAtTPlain(sp, T);
        const double g = v.g * thermo::kCalToJ;
        EXPECT_NEAR(GibbsAt(iv[k], T), g, 1e-8 * std::max(1e4, std::abs(g))) << name << " range " << k << " T " << T;
      }
    }
  }
}

TEST_F(SolverFilesTest, FormatsOfferedInOrderAndFoundByExtension) {
  const char* filters[] = {"Gibbs (*.gem)", "Gibbs (*.igi)", "SGM (*.isg)", "ChemSAGE 2 (*.da2)", "ChemSAGE 3 (*.dat)"};
  for (size_t i = 0; i < kSolverFormats.size(); ++i) {
    EXPECT_STREQ(kSolverFormats[i].filter, filters[i]);
    SolverFormat f{};
    EXPECT_TRUE(SolverFormatFromExtension(std::string(".") + kSolverFormats[i].ext, f));
    EXPECT_EQ(f, kSolverFormats[i].format);
  }
  SolverFormat f{};
  EXPECT_TRUE(SolverFormatFromExtension("ISG", f));
  EXPECT_EQ(f, SolverFormat::Isg);
  EXPECT_FALSE(SolverFormatFromExtension("json", f));
}

// gem, igi and isg are read back to the description written.
TEST_F(SolverFilesTest, RoundTripOfTheReadableFormats) {
  const Sheet s = Mixed();
  const Description want = DescriptionFromSheet(s);
  for (SolverFormat f : {SolverFormat::Gem, SolverFormat::Igi, SolverFormat::Isg}) {
    const auto w = WriteSolverText(s, f, *dbs_);
    ASSERT_TRUE(w.ok()) << w.error;
    const auto r = ReadDescriptionText(w.text, SolverFormatExtension(f));
    ASSERT_TRUE(r.ok()) << SolverFormatExtension(f) << ": " << r.error << "\n" << w.text;
    EXPECT_DOUBLE_EQ(r.desc.T, 1000);
    EXPECT_DOUBLE_EQ(r.desc.T_step, 100);
    EXPECT_EQ(r.desc.T_count, 3);
    EXPECT_NEAR(r.desc.P, 2, 1e-6);
    ASSERT_EQ(r.desc.phases.size(), want.phases.size());
    for (size_t p = 0; p < want.phases.size(); ++p) {
      EXPECT_EQ(r.desc.phases[p].name, want.phases[p].name);
      EXPECT_EQ(r.desc.phases[p].type, want.phases[p].type) << SolverFormatExtension(f) << " " << p;
      ASSERT_EQ(r.desc.phases[p].species.size(), want.phases[p].species.size());
      for (const auto& sp : want.phases[p].species) {
        bool found = false;
        for (const auto& got : r.desc.phases[p].species)
          if (got.name == sp.name) {
            found = true;
            EXPECT_NEAR(got.amount, sp.amount, 1e-7 * std::max(1.0, sp.amount)) << sp.name;
          }
        EXPECT_TRUE(found) << sp.name;
      }
    }
  }
  // The JSON path stays as it was.
  const auto j = ReadDescriptionText(DescriptionJson(want).dump(), ".json");
  ASSERT_TRUE(j.ok()) << j.error;
  EXPECT_EQ(j.desc.phases.size(), want.phases.size());
}

TEST_F(SolverFilesTest, SgmFileKeepsItsFieldsAndKeywords) {
  const auto w = WriteSolverText(Mixed(), SolverFormat::Isg, *dbs_);
  ASSERT_TRUE(w.ok()) << w.error;
  std::istringstream in(w.text);
  std::vector<std::string> lines;
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  ASSERT_GT(lines.size(), 8u);
  // Elements H O N Na Cl C + the electron, 2 mixture phases, 1 pure phase, 3 temperatures.
  EXPECT_EQ(lines[1], "   7   2   1   3");
  EXPECT_EQ(lines[3], "   6   1   2   3   4   5   6");
  EXPECT_EQ(lines[4], "   2   1   2");
  EXPECT_EQ(lines[6], "GAS-PHASE:");
  EXPECT_EQ(lines[7], "IDMX   4");
  EXPECT_NE(w.text.find("\nAQ-PHASE:\nIDMZ   3\nH2O\n"), std::string::npos) << "water first in the aqueous phase";
  EXPECT_NE(w.text.find("\nGRAPHITE-PHASE:\nIDPZ   1\nC\n"), std::string::npos);
  EXPECT_NE(w.text.find("   f(Na(+a)) ="), std::string::npos);
  // H2O is flagged as the solvent in its count line.
  const size_t at = w.text.find("\nH2O\n");
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(w.text.substr(at + 5 + 4, 4), "   1");
}

// The ChemSage layout as an open reader of it parses it: title, counts (gas slot first),
// element names, atomic weights, the two coefficient lists, phases with their model keyword and
// species with an equation type, interval count and stoichiometry.
TEST_F(SolverFilesTest, ChemSageLayout) {
  Sheet s;
  s.rows = {Phase("GAS", PhaseType::Gas), Species("H2(g)", 2), Species("O2(g)", 1), Species("H2O(g)", 0),
            Phase("ICE", PhaseType::Pure), Species("H2O", 0)};
  for (SolverFormat f : {SolverFormat::Da2, SolverFormat::Dat}) {
    const auto w = WriteSolverText(s, f, *dbs_);
    ASSERT_TRUE(w.ok()) << w.error;
    std::istringstream in(w.text);
    std::vector<std::string> l;
    for (std::string x; std::getline(in, x);) l.push_back(x);
    ASSERT_GT(l.size(), 10u);
    EXPECT_EQ(l[0].substr(0, 8), " System ");
    EXPECT_EQ(l[1], "   2   1   3   1");
    std::istringstream names(l[2]);
    std::string a, b;
    names >> a >> b;
    EXPECT_EQ(a, "H");
    EXPECT_EQ(b, "O");
    std::istringstream w8(l[3]);
    double wh = 0, wo = 0;
    w8 >> wh >> wo;
    EXPECT_NEAR(wh, 1.008, 0.001);  // IUPAC standard atomic weights
    EXPECT_NEAR(wo, 15.999, 0.001);
    EXPECT_EQ(l[4], "   6   1   2   3   4   5   6");
    EXPECT_EQ(l[5], "   6   1   2   3   4   5   6");
    EXPECT_EQ(l[6], " GAS");
    EXPECT_EQ(l[7], " IDMX");
    EXPECT_EQ(l[8], " H2(g)");
    std::istringstream t(l[9]);
    int type = 0, nint = 0;
    double sh = -1, so = -1;
    t >> type >> nint >> sh >> so;
    EXPECT_EQ(type, f == SolverFormat::Dat ? 4 : 1);
    EXPECT_EQ(nint, static_cast<int>(Data("H2(g)").ranges.size()));
    EXPECT_EQ(sh, 2);
    EXPECT_EQ(so, 0);
    // Gas data move from the 1 atm to the 1 bar standard state: B - R ln(1.01325).
    std::istringstream c(l[10]);
    double tmax = 0, A = 0, B = 0;
    c >> tmax >> A >> B;
    const auto iv = GibbsIntervals(Data("H2(g)"));
    EXPECT_EQ(tmax, iv[0].t_max);
    EXPECT_NEAR(A, iv[0].c[0], 1e-7 * std::abs(A));
    EXPECT_NEAR(B, iv[0].c[1] - kGasConstantJ * std::log(1.01325), 1e-6);
  }
}

TEST_F(SolverFilesTest, LimitsPassAtTheLimitAndFailOneBeyond) {
  auto note = [](const CheckReport& r, const std::string& what) {
    return Has(r, "Solgasmix Note: " + what);
  };
  for (int n : {150, 151}) {
    Sheet s;
    s.rows.push_back(Phase("GAS", PhaseType::Gas));
    for (int i = 0; i < n; ++i) s.rows.push_back(Species("H" + std::to_string(i + 1) + "(g)", 1));
    const auto r = CheckSheet(s, SolverFormat::Gem, *dbs_);
    EXPECT_EQ(note(r, "Maximum number of species / phase = 150"), n > 150) << n;
  }
  const char* symbols[] = {"H",  "He", "Li", "Be", "B",  "C",  "N",  "O",  "F",  "Ne", "Na",
                           "Mg", "Al", "Si", "P",  "S",  "Cl", "Ar", "K",  "Ca", "Sc"};
  for (int n : {20, 21}) {
    Sheet s;
    s.rows.push_back(Phase("GAS", PhaseType::Gas));
    for (int i = 0; i < n; ++i) s.rows.push_back(Species(symbols[i], 1));
    EXPECT_EQ(note(CheckSheet(s, SolverFormat::Gem, *dbs_), "Maximum number of elements = 20"), n > 20) << n;
  }
  for (int n : {31, 32}) {
    Sheet s;
    for (int i = 0; i < n; ++i) {
      s.rows.push_back(Phase("S" + std::to_string(i), PhaseType::Solution));
      s.rows.push_back(Species("H2(g)", 1));
    }
    EXPECT_EQ(note(CheckSheet(s, SolverFormat::Gem, *dbs_), "Maximum number of mixture phases = 31"), n > 31) << n;
  }
  for (int n : {30, 31}) {
    Sheet s;
    for (int i = 0; i < n; ++i) {
      s.rows.push_back(Phase("P" + std::to_string(i), PhaseType::Pure));
      s.rows.push_back(Species("C", 1));
    }
    const auto r = CheckSheet(s, SolverFormat::Gem, *dbs_);
    EXPECT_EQ(note(r, "Maximum number of pure substances = 30"), n > 30) << n;
    EXPECT_EQ(r.refused, n > 30);
  }
}

TEST_F(SolverFilesTest, EveryCheckMessageInOrder) {
  // A clean sheet gives nothing.
  Sheet ok;
  ok.rows = {Phase("GAS", PhaseType::Gas), Species("H2(g)", 2), Species("O2(g)", 1), Species("H2O(g)", 0)};
  EXPECT_TRUE(CheckSheet(ok, SolverFormat::Isg, *dbs_).messages.empty());

  // 1: an empty row between rows warns and marks the file; a trailing one does not.
  Sheet s = ok;
  s.rows.insert(s.rows.begin() + 2, SheetRow{});
  s.rows.push_back(SheetRow{});
  auto r = CheckSheet(s, SolverFormat::Gem, *dbs_);
  EXPECT_EQ(Texts(r, 1), std::vector<std::string>{"Please remove empty row: H2(g) at row 3"});
  EXPECT_TRUE(r.marked);
  EXPECT_FALSE(r.refused);
  auto w = WriteSolverText(s, SolverFormat::Gem, *dbs_);
  ASSERT_TRUE(w.ok());
  EXPECT_NE(w.text.find("WARNING: This file may not work."), std::string::npos);
  EXPECT_TRUE(ReadDescriptionText(w.text, "gem").ok());

  // 2: unknown species stop writing.
  s = ok;
  s.rows.push_back(Species("Xq7(g)", 1));
  w = WriteSolverText(s, SolverFormat::Gem, *dbs_);
  EXPECT_FALSE(w.ok());
  EXPECT_EQ(w.error, "ZYL can not find: Xq7(g) from the database. Please edit or delete this formula.");
  EXPECT_TRUE(w.text.empty());

  // 3 and 6: the electron without an inert gas, and a charged feed.
  s = ok;
  s.rows.push_back(Species("e-", 0.5));
  r = CheckSheet(s, SolverFormat::Gem, *dbs_);
  EXPECT_TRUE(Has(r, "Add inert gas species to the system. For example Ar(g)."));
  EXPECT_TRUE(Has(r, "Electron Balance Error of Raw Materials = -0.5 mol"));
  s.rows.push_back(Species("Ar(g)", 1));
  EXPECT_TRUE(Texts(CheckSheet(s, SolverFormat::Gem, *dbs_), 3).empty());

  // 5: no phase row; species before the first phase row.
  s.rows = {Species("H2(g)", 1)};
  EXPECT_TRUE(Has(CheckSheet(s, SolverFormat::Gem, *dbs_), "You must insert at least one phase row !"));
  s.rows = {Species("H2(g)", 1), Phase("GAS", PhaseType::Gas), Species("O2(g)", 1)};
  EXPECT_TRUE(Has(CheckSheet(s, SolverFormat::Gem, *dbs_), "Species must be devided into phases."));

  // 7: a temperature series without a step.
  s = ok;
  s.T_count = 5;
  EXPECT_EQ(WriteSolverText(s, SolverFormat::Gem, *dbs_).error, "Please give Step for Temperature");

  // 8 and 10 with an aqueous phase, by format; 9 for oxygen absent from the feed.
  s = Mixed();
  r = CheckSheet(s, SolverFormat::Isg, *dbs_);
  EXPECT_TRUE(Has(r, "Nonideal activity coefficients must be given in Factor sub program of the SolGasMix !"));
  EXPECT_TRUE(Has(
      r, "Select Mixing Entropy conversion for Aqueous Species, because GIBBS and SGM do not make it automatically !"));
  r = CheckSheet(s, SolverFormat::Dat, *dbs_);
  EXPECT_TRUE(Has(
      r, "Do not select Mixing Entropy conversion for Aqueous Species, because ChemSAGE makes it automatically !"));
  EXPECT_TRUE(Texts(r, 8).empty());
  s = ok;
  s.rows[2].amount = {0, 0, 0};
  r = CheckSheet(s, SolverFormat::Gem, *dbs_);
  EXPECT_EQ(Texts(r, 9), std::vector<std::string>{"Please, give also some: O in raw materials ! Otherwise O "
                                                  "containing species are not taken into account."});
  // Messages come in check order.
  s = Mixed();
  s.T_count = 2;
  s.T_step = 0;
  s.rows.insert(s.rows.begin() + 1, SheetRow{});
  r = CheckSheet(s, SolverFormat::Gem, *dbs_);
  for (size_t i = 1; i < r.messages.size(); ++i) EXPECT_LE(r.messages[i - 1].step, r.messages[i].step);
}

TEST_F(SolverFilesTest, SheetAmountsAreTheSumOfTheColumns) {
  const auto d = DescriptionFromSheet(Mixed());
  ASSERT_EQ(d.phases.size(), 3u);
  EXPECT_DOUBLE_EQ(d.phases[0].species[0].amount, 2.5);
  EXPECT_DOUBLE_EQ(d.phases[0].species[3].amount, 0.25);
  const auto back = DescriptionFromSheet(SheetFromDescription(d));
  EXPECT_EQ(DescriptionJson(back), DescriptionJson(d));
}

// Random and truncated input: an error or a description, never a crash or a hang.
TEST_F(SolverFilesTest, ReadersSurviveRandomAndTruncatedInput) {
  int cases = 200;
  if (const char* env = std::getenv("ZYL_FUZZ_CASES")) cases = std::max(1, std::atoi(env));
  std::mt19937 rng(12);
  for (SolverFormat f : {SolverFormat::Gem, SolverFormat::Igi, SolverFormat::Isg}) {
    const auto good = WriteSolverText(Mixed(), f, *dbs_).text;
    ASSERT_FALSE(good.empty());
    const std::string ext = SolverFormatExtension(f);
    for (size_t n = 0; n < good.size(); n += 1 + good.size() / 300) {
      const auto r = ReadDescriptionText(good.substr(0, n), ext);
      if (!r.ok()) {
        EXPECT_FALSE(r.error.empty());
      }
    }
    const std::string alphabet = "0123456789 .-+eE\nABCDXIMPZ()-:f=";
    for (int c = 0; c < cases; ++c) {
      std::string t = good;
      const int edits = 1 + static_cast<int>(rng() % 8);
      for (int e = 0; e < edits; ++e) t[rng() % t.size()] = alphabet[rng() % alphabet.size()];
      (void)ReadDescriptionText(t, ext);
      std::string junk(rng() % 400, ' ');
      for (auto& ch : junk) ch = alphabet[rng() % alphabet.size()];
      EXPECT_FALSE(ReadDescriptionText(junk, ext).ok() && junk.empty());
    }
  }
}

}  // namespace
}  // namespace zyl::equilibrium
