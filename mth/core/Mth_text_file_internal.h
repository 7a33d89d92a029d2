#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "mth/core/Mth_number_text_internal.h"

namespace mth_internal {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// A path in UTF-8 as the standard library takes it; may throw.
std::filesystem::path PathOf(const char* utf8);

/// std::fopen for a path in UTF-8, on Windows as well. @return null for a null path and when it cannot be
/// opened.
File OpenFile(const char* path, const char* mode);

/// A number in fixed notation (WriteFixed), kept inside the object.
class FixedNumber {
 public:
  /// @param decimals  at most kMostDecimals.
  FixedNumber(double value, int decimals);
  std::string_view View() const { return {text_, length_}; }

 private:
  char text_[kLongestFixed];
  std::size_t length_;
};

/// A text file being written, the same bytes on every platform: lines end with a line feed. The first failure
/// makes the rest a no-op; Close tells.
class TextWriter {
 public:
  /// Creates or truncates the file.
  explicit TextWriter(const char* path);
  /// Whether the file is open and nothing has failed so far.
  bool IsWritten() const { return isWritten_; }
  TextWriter& Text(std::string_view text);
  TextWriter& Fixed(double value, int decimals) { return Text(FixedNumber(value, decimals).View()); }
  TextWriter& Integer(long long value);
  /// @return  whether everything reached the file.
  bool Close();

 private:
  File file_;
  bool isWritten_;
};

/// Reads a whole text file. @return false when it cannot be opened or read, or is larger than 1 GiB; may
/// throw std::bad_alloc.
bool ReadTextFile(const char* path, std::string& text);

}  // namespace mth_internal
