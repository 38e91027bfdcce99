#include "shell/window/not_built.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace zyl::shell::window {

NotBuilt::NotBuilt(const QString& caption, const QString& module, QWidget* parent) : QWidget(parent) {
  setObjectName("NotBuilt");
  setWindowTitle(caption.simplified());
  auto* layout = new QVBoxLayout(this);
  auto* text = new QLabel(tr("<h3>%1</h3><p>The %2 is not part of this version of ZYL yet.</p>"
                             "<p>The command line <code>zyl --help</code> lists what is available.</p>")
                              .arg(caption.simplified().toHtmlEscaped(), module.toHtmlEscaped()),
                          this);
  text->setWordWrap(true);
  layout->addWidget(text);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
  connect(buttons, &QDialogButtonBox::rejected, this, &QWidget::close);
  layout->addWidget(buttons);
  resize(380, 160);
}

}  // namespace zyl::shell::window
