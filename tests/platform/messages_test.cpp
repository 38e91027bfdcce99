#include "platform/messages.h"

#include <gtest/gtest.h>
#include "common/temp_dir.h"

#include <filesystem>

#include "platform/files.h"

namespace zyl::platform {
namespace {

TEST(HeadlessMessages, AnswersFromTheScriptThenTheDefault) {
  HeadlessMessages m(false);
  m.Script({Answer::Yes, Answer::Cancel, Answer::Cancel});
  EXPECT_EQ(m.AskYesNo("Save data to Main Database ?"), Answer::Yes);
  EXPECT_EQ(m.AskYesNoCancel("ZYL is already running !"), Answer::Cancel);
  EXPECT_EQ(m.AskYesNo("Stop iterations?"), Answer::No);  // Cancel is not an answer to Yes/No
  EXPECT_EQ(m.AskYesNo("again?"), Answer::No);
  m.SetDefaultAnswer(Answer::Yes);
  EXPECT_EQ(m.AskYesNoCancel("again?"), Answer::Yes);
  ASSERT_EQ(m.Log().size(), 5u);
  EXPECT_TRUE(m.Log()[0].question);
  EXPECT_EQ(m.Log()[0].title, "ZYL");
}

TEST(HeadlessMessages, RecordsMessagesAndScriptedText) {
  HeadlessMessages m(false);
  m.Show(JoinLines({"Too much O(1mol) on the left side", "Please, edit !"}));
  m.Error("Can not open: x", "Database");
  EXPECT_TRUE(m.Saw("Please, edit !"));
  EXPECT_FALSE(m.Saw("Stop"));
  EXPECT_EQ(m.Log()[0].text, "Too much O(1mol) on the left side\nPlease, edit !");
  EXPECT_EQ(m.Log()[1].icon, Icon::Error);
  EXPECT_EQ(m.Last(), "Can not open: x");
  std::string name;
  m.ScriptText({"Fuel"});
  EXPECT_TRUE(m.AskText("Give Stream Name:", "Stream Name", name));
  EXPECT_EQ(name, "Fuel");
  EXPECT_FALSE(m.AskText("Give Stream Name:", "Stream Name", name));  // nothing scripted: cancelled
}

TEST(Files, AtomicWriteReplacesOrKeepsTheOldFile) {
  namespace fs = std::filesystem;
  zyl::testing::TempDir tmp("files");
  const fs::path& dir = tmp.path();
  fs::path p = dir / "a.txt";
  ASSERT_TRUE(WriteFileAtomic(p, "one"));
  ASSERT_TRUE(WriteFileAtomic(p, "two"));
  EXPECT_EQ(*ReadFile(p), "two");
  std::string error;
  EXPECT_FALSE(WriteFileAtomic(dir / "missing" / "b.txt", "x", &error));
  EXPECT_FALSE(error.empty());
  EXPECT_FALSE(ReadFile(dir / "none.txt", &error));
  size_t files = 0;
  for ([[maybe_unused]] const auto& e : fs::directory_iterator(dir)) ++files;
  EXPECT_EQ(files, 1u);  // no temporary left behind
}

}  // namespace
}  // namespace zyl::platform
