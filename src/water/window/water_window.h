#pragma once
// The water and steam window: properties at a temperature and pressure in chosen units, the
// saturation table over a temperature or pressure range (copy, save, print), and a T-s or h-s chart.

#include <QString>
#include <QWidget>
#include <memory>

#include "platform/workbook.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QTableWidget;

namespace zyl::platform::window {
class Grid;
}

namespace zyl::water::window {

class WaterChart;

inline constexpr const char* kNoPrinter = "Printer error. No printers installed?";

class WaterWindow : public QWidget {
  Q_OBJECT
 public:
  explicit WaterWindow(QWidget* parent = nullptr);
  ~WaterWindow() override;

  /// Calculates the state of the T and P fields; false (and the message in the status line) when
  /// the input is not a number or outside the formulation.
  bool Calculate();
  /// Fills the saturation table from the range fields; false with a message when it can not.
  bool FillTable();
  /// Saves the saturation table (.csv or .xlsx); returns the error text, empty on success.
  QString SaveTable(const QString& path);

  /// The value shown for a property row ("rho", "v", "u", "h", "s", "cp", "cv", "w"), as text.
  QString ValueText(const QString& key) const;
  QString PhaseText() const;
  QString StatusText() const;
  platform::Workbook& Table() { return *book_; }
  WaterChart* Chart() const { return chart_; }

  QLineEdit* TextT = nullptr;
  QLineEdit* TextP = nullptr;
  QComboBox* ComboTUnit = nullptr;  ///< °C, K
  QComboBox* ComboPUnit = nullptr;  ///< bar, MPa, atm
  QComboBox* ComboBasis = nullptr;  ///< per kg, per mol
  QComboBox* ComboSatBy = nullptr;  ///< Temperature, Pressure
  QLineEdit* TextFrom = nullptr;
  QLineEdit* TextTo = nullptr;
  QLineEdit* TextStep = nullptr;
  QComboBox* ComboChart = nullptr;  ///< T-s, h-s

 private:
  double ToKelvin(double t) const;
  double FromKelvin(double T) const;
  double ToMPa(double p) const;
  double FromMPa(double P) const;
  void ShowState();
  void CopyTable();
  void SaveTableAs();
  void SaveChartAs();
  void SetStatus(const QString& text, bool error);

  std::unique_ptr<platform::Workbook> book_;
  platform::window::Grid* grid_ = nullptr;
  QTableWidget* props_ = nullptr;
  QLabel* phase_ = nullptr;
  QLabel* status_ = nullptr;
  WaterChart* chart_ = nullptr;
  bool have_state_ = false;
  double T_ = 0, P_ = 0;  // K, MPa of the shown state
};

}  // namespace zyl::water::window
