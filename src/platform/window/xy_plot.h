#pragma once
// A line plot of y against x with labelled axes, grid, markers and a read-out of the point under the mouse.

#include <QColor>
#include <QPointF>
#include <QString>
#include <QVector>
#include <QWidget>

class QPainter;
class QRect;

namespace zyl::platform::window {

/// "Nice" tick values covering [lo, hi] with about `target` intervals (steps of 1, 2, 2.5 or 5 times 10^n).
QVector<double> NiceTicks(double lo, double hi, int target = 6);

/// Draws a plot's title in bold, centred in a line at the top of area; nothing when it is empty.
void DrawPlotTitle(QPainter& p, const QRect& area, const QString& title);

class XYPlot : public QWidget {
  Q_OBJECT
 public:
  explicit XYPlot(QWidget* parent = nullptr);

  void SetTitle(const QString& title);
  void SetAxisTitles(const QString& x, const QString& y);
  /// Replaces the curve. Points with a non-finite y leave a gap.
  void SetData(const QVector<QPointF>& points);
  /// x positions drawn as dashed vertical lines (phase transitions).
  void SetMarkers(const QVector<double>& xs);
  const QVector<QPointF>& Data() const { return points_; }

  /// Renders the plot at the given size (for copying and saving).
  QImage Render(const QSize& size) const;
  /// Saves as PNG or SVG by the file's extension; false when it can not be written.
  bool Save(const QString& path) const;

  QSize sizeHint() const override { return {520, 360}; }
  QSize minimumSizeHint() const override { return {240, 180}; }

 protected:
  void paintEvent(QPaintEvent*) override;
  void mouseMoveEvent(QMouseEvent* e) override;
  void leaveEvent(QEvent*) override;

 private:
  void Paint(QPainter& p, const QRect& area) const;
  QRectF PlotRect(const QRect& area, const QFontMetrics& fm) const;
  bool Bounds(double* x0, double* x1, double* y0, double* y1) const;

  QString title_, xtitle_, ytitle_;
  QVector<QPointF> points_;
  QVector<double> markers_;
  int hover_ = -1;
};

}  // namespace zyl::platform::window
