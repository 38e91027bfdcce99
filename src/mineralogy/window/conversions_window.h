#pragma once
// The composition conversions window: a sample's compound (or mineral) contents, or its element
// contents, typed into a grid and converted to wt-%, mol-% and ppm and between compounds and elements.

#include <QWidget>
#include <memory>

#include "mineralogy/composition.h"
#include "platform/workbook.h"

class QComboBox;
class QLabel;

namespace zyl::platform::window {
class Grid;
}

namespace zyl::mineralogy::window {

inline constexpr const char* kInputSheet = "Sample";
inline constexpr const char* kResultSheet = "Result";
inline constexpr const char* kMsgNoContents = "Please, give at least one content in columns A and B.";

class Conversions : public QWidget {
  Q_OBJECT
 public:
  explicit Conversions(QWidget* parent = nullptr);
  ~Conversions() override;

  platform::Workbook& Book() { return *book_; }
  /// Fills the sample sheet: name, amount and (for element contents) the compound carrying it.
  void SetSample(const std::vector<Content>& contents, const std::vector<std::string>& carriers = {});
  /// ButCalc: converts the sample into the result sheet; false with the message shown.
  bool Convert();
  const CompositionResult& Result() const { return result_; }
  /// Writes the workbook as .xlsx (temporary name, renamed into place); false with the message shown.
  bool SaveXlsx(const QString& path);

 private:
  void Build();
  void WriteResult();

  std::unique_ptr<platform::Workbook> book_;
  platform::window::Grid* grid_ = nullptr;
  QComboBox *from_ = nullptr, *basis_ = nullptr;
  QLabel* total_ = nullptr;
  CompositionResult result_;
};

}  // namespace zyl::mineralogy::window
