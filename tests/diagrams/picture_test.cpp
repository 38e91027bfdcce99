#include "diagrams/picture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "diagrams/cu_s_o.h"
#include "platform/files.h"

namespace zyl::diagrams {
namespace {

TEST(PictureAxes, TickSpacingFollowsTheSpanThresholds) {
  struct Case {
    double span, step;
  } cases[] = {{1, 0.1},  {1.2, 0.2}, {2.9, 0.2}, {3, 0.5},   {6, 1},     {11.9, 1},  {12, 2},     {22, 2},
               {24, 5},   {74, 5},    {75, 10},   {159, 10},  {160, 20},  {300, 50},  {799, 50},   {800, 100},
               {1500, 100}};
  for (const Case& c : cases) EXPECT_DOUBLE_EQ(TickStep(c.span), c.step) << c.span;
  for (double span : {2000.0, 5000.0, 1e5}) EXPECT_LE(span / TickStep(span), 16.0) << span;
  EXPECT_EQ(Ticks(-20, 2), (std::vector<double>{-20, -18, -16, -14, -12, -10, -8, -6, -4, -2, 0, 2}));
  EXPECT_EQ(Ticks(0.05, 0.95).front(), 0.1);
  std::vector<double> t = Ticks(226.85, 1226.85);
  EXPECT_EQ(t.front(), 300);
  EXPECT_EQ(t.back(), 1200);
}

// Which gas an axis names follows the swap; temperature limits stay in K whatever the display unit.
TEST(PictureAxes, DescriptionNamesTheAxisQuantity) {
  PredomModel m;
  m.gas1 = "S2(g)";
  m.gas2 = "O2(g)";
  m.xq = Quantity::Gas1;
  m.yq = Quantity::Gas2;
  m.xmin = -20, m.xmax = 0, m.ymin = -30, m.ymax = -5;
  AxisDescription x = DescribeAxis(m, true), y = DescribeAxis(m, false);
  EXPECT_EQ(x.name, "S2(g)");
  EXPECT_EQ(y.name, "O2(g)");
  EXPECT_EQ(x.unit, "log10(p/bar)");
  EXPECT_EQ(x.title, AxisTitle(m, true));
  EXPECT_EQ(y.min, -30);
  EXPECT_EQ(y.max, -5);
  m.swap_gases = true;
  EXPECT_EQ(DescribeAxis(m, true).name, "O2(g)");
  EXPECT_EQ(DescribeAxis(m, false).name, "S2(g)");

  m.xq = Quantity::Temperature;
  m.celsius = true;
  m.xmin = 673.15, m.xmax = 1373.15;
  x = DescribeAxis(m, true);
  EXPECT_EQ(x.name, "Temperature");
  EXPECT_EQ(x.unit, "K");
  EXPECT_EQ(x.title, "Temperature (°C)");
  EXPECT_DOUBLE_EQ(x.min, 673.15);
}

TEST(PicturePalette, ShippedFilesAndFormat) {
  std::string error;
  std::optional<Palette> col = LoadPalette(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / PaletteFileFor(1 << 24), &error);
  ASSERT_TRUE(col) << error;
  EXPECT_EQ(col->colors, DefaultPalette().colors);
  std::optional<Palette> p256 = LoadPalette(std::filesystem::path(ZYL_SOURCE_DATA_DIR) / PaletteFileFor(256), &error);
  ASSERT_TRUE(p256) << error;
  EXPECT_EQ(p256->colors.size(), 256u);
  EXPECT_EQ(PaletteFileFor(256), "Tpp/ppt256.pal");
  EXPECT_EQ(PaletteFileFor(65536), "Tpp/pptcol.pal");
  // Species colours are distinct for the first dozen species.
  for (int a = 1; a <= 12; ++a)
    for (int b = a + 1; b <= 12; ++b) EXPECT_FALSE(col->Species(a) == col->Species(b)) << a << " " << b;

  std::optional<Palette> small = ParsePalette("JASC-PAL\r\n0100\r\n2\r\n1 2 3\r\n4 5 6\r\n");
  ASSERT_TRUE(small);
  EXPECT_EQ(small->At(1), (Rgb{4, 5, 6}));
  EXPECT_EQ(small->colors.size(), 256u);  // the rest from the built-in palette
  EXPECT_FALSE(ParsePalette("JASC-PAL\n0100\n2\n1 2 3\n"));
  EXPECT_FALSE(ParsePalette("JASC-PAL\n0100\n1\n1 2 300\n"));
  EXPECT_FALSE(ParsePalette("GIMP Palette\n"));
}

DiagramPicture CuSOPicture(PredomSetup s) {
  CollectResult c = CollectData(s, testing::CuSODatabase());
  EXPECT_TRUE(c.model) << c.error;
  return BuildPicture(*c.model, MakePicture(*c.model));
}

TEST(PictureBuild, TitlesCellsAndLabels) {
  DiagramPicture p = CuSOPicture(testing::CuSOSetup(kResolutionMedium));
  EXPECT_EQ(p.title, "Predominance Diagram for Cu-S-O System");
  EXPECT_EQ(p.subtitle, "T = 1000 K");
  EXPECT_EQ(p.x.title, "log p(SO2)");
  EXPECT_EQ(p.y.title, "log p(O2)");
  EXPECT_EQ(p.labels.size(), 7u);
  // The merged cells cover the field exactly once (the cells tile it).
  double area = 0;
  for (const PictureFill& f : p.fills) area += (f.x2 - f.x1) * (f.y2 - f.y1);
  EXPECT_NEAR(area, 12.0 * 22.0, 1e-6);
  EXPECT_LT(p.fills.size(), 6000u);  // from about 20000 cells and quarter cells
  // Border pieces chain: most pieces start where the previous one ended.
  int joined = 0;
  for (size_t i = 1; i < p.lines.size(); ++i)
    joined += std::hypot(p.lines[i].x1 - p.lines[i - 1].x2, p.lines[i].y1 - p.lines[i - 1].y2) < 1e-9;
  EXPECT_GT(joined, static_cast<int>(p.lines.size()) * 9 / 10);

  PredomSetup t;
  t.elements = {"Cu", "O", "S"};
  t.x_axis = std::string(kTemperature), t.y_axis = "O2(g)", t.constant = "S2(g)";
  t.xmin = 500, t.xmax = 1100, t.ymin = -24, t.ymax = 0, t.constant_value = -8, t.celsius = true;
  t.species = {"Cu", "Cu2O", "CuO", "Cu2S"};
  DiagramPicture q = CuSOPicture(t);
  EXPECT_EQ(q.x.title, "Temperature (°C)");
  EXPECT_EQ(q.subtitle, "log p(S2) = -8");
  EXPECT_DOUBLE_EQ(q.x.min, 500);  // display units
  for (const PictureLabel& l : q.labels) EXPECT_TRUE(l.x >= 500 && l.x <= 1100) << l.text;
}

TEST(PictureData, WriteReadRoundTripAndFuzz) {
  DiagramPicture p = CuSOPicture(testing::CuSOSetup(kResolutionLow));
  std::string text = WritePicture(p);
  std::string error;
  std::optional<DiagramPicture> q = ReadPicture(text, &error);
  ASSERT_TRUE(q) << error;
  EXPECT_EQ(q->title, p.title);
  EXPECT_EQ(q->subtitle, p.subtitle);
  EXPECT_EQ(q->x.title, p.x.title);
  EXPECT_EQ(q->y.min, p.y.min);
  EXPECT_EQ(q->palette.colors, p.palette.colors);
  ASSERT_EQ(q->fills.size(), p.fills.size());
  EXPECT_EQ(q->fills[5].x2, p.fills[5].x2);  // shortest round-trip number form
  ASSERT_EQ(q->labels.size(), p.labels.size());
  EXPECT_EQ(q->labels[6].text, "CuO*CuSO4");
  EXPECT_EQ(q->lines.size(), p.lines.size());

  // The border as final cells instead of lines survives the trip as well.
  CollectResult c = CollectData(testing::CuSOSetup(kResolutionLow), testing::CuSODatabase());
  PictureOptions o;
  o.box_lines = true;
  PredomResult r = MakePicture(*c.model);
  DiagramPicture boxes = BuildPicture(*c.model, r, o);
  EXPECT_TRUE(boxes.lines.empty());
  EXPECT_EQ(boxes.boxes.size(), r.cells.size());
  std::optional<DiagramPicture> rb = ReadPicture(WritePicture(boxes));
  ASSERT_TRUE(rb);
  EXPECT_EQ(rb->boxes.size(), boxes.boxes.size());
  EXPECT_DOUBLE_EQ(rb->boxes[3].x2 - rb->boxes[3].x1, r.cell_w);

  const char* env = std::getenv("ZYL_FUZZ_CASES");
  int n = env ? std::atoi(env) : 100000;
  std::string head = text.substr(0, 2000);
  std::mt19937 rng(11);
  for (int i = 0; i < n; ++i) {
    std::string t = head;
    size_t at = rng() % t.size();
    if (rng() % 2) t.resize(at);
    else t[at] = static_cast<char>(rng() % 256);
    std::optional<DiagramPicture> r = ReadPicture(t, &error);
    if (r) continue;
    EXPECT_FALSE(error.empty());
  }
}

}  // namespace
}  // namespace zyl::diagrams
