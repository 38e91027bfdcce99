#pragma once
// The predominance diagram window `Predom`: elements, species, axes and limits on the left, the
// diagram on the right. Open it with `new zyl::diagrams::Predom()` (a top-level window that deletes
// itself when closed) and show().

#include <QImage>
#include <QStringList>
#include <QWidget>
#include <memory>
#include <optional>

#include "diagrams/picture.h"
#include "diagrams/predom.h"
#include "diagrams/window/diagram_painter.h"

class QAction;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QSplitter;
class QVBoxLayout;

namespace zyl::platform {
class Messages;
}

namespace zyl::diagrams {

/// Shows a diagram; while a search runs with the calculation shown, cells are painted onto a layer
/// above the empty axes as they are found.
class PredomView : public QWidget {
  Q_OBJECT
 public:
  explicit PredomView(QWidget* parent = nullptr);
  void SetPicture(const DiagramPicture* pic);  ///< null: an empty view with a hint
  const DiagramPicture* Picture() const { return has_picture_ ? &picture_ : nullptr; }

  void BeginLive(const DiagramPicture& frame);  ///< axes only; cells follow
  void LiveCell(double x1, double y1, double x2, double y2, const QColor& color);
  void EndLive();

  QSize sizeHint() const override { return {800, 640}; }
  /// Where the picture goes: the largest 5:4 rectangle, centred (the shape of saved pictures).
  QRectF PictureRect() const;

 protected:
  void paintEvent(QPaintEvent*) override;
  void resizeEvent(QResizeEvent*) override;

 private:
  DiagramPicture picture_;
  bool has_picture_ = false;
  bool live_ = false;
  QImage layer_;
  PlotFrame frame_;
};

class Predom : public QWidget {
  Q_OBJECT
 public:
  /// source: where species come from (default: the program's open databases); messages: where
  /// validation messages go (default: message boxes titled "ZYL"). Neither is owned.
  explicit Predom(QWidget* parent = nullptr, const SpeciesSource* source = nullptr,
                  platform::Messages* messages = nullptr);
  ~Predom() override;

  static constexpr const char* kHelpChapter = "21 Phase Stability Diagrams";

  /// Selects the elements in ListEle2 (by symbol) and fills the species and axis lists (ButOK).
  void SelectElements(const QStringList& symbols);
  /// The inputs as the form holds them; nullopt (after a message) when a limit is not a number.
  std::optional<PredomSetup> CurrentSetup(bool report = true);
  /// Puts a set-up into the form (elements, lists, limits, unit).
  void ApplySetup(const PredomSetup& s);
  /// Reads a set-up file into the form, reporting missing items one by one.
  bool LoadSetup(const QString& path);
  /// Writes the form's set-up; false after a validation message or a write failure.
  bool SaveSetup(const QString& path);
  /// Writes the current picture (.png, .svg, .pdf).
  bool SavePicture(const QString& path, QSize size = QSize(1000, 800));

  const PredomModel* Model() const { return model_ ? &*model_ : nullptr; }
  const PredomResult* Result() const { return result_ ? &*result_ : nullptr; }
  const DiagramPicture* Picture() const;
  const Palette& CurrentPalette() const { return palette_; }
  void SetPalette(const Palette& p);

 signals:
  /// Asks the program to show a help chapter (kHelpChapter).
  void helpRequested(const QString& chapter);
  /// A diagram was computed: points of the border, seconds of the search.
  void calculated(int boundary_points, double seconds);

 public slots:
  void ButOK_Click();
  void ButPsd_Click();
  void ButSave_Click();
  void ButLoad_Click();
  void ButCK_Click();
  void MLoadUPal_Click();
  void MColPal_Click();
  /// Print or copy the picture with the border as lines, or as the search's final cells (boxes).
  void PrintLines();
  void CopyLines();
  void PrintBoxLines();
  void CopyBoxLines();
  void SavePictureAs();

 private:
  void BuildUi();
  // The steps of BuildUi: menus, the four groups and the buttons of the left panel, the picture side.
  void BuildMenus(QVBoxLayout* root);
  void BuildElementsGroup(QWidget* panel, QVBoxLayout* col);
  void BuildSpeciesGroup(QWidget* panel, QVBoxLayout* col);
  void BuildAxesGroup(QWidget* panel, QVBoxLayout* col);
  void BuildLimitsGroup(QWidget* panel, QVBoxLayout* col);
  void BuildButtons(QWidget* panel, QVBoxLayout* col);
  void BuildPictureSide(QSplitter* split);
  void UpdateSpeciesCount();
  void OnAxisChanged();
  void Redraw();
  void Print(bool boxes);
  void Copy(bool boxes);
  std::optional<DiagramPicture> PictureFor(bool boxes) const;
  void Message(const std::string& text);
  QString TppFolder(bool for_saving) const;
  int64_t DeviceColors() const;

  const SpeciesSource* source_;
  std::unique_ptr<SpeciesSource> own_source_;
  platform::Messages* messages_;
  std::unique_ptr<platform::Messages> own_messages_;

  QListWidget *ListEle2 = nullptr, *SpList = nullptr, *XList = nullptr, *YList = nullptr, *CList = nullptr;
  QLineEdit *Text1 = nullptr, *Text2 = nullptr, *Text3 = nullptr, *Text4 = nullptr, *Text5 = nullptr;
  QPushButton *ButOK = nullptr, *ButCK = nullptr, *ButPsd = nullptr, *ButSave = nullptr, *ButLoad = nullptr;
  QComboBox* ComboRes = nullptr;
  QLabel *TotNum = nullptr, *LabStatus = nullptr;
  QAction *MShowCalc = nullptr, *MUseCol = nullptr, *MBoxLines = nullptr, *MSwapGases = nullptr, *MLoadUPal = nullptr,
          *MColPal = nullptr;
  PredomView* view_ = nullptr;

  QStringList picked_;  ///< selected elements in the order they were picked
  std::array<std::string, 3> elements_;
  bool celsius_ = false;
  Palette palette_;
  std::optional<PredomModel> model_;
  std::optional<PredomResult> result_;
  QString last_x_kind_, last_c_kind_;
};

}  // namespace zyl::diagrams
