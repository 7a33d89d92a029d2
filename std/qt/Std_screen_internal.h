#pragma once

class QWidget;

namespace mth_internal {

/// Waits until the window system has room for the pixels of a window that was just shown, so that they can be
/// painted without pumping messages. On X11 and Wayland nothing of the host runs meanwhile: what concerns its
/// windows waits for the host's own loop. A window system that shows nothing within a second is left alone.
void WaitForScreen(QWidget& window);

}  // namespace mth_internal
