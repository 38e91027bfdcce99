#include "diagrams/window/predom_window.h"

#include <QDir>
#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSvgRenderer>
#include <QTemporaryDir>

#include <sys/stat.h>

#include "diagrams/cu_s_o.h"
#include "diagrams/tpp_file.h"
#include "diagrams/window/diagram_painter.h"
#include "platform/files.h"
#include "platform/messages.h"

namespace zyl::diagrams {
namespace {

// Qt needs an application object for fonts, pictures and widgets.
class QtEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    static int argc = 1;
    static char name[] = "test_diagrams_window";
    static char* argv[] = {name, nullptr};
    app_ = new QApplication(argc, argv);
  }
  void TearDown() override { delete app_; }
  QApplication* app_ = nullptr;
};
const auto* const kEnv = ::testing::AddGlobalTestEnvironment(new QtEnvironment);

struct Computed {
  PredomModel model;
  PredomResult result;
  DiagramPicture picture;
};

Computed Compute(int resolution = kResolutionMedium) {
  MemorySpeciesSource db = testing::CuSODatabase();
  CollectResult c = CollectData(testing::CuSOSetup(resolution), db);
  EXPECT_TRUE(c.model) << c.error;
  Computed out{*c.model, MakePicture(*c.model), {}};
  out.picture = BuildPicture(out.model, out.result);
  return out;
}

// Pixels of a large uniform cell far from every label show that species' palette colour.
TEST(DiagramPicture, PngShowsTheAreaColours) {
  Computed c = Compute();
  QTemporaryDir dir;
  const QString png = dir.filePath("cuso.png");
  QString error;
  ASSERT_TRUE(RenderToFile(c.picture, png, QSize(1000, 800), &error)) << error.toStdString();
  QImage img(png);
  ASSERT_EQ(img.size(), QSize(1000, 800));
  PlotFrame f = LayoutPlot(QRectF(0, 0, 1000, 800), c.picture);
  int checked = 0;
  for (const AreaLabel& a : c.result.labels) {
    if (a.level > 2) continue;  // cells at least 1/8 of the field wide
    bool near_label = false;
    for (const PictureLabel& l : c.picture.labels) {
      QPointF d = f.Map(l.x, l.y) - f.Map(a.x, a.y);
      near_label |= std::abs(d.x()) < 90 && std::abs(d.y()) < 30;
    }
    if (near_label) continue;
    QPoint px = f.Map(a.x, a.y).toPoint() + QPoint(3, 3);  // off the dotted grid lines
    EXPECT_EQ(img.pixelColor(px), ToQColor(c.picture.palette.Species(a.species)))
        << c.model.names[a.species - 1] << " at " << px.x() << "," << px.y();
    ++checked;
  }
  EXPECT_GE(checked, 4);
  // Borders are drawn in black: some pixel on a border piece is dark.
  const Segment& s = c.picture.lines[c.picture.lines.size() / 2];
  QPointF mid = f.Map((s.x1 + s.x2) / 2, (s.y1 + s.y2) / 2);
  EXPECT_LT(img.pixelColor(mid.toPoint()).lightness(), 80);
}

TEST(DiagramPicture, SvgAndPdfAreValidFiles) {
  Computed c = Compute(kResolutionLow);
  QTemporaryDir dir;
  QString error;
  ASSERT_TRUE(RenderToFile(c.picture, dir.filePath("d.svg"), QSize(800, 640), &error));
  QSvgRenderer svg(dir.filePath("d.svg"));
  EXPECT_TRUE(svg.isValid());
  EXPECT_EQ(svg.viewBoxF(), QRectF(0, 0, 800, 640));
  ASSERT_TRUE(RenderToFile(c.picture, dir.filePath("d.pdf"), QSize(800, 640), &error));
  QFile pdf(dir.filePath("d.pdf"));
  ASSERT_TRUE(pdf.open(QIODevice::ReadOnly));
  QByteArray bytes = pdf.readAll();
  EXPECT_TRUE(bytes.startsWith("%PDF-"));
  EXPECT_TRUE(bytes.trimmed().endsWith("%%EOF"));
  EXPECT_FALSE(RenderToFile(c.picture, dir.filePath("d.xyz"), QSize(800, 640), &error));
  EXPECT_TRUE(error.contains("Unknown picture format"));
  EXPECT_FALSE(RenderToFile(c.picture, "/nonexistent-folder/d.png", QSize(800, 640), &error));
}

// Pictures used to be written in place: a render that failed part-way left a truncated file.
TEST(DiagramPicture, PicturesAreRenamedIntoPlaceAndLeaveNoTemporaries) {
  Computed c = Compute(kResolutionLow);
  QTemporaryDir dir;
  QString error;
  for (const char* name : {"d.png", "d.svg", "d.pdf", "d.jpg"}) {
    ASSERT_TRUE(RenderToFile(c.picture, dir.filePath(name), QSize(400, 320), &error)) << name;
    const qint64 first = QFileInfo(dir.filePath(name)).size();
    ASSERT_TRUE(RenderToFile(c.picture, dir.filePath(name), QSize(800, 640), &error)) << name;
    EXPECT_GT(QFileInfo(dir.filePath(name)).size(), first) << name;  // the larger render replaced it
  }
  EXPECT_FALSE(QImage(dir.filePath("d.png")).isNull());
  // A render that can not be put in place fails and cleans up after itself.
  ASSERT_TRUE(QDir(dir.path()).mkdir("busy.svg"));
  EXPECT_FALSE(RenderToFile(c.picture, dir.filePath("busy.svg"), QSize(800, 640), &error));
  EXPECT_TRUE(error.contains("busy.svg"));
  EXPECT_EQ(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries, QDir::Name),
            QStringList({"busy.svg", "d.jpg", "d.pdf", "d.png", "d.svg"}));
  // A new render is a new file renamed over the old one, never the old one rewritten in place: a second
  // name linked to the old picture keeps it whole, and the picture's inode changes.
  for (const char* name : {"d.png", "d.svg", "d.pdf"}) {
    const QByteArray path = QFile::encodeName(dir.filePath(name));
    const QByteArray keep = path + ".keep";
    ASSERT_EQ(::link(path.constData(), keep.constData()), 0) << name;
    struct stat before {}, after {}, kept {};
    ASSERT_EQ(::stat(path.constData(), &before), 0);
    ASSERT_TRUE(RenderToFile(c.picture, dir.filePath(name), QSize(400, 320), &error)) << name;
    ASSERT_EQ(::stat(path.constData(), &after), 0);
    ASSERT_EQ(::stat(keep.constData(), &kept), 0);
    EXPECT_NE(after.st_ino, before.st_ino) << name;
    EXPECT_EQ(kept.st_size, before.st_size) << name << ": the old picture was rewritten in place";
  }
}

TEST(DiagramPicture, FormulaDigitsAreSubscripts) {
  QPainterPath cu2o = FormulaPath("Cu2O", 40);
  QPainterPath cuo = FormulaPath("CuO", 40);
  // The subscript reaches below the baseline; the plain formula does not.
  EXPECT_GT(cu2o.boundingRect().bottom(), cuo.boundingRect().bottom() + 3);
  QPainterPath plain = FormulaPath("Cu2O", 40, false, false);
  EXPECT_LT(plain.boundingRect().bottom(), cu2o.boundingRect().bottom());
}

class PredomWindowTest : public ::testing::Test {
 protected:
  PredomWindowTest() : db_(testing::CuSODatabase()), messages_(false) {
    window_ = std::make_unique<Predom>(nullptr, &db_, &messages_);
    window_->setAttribute(Qt::WA_DeleteOnClose, false);
  }
  template <typename T>
  T* Child(const char* name) {
    T* w = window_->findChild<T*>(name);
    EXPECT_NE(w, nullptr) << name;
    return w;
  }
  void Pick(const char* list, const QString& text) {
    auto* l = Child<QListWidget>(list);
    l->clearSelection();
    auto items = l->findItems(text, Qt::MatchExactly);
    ASSERT_FALSE(items.isEmpty()) << text.toStdString();
    items.first()->setSelected(true);
  }
  void SelectAllSpecies() {
    auto* sp = Child<QListWidget>("SpList");
    for (int i = 0; i < sp->count(); ++i) sp->item(i)->setSelected(true);
  }
  MemorySpeciesSource db_;
  platform::HeadlessMessages messages_;
  std::unique_ptr<Predom> window_;
};

TEST_F(PredomWindowTest, ElementCountAndListsAfterButOK) {
  window_->SelectElements({"Cu", "S"});
  EXPECT_EQ(messages_.Last(), "Please, select at least THREE elements");
  window_->SelectElements({"Cu", "S", "O", "Fe"});
  EXPECT_EQ(messages_.Last(), "Please, select at most THREE elements");
  window_->SelectElements({"Cu", "S", "O"});
  auto* x = Child<QListWidget>("XList");
  ASSERT_GE(x->count(), 2);
  EXPECT_EQ(x->item(0)->text(), "Temperature");
  EXPECT_TRUE(Child<QListWidget>("YList")->findItems("Temperature", Qt::MatchExactly).isEmpty());
  EXPECT_EQ(Child<QListWidget>("CList")->count(), 3);  // Temperature, O2(g), S2(g)
  EXPECT_EQ(Child<QListWidget>("SpList")->count(), 8);
  EXPECT_EQ(Child<QLabel>("TotNum")->text(), "Select Species");
  // Elements keep the order in which they were picked.
  EXPECT_EQ(window_->CurrentSetup()->elements, (std::array<std::string, 3>{"Cu", "S", "O"}));
  window_->SelectElements({"O", "Cu", "S"});
  EXPECT_EQ(window_->CurrentSetup()->elements, (std::array<std::string, 3>{"O", "Cu", "S"}));
}

TEST_F(PredomWindowTest, ValidationStopsTheCalculation) {
  window_->SelectElements({"Cu", "S", "O"});
  auto* calc = Child<QPushButton>("ButPsd");
  calc->click();
  EXPECT_EQ(messages_.Last(), "Please, select at least three Species");
  SelectAllSpecies();
  calc->click();
  EXPECT_EQ(messages_.Last(), "Please, select X - axis also");
  Pick("XList", "O2(g)");
  Pick("YList", "O2(g)");
  Pick("CList", "Temperature");
  calc->click();
  EXPECT_EQ(messages_.Last(), "Please, select different axises.");
  EXPECT_EQ(window_->Result(), nullptr);
  Child<QLineEdit>("Text1")->setText("abc");
  Pick("YList", "SO2(g)");
  calc->click();
  EXPECT_EQ(messages_.Last(), "Please, give a number in every limit field.");
  EXPECT_EQ(window_->Result(), nullptr);
}

TEST_F(PredomWindowTest, CalculatesSavesAndReloads) {
  window_->ApplySetup(testing::CuSOSetup(kResolutionMedium));
  Child<QPushButton>("ButPsd")->click();
  ASSERT_NE(window_->Result(), nullptr) << messages_.Last();
  // "S" holds no copper: reported, then left out.
  EXPECT_TRUE(messages_.Saw("holds no Cu"));
  int points = window_->Result()->BoundaryPoints();
  EXPECT_GT(points, 500);
  ASSERT_NE(window_->Picture(), nullptr);
  EXPECT_EQ(window_->Picture()->title, "Predominance Diagram for Cu-S-O System");

  QTemporaryDir dir;
  const QString tpp = dir.filePath("cuso.tpp");
  ASSERT_TRUE(window_->SaveSetup(tpp));
  auto text = platform::ReadFile(tpp.toStdString());
  ASSERT_TRUE(text);
  EXPECT_EQ(*text, FormatTpp(*window_->CurrentSetup()));
  EXPECT_TRUE(window_->SavePicture(dir.filePath("cuso.png")));
  window_->CopyBoxLines();
  const QMimeData* copied = QGuiApplication::clipboard()->mimeData();
  ASSERT_NE(copied, nullptr);
  EXPECT_TRUE(copied->hasImage());
  EXPECT_TRUE(copied->data("image/svg+xml").startsWith("<?xml"));

  // A second window reads it back; the same border comes out with the search drawn on screen.
  Predom other(nullptr, &db_, &messages_);
  ASSERT_TRUE(other.LoadSetup(tpp));
  PredomSetup a = *window_->CurrentSetup(), b = *other.CurrentSetup();
  EXPECT_EQ(a.species, b.species);
  EXPECT_EQ(a.x_axis, b.x_axis);
  EXPECT_EQ(a.constant_value, b.constant_value);
  other.findChild<QComboBox*>("ComboRes")->setCurrentIndex(1);
  other.findChild<QAction*>("MShowCalc")->setChecked(true);
  other.resize(900, 700);
  other.findChild<QPushButton*>("ButPsd")->click();
  ASSERT_NE(other.Result(), nullptr);
  EXPECT_EQ(other.Result()->BoundaryPoints(), points);
}

TEST_F(PredomWindowTest, UnitButtonConvertsTemperatureFields) {
  window_->ApplySetup(testing::CuSOSetup());
  auto* t5 = Child<QLineEdit>("Text5");
  auto* ck = Child<QPushButton>("ButCK");
  EXPECT_EQ(ck->text(), "K");
  ck->click();
  EXPECT_EQ(ck->text(), "°C");
  EXPECT_EQ(t5->text(), "726.85");
  EXPECT_EQ(Child<QLineEdit>("Text1")->text(), "-10");  // a pressure axis keeps its limits
  std::optional<PredomSetup> s = window_->CurrentSetup();
  EXPECT_TRUE(s->celsius);
  EXPECT_NEAR(ToKelvin(s->constant_value, s->celsius), 1000, 1e-9);
  // Saving with fewer than three species is refused with the form's message.
  Child<QListWidget>("SpList")->clearSelection();
  QTemporaryDir dir;
  EXPECT_FALSE(window_->SaveSetup(dir.filePath("x.tpp")));
  EXPECT_EQ(messages_.Last(), "Please, select at least three Species");
}

TEST_F(PredomWindowTest, LoadReportsMissingItemsOneByOne) {
  QTemporaryDir dir;
  PredomSetup s = testing::CuSOSetup();
  s.species.push_back("Cu3O4");
  s.y_axis = "O3(g)";
  ASSERT_TRUE(platform::WriteFileAtomic(dir.filePath("m.tpp").toStdString(), FormatTpp(s)));
  messages_.Clear();
  ASSERT_TRUE(window_->LoadSetup(dir.filePath("m.tpp")));
  ASSERT_EQ(messages_.Log().size(), 2u);
  EXPECT_EQ(messages_.Log()[0].text, "The Specie: Cu3O4 is no longer available.");
  EXPECT_EQ(messages_.Log()[1].text, "The y-axis: O3(g) is no longer available.");
  EXPECT_EQ(messages_.Log()[1].title, "ZYL");
  EXPECT_TRUE(Child<QListWidget>("YList")->selectedItems().isEmpty());
}

}  // namespace
}  // namespace zyl::diagrams
