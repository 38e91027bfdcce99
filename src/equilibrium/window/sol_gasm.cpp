#include "equilibrium/window/sol_gasm.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "equilibrium/window/result_form.h"
#include "platform/paths.h"
#include "platform/window/help.h"
#include "platform/window/qt_messages.h"

namespace zyl::equilibrium::window {

namespace {

QPointer<SolGasM> g_form;

/// A failure text must never look like a ready report.
QString NotReady(QString text) { return text.replace(kReadyWord, "ready"); }

QString LastLine(const QString& text) {
  const QStringList lines = text.split('\n', Qt::SkipEmptyParts);
  for (auto it = lines.crbegin(); it != lines.crend(); ++it)
    if (!it->trimmed().isEmpty()) return it->trimmed();
  return {};
}

}  // namespace

SolverShared& SharedSolver() {
  static SolverShared shared;
  return shared;
}

QString DefaultSolverPath() { return QDir(QCoreApplication::applicationDirPath()).filePath("zyl-gibbs"); }

QString SolverInputName(const QString& input_file) {
  const QString ext = QFileInfo(input_file.trimmed()).suffix();
  return ext.isEmpty() ? QString("INPUT") : "INPUT." + ext;
}

QString SolverResultName(const QString& input_name) {
  const int dot = input_name.lastIndexOf('.');
  return (dot > 0 ? input_name.left(dot) : input_name) + ".result.json";
}

QString SolverRunFolder(const QString& solver_path) {
  const QFileInfo solver(solver_path);
  const QFileInfo folder(solver.absolutePath());
  if (folder.isDir() && folder.isWritable()) return folder.absoluteFilePath();
  return QString::fromStdString((platform::UserDataDir() / "Gibbs" / "run").string());
}

SolGasM::SolGasM(platform::Messages* msgs, QWidget* parent) : QWidget(parent, Qt::Window), msgs_(msgs) {
  setObjectName("SolGasM");
  setWindowTitle("Equilibrium Calculations - Solver");
  auto* grid = new QGridLayout;
  TextSGM = new QLineEdit(this);
  TextSGM->setObjectName("TextSGM");
  TextSGM->setText(SharedSolver().solver_path.isEmpty() ? DefaultSolverPath() : SharedSolver().solver_path);
  TextSGM->setToolTip("Full path of the solver program");
  TextInput = new QLineEdit(this);
  TextInput->setObjectName("TextInput");
  TextInput->setToolTip("Full path of the prepared input file");
  grid->addWidget(new QLabel("Solver program:", this), 0, 0);
  grid->addWidget(TextSGM, 0, 1);
  grid->addWidget(new QLabel("Input file:", this), 1, 0);
  grid->addWidget(TextInput, 1, 1);
  Label1 = new QLabel(kIdleText, this);
  Label1->setObjectName("Label1");
  Label1->setTextInteractionFlags(Qt::TextSelectableByMouse);
  Label1->setWordWrap(true);
  QFont bold = Label1->font();
  bold.setBold(true);
  Label1->setFont(bold);
  Timer1 = new QTimer(this);
  Timer1->setObjectName("Timer1");
  Timer1->setSingleShot(true);
  Timer1->setInterval(kRaiseDelayMs);
  ButCalc = new QPushButton("&Calculate", this);
  ButCalc->setObjectName("ButCalc");
  ButDraw = new QPushButton("&Results", this);
  ButDraw->setObjectName("ButDraw");
  ButDraw->setToolTip("Show the result once the status reads READY");
  ButExit = new QPushButton("E&xit", this);
  ButExit->setObjectName("ButExit");
  ButHelp = new QPushButton("&Help", this);
  ButHelp->setObjectName("ButHelp");
  auto* buttons = new QHBoxLayout;
  for (auto* b : {ButCalc, ButDraw, ButExit, ButHelp}) buttons->addWidget(b);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(grid);
  layout->addWidget(Label1);
  layout->addLayout(buttons);

  connect(ButCalc, &QPushButton::clicked, this, [this] { ButCalc_Click(); });
  connect(ButDraw, &QPushButton::clicked, this, [this] { ButDraw_Click(); });
  connect(ButExit, &QPushButton::clicked, this, &QWidget::close);
  connect(ButHelp, &QPushButton::clicked, this, [] { platform::window::ShowHelpChapter(kHelpChapter); });
  connect(Timer1, &QTimer::timeout, this, &SolGasM::Timer1_Timer);
  connect(TextInput, &QLineEdit::textChanged, this, [this] { TextInput_Change(); });
  resize(640, 170);
}

SolGasM::~SolGasM() {
  if (process_ && process_->state() != QProcess::NotRunning) {
    process_->disconnect(this);
    process_->kill();
    process_->waitForFinished(1000);
  }
}

bool SolGasM::ButCalc_Click() {
  const QString solver = TextSGM->text().trimmed();
  SharedSolver().solver_path = solver;
  if (process_ && process_->state() != QProcess::NotRunning) return false;
  if (solver.isEmpty()) {
    Fail("Give the full path of the solver program.");
    return false;
  }
  const QFileInfo exe(solver);
  if (!exe.isFile() || !exe.isExecutable()) {
    Fail("The solver program " + solver + " was not found or can not be run.");
    return false;
  }
  const QString input = TextInput->text().trimmed();
  if (input.isEmpty() || !QFileInfo(input).isFile()) {
    Fail("The input file " + input + " was not found.");
    return false;
  }
  const QString folder = SolverRunFolder(solver);
  if (!QDir().mkpath(folder)) {
    Fail("Can not create the run folder " + folder + ".");
    return false;
  }
  const QString name = SolverInputName(input);
  QDir dir(folder);
  input_copy_ = dir.filePath(name);
  result_file_ = dir.filePath(SolverResultName(name));
  QFile::remove(input_copy_);  // a missing old input is no error
  QFile::remove(result_file_);  // never show the result of an earlier run
  if (!QFile::copy(input, input_copy_)) {
    Fail("Can not copy " + input + " to " + input_copy_ + ".");
    return false;
  }
  SharedSolver().saved_folder = QDir::currentPath();

  if (process_) process_->deleteLater();
  process_ = new QProcess(this);
  process_->setProgram(exe.absoluteFilePath());
  process_->setArguments({name});
  process_->setWorkingDirectory(folder);
  output_.clear();
  ready_seen_ = false;
  connect(process_, &QProcess::readyReadStandardOutput, this, &SolGasM::OnOutput);
  connect(process_, &QProcess::finished, this, &SolGasM::OnFinished);
  connect(process_, &QProcess::errorOccurred, this, &SolGasM::OnError);
  process_->start();
  ButCalc->setEnabled(false);
  Label1->setText(kRunningText);
  Timer1->start();
  return true;
}

void SolGasM::OnOutput() {
  if (!process_) return;
  output_ += QString::fromLocal8Bit(process_->readAllStandardOutput());
  if (output_.contains(kReadyWord)) ready_seen_ = true;
}

void SolGasM::OnFinished(int code, QProcess::ExitStatus status) {
  OnOutput();
  Timer1->stop();
  if (status != QProcess::NormalExit) {
    Fail("The solver stopped abnormally (crashed or killed).");
    emit solverFinished(false);
    return;
  }
  if (code != 0) {
    QString reason = LastLine(QString::fromLocal8Bit(process_->readAllStandardError()));
    Fail(QString("The solver ended with exit code %1%2").arg(code).arg(reason.isEmpty() ? "." : ": " + reason));
    emit solverFinished(false);
    return;
  }
  if (!ready_seen_ && !QFileInfo::exists(result_file_)) {
    Fail("The solver ended without a ready report or a result file.");
    emit solverFinished(false);
    return;
  }
  Label1->setText(QString("%1   %2").arg(kReadyWord, QDir::toNativeSeparators(result_file_)));
  emit solverFinished(true);
}

void SolGasM::OnError(QProcess::ProcessError error) {
  if (error != QProcess::FailedToStart) return;  // the others end in finished()
  Timer1->stop();
  Fail("The solver program " + TextSGM->text().trimmed() + " could not be started.");
  emit solverFinished(false);
}

void SolGasM::Fail(const QString& text) {
  const QString shown = NotReady(text);
  Label1->setText("SGM failed: " + shown);
  ButCalc->setEnabled(true);
  (msgs_ ? *msgs_ : platform::window::AppMessages())
      .Show(platform::window::FromQ(shown), "Equilibrium Calculations", platform::Icon::Warning);
}

EquiResult* SolGasM::ButDraw_Click() {
  const QString status = Label1->text();
  if (!status.contains(kReadyWord)) return nullptr;
  SharedSolver().finished = 1;
  Label1->setText(kIdleText);
  ButCalc->setEnabled(true);
  Timer1->stop();
  if (!result_form_) {
    result_form_ = new EquiResult(msgs_);
    result_form_->setAttribute(Qt::WA_DeleteOnClose);
  }
  result_form_->Text1->setText(status.trimmed());
  result_form_->OpenFile(result_file_);
  result_form_->show();
  result_form_->raise();
  return result_form_;
}

void SolGasM::Timer1_Timer() {
  // Our solver has no window of its own; an external one is raised by the desktop on start.
  Timer1->stop();
}

void SolGasM::TextInput_Change() {
  Label1->setText(kIdleText);
  if (!process_ || process_->state() == QProcess::NotRunning) ButCalc->setEnabled(true);
}

void SolGasM::ResetState() {
  SharedSolver().finished = 0;
  Label1->setText(kIdleText);
  Timer1->stop();
  ButCalc->setEnabled(true);
}

void SolGasM::closeEvent(QCloseEvent* e) {
  if (process_ && process_->state() != QProcess::NotRunning) {
    process_->disconnect(this);
    process_->kill();
    process_->waitForFinished(1000);
  }
  ResetState();
  QWidget::closeEvent(e);
}

SolGasM* OpenSolGasM() { return g_form; }

void ShowSolGasM(QWidget* parent, const QString& input_file) {
  if (!g_form) {
    g_form = new SolGasM(nullptr, parent);
    g_form->setAttribute(Qt::WA_DeleteOnClose);
  }
  if (!input_file.isEmpty()) g_form->TextInput->setText(QDir::toNativeSeparators(input_file));
  g_form->show();
  g_form->raise();
  g_form->activateWindow();
}

}  // namespace zyl::equilibrium::window
