#pragma once

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <utility>

namespace mth_test {

/// A path of its own in the folder for temporary files; the file is removed at the end of its life. Unlike
/// support/text_file.h it needs neither POSIX nor GoogleTest.
class TemporaryPath {
 public:
  TemporaryPath() {
    std::random_device device;
    const auto folder = std::filesystem::temp_directory_path();
    path_ = (folder / ("mth_operation_" + std::to_string(device()) + std::to_string(device()))).string();
  }
  /// One whose name is given.
  explicit TemporaryPath(std::string path) : path_(std::move(path)) {}
  ~TemporaryPath() { std::remove(path_.c_str()); }
  TemporaryPath(const TemporaryPath&) = delete;
  TemporaryPath& operator=(const TemporaryPath&) = delete;

  const std::string& Path() const { return path_; }

  /// The bytes of the file; "absent" without one.
  std::string Bytes() const {
    std::FILE* const file = std::fopen(path_.c_str(), "rb");
    if (file == nullptr) return "absent";
    std::string bytes;
    for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) bytes.push_back(static_cast<char>(c));
    std::fclose(file);
    return bytes;
  }
  void Write(const std::string& bytes) const {
    std::FILE* const file = std::fopen(path_.c_str(), "wb");
    if (file == nullptr) return;
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
  }

 private:
  std::string path_;
};

}  // namespace mth_test
