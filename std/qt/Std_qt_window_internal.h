#pragma once

#include <QString>
#include <QWidget>
#include <string>

namespace mth_internal {

/// Whether windows can be shown: a QApplication stands and the caller is in its thread.
bool IsUserInterfaceThread();

/// Texts of the library are UTF-8.
inline QString ToQString(const std::string& text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// What every window of the library has in common: it stays on top and leaves the host running when it is the
/// last one to close.
void MakeLibraryWindow(QWidget& window, Qt::WindowFlags flags);

/// Deletes a window from `new` with the application, if nobody does so before: it must not outlive it.
void DeleteWithApplication(QWidget& window);

/// Puts a window in the middle of the host's screen.
void CentreOnScreen(QWidget& window);

}  // namespace mth_internal
