#include <std/Std.h>

// Messages and progress alone, without the numerical library.
int main() {
  TSTD_WAIT_BAR bar;
  bar.SetStepsCount(2);
  bar.StepAction("first");
  return Std_ShowMessage("ready", MessageKind::Information, "Host") == 1 && bar.GetPosition() == 5 ? 0 : 1;
}
