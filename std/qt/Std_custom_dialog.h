#pragma once

#include <QDialog>
#include <functional>

#include "std/Std_export.h"

class QLabel;
class QPushButton;

/// A dialog with a text, an icon and two or three buttons, for client programs: centred, on top of all
/// windows. Its components are found by their names, as members and as Qt objects.
///
///     windows.Std_Custom_Dialog_2B->Label1->setText("Remplacer le fichier ?");
///     if (windows.Std_Custom_Dialog_2B->Ask() == 1) Replace();
class MTH_EXPORT STD_CUSTOM_DIALOG : public QDialog {
 public:
  /// What happens at a click, before the dialog closes.
  using ClickHandler = std::function<void()>;

  /// Needs a QApplication, in whose thread it is created and used.
  /// @param buttonsCount  2 ("Oui", "Non") or 3 (and "Annuler"); less counts as 2, more as 3.
  explicit STD_CUSTOM_DIALOG(int buttonsCount);

  /// The text, centred.
  QLabel* const Label1;
  /// The icon: the host sets its pixmap.
  QLabel* const Image1;
  /// "Oui".
  QPushButton* const Button1;
  /// "Non".
  QPushButton* const Button2;
  /// "Annuler"; null in a dialog with two buttons.
  QPushButton* const Button3;

  /// What a click on the first button calls; an empty handler does nothing.
  ClickHandler Button1Click;
  /// @copydoc Button1Click
  ClickHandler Button2Click;
  /// @copydoc Button1Click
  ClickHandler Button3Click;

  /// Shows the dialog in the middle of the screen and waits for its end.
  /// @return  the number of the button that was clicked, from 1; 0 when the dialog was closed without one, or
  ///          is already open.
  int Ask();

 private:
  void ConnectButton(QPushButton* button, const ClickHandler& handler, int number);
};
