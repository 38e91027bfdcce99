#include "diagrams/window/diagram_painter.h"

#include <QBuffer>
#include <QClipboard>
#include <QFile>
#include <QFileInfo>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QMimeData>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QPrintDialog>
#include <QPrinter>
#include <QSvgGenerator>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "platform/files.h"

namespace zyl::diagrams {

namespace {

// Layout, in thousandths of the smaller side of the target.
constexpr double kMarginLeft = 125, kMarginRight = 45, kMarginTop = 120, kMarginBottom = 105;
constexpr double kTitleSize = 34, kSubtitleSize = 25, kAxisTitleSize = 27, kTickSize = 22, kLabelSize = 27;
constexpr double kBorderWidth = 3.2, kFrameWidth = 1.6, kGridWidth = 0.8, kTickLength = 10;
constexpr double kFontBase = 100;  // outlines are made at this pixel size and scaled
constexpr double kScaleWidth = 100, kScaleHeight = 62;  // room of one scale beside the plot
constexpr double kPointRadius = 6;

int ScaleCount(const DiagramPicture& pic, PictureScale::Edge edge) {
  return static_cast<int>(std::count_if(pic.scales.begin(), pic.scales.end(),
                                        [edge](const PictureScale& s) { return s.edge == edge; }));
}

QString Q(const std::string& s) { return QString::fromStdString(s); }

QFont BaseFont(bool bold) {
  QFont f(QStringLiteral("DejaVu Sans"));
  f.setStyleHint(QFont::SansSerif);
  f.setPixelSize(static_cast<int>(kFontBase));
  f.setBold(bold);
  return f;
}

QString TickText(double v, double step) {
  int decimals = step >= 1 ? 0 : static_cast<int>(std::ceil(-std::log10(step) - 1e-9));
  QString s = QString::number(v, 'f', decimals);
  if (s.startsWith('-')) s.replace(0, 1, QChar(0x2212));
  return s;
}

void FillPath(QPainter& p, const QPainterPath& path, const QColor& color) {
  p.fillPath(path, color);
}

}  // namespace

namespace {

// Scales beside the plot: a line with outward ticks and their texts, the title at the line's start.
void PaintScales(QPainter& p, const PlotFrame& f, const DiagramPicture& pic, const QColor& text) {
  const double u = f.unit, tick = kTickLength * u;
  int right = 0, bottom = 0;
  p.setPen(QPen(text, kFrameWidth * u, Qt::SolidLine, Qt::SquareCap));
  for (const PictureScale& sc : pic.scales) {
    const bool r = sc.edge == PictureScale::Right;
    // The first right scale uses the plot's own edge; bottom scales lie below the axis title.
    const double at = r ? f.plot.right() + (right++ == 0 ? 0 : (kScaleWidth * (right - 1) + 12) * u)
                        : f.plot.bottom() + (kMarginBottom + kScaleHeight * bottom++ + 8) * u;
    if (r)
      p.drawLine(QPointF(at, f.plot.top()), QPointF(at, f.plot.bottom()));
    else
      p.drawLine(QPointF(f.plot.left(), at), QPointF(f.plot.right(), at));
    for (size_t i = 0; i < sc.at.size() && i < sc.texts.size(); ++i) {
      const QPointF a = r ? QPointF(at, f.Map(f.xmin, sc.at[i]).y()) : QPointF(f.Map(sc.at[i], f.ymin).x(), at);
      if (r ? a.y() < f.plot.top() - 0.5 || a.y() > f.plot.bottom() + 0.5
            : a.x() < f.plot.left() - 0.5 || a.x() > f.plot.right() + 0.5)
        continue;
      p.drawLine(a, a + (r ? QPointF(tick, 0) : QPointF(0, tick)));
      QPainterPath t = FormulaPath(Q(sc.texts[i]), kTickSize * 0.85 * u, false, false);
      QRectF b = t.boundingRect();
      FillPath(p, r ? t.translated(a.x() + tick + 4 * u - b.left(), a.y() - b.center().y())
                    : t.translated(a.x() - b.center().x(), a.y() + tick + 4 * u - b.top()),
               text);
    }
    QPainterPath t = FormulaPath(Q(sc.title), kTickSize * u, true);
    QRectF b = t.boundingRect();
    FillPath(p, r ? t.translated(at - b.left(), f.plot.top() - 10 * u - b.bottom())
                  : t.translated(f.plot.left() - 12 * u - b.right(), at - b.center().y()),
             text);
  }
}

void PaintPoints(QPainter& p, const PlotFrame& f, const DiagramPicture& pic, const QColor& text, const QColor& bg) {
  const double u = f.unit;
  for (const PicturePoint& pt : pic.points) {
    const QPointF c = f.Map(pt.x, pt.y);
    p.setPen(QPen(bg, 1.5 * u));
    p.setBrush(text);
    p.drawEllipse(c, kPointRadius * u, kPointRadius * u);
    QPainterPath t = FormulaPath(Q(pt.text), kLabelSize * u, true);
    QRectF b = t.boundingRect();
    FillPath(p, t.translated(c.x() + 2 * kPointRadius * u - b.left(), c.y() - b.center().y()), text);
  }
  p.setBrush(Qt::NoBrush);
}

// A framed box in the plot's lower right corner: a short line in each entry's colour and its name.
void PaintLegend(QPainter& p, const PlotFrame& f, const DiagramPicture& pic, const QColor& text, const QColor& bg) {
  if (pic.legend.empty()) return;
  const double u = f.unit, size = kTickSize * u, row = 1.45 * size, swatch = 34 * u, pad = 10 * u;
  std::vector<QPainterPath> names;
  double width = 0;
  for (const PictureLabel& l : pic.legend) {
    names.push_back(FormulaPath(Q(l.text), size));
    width = std::max(width, names.back().boundingRect().right());
  }
  const QSizeF size_box(width + swatch + 3 * pad, row * names.size() + pad);
  // The corner of the plot that hides the fewest line ends, labels and points.
  QRectF box;
  int fewest = std::numeric_limits<int>::max();
  for (int corner = 0; corner < 4; ++corner) {
    const double x = corner % 2 == 0 ? f.plot.right() - pad - size_box.width() : f.plot.left() + pad;
    const double y = corner < 2 ? f.plot.top() + pad : f.plot.bottom() - pad - size_box.height();
    const QRectF r(QPointF(x, y), size_box);
    int hidden = 0;
    for (const PictureCurve& c : pic.curves) hidden += r.contains(f.Map(c.x1, c.y1)) + r.contains(f.Map(c.x2, c.y2));
    // Texts reach beyond their anchor points.
    const QRectF near = r.adjusted(-6 * pad, -2 * pad, 6 * pad, 2 * pad);
    for (const PictureLabel& l : pic.labels) hidden += 1000 * near.contains(f.Map(l.x, l.y));
    for (const PicturePoint& pt : pic.points) hidden += 1000 * near.contains(f.Map(pt.x, pt.y));
    if (hidden < fewest) {
      fewest = hidden;
      box = r;
    }
  }
  p.setPen(QPen(text, kFrameWidth * 0.6 * u));
  p.setBrush(bg);
  p.drawRect(box);
  p.setBrush(Qt::NoBrush);
  for (size_t i = 0; i < names.size(); ++i) {
    const double y = box.top() + pad / 2 + row * (i + 0.5);
    p.setPen(QPen(ToQColor(pic.palette.Species(pic.legend[i].species)), kBorderWidth * u, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(box.left() + pad, y), QPointF(box.left() + pad + swatch, y));
    const QRectF b = names[i].boundingRect();
    FillPath(p, names[i].translated(box.left() + 2 * pad + swatch, y - b.center().y()), text);
  }
}

}  // namespace

QColor ToQColor(const Rgb& c) { return QColor(c.r, c.g, c.b); }

PlotFrame LayoutPlot(const QRectF& target, const DiagramPicture& pic) {
  PlotFrame f;
  f.target = target;
  f.unit = std::min(target.width(), target.height()) / 1000.0;
  double u = f.unit;
  const double right = kMarginRight + kScaleWidth * ScaleCount(pic, PictureScale::Right);
  const double bottom = kMarginBottom + kScaleHeight * ScaleCount(pic, PictureScale::Bottom);
  f.plot = target.adjusted(kMarginLeft * u, kMarginTop * u, -right * u, -bottom * u);
  f.xmin = pic.x.min, f.xmax = pic.x.max, f.ymin = pic.y.min, f.ymax = pic.y.max;
  if (f.xmax == f.xmin) f.xmax = f.xmin + 1;
  if (f.ymax == f.ymin) f.ymax = f.ymin + 1;
  return f;
}

QPainterPath FormulaPath(const QString& text, double pixel_size, bool bold, bool subscripts) {
  static const QFont regular = BaseFont(false), heavy = BaseFont(true);
  const QFont& font = bold ? heavy : regular;
  QFont small = font;
  small.setPixelSize(static_cast<int>(kFontBase * 0.7));
  QFontMetricsF fm(font), fms(small);
  QPainterPath path;
  double x = 0;
  QString run;
  bool run_sub = false;
  auto flush = [&] {
    if (run.isEmpty()) return;
    if (run_sub) {
      path.addText(x, kFontBase * 0.22, small, run);
      x += fms.horizontalAdvance(run);
    } else {
      path.addText(x, 0, font, run);
      x += fm.horizontalAdvance(run);
    }
    run.clear();
  };
  QChar prev;
  for (int i = 0; i < text.size(); ++i) {
    QChar c = text[i];
    bool sub = false;
    if (subscripts && (c.isDigit() || (c == '.' && run_sub && i + 1 < text.size() && text[i + 1].isDigit())))
      sub = prev.isLetter() || prev == ')' || (run_sub && (prev.isDigit() || prev == '.'));
    if (c == '*') c = QChar(0x00B7);
    if (c == '-' && i + 1 < text.size() && text[i + 1].isDigit() && (i == 0 || text[i - 1] == ' '))
      c = QChar(0x2212);
    if (sub != run_sub) flush();
    run_sub = sub;
    run += c;
    prev = text[i];
  }
  flush();
  QTransform scale = QTransform::fromScale(pixel_size / kFontBase, pixel_size / kFontBase);
  return scale.map(path);
}

void PaintDiagram(QPainter& p, const QRectF& target, const DiagramPicture& pic, const PaintOptions& o) {
  const PlotFrame f = LayoutPlot(target, pic);
  const double u = f.unit;
  const QColor text = ToQColor(pic.palette.At(kColorText));
  const QColor frame = ToQColor(pic.palette.At(kColorFrame));
  const QColor background = ToQColor(pic.palette.At(kColorBackground));
  QColor grid = ToQColor(pic.palette.At(kColorGrid));
  grid.setAlpha(150);
  const std::vector<double> xt = Ticks(f.xmin, f.xmax), yt = Ticks(f.ymin, f.ymax);

  p.save();
  p.setRenderHint(QPainter::Antialiasing, false);
  p.fillRect(target, background);

  p.save();
  p.setClipRect(f.plot);
  if (!o.frame_only && pic.fill_areas) {
    // One path per colour keeps vector files small; neighbours overlap a little so that vector
    // viewers show no seams between cells.
    std::vector<QPainterPath> areas(pic.palette.colors.size());
    const double pad = 0.3 * u;
    for (const PictureFill& c : pic.fills) {
      int k = c.species + kSpeciesColorOffset;
      if (k < 0 || k >= static_cast<int>(areas.size())) continue;
      areas[k].addRect(QRectF(f.Map(c.x1, c.y2), f.Map(c.x2, c.y1)).normalized().adjusted(-pad, -pad, pad, pad));
    }
    for (size_t k = 0; k < areas.size(); ++k) {
      if (areas[k].isEmpty()) continue;
      areas[k].setFillRule(Qt::WindingFill);
      p.fillPath(areas[k], ToQColor(pic.palette.colors[k]));
    }
  }
  p.setRenderHint(QPainter::Antialiasing, true);
  p.setPen(QPen(grid, kGridWidth * u, Qt::DotLine));
  for (double x : xt) p.drawLine(f.Map(x, f.ymin), f.Map(x, f.ymax));
  for (double y : yt) p.drawLine(f.Map(f.xmin, y), f.Map(f.xmax, y));
  if (!o.frame_only) {
    QPainterPath border;
    QPointF end(std::nan(""), 0);
    for (const Segment& s : pic.lines) {
      QPointF a = f.Map(s.x1, s.y1), b = f.Map(s.x2, s.y2);
      if (a != end) border.moveTo(a);
      border.lineTo(b);
      end = b;
    }
    p.strokePath(border, QPen(ToQColor(pic.palette.At(kColorBorder)), kBorderWidth * u, Qt::SolidLine,
                              Qt::RoundCap, Qt::RoundJoin));
    // Species curves, clipped to the plot.
    p.save();
    p.setClipRect(f.plot);
    for (const PictureCurve& c : pic.curves)
      p.strokePath([&] {
        QPainterPath path(f.Map(c.x1, c.y1));
        path.lineTo(f.Map(c.x2, c.y2));
        return path;
      }(), QPen(ToQColor(pic.palette.Species(c.species)), kBorderWidth * u, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.restore();
    // Final cells as boxes, at least a pixel each so that the border stays closed.
    QPainterPath boxes;
    for (const PictureFill& b : pic.boxes) {
      QRectF r = QRectF(f.Map(b.x1, b.y2), f.Map(b.x2, b.y1)).normalized();
      boxes.addRect(r.adjusted(0, 0, std::max(0.0, u - r.width()), std::max(0.0, u - r.height())));
    }
    boxes.setFillRule(Qt::WindingFill);
    if (!boxes.isEmpty()) p.fillPath(boxes, ToQColor(pic.palette.At(kColorBorder)));
  }
  p.restore();

  p.setRenderHint(QPainter::Antialiasing, true);
  p.setPen(QPen(frame, kFrameWidth * u, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
  p.setBrush(Qt::NoBrush);
  p.drawRect(f.plot);

  // Ticks outward, their values beside them.
  const double xstep = TickStep(f.xmax - f.xmin), ystep = TickStep(f.ymax - f.ymin);
  const double tick = kTickLength * u;
  for (double x : xt) {
    QPointF a = f.Map(x, f.ymin);
    p.drawLine(a, a + QPointF(0, tick));
    QPainterPath t = FormulaPath(TickText(x, xstep), kTickSize * u, false, false);
    QRectF b = t.boundingRect();
    FillPath(p, t.translated(a.x() - b.center().x(), a.y() + tick + 6 * u - b.top()), text);
  }
  for (double y : yt) {
    QPointF a = f.Map(f.xmin, y);
    p.drawLine(a, a - QPointF(tick, 0));
    QPainterPath t = FormulaPath(TickText(y, ystep), kTickSize * u, false, false);
    QRectF b = t.boundingRect();
    FillPath(p, t.translated(a.x() - tick - 6 * u - b.right(), a.y() - b.center().y()), text);
  }

  // Axis titles.
  {
    QPainterPath t = FormulaPath(Q(pic.x.title), kAxisTitleSize * u);
    QRectF b = t.boundingRect();
    FillPath(p, t.translated(f.plot.center().x() - b.center().x(), f.plot.bottom() + (kMarginBottom - 22) * u - b.bottom()),
             text);
    QPainterPath ty = FormulaPath(Q(pic.y.title), kAxisTitleSize * u);
    QRectF by = ty.boundingRect();
    p.save();
    p.translate(target.left() + 24 * u - by.top(), f.plot.center().y());
    p.rotate(-90);
    FillPath(p, ty.translated(-by.center().x(), 0), text);
    p.restore();
  }

  // Area labels with a light halo, kept inside the plot.
  if (!o.frame_only) {
    QColor halo = background;
    halo.setAlpha(210);
    for (const PictureLabel& l : pic.labels) {
      QPainterPath t = FormulaPath(Q(l.text), kLabelSize * u, true);
      QRectF b = t.boundingRect();
      QPointF c = f.Map(l.x, l.y);
      double pad = 5 * u;
      double dx = std::clamp(c.x() - b.center().x(), f.plot.left() + pad - b.left(), f.plot.right() - pad - b.right());
      double dy = std::clamp(c.y() - b.center().y(), f.plot.top() + pad - b.top(), f.plot.bottom() - pad - b.bottom());
      QPainterPath placed = t.translated(dx, dy);
      p.strokePath(placed, QPen(halo, 6 * u, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
      FillPath(p, placed, text);
    }
  }

  if (!o.frame_only) {
    PaintScales(p, f, pic, text);
    PaintPoints(p, f, pic, text, background);
    PaintLegend(p, f, pic, text, background);
  }

  // Title and the constant under it.
  {
    QPainterPath t = FormulaPath(Q(pic.title), kTitleSize * u, true, false);
    QRectF b = t.boundingRect();
    FillPath(p, t.translated(f.plot.center().x() - b.center().x(), target.top() + 55 * u), text);
    QPainterPath s = FormulaPath(Q(pic.subtitle), kSubtitleSize * u);
    QRectF bs = s.boundingRect();
    FillPath(p, s.translated(f.plot.center().x() - bs.center().x(), target.top() + 95 * u), text);
  }
  p.restore();
}

QImage RenderImage(const DiagramPicture& pic, QSize size) {
  QImage img(size, QImage::Format_ARGB32_Premultiplied);
  img.fill(ToQColor(pic.palette.At(kColorBackground)));
  QPainter p(&img);
  PaintDiagram(p, QRectF(0, 0, size.width(), size.height()), pic);
  p.end();
  return img;
}

bool RenderToFile(const DiagramPicture& pic, const QString& path, QSize size, QString* error) {
  auto fail = [&](const QString& msg) {
    if (error) *error = msg;
    return false;
  };
  if (size.width() < 50 || size.height() < 50) return fail(QStringLiteral("The picture size is too small."));
  const QString suffix = QFileInfo(path).suffix().toLower();
  const QRectF area(0, 0, size.width(), size.height());
  // Rendered to a temporary name beside the file and renamed into place, so a render that fails part-way
  // leaves the old picture as it was.
  const std::filesystem::path target(QFile::encodeName(path).toStdString());
  const std::filesystem::path temp_path = platform::TempNameBeside(target);
  const QString temp = QFile::decodeName(QByteArray::fromStdString(temp_path.string()));
  auto finish = [&](bool written) {
    std::string e;
    if (written && platform::ReplaceFile(temp_path, target, &e)) return true;
    QFile::remove(temp);
    return fail(QStringLiteral("Can not write %1").arg(path) + (e.empty() ? QString() : ": " + QString::fromStdString(e)));
  };
  if (suffix == "png" || suffix == "jpg" || suffix == "jpeg" || suffix == "bmp") {
    QImage img = RenderImage(pic, size);
    if (suffix != "png") img = img.convertToFormat(QImage::Format_RGB32);
    const QByteArray format = suffix == "jpeg" ? QByteArray("jpg") : suffix.toLatin1();
    return finish(img.save(temp, format.constData()));
  }
  if (suffix == "svg") {
    QSvgGenerator gen;
    gen.setFileName(temp);
    gen.setSize(size);
    gen.setViewBox(area);
    gen.setTitle(Q(pic.title));
    gen.setDescription(Q(pic.subtitle));
    QPainter p;
    if (!p.begin(&gen)) return finish(false);
    PaintDiagram(p, area, pic);
    const bool ended = p.end();
    return finish(ended && QFileInfo::exists(temp));
  }
  if (suffix == "pdf") {
    bool ok = false;
    {
      QPdfWriter writer(temp);
      writer.setPageSize(QPageSize(QSizeF(size.width() * 0.75, size.height() * 0.75), QPageSize::Point, QString(),
                                   QPageSize::ExactMatch));
      writer.setPageMargins(QMarginsF(0, 0, 0, 0));
      writer.setResolution(300);
      writer.setTitle(Q(pic.title));
      writer.setCreator(QStringLiteral("ZYL"));
      QPainter p;
      if (p.begin(&writer)) {
        p.setWindow(area.toRect());
        p.setViewport(0, 0, writer.width(), writer.height());
        PaintDiagram(p, area, pic);
        ok = p.end();
      }
    }  // the writer closes the file here
    return finish(ok);
  }
  return fail(QStringLiteral("Unknown picture format: %1 (use .png, .svg or .pdf)").arg(path));
}

void PrintDiagram(const DiagramPicture& pic, QWidget* parent, QSize size) {
  QPrinter printer(QPrinter::HighResolution);
  printer.setPageOrientation(QPageLayout::Landscape);
  QPrintDialog dialog(&printer, parent);
  if (dialog.exec() != QDialog::Accepted) return;
  QPainter p(&printer);
  QRect page = printer.pageLayout().paintRectPixels(printer.resolution());
  page.moveTo(0, 0);
  const QSize fit = size.scaled(page.size(), Qt::KeepAspectRatio);
  p.setViewport(QRect(QPoint((page.width() - fit.width()) / 2, (page.height() - fit.height()) / 2), fit));
  p.setWindow(QRect(QPoint(0, 0), size));
  PaintDiagram(p, QRectF(QPointF(0, 0), size), pic);
}

void CopyDiagram(const DiagramPicture& pic, QSize size) {
  auto* mime = new QMimeData;
  mime->setImageData(RenderImage(pic, size));
  QBuffer svg;
  svg.open(QIODevice::WriteOnly);
  QSvgGenerator gen;
  gen.setOutputDevice(&svg);
  gen.setSize(size);
  gen.setViewBox(QRectF(QPointF(0, 0), size));
  {
    QPainter p(&gen);
    PaintDiagram(p, QRectF(QPointF(0, 0), size), pic);
  }
  mime->setData("image/svg+xml", svg.data());
  QGuiApplication::clipboard()->setMimeData(mime);
}

}  // namespace zyl::diagrams
