#include "platform/window/xy_plot.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QSvgGenerator>
#include <cmath>

namespace zyl::platform::window {

namespace {
const QColor kCurve(0x1f, 0x5f, 0xa8);
const QColor kGrid(0xdd, 0xdd, 0xdd);
const QColor kMarker(0xc0, 0x50, 0x20, 0x90);
constexpr int kMaxMarkedPoints = 40;  ///< draw point markers only on short curves

QString TickText(double v, double step) {
  if (std::abs(v) < step * 1e-9) v = 0;
  const int decimals = std::max(0, int(std::ceil(-std::log10(step) + 1e-9)));
  if (std::abs(v) >= 1e6 || (v != 0 && std::abs(v) < 1e-4)) return QString::number(v, 'g', 4);
  return QString::number(v, 'f', std::min(decimals, 6));
}
}  // namespace

void DrawPlotTitle(QPainter& p, const QRect& area, const QString& title) {
  if (title.isEmpty()) return;
  const QFontMetrics fm(p.font());
  QFont bold = p.font();
  bold.setBold(true);
  p.save();
  p.setFont(bold);
  p.setPen(Qt::black);
  p.drawText(QRect(area.left(), area.top() + 2, area.width(), fm.height() + 4), Qt::AlignCenter, title);
  p.restore();
}

QVector<double> NiceTicks(double lo, double hi, int target) {
  QVector<double> ticks;
  if (!std::isfinite(lo) || !std::isfinite(hi)) return ticks;
  if (hi < lo) std::swap(lo, hi);
  if (hi - lo < 1e-300) {
    lo -= 1;
    hi += 1;
  }
  const double raw = (hi - lo) / std::max(1, target);
  const double mag = std::pow(10.0, std::floor(std::log10(raw)));
  double step = mag;
  for (double m : {1.0, 2.0, 2.5, 5.0, 10.0})
    if (m * mag >= raw) {
      step = m * mag;
      break;
    }
  const double first = std::floor(lo / step) * step;
  for (int i = 0; i < 100; ++i) {
    const double t = first + i * step;
    ticks << t;
    if (t >= hi - step * 1e-9) break;
  }
  return ticks;
}

XYPlot::XYPlot(QWidget* parent) : QWidget(parent) {
  setObjectName("Plot");
  setMouseTracking(true);
  setAttribute(Qt::WA_OpaquePaintEvent);
}

void XYPlot::SetTitle(const QString& title) {
  title_ = title;
  update();
}
void XYPlot::SetAxisTitles(const QString& x, const QString& y) {
  xtitle_ = x;
  ytitle_ = y;
  update();
}
void XYPlot::SetData(const QVector<QPointF>& points) {
  points_ = points;
  hover_ = -1;
  update();
}
void XYPlot::SetMarkers(const QVector<double>& xs) {
  markers_ = xs;
  update();
}

bool XYPlot::Bounds(double* x0, double* x1, double* y0, double* y1) const {
  bool any = false;
  for (const QPointF& p : points_) {
    if (!std::isfinite(p.x()) || !std::isfinite(p.y())) continue;
    if (!any) {
      *x0 = *x1 = p.x();
      *y0 = *y1 = p.y();
      any = true;
    }
    *x0 = std::min(*x0, p.x());
    *x1 = std::max(*x1, p.x());
    *y0 = std::min(*y0, p.y());
    *y1 = std::max(*y1, p.y());
  }
  return any;
}

QRectF XYPlot::PlotRect(const QRect& area, const QFontMetrics& fm) const {
  const int left = fm.horizontalAdvance("-0000.00") + fm.height() + 14;
  const int top = fm.height() * (title_.isEmpty() ? 1 : 2) + 4;
  const int bottom = fm.height() * 2 + 14;
  return QRectF(area.left() + left, area.top() + top, std::max(10, area.width() - left - 16),
                std::max(10, area.height() - top - bottom));
}

void XYPlot::Paint(QPainter& p, const QRect& area) const {
  p.fillRect(area, Qt::white);
  p.setRenderHint(QPainter::Antialiasing);
  const QFontMetrics fm(p.font());
  DrawPlotTitle(p, area, title_);
  const QRectF r = PlotRect(area, fm);
  double x0, x1, y0, y1;
  if (!Bounds(&x0, &x1, &y0, &y1)) {
    p.setPen(Qt::gray);
    p.drawText(r, Qt::AlignCenter, tr("No values to plot"));
    return;
  }
  const QVector<double> xt = NiceTicks(x0, x1), yt = NiceTicks(y0, y1);
  const double xs = xt.size() > 1 ? xt[1] - xt[0] : 1, ys = yt.size() > 1 ? yt[1] - yt[0] : 1;
  x0 = std::min(x0, xt.front());
  x1 = std::max(x1, xt.back());
  y0 = std::min(y0, yt.front());
  y1 = std::max(y1, yt.back());
  if (x1 - x0 < 1e-300) x1 = x0 + 1;
  if (y1 - y0 < 1e-300) y1 = y0 + 1;
  auto X = [&](double x) { return r.left() + (x - x0) / (x1 - x0) * r.width(); };
  auto Y = [&](double y) { return r.bottom() - (y - y0) / (y1 - y0) * r.height(); };

  // Grid and tick labels.
  p.setPen(QPen(kGrid, 1));
  for (double t : xt) p.drawLine(QPointF(X(t), r.top()), QPointF(X(t), r.bottom()));
  for (double t : yt) p.drawLine(QPointF(r.left(), Y(t)), QPointF(r.right(), Y(t)));
  p.setPen(Qt::black);
  for (double t : xt) {
    const QString s = TickText(t, xs);
    p.drawText(QRectF(X(t) - 60, r.bottom() + 4, 120, fm.height()), Qt::AlignHCenter | Qt::AlignTop, s);
  }
  for (double t : yt) {
    const QString s = TickText(t, ys);
    p.drawText(QRectF(r.left() - 200 - 6, Y(t) - fm.height() / 2.0, 200, fm.height()), Qt::AlignRight | Qt::AlignVCenter, s);
  }
  if (y0 < 0 && y1 > 0) {
    p.setPen(QPen(Qt::gray, 1));
    p.drawLine(QPointF(r.left(), Y(0)), QPointF(r.right(), Y(0)));
  }
  p.setPen(QPen(Qt::black, 1));
  p.drawRect(r);
  p.drawText(QRectF(r.left(), r.bottom() + fm.height() + 8, r.width(), fm.height() + 2), Qt::AlignCenter, xtitle_);
  p.save();
  p.translate(area.left() + 2, r.center().y());
  p.rotate(-90);
  p.drawText(QRectF(-r.height() / 2, 0, r.height(), fm.height() + 6), Qt::AlignCenter, ytitle_);
  p.restore();

  // Transition markers, the curve, then its points when there are few.
  p.setClipRect(r.adjusted(-1, -1, 1, 1));
  p.setPen(QPen(kMarker, 1, Qt::DashLine));
  for (double m : markers_)
    if (m >= x0 && m <= x1) p.drawLine(QPointF(X(m), r.top()), QPointF(X(m), r.bottom()));
  QPainterPath path;
  bool pen_down = false;
  for (const QPointF& pt : points_) {
    if (!std::isfinite(pt.y()) || !std::isfinite(pt.x())) {
      pen_down = false;
      continue;
    }
    const QPointF q(X(pt.x()), Y(pt.y()));
    if (pen_down) path.lineTo(q);
    else path.moveTo(q);
    pen_down = true;
  }
  p.setPen(QPen(kCurve, 2));
  p.drawPath(path);
  if (points_.size() <= kMaxMarkedPoints) {
    p.setBrush(kCurve);
    for (const QPointF& pt : points_)
      if (std::isfinite(pt.y())) p.drawEllipse(QPointF(X(pt.x()), Y(pt.y())), 2.5, 2.5);
  }
  if (hover_ >= 0 && hover_ < points_.size() && std::isfinite(points_[hover_].y())) {
    const QPointF pt = points_[hover_];
    const QPointF q(X(pt.x()), Y(pt.y()));
    p.setPen(QPen(kCurve, 1.5));
    p.setBrush(Qt::white);
    p.drawEllipse(q, 4, 4);
    const QString label = QString("%1,  %2").arg(QString::number(pt.x(), 'f', 2), QString::number(pt.y(), 'g', 6));
    const QRectF box(std::min(q.x() + 8, r.right() - fm.horizontalAdvance(label) - 10), std::max(r.top() + 2, q.y() - fm.height() - 10),
                     fm.horizontalAdvance(label) + 8, fm.height() + 4);
    p.setPen(Qt::gray);
    p.setBrush(QColor(255, 255, 240));
    p.drawRect(box);
    p.setPen(Qt::black);
    p.drawText(box, Qt::AlignCenter, label);
  }
}

void XYPlot::paintEvent(QPaintEvent*) {
  QPainter p(this);
  Paint(p, rect());
}

void XYPlot::mouseMoveEvent(QMouseEvent* e) {
  double x0, x1, y0, y1;
  if (!Bounds(&x0, &x1, &y0, &y1)) return;
  const QVector<double> xt = NiceTicks(x0, x1);
  x0 = std::min(x0, xt.front());
  x1 = std::max(x1, xt.back());
  const QRectF r = PlotRect(rect(), fontMetrics());
  const double x = x0 + (e->position().x() - r.left()) / r.width() * (x1 - x0);
  int best = -1;
  double dist = 0;
  for (int i = 0; i < points_.size(); ++i) {
    const double d = std::abs(points_[i].x() - x);
    if (best < 0 || d < dist) {
      best = i;
      dist = d;
    }
  }
  if (best != hover_) {
    hover_ = best;
    update();
  }
}

void XYPlot::leaveEvent(QEvent*) {
  hover_ = -1;
  update();
}

QImage XYPlot::Render(const QSize& size) const {
  QImage img(size, QImage::Format_ARGB32_Premultiplied);
  img.fill(Qt::white);
  QPainter p(&img);
  p.setFont(font());
  Paint(p, QRect(QPoint(0, 0), size));
  return img;
}

bool XYPlot::Save(const QString& path) const {
  const QSize size = width() > 100 ? this->size() : sizeHint();
  if (path.endsWith(".svg", Qt::CaseInsensitive)) {
    QSvgGenerator svg;
    svg.setFileName(path);
    svg.setSize(size);
    svg.setViewBox(QRect(QPoint(0, 0), size));
    svg.setTitle(title_);
    QPainter p;
    if (!p.begin(&svg)) return false;
    p.setFont(font());
    Paint(p, QRect(QPoint(0, 0), size));
    return p.end();
  }
  return Render(size).save(path);
}

}  // namespace zyl::platform::window
