#pragma once

#include "std/Std_message.h"

namespace mth_internal {

/// Shows a failure. Every message of the library goes through here: without memory for its text nothing is
/// shown, as the caller's failure value tells and nothing may be thrown into the host.
inline void ShowFailure(const char* text, MessageKind kind, const char* caption) noexcept {
  try {
    Std_ShowMessage(text, kind, caption);
  } catch (...) {
  }
}

/// The same with the kind and the caption that nearly all of them have.
inline void ShowInformation(const char* text) noexcept {
  ShowFailure(text, MessageKind::Information, "Information");
}

}  // namespace mth_internal
