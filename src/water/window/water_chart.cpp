#include "water/window/water_chart.h"

#include <QPainter>
#include <QPainterPath>
#include <QSvgGenerator>
#include <cmath>

#include "platform/window/xy_plot.h"
#include "thermo/constants.h"
#include "water/tables.h"

namespace zyl::water::window {

namespace {
using thermo::kCelsiusOffset;
// Isobars drawn, MPa.
constexpr double kIsobars[] = {0.001, 0.01, 0.1, 1.0, 5.0, 22.064, 50.0, 100.0};
constexpr double kChartTMax = 1073.15;  // K
}  // namespace

WaterChart::WaterChart(QWidget* parent) : QWidget(parent) {
  setObjectName("Chart");
  setBackgroundRole(QPalette::Base);
  setAutoFillBackground(true);
  Build();
}

void WaterChart::Build() {
  for (const Saturation& s : SaturationDome()) {
    dome_liquid_.ts << QPointF(s.liquid.s, s.T);
    dome_liquid_.hs << QPointF(s.liquid.s, s.liquid.h);
    dome_vapour_.ts.prepend(QPointF(s.vapour.s, s.T));
    dome_vapour_.hs.prepend(QPointF(s.vapour.s, s.vapour.h));
  }
  dome_ = dome_liquid_.ts + dome_vapour_.ts;
  for (double P : kIsobars) {
    Curve c;
    for (const State& st : Isobar(P, kTTriple, kChartTMax)) {
      c.ts << QPointF(st.s, st.T);
      c.hs << QPointF(st.s, st.h);
    }
    c.label = P < 1 ? QString::number(P * 1000, 'g', 4) + " kPa" : QString::number(P, 'g', 5) + " MPa";
    isobars_ << c;
  }
}

void WaterChart::SetKind(Kind k) {
  kind_ = k;
  update();
}

void WaterChart::SetCelsius(bool on) {
  celsius_ = on;
  update();
}

void WaterChart::SetPoint(double s, double T, double h) {
  ps_ = s;
  pt_ = T;
  ph_ = h;
  update();
}

void WaterChart::paintEvent(QPaintEvent*) {
  QPainter p(this);
  Paint(p, rect());
}

QImage WaterChart::Render(const QSize& size) const {
  QImage img(size, QImage::Format_ARGB32);
  img.fill(Qt::white);
  QPainter p(&img);
  Paint(p, QRect(QPoint(0, 0), size));
  return img;
}

bool WaterChart::Save(const QString& path) const {
  if (path.endsWith(".svg", Qt::CaseInsensitive)) {
    QSvgGenerator gen;
    gen.setFileName(path);
    gen.setSize(QSize(800, 600));
    gen.setViewBox(QRect(0, 0, 800, 600));
    gen.setTitle("Water / Steam");
    QPainter p;
    if (!p.begin(&gen)) return false;
    Paint(p, QRect(0, 0, 800, 600));
    return p.end();
  }
  return Render(QSize(1000, 750)).save(path);
}

void WaterChart::Paint(QPainter& p, const QRect& area) const {
  using platform::window::NiceTicks;
  p.setRenderHint(QPainter::Antialiasing);
  p.fillRect(area, Qt::white);
  const bool ts = kind_ == Kind::TS;
  const double yoff = ts && celsius_ ? kCelsiusOffset : 0;
  // Axis ranges: s 0-10 kJ/(kg K); T triple point to 800 °C; h 0-4200 kJ/kg.
  const double x0 = 0, x1 = 10;
  const double y0 = ts ? kTTriple - yoff : 0, y1 = ts ? kChartTMax - yoff : 4200;
  const QFontMetrics fm = p.fontMetrics();
  const QRectF plot(area.left() + fm.horizontalAdvance("00000") + 14, area.top() + fm.height() + 10,
                    area.width() - fm.horizontalAdvance("00000") - 30, area.height() - 3 * fm.height() - 24);
  if (plot.width() < 20 || plot.height() < 20) return;
  auto X = [&](double x) { return plot.left() + (x - x0) / (x1 - x0) * plot.width(); };
  auto Y = [&](double y) { return plot.bottom() - (y - y0) / (y1 - y0) * plot.height(); };
  // grid and ticks
  p.setPen(QPen(QColor(225, 225, 225), 1));
  const auto xt = NiceTicks(x0, x1), yt = NiceTicks(y0, y1);
  for (double x : xt) p.drawLine(QPointF(X(x), plot.top()), QPointF(X(x), plot.bottom()));
  for (double y : yt) p.drawLine(QPointF(plot.left(), Y(y)), QPointF(plot.right(), Y(y)));
  p.setPen(Qt::black);
  p.drawRect(plot);
  for (double x : xt)
    p.drawText(QRectF(X(x) - 30, plot.bottom() + 2, 60, fm.height()), Qt::AlignHCenter, QString::number(x));
  for (double y : yt)
    p.drawText(QRectF(area.left(), Y(y) - fm.height() / 2.0, plot.left() - area.left() - 4, fm.height()),
               Qt::AlignRight | Qt::AlignVCenter, QString::number(y));
  p.drawText(QRectF(plot.left(), plot.bottom() + fm.height() + 4, plot.width(), fm.height()), Qt::AlignHCenter,
             tr("s / kJ/(kg K)"));
  p.drawText(QRectF(area.left() + 4, area.top() + 2, plot.width(), fm.height()), Qt::AlignLeft,
             ts ? (celsius_ ? tr("T / °C") : tr("T / K")) : tr("h / kJ/kg"));
  p.setClipRect(plot);
  auto path = [&](const QVector<QPointF>& pts) {
    QPainterPath pp;
    bool first = true;
    for (const QPointF& q : pts) {
      if (!std::isfinite(q.x()) || !std::isfinite(q.y())) continue;
      const QPointF d(X(q.x()), Y(q.y() - (ts ? yoff : 0)));
      if (first) pp.moveTo(d);
      else pp.lineTo(d);
      first = false;
    }
    return pp;
  };
  // isobars with labels at their hot end
  p.setPen(QPen(QColor(70, 130, 200), 1));
  for (const Curve& c : isobars_) {
    const auto& pts = ts ? c.ts : c.hs;
    p.drawPath(path(pts));
    // label where the isobar crosses a height staggered per isobar (labels do not collide)
    const double target = y1 - (y1 - y0) * (0.06 + 0.07 * static_cast<double>(&c - isobars_.data()));
    const QPointF* best = nullptr;
    for (const QPointF& q : pts)
      if (!best || std::fabs(q.y() - (ts ? yoff : 0) - target) < std::fabs(best->y() - (ts ? yoff : 0) - target)) best = &q;
    if (best) {
      const QPointF d(X(best->x()) + 4, Y(best->y() - (ts ? yoff : 0)));
      const QRectF box(d.x(), d.y() - fm.ascent(), fm.horizontalAdvance(c.label) + 2, fm.height());
      if (plot.contains(box)) {
        p.fillRect(box, QColor(255, 255, 255, 210));
        p.drawText(box, Qt::AlignLeft | Qt::AlignVCenter, c.label);
      }
    }
  }
  // the dome
  p.setPen(QPen(QColor(200, 40, 40), 2));
  p.drawPath(path(ts ? dome_liquid_.ts + dome_vapour_.ts : dome_liquid_.hs + dome_vapour_.hs));
  // the point
  const double py = ts ? pt_ - yoff : ph_;
  if (std::isfinite(ps_) && std::isfinite(py)) {
    const QPointF d(X(ps_), Y(py));
    p.setPen(QPen(Qt::black, 1.5));
    p.setBrush(QColor(255, 200, 0));
    p.drawEllipse(d, 5, 5);
  }
}

}  // namespace zyl::water::window
