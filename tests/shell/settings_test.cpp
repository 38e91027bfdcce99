#include "shell/settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <filesystem>
#include <fstream>
#include <locale>

#include "platform/files.h"

namespace zyl::shell {
namespace {

namespace fs = std::filesystem;

Settings Sample() {
  Settings s;
  s.server = "/opt/zyl";
  s.terminal = "/home/u/zyl";
  s.own_db = "/home/u/zyl/OwnDB6.ZYL";
  s.main_db = "/opt/zyl/Databases/MainDB6.ZYL";
  s.sol_gas_mix = "/opt/solver";
  s.table_font = {"DejaVu Sans Mono", 9, 0, 1};
  s.diagram_font = {"DejaVu Serif", 12, 1, 0};
  s.top = 12.5f;
  s.left = 0.1f;
  s.temperature = "K";  // never written: the files always carry "C" and "cal"
  s.energy = "J";
  s.warnings = 1;
  return s;
}

std::string Golden(const char* name) {
  return *platform::ReadFile(fs::path(ZYL_TESTS_DIR) / "golden" / name);
}

class SettingsFile : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("zyl-settings-" + std::to_string(::getpid()));
    fs::create_directories(dir_);
  }
  void TearDown() override {
    ::chmod(dir_.c_str(), 0755);
    fs::remove_all(dir_);
  }
  fs::path dir_;
  platform::HeadlessMessages messages_{false};
};

TEST(Settings, BothWritersMatchTheFixedLineOrderByteForByte) {
  EXPECT_EQ(FormatSettings(Sample(), true), Golden("settings_setini.ini"));
  EXPECT_EQ(FormatSettings(Sample(), false), Golden("settings_save.ini"));
}

TEST(Settings, ReadLineSplitsAtTheFirstEqualsAndTrims) {
  EXPECT_EQ(ReadLine("  OwnDB =  /a=b/c.ZYL  "), std::make_pair(std::string("OwnDB"), std::string("/a=b/c.ZYL")));
  EXPECT_EQ(ReadLine("[Units]"), std::make_pair(std::string("[Units]"), std::string()));
  EXPECT_EQ(ReadLine("Key="), std::make_pair(std::string("Key"), std::string()));
}

TEST(Settings, ParsingKeepsFontSectionsApartAndAcceptsCat) {
  Settings s = ParseSettings(
      "[ZYL Path]\r\nCAT=/x/cat\r\nMainDB=/m.ZYL\r\n[Table Font]\r\nSize=11\r\n[Diagram Font]\r\nSize=14\r\n"
      "Italic=1\r\n[Units]\r\nTemperature=K\r\nWarnings=0\r\n[Printer]\r\nTop=3.25\r\n");
  EXPECT_EQ(s.cat, "/x/cat");
  EXPECT_EQ(s.main_db, "/m.ZYL");
  EXPECT_EQ(s.table_font.size, 11);
  EXPECT_EQ(s.diagram_font.size, 14);
  EXPECT_EQ(s.diagram_font.italic, 1);
  EXPECT_EQ(s.table_font.italic, 0);
  EXPECT_EQ(s.temperature, "K");
  EXPECT_EQ(s.warnings, 0);
  EXPECT_FLOAT_EQ(s.top, 3.25f);
}

TEST(Settings, MissingKeysKeepDefaultsAndGarbageIsIgnored) {
  Settings d = DefaultSettings();
  Settings s = ParseSettings("garbage\n=\n[Printer]\nTop=abc\nLeft=1e999\n[Table Font]\nSize=99999\n");
  EXPECT_EQ(s.own_db, d.own_db);
  EXPECT_EQ(s.main_db, d.main_db);
  EXPECT_FLOAT_EQ(s.top, d.top);
  EXPECT_EQ(s.table_font.size, d.table_font.size);
  EXPECT_NE(d.main_db.find("MainDB6.ZYL"), std::string::npos);
}

TEST(Settings, NumbersUseAPointAndSurviveARoundTripUnderACommaLocale) {
  const char* old = std::setlocale(LC_ALL, nullptr);
  std::string saved = old ? old : "C";
  if (!std::setlocale(LC_ALL, "de_DE.UTF-8")) GTEST_SKIP() << "de_DE.UTF-8 locale not installed";
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.1f", 0.5);
  ASSERT_STREQ(buf, "0,5") << "locale has no comma separator";
  Settings s = Sample();
  std::string text = FormatSettings(s, true);
  Settings back = ParseSettings(text);
  std::setlocale(LC_ALL, saved.c_str());
  EXPECT_NE(text.find("Top=12.5\n"), std::string::npos);
  EXPECT_NE(text.find("Left=0.1\n"), std::string::npos);
  EXPECT_FLOAT_EQ(back.top, 12.5f);
  EXPECT_FLOAT_EQ(back.left, 0.1f);
  EXPECT_EQ(back.diagram_font.name, "DejaVu Serif");
}

TEST_F(SettingsFile, WriteThenReadRoundTripsAndReplacesTheWholeFile) {
  fs::path path = dir_ / "ZYL6.INI";
  std::ofstream(path) << "[ZYL Path]\nServer=old\nStale=line\n";
  ASSERT_TRUE(SaveSettings(Sample(), path, messages_));
  auto text = platform::ReadFile(path);
  EXPECT_EQ(*text, Golden("settings_save.ini"));
  auto back = ReadSettings(path);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->sol_gas_mix, "/opt/solver");
  EXPECT_EQ(back->temperature, "C");
  EXPECT_EQ(back->energy, "cal");
  EXPECT_TRUE(messages_.Log().empty());
  for (const auto& e : fs::directory_iterator(dir_)) EXPECT_EQ(e.path().filename(), "ZYL6.INI");
}

TEST_F(SettingsFile, AFailedSaveReportsAndKeepsTheOldFile) {
  if (::geteuid() == 0) {
    // root ignores folder permissions: make the target an existing folder instead.
    fs::create_directories(dir_ / "ZYL6.INI" / "x");
    EXPECT_FALSE(SetIni(Sample(), dir_ / "ZYL6.INI", messages_));
  } else {
    fs::path path = dir_ / "ZYL6.INI";
    std::ofstream(path) << "old";
    ::chmod(dir_.c_str(), 0555);
    EXPECT_FALSE(SetIni(Sample(), path, messages_));
    EXPECT_EQ(*platform::ReadFile(path), "old");
  }
  ASSERT_EQ(messages_.Log().size(), 1u);
  const std::string& m = messages_.Log()[0].text;
  EXPECT_EQ(m.rfind("Cannot save ZYL6.INI file:", 0), 0u);
  EXPECT_NE(m.find("Error Code"), std::string::npos);
  EXPECT_NE(m.find("Editing of Windows folder may have\nbeen forbidden by the Addministrator ?"), std::string::npos);
}

}  // namespace
}  // namespace zyl::shell
