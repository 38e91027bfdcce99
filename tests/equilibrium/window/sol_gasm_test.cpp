// The solver run form end to end: a real zyl-gibbs run on the hydrogen-air case up to READY and the
// result form, the solver input names, the status changes and the failures that never give READY.
#include "equilibrium/window/sol_gasm.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <filesystem>
#include <fstream>

#include "equilibrium/window/result_form.h"
#include "platform/messages.h"
#include "platform/window/qt_app.h"
#include "common/temp_dir.h"

namespace zyl::equilibrium::window {
namespace {

namespace fs = std::filesystem;

constexpr int kRunTimeoutMs = 60000;

QString Q(const fs::path& p) { return QString::fromStdString(p.string()); }

using zyl::testing::ReadWholeFile;

class Recorder : public platform::Messages {
 public:
  void Show(std::string_view text, std::string_view, platform::Icon) override { shown.emplace_back(text); }
  platform::Answer AskYesNo(std::string_view, std::string_view) override { return platform::Answer::No; }
  platform::Answer AskYesNoCancel(std::string_view, std::string_view) override { return platform::Answer::No; }
  bool AskText(std::string_view, std::string_view, std::string&) override { return false; }
  std::vector<std::string> shown;
};

/// A private solver folder: a link to the built zyl-gibbs, so that runs write beside it, not into bin/.
class SolverRun : public ::testing::Test {
 protected:
  void SetUp() override {
    zyl::testing::App();
    solver_dir_ = tmp_.Path() / "solver";
    case_dir_ = tmp_.Path() / "case";
    fs::create_directories(solver_dir_);
    fs::create_directories(case_dir_);
    const fs::path built = fs::path(ZYL_BIN_DIR) / "zyl-gibbs";
    if (!fs::exists(built)) GTEST_SKIP() << "zyl-gibbs not built";
    fs::create_symlink(built, solver_dir_ / "zyl-gibbs");
    fs::copy_file(fs::path(ZYL_SOURCE_DATA_DIR) / "Gibbs" / "h2-air-3000K.json", case_dir_ / "h2air.json");
    form_ = std::make_unique<SolGasM>(&rec_);
    form_->TextSGM->setText("  " + Q(solver_dir_ / "zyl-gibbs") + " ");
  }
  bool WaitForSolver() {
    QSignalSpy spy(form_.get(), &SolGasM::solverFinished);
    if (!spy.wait(kRunTimeoutMs)) return false;
    return spy.front().front().toBool();
  }

  zyl::testing::TempDir tmp_;
  fs::path solver_dir_, case_dir_;
  Recorder rec_;
  std::unique_ptr<SolGasM> form_;
};

TEST(SolGasMNames, InputAndResultFilesFollowTheExtension) {
  EXPECT_EQ(SolverInputName("/home/u/Gibbs/case one.gem"), "INPUT.gem");
  EXPECT_EQ(SolverInputName(" C:/x/y.isg "), "INPUT.isg");
  EXPECT_EQ(SolverInputName("/a.b/noext"), "INPUT");
  EXPECT_EQ(SolverResultName("INPUT.gem"), "INPUT.result.json");
  EXPECT_EQ(SolverResultName("INPUT"), "INPUT.result.json");
  zyl::testing::TempDir dir;
  EXPECT_EQ(SolverRunFolder(Q(dir.Path() / "zyl-gibbs")), Q(dir.Path()));
  EXPECT_TRUE(DefaultSolverPath().endsWith("/zyl-gibbs"));
}

TEST_F(SolverRun, HydrogenAirRunsToReadyAndTheResultFormShowsIt) {
  form_->TextInput->setText(Q(case_dir_ / "h2air.json"));
  // Before any run the result button does nothing.
  EXPECT_EQ(form_->ButDraw_Click(), nullptr);
  EXPECT_EQ(form_->Label1->text(), kIdleText);

  ASSERT_TRUE(form_->ButCalc_Click());
  EXPECT_EQ(SharedSolver().solver_path, Q(solver_dir_ / "zyl-gibbs"));  // trimmed
  EXPECT_EQ(form_->Label1->text(), kRunningText);
  EXPECT_FALSE(form_->ButCalc->isEnabled());
  EXPECT_TRUE(form_->Timer1->isActive());
  EXPECT_TRUE(fs::exists(solver_dir_ / "INPUT.json"));
  // Pressed while the solver runs: nothing changes.
  if (form_->Process()->state() != QProcess::NotRunning) {
    EXPECT_EQ(form_->ButDraw_Click(), nullptr);
    EXPECT_EQ(form_->Label1->text(), kRunningText);
  }
  ASSERT_TRUE(WaitForSolver()) << form_->Label1->text().toStdString();
  EXPECT_TRUE(form_->Label1->text().contains("READY"));
  EXPECT_TRUE(rec_.shown.empty());

  SharedSolver().finished = 0;
  EquiResult* result = form_->ButDraw_Click();
  ASSERT_NE(result, nullptr);
  std::unique_ptr<EquiResult> owned(result);
  EXPECT_EQ(SharedSolver().finished, 1);
  EXPECT_EQ(form_->Label1->text(), kIdleText);
  EXPECT_TRUE(form_->ButCalc->isEnabled());
  EXPECT_FALSE(form_->Timer1->isActive());
  EXPECT_TRUE(result->Text1->text().startsWith("READY"));
  EXPECT_EQ(result->Text1->text(), result->Text1->text().trimmed());

  // NASA RP-1311 / CEA reference for stoichiometric H2-air at 3000 K, 1 atm: x(H2O) = 0.2078.
  ASSERT_EQ(result->points().size(), 1u);
  const auto& sheet = result->book().sheet(result->book().FindSheet(kResultSheet));
  double x_h2o = -1;
  for (int r = 0; r <= sheet.LastRow(); ++r)
    if (sheet.DisplayText(r, kColSpecies) == "H2O(g)") x_h2o = sheet.Number(r, kColFraction).value_or(-1);
  EXPECT_NEAR(x_h2o, 0.2078, 0.2078 * 0.01);

  // A second press takes nothing: the status is idle again.
  EXPECT_EQ(form_->ButDraw_Click(), nullptr);
}

TEST_F(SolverRun, EditingTheInputAfterARunResetsTheStatusAndClosingClearsTheFlag) {
  form_->TextInput->setText(Q(case_dir_ / "h2air.json"));
  ASSERT_TRUE(form_->ButCalc_Click());
  ASSERT_TRUE(WaitForSolver());
  ASSERT_TRUE(form_->Label1->text().contains("READY"));
  form_->TextInput->setText(Q(case_dir_ / "other.json"));
  EXPECT_EQ(form_->Label1->text(), kIdleText);
  EXPECT_TRUE(form_->ButCalc->isEnabled());
  EXPECT_EQ(form_->ButDraw_Click(), nullptr);

  SharedSolver().finished = 1;
  form_->show();
  form_->close();
  EXPECT_EQ(SharedSolver().finished, 0);
  EXPECT_EQ(form_->Label1->text(), kIdleText);
  EXPECT_TRUE(form_->ButCalc->isEnabled());
}

TEST_F(SolverRun, SolverFailuresGiveAMessageAndNeverReady) {
  // A gem file the solver can not read: INPUT.gem is written, the run ends with an error.
  std::ofstream(case_dir_ / "broken.gem") << "this is not an equilibrium input\n";
  form_->TextInput->setText(Q(case_dir_ / "broken.gem"));
  ASSERT_TRUE(form_->ButCalc_Click());
  EXPECT_EQ(ReadWholeFile(solver_dir_ / "INPUT.gem"), "this is not an equilibrium input\n");
  EXPECT_FALSE(WaitForSolver());
  EXPECT_FALSE(form_->Label1->text().contains("READY"));
  EXPECT_TRUE(form_->Label1->text().startsWith("SGM failed"));
  EXPECT_TRUE(form_->ButCalc->isEnabled());
  ASSERT_EQ(rec_.shown.size(), 1u);
  EXPECT_NE(rec_.shown[0].find("exit code"), std::string::npos) << rec_.shown[0];
  EXPECT_EQ(form_->ButDraw_Click(), nullptr);

  // An isg input replaces the old INPUT.isg.
  std::ofstream(solver_dir_ / "INPUT.isg") << "old";
  std::ofstream(case_dir_ / "case.isg") << "new";
  form_->TextInput->setText(Q(case_dir_ / "case.isg"));
  ASSERT_TRUE(form_->ButCalc_Click());
  EXPECT_EQ(ReadWholeFile(solver_dir_ / "INPUT.isg"), "new");
  WaitForSolver();

  // A missing solver or input: a message, no run, no READY.
  rec_.shown.clear();
  form_->TextSGM->setText(Q(solver_dir_ / "no-such-solver"));
  EXPECT_FALSE(form_->ButCalc_Click());
  EXPECT_FALSE(form_->Label1->text().contains("READY"));
  EXPECT_EQ(rec_.shown.size(), 1u);
  form_->TextSGM->setText(Q(solver_dir_ / "zyl-gibbs"));
  form_->TextInput->setText(Q(case_dir_ / "missing.json"));
  EXPECT_FALSE(form_->ButCalc_Click());
  EXPECT_EQ(rec_.shown.size(), 2u);
  EXPECT_TRUE(form_->ButCalc->isEnabled());
}

}  // namespace
}  // namespace zyl::equilibrium::window
