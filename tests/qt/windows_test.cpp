#include <QAction>
#include <QCloseEvent>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QToolBar>
#include <QToolButton>
#include <cstdlib>
#include <thread>

#include "application.h"
#include "std/Std.h"
#include "std/qt/Std_windows.h"
#include "support/recording_display.h"

namespace mth_test {
namespace {

class QtWindows : public QtTest {
 protected:
  QtWindows() { EXPECT_TRUE(Std_CreateWindows(windows_)); }

  // Does something with the custom dialog that opens next, and closes it if that did not.
  template <class Answer>
  static void AnswerNext(Answer answer) {
    QTimer::singleShot(0, [answer] {
      auto* dialog = dynamic_cast<STD_CUSTOM_DIALOG*>(QApplication::activeModalWidget());
      if (dialog == nullptr) std::abort();  // nobody would ever close what is open
      answer(*dialog);
      if (dialog->isVisible()) dialog->reject();
    });
  }

  STD_WINDOWS windows_;
};

TEST_F(QtWindows, AreOneSetForTheApplication) {
  STD_WINDOWS others;
  ASSERT_TRUE(Std_CreateWindows(others));
  EXPECT_EQ(others.Std_Custom_Dialog_2B, windows_.Std_Custom_Dialog_2B);
  EXPECT_EQ(others.Std_Custom_Dialog_3B, windows_.Std_Custom_Dialog_3B);
  EXPECT_EQ(others.STD_WAIT_BAR, windows_.STD_WAIT_BAR);
  EXPECT_EQ(others.STD_TEXT_EDITOR, windows_.STD_TEXT_EDITOR);
  for (const QWidget* window : QApplication::topLevelWidgets()) EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);

  std::thread([&others] { EXPECT_FALSE(Std_CreateWindows(others)); }).join();
  EXPECT_EQ(others.Std_Custom_Dialog_2B, nullptr);
  windows_.STD_TEXT_EDITOR->show();
  EndApplication();
  EXPECT_FALSE(Std_CreateWindows(others));
  EXPECT_EQ(others.STD_TEXT_EDITOR, nullptr);
}

TEST_F(QtWindows, CustomDialogsAnswerTheNumberOfTheButton) {
  for (STD_CUSTOM_DIALOG* dialog : {windows_.Std_Custom_Dialog_2B, windows_.Std_Custom_Dialog_3B}) {
    const bool hasThree = dialog == windows_.Std_Custom_Dialog_3B;
    ASSERT_EQ(dialog->Button3 != nullptr, hasThree);
    EXPECT_EQ(dialog->font().family(), "Tahoma");
    EXPECT_TRUE(dialog->windowFlags() & Qt::WindowStaysOnTopHint);
    EXPECT_EQ(dialog->Label1->alignment(), Qt::AlignCenter);
    std::vector<QWidget*> components{dialog->Label1, dialog->Image1, dialog->Button1, dialog->Button2};
    if (hasThree) components.push_back(dialog->Button3);
    const char* const names[] = {"Label1", "Image1", "Button1", "Button2", "Button3"};
    for (std::size_t i = 0; i < components.size(); ++i) {
      EXPECT_EQ(dialog->findChild<QWidget*>(names[i]), components[i]) << names[i];
    }

    std::vector<int> handled;
    dialog->Button1Click = [&] { handled.push_back(1); };
    dialog->Button2Click = {};
    dialog->Button3Click = [&] { handled.push_back(3); };
    for (int number = 1; number <= (hasThree ? 3 : 2); ++number) {
      AnswerNext([&](STD_CUSTOM_DIALOG& open) {
        EXPECT_TRUE(open.isModal());
        EXPECT_EQ(open.Ask(), 0);  // it is open already
        open.findChild<QPushButton*>(names[1 + number])->click();
      });
      EXPECT_EQ(dialog->Ask(), number);
    }
    EXPECT_EQ(handled, hasThree ? (std::vector<int>{1, 3}) : std::vector<int>{1});
    AnswerNext([](STD_CUSTOM_DIALOG& open) { open.close(); });
    EXPECT_EQ(dialog->Ask(), 0);
  }
}

TEST_F(QtWindows, WaitBarIsSteppedAgainAndAgain) {
  STD_WAIT_BAR_WINDOW& window = *windows_.STD_WAIT_BAR;
  int cancels[2] = {};
  for (int round = 0; round < 2; ++round) {
    TSTD_WAIT_BAR bar(window.NewView());
    window.LetCancel([&cancels, round] { ++cancels[round]; });
    EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
    EXPECT_EQ(window.Title->text(), "Title");
    EXPECT_EQ(window.ProgressBar1->value(), 0);
    EXPECT_EQ(window.ProgressBar1->maximum(), 100);
    bar.SetTitle("Calcul");
    bar.SetStepsCount(4);
    bar.Show();
    bar.StepAction("un");
    EXPECT_TRUE(window.isVisible());
    EXPECT_EQ(window.ProgressBar1->value(), 5);
    EXPECT_EQ(window.ProgressBar1->maximum(), 20);
    EXPECT_EQ(window.Action->text(), "un");
    for (int click = 0; click < 2; ++click) window.Cancel->click();
    EXPECT_EQ(cancels[0], 1);
    EXPECT_EQ(cancels[1], round);
  }
  EXPECT_FALSE(window.isVisible());
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

class QtTextEditor : public QtWindows {
 protected:
  QString PathOf(const char* name) const { return folder_.filePath(name); }
  void Write(const char* name, const QByteArray& bytes) const {
    QFile file(PathOf(name));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
  }
  QByteArray Read(const char* name) const {
    QFile file(PathOf(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return file.readAll();
  }
  void Do(const char* command) { editor_.findChild<QAction*>(command)->trigger(); }

  STD_TEXT_EDITOR_WINDOW& editor_ = *windows_.STD_TEXT_EDITOR;
  QPlainTextEdit& text_ = *editor_.Editor;
  QTemporaryDir folder_;
  RecordingDisplay display_;
};

TEST_F(QtTextEditor, KeepsEveryByteOfAText) {
  const QByteArray texts[] = {"", "une ligne",
                              "é\xC2\xA0!\n\n\xE2\x82\xAC \xF0\x9F\xA7\xA0\n",  // a no-break space, a brain
                              "fin\r\nde ligne\r\n"};
  for (const QByteArray& text : texts) {
    Write("in.txt", text);
    ASSERT_TRUE(editor_.OpenFile(PathOf("in.txt")));
    EXPECT_EQ(editor_.GetPath(), PathOf("in.txt"));
    ASSERT_TRUE(editor_.SaveFile(PathOf("out.txt")));
    EXPECT_EQ(Read("out.txt"), text);
  }
  Write("in.txt", "\xEF\xBB\xBFmarque");
  ASSERT_TRUE(editor_.OpenFile(PathOf("in.txt")));
  EXPECT_EQ(text_.toPlainText(), "marque");
}

TEST_F(QtTextEditor, TellsOfFilesThatItCannotReadOrWrite) {
  Write("good.txt", "avant");
  ASSERT_TRUE(editor_.OpenFile(PathOf("good.txt")));
  Write("latin.txt", "caf\xE9 ");
  Write("cut.txt", "caf\xC3");
  const QString bad[] = {PathOf("latin.txt"), PathOf("cut.txt"), PathOf("missing.txt"), folder_.path(),
                         "/dev/zero"};  // without an end, where it exists
  for (const QString& path : bad) {
    EXPECT_FALSE(editor_.OpenFile(path));
    EXPECT_EQ(display_.messages.back(),
              (ShownMessage{"Impossible d'ouvrir le fichier " + path.toStdString(), MessageKind::Error, ""}));
  }
  EXPECT_FALSE(editor_.SaveFile(PathOf("no/such.txt")));
  EXPECT_EQ(display_.messages.size(), 6U);
  EXPECT_EQ(text_.toPlainText(), "avant");
  EXPECT_EQ(editor_.GetPath(), PathOf("good.txt"));
}

TEST_F(QtTextEditor, AsksBeforeItLosesChanges) {
  struct Case {
    int button;
    bool closes;
    const char* saved;
  };
  const Case cases[] = {
      {0, false, "avant"}, {3, false, "avant"}, {2, true, "avant"}, {1, true, "neuf avant"}};
  for (const Case& c : cases) {
    Write("text.txt", "avant");
    ASSERT_TRUE(editor_.OpenFile(PathOf("text.txt")));
    editor_.show();
    text_.insertPlainText("neuf ");
    QString question;
    AnswerNext([&](STD_CUSTOM_DIALOG& dialog) {
      question = dialog.Label1->text();
      if (c.button > 0) dialog.findChild<QPushButton*>(QString("Button%1").arg(c.button))->click();
    });
    EXPECT_EQ(editor_.close(), c.closes) << c.button;
    EXPECT_EQ(question, "Enregistrer les modifications ?");
    EXPECT_EQ(Read("text.txt"), c.saved);
    if (c.button == 2) {
      EXPECT_EQ(text_.toPlainText(), "");
      EXPECT_EQ(editor_.GetPath(), "");
    }
    EXPECT_EQ(text_.document()->isModified(), !c.closes);
    text_.document()->setModified(false);
  }
  text_.insertPlainText("neuf ");
  const QString kept = text_.toPlainText();
  AnswerNext([](STD_CUSTOM_DIALOG& dialog) { dialog.close(); });
  EXPECT_FALSE(editor_.OpenFile(PathOf("text.txt")));
  EXPECT_EQ(text_.toPlainText(), kept);
  AnswerNext([](STD_CUSTOM_DIALOG& dialog) { dialog.Button1->click(); });
  EXPECT_TRUE(editor_.OpenFile(PathOf("text.txt")));
  EXPECT_EQ(text_.toPlainText(), kept);  // as it was saved just now
  Write("text.txt", "avant");
  ASSERT_TRUE(editor_.OpenFile(PathOf("text.txt")));
  EXPECT_TRUE(editor_.close());  // nothing to lose: no question
}

TEST_F(QtTextEditor, CommandsWorkFromMenuAndToolBar) {
  EXPECT_EQ(editor_.windowTitle(), "QUOR Pad");
  text_.setPlainText("un deux");
  EXPECT_FALSE(editor_.findChild<QAction*>("Couper")->isEnabled());
  Do("ToutSelectionner");
  Do("Couper");
  EXPECT_EQ(text_.toPlainText(), "");
  Do("Coller");
  Do("Coller");
  EXPECT_EQ(text_.toPlainText(), "un deuxun deux");
  Do("Annuler");
  EXPECT_EQ(text_.toPlainText(), "un deux");
  Do("Retablir");
  EXPECT_EQ(text_.toPlainText(), "un deuxun deux");

  const QToolBar* bar = editor_.findChild<QToolBar*>();
  ASSERT_NE(bar, nullptr);
  std::vector<std::string> hints;
  for (const QAction* action : bar->actions()) {
    if (!action->isSeparator()) hints.push_back(action->toolTip().toStdString());
  }
  EXPECT_EQ(hints, (std::vector<std::string>{"Commencer un nouveau texte", "Ouvrir", "Enregistrer", "Annuler",
                                             "Couper", "Copier", "Coller", "Rechercher"}));
}

TEST_F(QtTextEditor, FindGoesRoundTheText) {
  text_.setPlainText("Delta, delta, gamma");
  for (const int expected : {0, 7, 0}) {
    ASSERT_TRUE(editor_.Find("DELTA"));
    EXPECT_EQ(text_.textCursor().selectionStart(), expected);
  }
  EXPECT_FALSE(editor_.Find("alpha"));
  EXPECT_EQ(text_.textCursor().selectedText(), "Delta");
}

}  // namespace
}  // namespace mth_test
