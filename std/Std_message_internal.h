#pragma once

#include <new>

#include "std/Std_message.h"

namespace mth_internal {

/// Shows a failure with the caption that nearly all of them have. Without memory for its text nothing is
/// shown: the caller's failure value tells, and nothing may be thrown into the host.
inline void ShowInformation(const char* text) noexcept {
  try {
    Std_ShowMessage(text, MessageKind::Information, "Information");
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace mth_internal
