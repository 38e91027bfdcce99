// zyl-render PICTURE OUT [--size WxH]: writes a diagram prepared by `zyl` (see diagrams/picture.h)
// as PNG, SVG or PDF, chosen by the suffix of OUT. Always runs on the offscreen platform.

#include <QFile>
#include <QGuiApplication>
#include <QStringList>
#include <cstdio>

#include "diagrams/picture.h"
#include "diagrams/window/diagram_painter.h"

namespace {
// Only real failures reach the user; the offscreen platform's notices do not.
void QuietHandler(QtMsgType type, const QMessageLogContext&, const QString& msg) {
  if (type == QtCriticalMsg || type == QtFatalMsg) std::fprintf(stderr, "zyl-render: %s\n", qPrintable(msg));
}
}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qInstallMessageHandler(QuietHandler);
  QGuiApplication app(argc, argv);
  QStringList args = app.arguments().mid(1);
  QSize size(1000, 800);
  int at = static_cast<int>(args.indexOf(QStringLiteral("--size")));
  if (at >= 0 && at + 1 < args.size()) {
    QStringList wh = args[at + 1].split('x');
    if (wh.size() == 2) size = QSize(wh[0].toInt(), wh[1].toInt());
    args.remove(at, 2);
  }
  if (args.size() != 2) {
    std::fprintf(stderr, "usage: zyl-render PICTURE OUT.png|OUT.svg|OUT.pdf [--size WxH]\n");
    return 2;
  }
  QFile in(args[0]);
  if (!in.open(QIODevice::ReadOnly)) {
    std::fprintf(stderr, "zyl-render: can not read %s\n", qPrintable(args[0]));
    return 1;
  }
  QByteArray data = in.readAll();
  std::string error;
  auto pic = zyl::diagrams::ReadPicture(std::string_view(data.constData(), static_cast<size_t>(data.size())), &error);
  if (!pic) {
    std::fprintf(stderr, "zyl-render: %s\n", error.c_str());
    return 1;
  }
  QString message;
  if (!zyl::diagrams::RenderToFile(*pic, args[1], size, &message)) {
    std::fprintf(stderr, "zyl-render: %s\n", qPrintable(message));
    return 1;
  }
  return 0;
}
