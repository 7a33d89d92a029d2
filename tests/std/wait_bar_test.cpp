#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "std/Std.h"
#include "support/recording_display.h"
#include "support/values.h"

namespace mth_test {
namespace {

TEST(WaitBar, StartsHiddenWithTenStepsOfTenUnits) {
  RecordingDisplay display;
  TSTD_WAIT_BAR bar;
  EXPECT_EQ(bar.GetTitle(), "Title");
  EXPECT_EQ(bar.GetAction(), "Action");
  EXPECT_EQ(bar.GetStepsCount(), 10);
  EXPECT_EQ(bar.GetMaximum(), 100);
  EXPECT_EQ(bar.GetPosition(), 0);
  EXPECT_FALSE(bar.IsVisible());
  ASSERT_EQ(display.windows.size(), 1U);
  EXPECT_EQ(display.windows[0]->title, "Title");
  EXPECT_EQ(display.windows[0]->initialAction, "Action");
  EXPECT_EQ(display.windows[0]->maximum, 100);
  bar.StepAction("a");
  EXPECT_EQ(bar.GetPosition(), 10);
}

TEST(WaitBar, AnnouncedStepsMoveTheBarFiveUnitsEach) {
  struct Case {
    int steps, maximum, unitsPerStep;
  };
  const Case cases[] = {{3, 15, 5},
                        {1, 5, 5},
                        {0, 0, 0},
                        {-4, 0, 0},
                        {1000, 5000, 5},
                        {kIntMax, kIntMax, 1},  // five times the count does not fit
                        {std::numeric_limits<int>::min(), 0, 0}};
  for (const Case& c : cases) {
    TSTD_WAIT_BAR bar;
    bar.SetStepsCount(c.steps);
    EXPECT_EQ(bar.GetStepsCount(), c.steps);
    EXPECT_EQ(bar.GetMaximum(), c.maximum) << c.steps;
    for (int step = 1; step <= 5; ++step) {
      bar.StepAction("");
      EXPECT_EQ(bar.GetPosition(), std::min(step * c.unitsPerStep, c.maximum)) << c.steps;
    }
  }
}

TEST(WaitBar, TellsTheViewEveryUnitAndStopsAtTheMaximum) {
  RecordingDisplay display;
  {
    TSTD_WAIT_BAR bar;
    bar.SetTitle("K Means en cours...");
    bar.SetStepsCount(1);
    bar.Show();
    bar.StepAction("un");
    bar.StepAction("deux");
    EXPECT_TRUE(bar.IsVisible());
    ASSERT_EQ(display.windows.size(), 1U);
    EXPECT_FALSE(display.windows[0]->isClosed);
  }
  const ShownProgress& shown = *display.windows[0];
  EXPECT_EQ(shown.title, "K Means en cours...");
  EXPECT_EQ(shown.actions, (std::vector<std::string>{"un", "deux"}));
  EXPECT_EQ(shown.maximum, 5);
  ASSERT_GE(shown.positions.size(), 5U);
  for (std::size_t i = 0; i < shown.positions.size(); ++i) {
    EXPECT_EQ(shown.positions[i], i < 5 ? static_cast<int>(i) + 1 : 5);
  }
  EXPECT_TRUE(shown.wasShown);
  EXPECT_TRUE(shown.isClosed);
}

TEST(WaitBar, GoesBackToAMaximumThatShrinks) {
  RecordingDisplay display;
  TSTD_WAIT_BAR bar;
  bar.StepAction("");
  bar.SetStepsCount(1);
  EXPECT_EQ(bar.GetPosition(), 5);
  EXPECT_EQ(display.windows[0]->positions.back(), 5);
}

// A display that throws wherever it is told to.
class FaultyDisplay : public STD_DISPLAY {
 public:
  enum class Fault { Creation, NoView, Title, Action, Maximum, Position, Show };
  explicit FaultyDisplay(Fault fault) : fault_(fault) {}

  int ShowMessage(const std::string&, MessageKind, const std::string&) override { throw 1; }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override {
    ThrowAt(Fault::Creation);
    if (fault_ == Fault::NoView) return nullptr;
    return std::make_unique<View>(*this);
  }
  int calls = 0;

 private:
  class View : public STD_WAIT_BAR_VIEW {
   public:
    explicit View(FaultyDisplay& display) : display_(display) {}
    void SetTitle(const std::string&) override { display_.ThrowAt(Fault::Title); }
    void SetAction(const std::string&) override { display_.ThrowAt(Fault::Action); }
    void SetMaximum(int) override { display_.ThrowAt(Fault::Maximum); }
    void SetPosition(int) override { display_.ThrowAt(Fault::Position); }
    void Show() override { display_.ThrowAt(Fault::Show); }

   private:
    FaultyDisplay& display_;
  };

  void ThrowAt(Fault place) {
    if (fault_ != place) return;
    ++calls;
    throw std::runtime_error("the toolkit is gone");
  }
  Fault fault_;
  STD_DISPLAY_SCOPE scope_{this};
};

TEST(WaitBar, GoesOnWithoutAViewThatFails) {
  using enum FaultyDisplay::Fault;
  for (const auto fault : {Creation, NoView, Title, Action, Maximum, Position, Show}) {
    FaultyDisplay display(fault);
    TSTD_WAIT_BAR bar;
    for (int round = 0; round < 2; ++round) {
      bar.SetTitle("t");
      bar.SetStepsCount(4);
      bar.Show();
      bar.StepAction("a");
    }
    EXPECT_EQ(bar.GetTitle(), "t");
    EXPECT_EQ(bar.GetAction(), "a");
    EXPECT_EQ(bar.GetPosition(), 10);
    EXPECT_TRUE(bar.IsVisible());
    EXPECT_EQ(display.calls, fault == NoView ? 0 : 1);  // dropped at its first fault
  }
}

// A display, and its view, that answer a question for cancellation by yes, by no or by an exception.
class AnsweringDisplay : public STD_DISPLAY {
 public:
  enum class Answer { No, Yes, Throw };
  AnsweringDisplay(Answer display, Answer view) : display_(display), view_(view) {}
  int ShowMessage(const std::string&, MessageKind, const std::string&) override { return 0; }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override { return std::make_unique<View>(view_); }
  bool IsCancelRequested() const override { return Give(display_); }

 private:
  static bool Give(Answer answer) {
    if (answer == Answer::Throw) throw std::runtime_error("the toolkit is gone");
    return answer == Answer::Yes;
  }
  struct View : STD_WAIT_BAR_VIEW {
    explicit View(Answer given) : answer(given) {}
    void SetTitle(const std::string&) override {}
    void SetAction(const std::string&) override {}
    void SetMaximum(int) override {}
    void SetPosition(int) override {}
    void Show() override {}
    bool IsCancelRequested() const override { return Give(answer); }
    Answer answer;
  };

  Answer display_, view_;
  STD_DISPLAY_SCOPE scope_{this};
};

TEST(WaitBar, IsCancelledByItsViewOrTheDisplay) {
  using enum AnsweringDisplay::Answer;
  for (const auto display : {No, Yes, Throw}) {
    for (const auto view : {No, Yes, Throw}) {
      const AnsweringDisplay answering(display, view);
      EXPECT_EQ(TSTD_WAIT_BAR().IsCancelRequested(), display == Yes || view == Yes);
      EXPECT_EQ(TSTD_WAIT_BAR(nullptr).IsCancelRequested(), display == Yes);
      EXPECT_EQ(Std_IsCancelRequested(), display == Yes);
    }
  }
  EXPECT_FALSE(TSTD_WAIT_BAR().IsCancelRequested());  // the default display has no wishes
}

TEST(Message, GoesToTheInstalledDisplay) {
  RecordingDisplay display;
  display.answer = 7;
  EXPECT_EQ(Std_ShowMessage("Erreur é", MessageKind::Error, ""), 7);
  ASSERT_EQ(display.messages.size(), 1U);
  EXPECT_EQ(display.messages[0], (ShownMessage{"Erreur é", MessageKind::Error, ""}));
  EXPECT_EQ(static_cast<int>(MessageKind::Information), 2);
}

TEST(Message, ThrowingDisplayAnswersZero) {
  FaultyDisplay display(FaultyDisplay::Fault::Creation);
  EXPECT_EQ(Std_ShowMessage("text", MessageKind::Information, "Information"), 0);
}

TEST(Display, ScopesNest) {
  RecordingDisplay outer;
  {
    RecordingDisplay inner;
    Std_ShowMessage("inner", MessageKind::Information, "");
    EXPECT_EQ(inner.messages.size(), 1U);
    const STD_DISPLAY_SCOPE toDefault(nullptr);
    EXPECT_EQ(Std_SetDisplay(&outer), nullptr);
  }
  Std_ShowMessage("outer", MessageKind::Information, "");
  EXPECT_EQ(outer.messages.size(), 1U);
  EXPECT_EQ(Std_SetDisplay(&outer), &outer);
}

}  // namespace
}  // namespace mth_test
