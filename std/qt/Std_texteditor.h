#pragma once

#include <QMainWindow>
#include <QString>

#include "std/Std_export.h"

class QMenu;
class QPlainTextEdit;
class QToolBar;

/// The text editor "QUOR Pad" for client programs: a menu and a tool bar to open, save, undo, cut, copy,
/// paste and find. Texts are UTF-8; lines end in CR LF when some did in the file. Changes are not lost
/// without a question; after "Non" at its end the window opens empty the next time.
///
/// Its actions are found by their Qt object names: Nouveau, Ouvrir, Enregistrer, EnregistrerSous, Quitter,
/// Annuler, Retablir, Couper, Copier, Coller, ToutSelectionner, Rechercher and RechercherSuivant.
class MTH_EXPORT STD_TEXT_EDITOR_WINDOW : public QMainWindow {
 public:
  /// Needs a QApplication, in whose thread it is created and used.
  STD_TEXT_EDITOR_WINDOW();

  /// The text.
  QPlainTextEdit* const Editor;

  /// Shows a file's text. A byte order mark at its start is not part of it. Asks before it drops unsaved
  /// changes.
  /// @return  false, after a message, when the file cannot be read or is not UTF-8, and false when the
  ///          changes are not to be dropped or could not be saved; the text is as before.
  bool OpenFile(const QString& path);
  /// Writes the text to a file, whole or not at all, and makes it the file of the next saving.
  /// @return  false, after a message, when the file cannot be written; it is as before.
  bool SaveFile(const QString& path);
  /// The file that was opened or saved last; empty for a new text.
  const QString& GetPath() const { return path_; }

  /// Selects the next occurrence of a text after the cursor, or the first one from the start; capitals do not
  /// matter.
  /// @return  whether there is one.
  bool Find(const QString& text);

 protected:
  /// Asks whether a changed text is to be saved.
  void closeEvent(QCloseEvent* event) override;

 private:
  struct Command;
  void AddCommands();
  void AddCommand(const Command& command, QMenu* menu, QToolBar* toolBar);
  void FollowSelection();
  void BeginText(const QString& text, const QString& path);
  QString Text() const;
  bool CanLoseChanges();
  void AskForFile();
  bool Save();
  bool SaveAs();
  void AskForSearch();
  void FindNext();

  QString path_;
  QString searched_;
  bool endsLinesWithCrLf_ = false;
};
