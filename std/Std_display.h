#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "std/Std_export.h"

/// The icon, and the default title, of a message.
enum class MessageKind : std::uint8_t { Warning, Error, Information, Confirmation, Custom };

/// What a toolkit paints for one open progress window. All state and arithmetic are in TSTD_WAIT_BAR: a view
/// only shows what it is told. Destroying it closes the window and gives the default cursor back.
class MTH_EXPORT STD_WAIT_BAR_VIEW {
 public:
  virtual ~STD_WAIT_BAR_VIEW();
  /// Shows what is being computed.
  virtual void SetTitle(const std::string& text) = 0;
  /// Shows the current step and repaints at once: the computation does not pump window messages.
  virtual void SetAction(const std::string& text) = 0;
  /// Sets the end of the bar; its start is 0.
  virtual void SetMaximum(int maximum) = 0;
  /// Moves the bar and repaints at once.
  virtual void SetPosition(int position) = 0;
  /// Makes the window visible: it is created hidden.
  virtual void Show() = 0;
  /// Whether the person wants the run to end, asked from the computing thread at most once per iteration.
  /// Once true it stays true. One that throws says no.
  /// @return  false, unless the toolkit's view says otherwise.
  virtual bool IsCancelRequested() const;
};

/// What a host or a toolkit implements to show messages and progress to people.
///
/// A display may throw: the library contains the exception, a message then answers 0 and a progress window
/// goes on without its view. It is called in the middle of operations, and may cancel them, but must not
/// change the objects that they work on.
class MTH_EXPORT STD_DISPLAY {
 public:
  virtual ~STD_DISPLAY();
  /// Shows a message with one OK button and waits for its end, if the display waits at all.
  /// @param caption  title; empty means the default title of the kind.
  /// @return         the toolkit's result code.
  virtual int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) = 0;
  /// Opens a progress window, hidden, with the hourglass cursor.
  /// @return  the view; null when the display shows no progress.
  virtual std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() = 0;
  /// Whether the host wants every run to end, with a progress window or without. Asked from the computing
  /// thread, at most once per iteration or 1,000 evaluations. One that throws says no. The runs only ask: the
  /// host takes its wish back before the next run.
  /// @return  false, unless the host says otherwise.
  virtual bool IsCancelRequested() const;
};

/// Installs the display that the library reports to. Not synchronised: install it before computing.
/// @param display  borrowed, must outlive its use; null installs the default, which writes to standard error
///                 and never blocks.
/// @return         the former display, null for the default.
MTH_EXPORT STD_DISPLAY* Std_SetDisplay(STD_DISPLAY* display);

/// Whether the installed display asks to end the run, for runs without a progress window; those with one ask
/// TSTD_WAIT_BAR::IsCancelRequested.
/// @return  false without a wish, and for a display that throws.
MTH_EXPORT bool Std_IsCancelRequested() noexcept;

/// Installs a display for the life of this object, then puts the former one back.
class MTH_EXPORT STD_DISPLAY_SCOPE {
 public:
  /// @param display  borrowed, as by Std_SetDisplay; null for the default.
  explicit STD_DISPLAY_SCOPE(STD_DISPLAY* display);
  ~STD_DISPLAY_SCOPE();
  STD_DISPLAY_SCOPE(const STD_DISPLAY_SCOPE&) = delete;
  STD_DISPLAY_SCOPE& operator=(const STD_DISPLAY_SCOPE&) = delete;

 private:
  STD_DISPLAY* former_;
};
