#pragma once
// The solver run form: copies the prepared input file into the solver's run folder as INPUT.<ext>,
// starts the solver there without waiting, shows its status and hands the finished result on to the
// result form.

#include <QPointer>
#include <QProcess>
#include <QString>
#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;
class QTimer;

namespace zyl::platform {
class Messages;
}

namespace zyl::equilibrium::window {

class EquiResult;

inline constexpr const char* kIdleText = "Press Calculate Button !";
inline constexpr const char* kRunningText = "SGM calculating, wait a minute...";
inline constexpr const char* kReadyWord = "READY";
inline constexpr const char* kHelpChapter = "13 Equilibrium Module.doc";
inline constexpr int kRaiseDelayMs = 500;  ///< Timer1: delay before the solver's window is raised

/// State shared with the rest of the program while it runs.
struct SolverShared {
  QString solver_path;    ///< trimmed TextSGM of the last run
  QString saved_folder;   ///< the program's current folder when the last run started
  qint16 finished = 0;    ///< 1 = a finished result is available
};
SolverShared& SharedSolver();

/// Our own solver: zyl-gibbs next to the running executable.
QString DefaultSolverPath();
/// The solver's input file name for a prepared input file: "INPUT." + its extension ("INPUT" without one).
QString SolverInputName(const QString& input_file);
/// Where the solver runs: its own folder when writable (a private copy), else <user data>/Gibbs/run
/// (an installed solver's folder belongs to root).
QString SolverRunFolder(const QString& solver_path);
/// The result file our solver writes for an input name: INPUT.<ext> -> INPUT.result.json.
QString SolverResultName(const QString& input_name);

class SolGasM : public QWidget {
  Q_OBJECT
 public:
  /// msgs: where failures are reported (null: the program's message boxes).
  explicit SolGasM(platform::Messages* msgs = nullptr, QWidget* parent = nullptr);
  ~SolGasM() override;

  QLineEdit* TextSGM;
  QLineEdit* TextInput;
  QLabel* Label1;
  QTimer* Timer1;
  QPushButton* ButCalc;
  QPushButton* ButDraw;
  QPushButton* ButExit;
  QPushButton* ButHelp;

  /// Starts a run; false (with the message shown) when the input can not be copied or the solver not started.
  bool ButCalc_Click();
  /// Takes the result when the status holds "READY": returns the result form, else null and nothing changes.
  EquiResult* ButDraw_Click();
  void Timer1_Timer();
  void TextInput_Change();

  /// The running solver (null when none has been started).
  QProcess* Process() const { return process_; }
  /// Result file of the last run.
  QString ResultFile() const { return result_file_; }
  /// Folder and file name of the solver input of the last run.
  QString InputCopy() const { return input_copy_; }

 signals:
  /// The solver process ended (status set to its ready report or its failure).
  void solverFinished(bool ready);

 protected:
  void closeEvent(QCloseEvent* e) override;

 private:
  void OnOutput();
  void OnFinished(int code, QProcess::ExitStatus status);
  void OnError(QProcess::ProcessError error);
  void Fail(const QString& text);
  void ResetState();

  platform::Messages* msgs_;
  QPointer<QProcess> process_;
  QPointer<EquiResult> result_form_;
  QString output_;
  QString result_file_;
  QString input_copy_;
  bool ready_seen_ = false;
};

/// Opens the run form for a prepared input file (reusing an open one).
void ShowSolGasM(QWidget* parent, const QString& input_file);
/// The open run form, null when none.
SolGasM* OpenSolGasM();

}  // namespace zyl::equilibrium::window
