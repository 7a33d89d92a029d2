#include "std/qt/Std_custom_dialog.h"

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>

#include "std/qt/Std_qt_window_internal.h"

namespace {

constexpr int kTextWidth = 240;

}  // namespace

STD_CUSTOM_DIALOG::STD_CUSTOM_DIALOG(int buttonsCount)
    : Label1(new QLabel(this)),
      Image1(new QLabel(this)),
      Button1(new QPushButton("Oui", this)),
      Button2(new QPushButton("Non", this)),
      Button3(buttonsCount > 2 ? new QPushButton("Annuler", this) : nullptr) {
  mth_internal::MakeLibraryWindow(*this, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
  QFont plainFont = font();
  plainFont.setFamily("Tahoma");
  setFont(plainFont);

  Label1->setObjectName("Label1");
  Label1->setTextFormat(Qt::PlainText);
  Label1->setAlignment(Qt::AlignCenter);
  Label1->setWordWrap(true);
  Label1->setMinimumWidth(kTextWidth);
  Image1->setObjectName("Image1");
  const int iconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
  Image1->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxQuestion).pixmap(iconSize));

  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  const ClickHandler* handlers[] = {&Button1Click, &Button2Click, &Button3Click};
  int number = 0;
  for (QPushButton* button : {Button1, Button2, Button3}) {
    ++number;
    if (button == nullptr) continue;
    button->setObjectName(QString("Button%1").arg(number));
    ConnectButton(button, *handlers[number - 1], number);
    buttons->addWidget(button);
  }
  buttons->addStretch();

  auto* layout = new QGridLayout(this);
  layout->addWidget(Image1, 0, 0, Qt::AlignTop);
  layout->addWidget(Label1, 0, 1);
  layout->addLayout(buttons, 1, 0, 1, 2);
  layout->setSizeConstraint(QLayout::SetFixedSize);
}

// The handler is looked up at the click: hosts set it after the dialog was made, and may change it.
void STD_CUSTOM_DIALOG::ConnectButton(QPushButton* button, const ClickHandler& handler, int number) {
  connect(button, &QPushButton::clicked, this, [this, &handler, number] {
    const ClickHandler current = handler;
    if (current) current();
    done(number);
  });
}

int STD_CUSTOM_DIALOG::Ask() {
  if (isVisible()) return 0;
  adjustSize();
  mth_internal::CentreOnScreen(*this);
  return exec();
}
