#include "std/qt/Std_texteditor.h"

#include <QAction>
#include <QCloseEvent>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QIcon>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QSaveFile>
#include <QStatusBar>
#include <QStringDecoder>
#include <QToolBar>
#include <functional>
#include <optional>

#include "std/Std_message.h"
#include "std/qt/Std_custom_dialog.h"

namespace {

constexpr qint64 kLargestFile = 64 * 1024 * 1024;  // bytes: an editor for notes, not for images
const char* const kFileFilter = "Textes (*.txt);;Tous les fichiers (*)";

std::optional<QString> ReadUtf8(const QString& path) {
  if (!QFileInfo(path).isFile()) return std::nullopt;  // a pipe or a device may never begin, nor end
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly) || file.size() > kLargestFile) return std::nullopt;
  const QByteArray bytes = file.readAll();
  if (file.error() != QFile::NoError) return std::nullopt;
  // Takes a byte order mark off; stateless, so that a character cut at the end is an error as well.
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  const QString text = decoder(bytes);
  if (decoder.hasError()) return std::nullopt;
  return text;
}

bool WriteUtf8(const QString& path, const QString& text) {
  QSaveFile file(path);
  if (!file.open(QIODevice::WriteOnly)) return false;
  const QByteArray bytes = text.toUtf8();
  return file.write(bytes) == bytes.size() && file.commit();
}

}  // namespace

// An entry of the menu and, if it has an icon, of the tool bar.
struct STD_TEXT_EDITOR_WINDOW::Command {
  const char* name;
  const char* text;
  const char* hint;
  QKeySequence::StandardKey shortcut;
  const char* icon;
  std::function<void()> run;
};

STD_TEXT_EDITOR_WINDOW::STD_TEXT_EDITOR_WINDOW() : Editor(new QPlainTextEdit(this)) {
  setWindowTitle("QUOR Pad");
  setAttribute(Qt::WA_QuitOnClose, false);
  setCentralWidget(Editor);
  resize(640, 480);
  AddCommands();
  FollowSelection();
  BeginText(QString(), QString());
}

void STD_TEXT_EDITOR_WINDOW::AddCommands() {
  const Command fileCommands[] = {
      {"Nouveau", "&Nouveau", "Commencer un nouveau texte", QKeySequence::New, "document-new",
       [this] {
         if (CanLoseChanges()) BeginText(QString(), QString());
       }},
      {"Ouvrir", "&Ouvrir...", "Ouvrir", QKeySequence::Open, "document-open", [this] { AskForFile(); }},
      {"Enregistrer", "&Enregistrer", "Enregistrer", QKeySequence::Save, "document-save", [this] { Save(); }},
      {"EnregistrerSous", "Enregistrer &sous...", "Enregistrer dans un autre fichier", QKeySequence::SaveAs,
       nullptr, [this] { SaveAs(); }},
      {"Quitter", "&Quitter", "Fermer la fenêtre", QKeySequence::Close, nullptr, [this] { close(); }},
  };
  const Command editCommands[] = {
      {"Annuler", "&Annuler", "Annuler", QKeySequence::Undo, "edit-undo", [this] { Editor->undo(); }},
      {"Retablir", "&Rétablir", "Rétablir", QKeySequence::Redo, nullptr, [this] { Editor->redo(); }},
      {"Couper", "Co&uper", "Couper", QKeySequence::Cut, "edit-cut", [this] { Editor->cut(); }},
      {"Copier", "&Copier", "Copier", QKeySequence::Copy, "edit-copy", [this] { Editor->copy(); }},
      {"Coller", "C&oller", "Coller", QKeySequence::Paste, "edit-paste", [this] { Editor->paste(); }},
      {"ToutSelectionner", "&Tout sélectionner", "Tout sélectionner", QKeySequence::SelectAll, nullptr,
       [this] { Editor->selectAll(); }},
      {"Rechercher", "Rec&hercher...", "Rechercher", QKeySequence::Find, "edit-find",
       [this] { AskForSearch(); }},
      {"RechercherSuivant", "Rechercher le sui&vant", "Rechercher le suivant", QKeySequence::FindNext,
       nullptr, [this] { FindNext(); }},
  };
  QToolBar* toolBar = addToolBar("Outils");
  QMenu* fileMenu = menuBar()->addMenu("&Fichier");
  for (const Command& command : fileCommands) AddCommand(command, fileMenu, toolBar);
  toolBar->addSeparator();
  QMenu* editMenu = menuBar()->addMenu("&Edition");
  for (const Command& command : editCommands) AddCommand(command, editMenu, toolBar);
}

void STD_TEXT_EDITOR_WINDOW::AddCommand(const Command& command, QMenu* menu, QToolBar* toolBar) {
  QAction* action = menu->addAction(QString::fromUtf8(command.text));
  action->setObjectName(command.name);
  action->setShortcut(command.shortcut);
  action->setToolTip(QString::fromUtf8(command.hint));
  action->setStatusTip(QString::fromUtf8(command.hint));
  connect(action, &QAction::triggered, this, command.run);
  if (command.icon == nullptr) return;
  action->setIcon(QIcon::fromTheme(command.icon));  // without an icon theme the tool bar shows the text
  toolBar->addAction(action);
}

// Commands that have nothing to work on are grey.
void STD_TEXT_EDITOR_WINDOW::FollowSelection() {
  const auto follow = [this](const char* name, auto signal) {
    auto* action = findChild<QAction*>(name);
    action->setEnabled(false);
    connect(Editor, signal, action, &QAction::setEnabled);
  };
  follow("Annuler", &QPlainTextEdit::undoAvailable);
  follow("Retablir", &QPlainTextEdit::redoAvailable);
  follow("Couper", &QPlainTextEdit::copyAvailable);
  follow("Copier", &QPlainTextEdit::copyAvailable);
}

void STD_TEXT_EDITOR_WINDOW::BeginText(const QString& text, const QString& path) {
  endsLinesWithCrLf_ = text.contains("\r\n");
  Editor->setPlainText(text);
  path_ = path;
  statusBar()->showMessage(path);
}

// The text with its no-break spaces, which Qt's plain text has not.
QString STD_TEXT_EDITOR_WINDOW::Text() const {
  return Editor->document()->toRawText().replace(QChar::ParagraphSeparator,
                                                 endsLinesWithCrLf_ ? "\r\n" : "\n");
}

bool STD_TEXT_EDITOR_WINDOW::OpenFile(const QString& path) {
  if (!CanLoseChanges()) return false;
  // Read after the question: the answer may have been to save the changes, to this very file.
  const std::optional<QString> text = ReadUtf8(path);
  if (!text) {
    Std_ShowMessage("Impossible d'ouvrir le fichier " + path.toStdString(), MessageKind::Error, "");
    return false;
  }
  BeginText(*text, path);
  return true;
}

bool STD_TEXT_EDITOR_WINDOW::SaveFile(const QString& path) {
  if (!WriteUtf8(path, Text())) {
    Std_ShowMessage("Impossible d'enregistrer le fichier " + path.toStdString(), MessageKind::Error, "");
    return false;
  }
  Editor->document()->setModified(false);
  path_ = path;
  statusBar()->showMessage(path);
  return true;
}

bool STD_TEXT_EDITOR_WINDOW::Find(const QString& text) {
  if (Editor->find(text)) return true;
  const QTextCursor former = Editor->textCursor();
  Editor->moveCursor(QTextCursor::Start);
  if (Editor->find(text)) return true;
  Editor->setTextCursor(former);
  return false;
}

// Changes that are not to be saved are gone with the window: it opens empty the next time.
void STD_TEXT_EDITOR_WINDOW::closeEvent(QCloseEvent* event) {
  event->setAccepted(CanLoseChanges());
  if (event->isAccepted() && Editor->document()->isModified()) BeginText(QString(), QString());
}

bool STD_TEXT_EDITOR_WINDOW::CanLoseChanges() {
  if (!Editor->document()->isModified()) return true;
  STD_CUSTOM_DIALOG question(3);
  question.setWindowTitle(windowTitle());
  question.Label1->setText("Enregistrer les modifications ?");
  constexpr int kYes = 1;
  constexpr int kNo = 2;
  const int answer = question.Ask();
  return answer == kNo || (answer == kYes && Save());
}

void STD_TEXT_EDITOR_WINDOW::AskForFile() {
  const QString path = QFileDialog::getOpenFileName(this, "Ouvrir", path_, kFileFilter);
  if (!path.isEmpty()) OpenFile(path);
}

bool STD_TEXT_EDITOR_WINDOW::Save() {
  return path_.isEmpty() ? SaveAs() : SaveFile(path_);
}

bool STD_TEXT_EDITOR_WINDOW::SaveAs() {
  const QString path = QFileDialog::getSaveFileName(this, "Enregistrer sous", path_, kFileFilter);
  return !path.isEmpty() && SaveFile(path);
}

void STD_TEXT_EDITOR_WINDOW::AskForSearch() {
  bool isOk = false;
  const QString text =
      QInputDialog::getText(this, "Rechercher", "Texte :", QLineEdit::Normal, searched_, &isOk);
  if (!isOk || text.isEmpty()) return;
  searched_ = text;
  FindNext();
}

void STD_TEXT_EDITOR_WINDOW::FindNext() {
  if (searched_.isEmpty()) {
    AskForSearch();
  } else if (!Find(searched_)) {
    Std_ShowMessage("Texte introuvable : " + searched_.toStdString(), MessageKind::Information, "");
  }
}
