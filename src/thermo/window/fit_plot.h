#pragma once
// Plot of a fitted curve against the table's points, with the range breaks marked: the fitting
// page's picture (the curve as a line, broken at the breaks, the given values as circles).

#include <QPointF>
#include <QString>
#include <QVector>
#include <QWidget>

namespace zyl::thermo::window {

class FitPlot : public QWidget {
 public:
  explicit FitPlot(QWidget* parent = nullptr) : QWidget(parent) { setMinimumSize(240, 180); }

  void SetTitles(const QString& title, const QString& x, const QString& y);
  /// Curve pieces (one per range, not joined across a break), the given points and the breaks.
  void SetData(const QVector<QVector<QPointF>>& pieces, const QVector<QPointF>& points, const QVector<double>& breaks);
  const QVector<QPointF>& Points() const { return points_; }
  int PieceCount() const { return static_cast<int>(pieces_.size()); }

  QSize sizeHint() const override { return {520, 360}; }

 protected:
  void paintEvent(QPaintEvent*) override;

 private:
  QString title_, xtitle_, ytitle_;
  QVector<QVector<QPointF>> pieces_;
  QVector<QPointF> points_;
  QVector<double> breaks_;
};

}  // namespace zyl::thermo::window
