#pragma once
// T-s or h-s (Mollier) chart of water: the saturation dome, isobars and one marked state.

#include <QImage>
#include <QPointF>
#include <QString>
#include <QVector>
#include <QWidget>

namespace zyl::water::window {

class WaterChart : public QWidget {
  Q_OBJECT
 public:
  enum class Kind { TS, HS };
  explicit WaterChart(QWidget* parent = nullptr);

  void SetKind(Kind k);
  Kind kind() const { return kind_; }
  /// The marked state (s in kJ/(kg K), T in K, h in kJ/kg); hidden when not finite.
  void SetPoint(double s, double T, double h);
  /// Temperature shown in °C (true) or K.
  void SetCelsius(bool on);

  int IsobarCount() const { return isobars_.size(); }
  int DomePointCount() const { return dome_.size(); }
  QImage Render(const QSize& size) const;
  bool Save(const QString& path) const;  ///< PNG or SVG by extension

  QSize sizeHint() const override { return {560, 420}; }
  QSize minimumSizeHint() const override { return {260, 200}; }

 protected:
  void paintEvent(QPaintEvent*) override;

 private:
  struct Curve {
    QVector<QPointF> ts, hs;  // (s, T) and (s, h)
    QString label;
  };
  void Build();
  void Paint(QPainter& p, const QRect& area) const;

  Kind kind_ = Kind::TS;
  bool celsius_ = true;
  Curve dome_liquid_, dome_vapour_;
  QVector<QPointF> dome_;  // all dome points of the current kind, for counting
  QVector<Curve> isobars_;
  double ps_ = NAN, pt_ = NAN, ph_ = NAN;
};

}  // namespace zyl::water::window
