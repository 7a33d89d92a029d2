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

#if defined(_WIN32)
HANDLE ConsoleOf(std::FILE* stream) {
  return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
}

// False for what is no console.
bool PutOnConsole(std::FILE* stream, const std::string& text) {
  DWORD mode = 0;
  if (GetConsoleMode(ConsoleOf(stream), &mode) == 0) return false;
  const auto bytes = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');  // never longer than the bytes
  wide.resize(static_cast<std::size_t>(
      MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), static_cast<int>(wide.size()))));
  std::fflush(stream);
  DWORD written = 0;
  return WriteConsoleW(ConsoleOf(stream), wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr) !=
         0;
}
#endif

// 0 where it is not known.
int ToldColumns([[maybe_unused]] std::FILE* stream) {
#if defined(_WIN32)
  CONSOLE_SCREEN_BUFFER_INFO info;
  return GetConsoleScreenBufferInfo(ConsoleOf(stream), &info) != 0
             ? info.srWindow.Right - info.srWindow.Left + 1
             : 0;
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

void PutText(std::FILE* stream, const std::string& text) {
#if defined(_WIN32)
  if (PutOnConsole(stream, text)) return;  // which would take the bytes to be in its own code page
#endif
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}

}  // namespace mth_internal
