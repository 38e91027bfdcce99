#pragma once
// Drawing of a predominance diagram with QPainter: the one drawing code for the screen, the printer,
// the clipboard and the PNG, SVG and PDF files.

#include <QColor>
#include <QImage>
#include <QPainterPath>
#include <QRectF>
#include <QString>

#include "diagrams/picture.h"

class QPainter;
class QWidget;

namespace zyl::diagrams {

/// Where the plot lies inside a target rectangle, and the mapping from display units to it.
struct PlotFrame {
  QRectF target;
  QRectF plot;
  double xmin = 0, xmax = 1, ymin = 0, ymax = 1;
  double unit = 1;  ///< a layout unit: min(width, height) / 1000
  QPointF Map(double x, double y) const {
    return {plot.left() + (x - xmin) / (xmax - xmin) * plot.width(),
            plot.bottom() - (y - ymin) / (ymax - ymin) * plot.height()};
  }
};

PlotFrame LayoutPlot(const QRectF& target, const DiagramPicture& pic);

QColor ToQColor(const Rgb& c);

/// A formula or title as an outline of the given pixel size: digits after a letter or ")" set as
/// subscripts, "*" as a centred dot, "-" before a digit as a minus sign. The path starts at x = 0 on
/// the baseline y = 0. Text as outlines keeps every output (screen, SVG, PDF) alike.
QPainterPath FormulaPath(const QString& text, double pixel_size, bool bold = false, bool subscripts = true);

struct PaintOptions {
  bool frame_only = false;  ///< title and axes without the computed content (live drawing)
};

/// Paints the whole diagram into target (logical units of the painter).
void PaintDiagram(QPainter& p, const QRectF& target, const DiagramPicture& pic, const PaintOptions& o = {});

/// The diagram as an image of the given size.
QImage RenderImage(const DiagramPicture& pic, QSize size);

/// Writes the diagram to a file chosen by its suffix: .png, .svg or .pdf (size in pixels, or points
/// at 96 per inch for the vector formats). Returns false with a message in *error.
bool RenderToFile(const DiagramPicture& pic, const QString& path, QSize size = QSize(1000, 800),
                  QString* error = nullptr);

/// Asks for a printer (landscape page) and prints the diagram centred on the page, in the shape of size.
void PrintDiagram(const DiagramPicture& pic, QWidget* parent, QSize size = QSize(1000, 800));

/// Puts the diagram on the clipboard as an image and as SVG, both of the given size.
void CopyDiagram(const DiagramPicture& pic, QSize size = QSize(1000, 800));

}  // namespace zyl::diagrams
