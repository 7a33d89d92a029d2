#pragma once

#include "std/Std_display.h"

namespace mth_internal {

/// The display in use: the host's, or the console when none is installed.
STD_DISPLAY& CurrentDisplay();

}  // namespace mth_internal
