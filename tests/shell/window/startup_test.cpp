#include "shell/window/startup.h"

#include <gtest/gtest.h>

#include <QLocalServer>
#include <QSignalSpy>
#include <QUuid>
#include <clocale>
#include <fstream>

#include "platform/files.h"
#include "reactions/window/window_db.h"
#include "thermo/lookup.h"
#include "platform/window/qt_app.h"
#include "shell/window/instance_guard.h"
#include "shell/window/main_menu.h"

namespace zyl::shell::window {
namespace {

namespace fs = std::filesystem;
using platform::Answer;

QString UniqueName() { return "zyl-test-" + QUuid::createUuid().toString(QUuid::Id128); }

class Startup : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::App();
    options.data_dir = ZYL_SOURCE_DATA_DIR;
    options.write_dir = tmp.Path() / "config";
    options.work_dir = tmp.Path() / "work";
    options.messages = &messages;
    options.locale = QLocale::c();
    options.check_printer = false;
    ASSERT_EQ(testing::WriteWindowTestDb(MainDb()), "");
  }
  void TearDown() override {
    thermo::SharedSpeciesDatabases().own.reset();
    thermo::SharedSpeciesDatabases().main.reset();
  }
  fs::path MainDb() const { return tmp.Path() / "MainDB6.ZYL"; }
  fs::path OwnDb() const { return tmp.Path() / "own" / "OwnDB6.ZYL"; }
  void WriteSettings() {
    fs::create_directories(options.write_dir);
    std::ofstream(options.write_dir / "ZYL6.INI")
        << "[ZYL Path]\nOwnDB=" << OwnDb().string() << "\nMainDB=" << MainDb().string() << "\n";
  }
  bool AnyQuestion() const {
    for (const auto& m : messages.Log())
      if (m.question) return true;
    return false;
  }
  testing::TempDir tmp;
  platform::HeadlessMessages messages{false};
  StartupOptions options;
  ProgramState state;
  InstanceGuard guard{UniqueName()};
};

TEST_F(Startup, CleanStartLoadsSettingsElementsAndBothDatabases) {
  WriteSettings();
  ASSERT_EQ(RunStartup(options, state, guard), StartupOutcome::ShowMenu);
  EXPECT_TRUE(messages.Log().empty()) << messages.Last();
  EXPECT_TRUE(fs::exists(options.write_dir / "ReadOnlyTest.tmp"));
  EXPECT_TRUE(state.elements_loaded);
  EXPECT_TRUE(state.main_db_open);
  EXPECT_TRUE(state.own_db_open);
  EXPECT_TRUE(fs::exists(OwnDb())) << "a missing own database is made";
  ASSERT_NE(state.databases, nullptr);
  EXPECT_TRUE(thermo::FindSpecies("H2O(g)", *state.databases).found());
  EXPECT_EQ(state.balance_file, options.work_dir / "HeatBal.ohe");
  EXPECT_EQ(state.balance_name, "HeatBal");
}

TEST_F(Startup, FirstRunWritesDefaultSettingsAndAMissingDatabaseIsNotFatal) {
  ASSERT_EQ(RunStartup(options, state, guard), StartupOutcome::ShowMenu);
  EXPECT_TRUE(fs::exists(options.write_dir / "ZYL6.INI"));
  EXPECT_FALSE(AnyQuestion());
  // The next run reads the file the first one made; a main database that is not there is reported.
  fs::rename(MainDb(), tmp.Path() / "moved.ZYL");
  WriteSettings();
  messages.Clear();
  ProgramState again;
  InstanceGuard other{UniqueName()};
  ASSERT_EQ(RunStartup(options, again, other), StartupOutcome::ShowMenu);
  EXPECT_FALSE(again.main_db_open);
  EXPECT_TRUE(messages.Saw(MainDb().string())) << messages.Last();
  MainMenu menu;
  menu.show();
  EXPECT_TRUE(menu.isVisible());
}

TEST_F(Startup, ReadOnlyFolderWarnsAndTheMenuStillOpens) {
  WriteSettings();
  options.settings_path = options.write_dir / "ZYL6.INI";
  // A regular file where the folder should be: no folder can be made there, even for root.
  std::ofstream(tmp.Path() / "blocker") << "x";
  options.write_dir = tmp.Path() / "blocker" / "config";
  ASSERT_EQ(RunStartup(options, state, guard), StartupOutcome::ShowMenu);
  ASSERT_FALSE(messages.Log().empty());
  const auto& warning = messages.Log().front();
  EXPECT_EQ(warning.text, "ZYL cannot save INI files to 'Read Only' folder: " + options.write_dir.string() +
                              "\nPlease give Write permissions to this folder!");
  EXPECT_EQ(warning.title, " ZYL Chemical Thermodynamics");
  MainMenu menu;
  menu.show();
  EXPECT_TRUE(menu.isVisible());
  EXPECT_TRUE(state.elements_loaded);
}

TEST_F(Startup, SecondCopyAnsweredNoOrCancelEndsAndRaisesTheFirst) {
  InstanceGuard first{guard.Name()};
  ASSERT_TRUE(first.Listen());
  QSignalSpy raised(&first, &InstanceGuard::raiseRequested);
  for (Answer answer : {Answer::No, Answer::Cancel}) {
    messages.Clear();
    messages.Script({answer});
    ProgramState second;
    EXPECT_EQ(RunStartup(options, second, guard), StartupOutcome::EndSecondCopy);
    ASSERT_EQ(messages.Log().size(), 1u);
    EXPECT_EQ(messages.Last(), "ZYL is already running !\nDo you want to run several ZYL copies ?");
    EXPECT_TRUE(messages.Log()[0].question);
    // A second copy stops before reading any settings.
    EXPECT_TRUE(second.settings.main_db.empty());
  }
  EXPECT_TRUE(raised.count() >= 2 || raised.wait(2000));
  while (raised.count() < 2 && raised.wait(500)) {
  }
  EXPECT_EQ(raised.count(), 2);
}

TEST_F(Startup, SecondCopyAnsweredYesRuns) {
  InstanceGuard first{guard.Name()};
  ASSERT_TRUE(first.Listen());
  messages.Script({Answer::Yes});
  EXPECT_EQ(RunStartup(options, state, guard), StartupOutcome::ShowMenu);
  EXPECT_TRUE(state.elements_loaded);
}

TEST_F(Startup, StaleSocketOfACrashedCopyIsNotASecondCopy) {
  // A socket file with nobody listening, as a killed copy leaves it.
  QLocalServer stale;
  ASSERT_TRUE(stale.listen(guard.Name()));
  const QString path = stale.fullServerName();
  stale.close();
  EXPECT_FALSE(guard.OtherRunning());
  EXPECT_EQ(RunStartup(options, state, guard), StartupOutcome::ShowMenu);
  EXPECT_FALSE(AnyQuestion());
  EXPECT_TRUE(guard.OtherRunning()) << "this copy now answers";
}

TEST_F(Startup, CommaLocaleWarnsButFilesKeepPoints) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  if (!std::setlocale(LC_ALL, "de_DE.UTF-8") && !std::setlocale(LC_ALL, "de_DE.utf8"))
    GTEST_SKIP() << "no German locale installed";
  options.locale = QLocale(QLocale::German, QLocale::Germany);
  // Settings with fractional margins, so that a comma would show in the file.
  fs::create_directories(options.write_dir);
  std::ofstream(options.write_dir / "ZYL6.INI") << "[Printer]\nTop=12.5\nLeft=7.25\n";
  ASSERT_EQ(RunStartup(options, state, guard), StartupOutcome::ShowMenu);
  EXPECT_TRUE(messages.Saw("You MUST change Decimal Separator to point (.)\nfrom the Windows Control Panel.\n"
                           "Otherwise the results might be in error."));
  EXPECT_FLOAT_EQ(state.settings.top, 12.5f);
  ASSERT_TRUE(SetIni(state.settings, options.write_dir / "again.ini", messages));
  const std::string text = *platform::ReadFile(options.write_dir / "again.ini");
  std::setlocale(LC_ALL, before.c_str());
  EXPECT_NE(text.find("Top=12.5\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Left=7.25\n"), std::string::npos) << text;
}

TEST_F(Startup, DamagedSettingsFileAsksForAnotherFolder) {
  fs::create_directories(options.write_dir);
  fs::create_directories(options.write_dir / "ZYL6.INI");  // a folder where the file should be: unreadable
  const fs::path other = tmp.Path() / "elsewhere";
  fs::create_directories(other);
  std::ofstream(other / "ZYL6.INI") << "[ZYL Path]\nMainDB=/somewhere/MainDB6.ZYL\n";
  messages.ScriptText({other.string()});
  ASSERT_EQ(RunStartup(options, state, guard), StartupOutcome::ShowMenu);
  EXPECT_TRUE(messages.Saw("Can not find valid ZYL6.INI file,\nit should exist in your ZYL6 folder.\n"
                           "Please give new path:"));
  EXPECT_EQ(state.settings.main_db, "/somewhere/MainDB6.ZYL");
  EXPECT_EQ(state.settings_path, other / "ZYL6.INI");
}

}  // namespace
}  // namespace zyl::shell::window
