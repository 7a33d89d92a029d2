#include "std/Std_terminal_internal.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <io.h>
#include <windows.h>
#elif __has_include(<sys/ioctl.h>)
#include <sys/ioctl.h>
#include <unistd.h>
#else
#include <unistd.h>
#endif

namespace mth_internal {
namespace {

// 0 where it is not known.
int ToldColumns([[maybe_unused]] std::FILE* stream) {
#if defined(_WIN32)
  CONSOLE_SCREEN_BUFFER_INFO info;
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
  return GetConsoleScreenBufferInfo(handle, &info) != 0 ? info.srWindow.Right - info.srWindow.Left + 1 : 0;
#elif defined(TIOCGWINSZ)
  winsize size = {};
  return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
#else
  return 0;
#endif
}

}  // namespace

bool IsTerminal(std::FILE* stream) {
#if defined(_WIN32)
  return _isatty(_fileno(stream)) != 0;
#else
  return isatty(fileno(stream)) != 0;
#endif
}

int TerminalColumns(std::FILE* stream) {
  constexpr int kUsualColumns = 80;
  const int columns = ToldColumns(stream);
  return columns > 0 ? columns : kUsualColumns;
}

}  // namespace mth_internal
