#include "shell/window/settings_form.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QTableWidget>

#include "platform/files.h"
#include "platform/window/dialogs.h"
#include "platform/window/qt_app.h"
#include "platform/window/qt_messages.h"
#include "shell/program_state.h"

namespace zyl::shell::window {
namespace {

namespace fs = std::filesystem;

class SettingsForm : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::App();
    platform::window::SetAppMessages(&messages);
    platform::window::SetAppDialogs(&dialogs);
    s.server = "/opt/zyl";
    s.terminal = "/home/u/zyl";
    s.own_db = "/home/u/zyl/OwnDB6.ZYL";
    s.main_db = "/opt/zyl/Databases/MainDB6.ZYL";
    s.sol_gas_mix = "/opt/solver";
    s.table_font = {"DejaVu Sans Mono", 11, 1, 0};
    s.diagram_font = {"DejaVu Serif", 12, 0, 1};
    s.top = 12.5f;
    s.left = 7.25f;
    s.warnings = 0;
    ASSERT_TRUE(SetIni(s, in(), messages));
  }
  void TearDown() override {
    platform::window::SetAppMessages(nullptr);
    platform::window::SetAppDialogs(nullptr);
  }
  fs::path in() const { return tmp.Path() / "ZYL6.INI"; }
  std::string Text(const fs::path& p) { return *platform::ReadFile(p); }

  testing::TempDir tmp;
  platform::HeadlessMessages messages{false};
  platform::window::ScriptedDialogs dialogs;
  Settings s;
};

TEST_F(SettingsForm, ShowsEveryKeyCaptionAndDatabases) {
  ZYL_INI form;
  form.Start_INI(QString::fromStdString(in().string()));
  EXPECT_EQ(form.windowTitle(), QString::fromStdString(" ZYL Settings - " + in().string()));
  ASSERT_EQ(form.Grid()->rowCount(), 16);
  EXPECT_EQ(form.Grid()->verticalHeaderItem(5)->text(), "CAT");
  EXPECT_EQ(form.Value("OwnDB"), "/home/u/zyl/OwnDB6.ZYL");
  EXPECT_EQ(form.Value("Size"), "11");
  EXPECT_EQ(form.Value("Top"), "12.5");
  EXPECT_EQ(form.Value("PaperSize"), "9");
  QStringList labels;
  for (QLabel* l : form.findChildren<QLabel*>()) labels << l->text();
  EXPECT_TRUE(labels.contains(" Database 1: /home/u/zyl/OwnDB6.ZYL")) << labels.join('|').toStdString();
  EXPECT_TRUE(labels.contains(" Database 2: /opt/zyl/Databases/MainDB6.ZYL"));
}

TEST_F(SettingsForm, RoundTripsAFileUnchangedAndWithEdits) {
  ZYL_INI form;
  form.Start_INI(QString::fromStdString(in().string()));
  const fs::path out = tmp.Path() / "copy.INI";
  ASSERT_TRUE(form.Save_INI_Txt(QString::fromStdString(out.string())));
  EXPECT_EQ(Text(out), Text(in()));  // nothing lost, including the diagram font that the grid does not show

  form.SetValue("Size", "14");
  form.SetValue("MainDB", "/data/MainDB6.ZYL");
  form.SetValue("Temperature", "K");  // a unit choice, never written to the file
  form.SetValue("Energy", "J");
  ASSERT_TRUE(form.Save_INI_Txt(QString::fromStdString(out.string())));
  auto back = ReadSettings(out);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->table_font.size, 14);
  EXPECT_EQ(back->main_db, "/data/MainDB6.ZYL");
  EXPECT_EQ(back->diagram_font.name, "DejaVu Serif");
  const std::string text = Text(out);
  EXPECT_NE(text.find("Temperature=C\n"), std::string::npos);
  EXPECT_NE(text.find("Energy=cal\n"), std::string::npos);
  EXPECT_NE(text.find("Italic="), std::string::npos);
}

TEST_F(SettingsForm, OpenAndSaveAskTheirQuestions) {
  ZYL_INI form;
  const fs::path out = tmp.Path() / "saved.INI";
  dialogs.answers = {QString::fromStdString(in().string()), QString::fromStdString(out.string())};
  form.Open_INI();
  form.Save_INI();
  EXPECT_EQ(dialogs.asked, QStringList({"Read Settings from:", "Save Settings to:"}));
  EXPECT_EQ(Text(out), Text(in()));
  // Cancelled dialogs change nothing.
  form.SetValue("Size", "20");
  form.Save_INI();
  EXPECT_EQ(Text(out), Text(in()));
}

TEST_F(SettingsForm, InvalidNumbersAreRefusedAndNothingIsWritten) {
  ZYL_INI form;
  form.Start_INI(QString::fromStdString(in().string()));
  const fs::path out = tmp.Path() / "bad.INI";
  for (auto [key, value] : {std::pair{"Size", "big"}, {"Bold", "70000"}, {"Top", "1,5"}}) {
    form.Start_INI(QString::fromStdString(in().string()));
    form.SetValue(key, value);
    EXPECT_FALSE(form.Save_INI_Txt(QString::fromStdString(out.string()))) << key;
    EXPECT_TRUE(messages.Saw(std::string(key) + "=")) << key;
    EXPECT_FALSE(fs::exists(out));
  }
}

TEST_F(SettingsForm, SavingTheRunningProgramsFileAppliesIt) {
  ZYL5main().settings_path = in();
  ZYL5main().settings = s;
  ZYL_INI form;
  form.Start_INI(QString::fromStdString(in().string()));
  form.SetValue("Temperature", "K");
  form.SetValue("OwnDB", "/tmp/Own.ZYL");
  ASSERT_TRUE(form.Save_INI_Txt(QString::fromStdString(in().string())));
  EXPECT_FALSE(ZYL5main().Celsius());
  EXPECT_EQ(ZYL5main().settings.own_db, "/tmp/Own.ZYL");
  ZYL5main().settings_path.clear();
}

TEST_F(SettingsForm, RepairRefillsEmptyValuesWithDefaults) {
  ZYL_INI form;
  form.Start_INI(QString::fromStdString(in().string()));
  form.SetValue("Font", "");
  form.SetValue("Warnings", "");
  form.Grid()->setRowCount(3);
  form.RepairF1();
  ASSERT_EQ(form.Grid()->rowCount(), 16);
  EXPECT_EQ(form.Value("Font").toStdString(), DefaultSettings().table_font.name);
  EXPECT_EQ(form.Value("Warnings"), "1");
  EXPECT_EQ(form.Value("OwnDB"), "/home/u/zyl/OwnDB6.ZYL");  // kept
}

}  // namespace
}  // namespace zyl::shell::window
