#include "std/Std_message.h"

#include "std/Std_display_internal.h"

int Std_ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) {
  try {
    return mth_internal::CurrentDisplay().ShowMessage(text, kind, caption);
  } catch (...) {
    return 0;
  }
}
