#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "std/Std.h"

namespace mth_test {
namespace {

using Progress = STD_CONSOLE_DISPLAY::Progress;

// A console that writes to a temporary file, installed for its own life.
class Console {
 public:
  explicit Console(Progress progress) : display_(file_.get(), progress) {}

  // Asks runs to end from now on, as a host's console does after Ctrl-C.
  void Cancel() { display_.isCancelled = true; }

  std::string Written() const {
    std::rewind(file_.get());
    std::string text;
    for (int byte = std::fgetc(file_.get()); byte != EOF; byte = std::fgetc(file_.get())) {
      text += static_cast<char>(byte);
    }
    std::fseek(file_.get(), 0, SEEK_END);
    return text;
  }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  struct Display : STD_CONSOLE_DISPLAY {
    using STD_CONSOLE_DISPLAY::STD_CONSOLE_DISPLAY;
    bool IsCancelRequested() const override { return isCancelled; }
    bool isCancelled = false;
  };
  std::unique_ptr<std::FILE, Close> file_{std::tmpfile()};
  Display display_;
  STD_DISPLAY_SCOPE scope_{&display_};
};

// A progress line as a terminal shows it: 79 columns, padded with blanks.
std::string Line(std::string text, std::size_t bytesBeyondColumns = 0) {
  text.resize(79 + bytesBeyondColumns, ' ');
  return "\r" + text;
}

TEST(ConsoleDisplay, MessageIsOneLine) {
  struct Case {
    std::string text;
    MessageKind kind;
    std::string caption, line;
  };
  const Case cases[] = {
      {"Erreur dans les matrices d'entrées!", MessageKind::Information, "Quorvan",
       "Quorvan: Erreur dans les matrices d'entrées!\n"},
      {"a", MessageKind::Warning, "", "Avertissement: a\n"},
      {"a", MessageKind::Error, "", "Erreur: a\n"},
      {"a", MessageKind::Information, "", "Information: a\n"},
      {"a", MessageKind::Confirmation, "", "Confirmation: a\n"},
      {"a", MessageKind::Custom, "", "Information: a\n"},
      {"100 %s\nb\x1B[2J", MessageKind::Error, "x\ry", "x y: 100 %s b [2J\n"},
      {std::string("a\0b", 3), MessageKind::Error, "", "Erreur: a b\n"},
      {"a\xC2\x9Bm\xC2\x80 «\xC2", MessageKind::Error, "", "Erreur: a  m   «\xC2\n"},
  };
  for (const Case& c : cases) {
    const Console console(Progress::OnTerminal);
    EXPECT_EQ(Std_ShowMessage(c.text, c.kind, c.caption), 1);
    EXPECT_EQ(console.Written(), c.line);
  }
}

TEST(ConsoleDisplay, DrawsNoProgressOffATerminal) {
  for (const Progress progress : {Progress::OnTerminal, Progress::Never}) {
    const Console console(progress);
    TSTD_WAIT_BAR bar;
    bar.SetTitle("t");
    bar.Show();
    bar.StepAction("a");
    EXPECT_EQ(bar.GetPosition(), 10);
    EXPECT_EQ(console.Written(), "");
  }
}

TEST(ConsoleDisplay, WritesNothingWithoutAStream) {
  for (const Progress progress : {Progress::OnTerminal, Progress::Always}) {
    STD_CONSOLE_DISPLAY display(nullptr, progress);
    EXPECT_EQ(display.ShowMessage("a", MessageKind::Error, ""), 1);
    EXPECT_EQ(display.CreateWaitBarView(), nullptr);
  }
}

// From two seconds on a line tells the time left: what a busy machine keeps so long from its end is done
// again.
template <class Scenario>
auto InTime(Scenario scenario) {
  using Clock = std::chrono::steady_clock;
  for (;;) {
    const Clock::time_point start = Clock::now();
    auto written = scenario();
    if (Clock::now() - start < std::chrono::seconds(2)) return written;
  }
}

TEST(ConsoleDisplay, RedrawsOneProgressLineInPlace) {
  const auto written = InTime([] {
    const Console console(Progress::Always);
    std::vector<std::string> states;
    const auto look = [&] { states.push_back(console.Written()); };
    {
      TSTD_WAIT_BAR bar;
      bar.SetTitle("Calcul");
      bar.SetStepsCount(1);
      look();  // hidden
      bar.Show();
      look();
      bar.StepAction("a\nb");
      look();
      bar.StepAction("a\nb");  // full, and nothing new to see
      look();
      Std_ShowMessage("Fini", MessageKind::Information, "");
      bar.StepAction("c");
      look();
    }
    look();
    return states;
  });
  const std::string shown = Line("Calcul [....................]   0 % ");
  const std::string full =
      shown + Line("Calcul [....................]   0 % a b") +
      Line("Calcul [####................]  20 % a b") + Line("Calcul [########............]  40 % a b") +
      Line("Calcul [############........]  60 % a b") + Line("Calcul [################....]  80 % a b") +
      Line("Calcul [####################] 100 % a b");
  const std::string last = full + "\nInformation: Fini\n" + Line("Calcul [####################] 100 % c");
  EXPECT_EQ(written, (std::vector<std::string>{"", shown, full, full, last, last + "\n"}));
}

TEST(ConsoleDisplay, MakesRoomForTheNumberAtTheEndOfAnAction) {
  const std::string written = InTime([] {
    const Console console(Progress::Always);
    TSTD_WAIT_BAR bar;
    bar.SetTitle("Evidential Fuzzy C-Means en cours...");
    bar.SetStepsCount(100);
    bar.Show();
    bar.StepAction("Nombre de changements de configuration : 123");
    return console.Written();
  });
  EXPECT_EQ(written.substr(written.size() - 80),
            Line("Evidential Fuzzy  [........]   1 % Nombre de changements de configuration : 123"));
}

TEST(ConsoleDisplay, DrawsFewOfManyStepsAndEndsFullWithTheLastOne) {
  const Console console(Progress::Always);
  {
    TSTD_WAIT_BAR bar;
    bar.SetTitle("T");
    bar.SetStepsCount(100000);
    bar.Show();
    for (int step = 1; step <= 20000; ++step) bar.StepAction(std::to_string(step));
  }
  const std::string written = console.Written();
  EXPECT_EQ(written.substr(written.size() - 81), Line("T [####################] 100 % 20000") + "\n");
  EXPECT_LT(written.size(), 80U * 2000);
}

TEST(ConsoleDisplay, LeavesTheBarOfACancelledRunWhereItStands) {
  for (const bool isCancelled : {false, true}) {
    const std::string written = InTime([isCancelled] {
      Console console(Progress::Always);
      {
        TSTD_WAIT_BAR bar;
        bar.SetTitle("T");
        bar.SetStepsCount(4);
        bar.Show();
        bar.StepAction("a");
        if (isCancelled) console.Cancel();
      }
      return console.Written();
    });
    const char* const last =
        isCancelled ? "T [#####...............]  25 % a" : "T [####################] 100 % a";
    EXPECT_EQ(written.substr(written.size() - 81), Line(last) + "\n");
  }
}

TEST(ConsoleDisplay, OfLongLinesTheEndIsShownFromACharacterOn) {
  const Console console(Progress::Always);
  std::string accents;
  for (int i = 0; i < 200; ++i) accents += "é";
  TSTD_WAIT_BAR bar;
  bar.SetTitle("T");
  bar.SetStepsCount(0);
  bar.Show();
  bar.StepAction(accents);
  bar.StepAction(accents + " 7");
  const std::string written = console.Written();
  EXPECT_EQ(written.substr(written.size() - 151), Line("  0 % " + accents.substr(0, 2 * 71) + " 7", 71));
}

TEST(ConsoleDisplay, PositionsOutsideTheBarAreHarmless) {
  const Console console(Progress::Always);
  TSTD_WAIT_BAR bar;
  bar.SetTitle("T");
  bar.Show();
  bar.StepAction("");
  bar.SetStepsCount(1);  // the bar is at 10 of now 5
  const std::string written = console.Written();
  EXPECT_EQ(written.substr(written.size() - 80), Line("T [####################] 100 % "));
}

}  // namespace
}  // namespace mth_test
