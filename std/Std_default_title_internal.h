#pragma once

#include "std/Std_display.h"

namespace mth_internal {

/// The title of a message without a caption, on every display.
inline const char* DefaultTitle(MessageKind kind) {
  switch (kind) {
    case MessageKind::Warning:
      return "Avertissement";
    case MessageKind::Error:
      return "Erreur";
    case MessageKind::Confirmation:
      return "Confirmation";
    default:
      return "Information";
  }
}

}  // namespace mth_internal
