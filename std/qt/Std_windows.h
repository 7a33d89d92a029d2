#pragma once

#include "std/Std_export.h"
#include "std/qt/Std_custom_dialog.h"
#include "std/qt/Std_texteditor.h"
#include "std/qt/Std_wait_bar_window.h"

/// The windows that the library exports for client programs; it never opens them itself. They are hidden at
/// first. They belong to the library, which deletes them at the start of the QApplication's destruction: do
/// not delete them, and do not use them afterwards.
struct STD_WINDOWS {
  /// A question with two answers.
  STD_CUSTOM_DIALOG* Std_Custom_Dialog_2B = nullptr;
  /// A question with three answers.
  STD_CUSTOM_DIALOG* Std_Custom_Dialog_3B = nullptr;
  /// The progress window.
  STD_WAIT_BAR_WINDOW* STD_WAIT_BAR = nullptr;
  /// The text editor.
  STD_TEXT_EDITOR_WINDOW* STD_TEXT_EDITOR = nullptr;
};

/// Gives the exported windows; there is one set of them, created at the first call under a QApplication.
/// @return  false, with null windows, without a QApplication, outside its thread or without memory.
MTH_EXPORT bool Std_CreateWindows(STD_WINDOWS& windows);
