#pragma once

#include <string>

#include "std/Std_display.h"
#include "std/Std_export.h"

/// Shows a message to a person through the installed display.
///
/// The dialog has one button, OK, and stays on top. Routines that report a failure ignore the answer and go
/// on to their own failure value.
/// @param text     UTF-8.
/// @param caption  title of the dialog; empty keeps the default title of the kind.
/// @return         the display's result code (1 for OK on the default display); 0 when the display throws.
MTH_EXPORT int Std_ShowMessage(const std::string& text, MessageKind kind, const std::string& caption);
