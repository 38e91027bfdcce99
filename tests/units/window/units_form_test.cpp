#include "units/window/units_form.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTemporaryDir>

#include "platform/messages.h"
#include "platform/window/qt_messages.h"

namespace zyl::units::window {
namespace {

class QtEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    static int argc = 1;
    static char name[] = "test_units_window";
    static char* argv[] = {name, nullptr};
    app_ = new QApplication(argc, argv);
  }
  void TearDown() override { delete app_; }
  QApplication* app_ = nullptr;
};
const auto* const kEnv = ::testing::AddGlobalTestEnvironment(new QtEnvironment);

const QString kShipped = QString(ZYL_SOURCE_DATA_DIR) + "/Databases/Units4.UNI";

class UnitsForm : public ::testing::Test {
 protected:
  void SetUp() override { platform::window::SetAppMessages(&messages); }
  void TearDown() override { platform::window::SetAppMessages(nullptr); }
  platform::HeadlessMessages messages{false};
};

TEST_F(UnitsForm, ConvertsOnTheSelectedSheet) {
  Units f(kShipped);
  EXPECT_EQ(f.windowTitle(), " Units Conversions ");
  auto* from = f.findChild<QComboBox*>("ComboFrom");
  auto* to = f.findChild<QComboBox*>("ComboTo");
  f.Book().SetActiveSheet(f.Book().FindSheet("Temperature"));
  // Select the sheet through the grid so that the converter follows it.
  QMetaObject::invokeMethod(f.findChild<QWidget*>("F1Units"), "sheetChanged", Q_ARG(int, f.Book().FindSheet("Temperature")));
  from->setCurrentText("C");
  to->setCurrentText("F");
  f.findChild<QLineEdit*>("TextValue")->setText("100");
  EXPECT_EQ(f.ConvertNow(), "212");
}

TEST_F(UnitsForm, SheetsAndFiles) {
  Units f(kShipped);
  const int n = f.Book().SheetCount();
  f.Book().SetActiveSheet(0);
  EXPECT_FALSE(f.DeleteCurrentSheet());
  EXPECT_EQ(messages.Last(), "Can not delete basic sheets !");
  ASSERT_TRUE(f.AddSheet("Mine"));
  EXPECT_EQ(f.Book().SheetCount(), n + 1);
  f.Book().SetActiveSheet(f.Book().FindSheet("Mine"));
  EXPECT_TRUE(f.DeleteCurrentSheet());
  EXPECT_EQ(f.Book().SheetCount(), n);
  QTemporaryDir dir;
  EXPECT_TRUE(f.Save(dir.filePath("u.UNI")));
  EXPECT_TRUE(f.Open(dir.filePath("u.UNI")));
  EXPECT_FALSE(f.Open(dir.filePath("missing.UNI")));
  EXPECT_EQ(messages.Last().rfind("Error # ", 0), 0u);
  EXPECT_EQ(f.Book().SheetCount(), n);  // unchanged after the failed open
}

}  // namespace
}  // namespace zyl::units::window
