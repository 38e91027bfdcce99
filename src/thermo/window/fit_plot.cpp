#include "thermo/window/fit_plot.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

#include "platform/window/xy_plot.h"

namespace zyl::thermo::window {

namespace {
const QColor kCurve(31, 90, 160);
const QColor kPoint(200, 60, 30);
const QColor kBreak(220, 120, 90);
const QColor kGrid(225, 225, 225);
constexpr double kPointRadius = 3.5;  // px

QString Tick(double v, double step) {
  const int decimals = step >= 1 ? 0 : std::min(6, static_cast<int>(std::ceil(-std::log10(step))));
  return QString::number(v, 'f', decimals);
}
}  // namespace

void FitPlot::SetTitles(const QString& title, const QString& x, const QString& y) {
  title_ = title;
  xtitle_ = x;
  ytitle_ = y;
  update();
}

void FitPlot::SetData(const QVector<QVector<QPointF>>& pieces, const QVector<QPointF>& points,
                      const QVector<double>& breaks) {
  pieces_ = pieces;
  points_ = points;
  breaks_ = breaks;
  update();
}

void FitPlot::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), Qt::white);
  p.setRenderHint(QPainter::Antialiasing);
  const QFontMetrics fm(p.font());
  platform::window::DrawPlotTitle(p, rect(), title_);
  const QRectF r(fm.horizontalAdvance(QStringLiteral("-0000.000")) + fm.height() + 10, fm.height() + 12,
                 width() - fm.horizontalAdvance(QStringLiteral("-0000.000")) - fm.height() - 36,
                 height() - 3 * fm.height() - 22);
  double x0 = INFINITY, x1 = -INFINITY, y0 = INFINITY, y1 = -INFINITY;
  auto grow = [&](const QPointF& q) {
    if (!std::isfinite(q.x()) || !std::isfinite(q.y())) return;
    x0 = std::min(x0, q.x());
    x1 = std::max(x1, q.x());
    y0 = std::min(y0, q.y());
    y1 = std::max(y1, q.y());
  };
  for (const auto& piece : pieces_)
    for (const auto& q : piece) grow(q);
  for (const auto& q : points_) grow(q);
  if (!(x1 >= x0) || r.width() < 20 || r.height() < 20) {
    p.setPen(Qt::gray);
    p.drawText(rect(), Qt::AlignCenter, QStringLiteral("Fit a table to see its curve"));
    return;
  }
  if (y1 - y0 < 1e-12 * std::max(1.0, std::fabs(y0))) {
    y0 -= 0.5;
    y1 += 0.5;
  }
  const QVector<double> xt = platform::window::NiceTicks(x0, x1), yt = platform::window::NiceTicks(y0, y1);
  if (!xt.isEmpty()) x0 = std::min(x0, xt.front()), x1 = std::max(x1, xt.back());
  if (!yt.isEmpty()) y0 = std::min(y0, yt.front()), y1 = std::max(y1, yt.back());
  if (x1 - x0 <= 0) x1 = x0 + 1;
  auto X = [&](double x) { return r.left() + (x - x0) / (x1 - x0) * r.width(); };
  auto Y = [&](double y) { return r.bottom() - (y - y0) / (y1 - y0) * r.height(); };
  const double xs = xt.size() > 1 ? xt[1] - xt[0] : 1, ys = yt.size() > 1 ? yt[1] - yt[0] : 1;
  p.setPen(QPen(kGrid, 1));
  for (double t : xt) p.drawLine(QPointF(X(t), r.top()), QPointF(X(t), r.bottom()));
  for (double t : yt) p.drawLine(QPointF(r.left(), Y(t)), QPointF(r.right(), Y(t)));
  p.setPen(Qt::black);
  for (double t : xt)
    p.drawText(QRectF(X(t) - 60, r.bottom() + 4, 120, fm.height()), Qt::AlignHCenter | Qt::AlignTop, Tick(t, xs));
  for (double t : yt)
    p.drawText(QRectF(r.left() - 206, Y(t) - fm.height() / 2.0, 200, fm.height()), Qt::AlignRight | Qt::AlignVCenter,
               Tick(t, ys));
  p.drawRect(r);
  p.drawText(QRectF(r.left(), r.bottom() + fm.height() + 8, r.width(), fm.height() + 2), Qt::AlignCenter, xtitle_);
  p.save();
  p.translate(2, r.center().y());
  p.rotate(-90);
  p.drawText(QRectF(-r.height() / 2, 0, r.height(), fm.height() + 6), Qt::AlignCenter, ytitle_);
  p.restore();

  p.setClipRect(r.adjusted(-kPointRadius, -kPointRadius, kPointRadius, kPointRadius));
  p.setPen(QPen(kBreak, 1, Qt::DashLine));
  for (double b : breaks_) p.drawLine(QPointF(X(b), r.top()), QPointF(X(b), r.bottom()));
  p.setPen(QPen(kCurve, 1.8));
  for (const auto& piece : pieces_) {
    QPolygonF line;
    for (const auto& q : piece)
      if (std::isfinite(q.y())) line << QPointF(X(q.x()), Y(q.y()));
    p.drawPolyline(line);
  }
  p.setPen(QPen(kPoint, 1.4));
  p.setBrush(Qt::NoBrush);
  for (const auto& q : points_)
    if (std::isfinite(q.y())) p.drawEllipse(QPointF(X(q.x()), Y(q.y())), kPointRadius, kPointRadius);
}

}  // namespace zyl::thermo::window
