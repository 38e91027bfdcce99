// zyl-lpp [FILE.lpp]: the phase stability diagram program, started by the set-up form with the file name.

#include <QApplication>

#include "diagrams/window/lpp_window.h"

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  zyl::diagrams::LppWindow w;
  const QStringList args = app.arguments().mid(1);
  w.show();
  if (!args.isEmpty()) w.Open(args.first());  // a failure is shown in a message box
  return app.exec();
}
