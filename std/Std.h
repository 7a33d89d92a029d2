#pragma once

/// @file
/// Everything that the library says to people: messages, progress and the displays that show them.

#include "std/Std_console_display.h"
#include "std/Std_display.h"
#include "std/Std_message.h"
#include "std/Std_wait_bar.h"
