#include <charconv>

#include "mth/core/Mth_text_file_internal.h"

namespace mth_internal {

FixedNumber::FixedNumber(double value, int decimals) {
  char* const end = std::to_chars(text_, text_ + sizeof text_, value, std::chars_format::fixed, decimals).ptr;
  length_ = static_cast<std::size_t>(end - text_);
}

TextWriter::TextWriter(const char* path)
    : file_(path != nullptr ? std::fopen(path, "wt") : nullptr), isWritten_(file_ != nullptr) {}

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
  const File file(path != nullptr ? std::fopen(path, "rt") : nullptr);
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
