#include <charconv>
#include <cstring>
#include <exception>
#include <filesystem>

#include "mth/core/Mth_text_file_internal.h"

namespace mth_internal {

FixedNumber::FixedNumber(double value, int decimals) : length_(WriteFixed(value, decimals, text_)) {}

std::filesystem::path PathOf(const char* utf8) {
#if defined(_WIN32)
  return std::filesystem::path(reinterpret_cast<const char8_t*>(utf8));
#else
  return std::filesystem::path(utf8);  // bytes are bytes
#endif
}

File OpenFile(const char* path, const char* mode) {
  if (path == nullptr) return nullptr;
#if defined(_WIN32)
  // The narrow functions would take the path to be in the code page of the machine.
  try {
    return File(_wfopen(PathOf(path).c_str(), std::wstring(mode, mode + std::strlen(mode)).c_str()));
  } catch (const std::exception&) {  // no memory, or no UTF-8
    return nullptr;
  }
#else
  return File(std::fopen(path, mode));
#endif
}

TextWriter::TextWriter(const char* path) : file_(OpenFile(path, "wb")), isWritten_(file_ != nullptr) {}

TextWriter& TextWriter::Text(std::string_view text) {
  isWritten_ = isWritten_ && std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size();
  return *this;
}

TextWriter& TextWriter::Integer(long long value) {
  char text[24];
  const char* end = std::to_chars(text, text + sizeof text, value).ptr;
  return Text({text, static_cast<std::size_t>(end - text)});
}

bool TextWriter::Close() {
  if (file_ == nullptr) return false;
  return std::fclose(file_.release()) == 0 && isWritten_;
}

bool ReadTextFile(const char* path, std::string& text) {
  const File file = OpenFile(path, "rb");
  if (!file) return false;
  text.clear();
  constexpr std::size_t kLargestText = std::size_t{1} << 30;  // a device may never end
  char block[4096];
  while (const std::size_t got = std::fread(block, 1, sizeof block, file.get())) {
    if (text.size() > kLargestText - got) return false;
    text.append(block, got);
  }
  return std::ferror(file.get()) == 0;
}

}  // namespace mth_internal
