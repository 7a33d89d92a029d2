#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <zlib.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace mth_test {

/// A folder of its own for a test, removed with what it holds.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "mth_examples_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no scratch folder");
    path_ = pattern;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  std::size_t CountEntries() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::recursive_directory_iterator(path_), {}));
  }

 private:
  std::filesystem::path path_;
};

inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

/// The content of a gzip file.
inline std::string ReadGzip(const std::string& path) {
  const gzFile file = gzopen(path.c_str(), "rb");
  std::string content;
  std::array<char, 4096> block{};
  for (int count = 0; (count = gzread(file, block.data(), block.size())) > 0;) {
    content.append(block.data(), static_cast<std::size_t>(count));
  }
  gzclose(file);
  return content;
}

/// The text as one word for the shell; it holds no quote.
inline std::string Quoted(const std::string& text) {
  std::string word(1, '\'');
  word += text;
  return word += '\'';
}

/// What a program left behind.
struct ProgramRun {
  int status;
  std::string output;
  std::string errors;
};

/// Runs a program with a line of arguments, in a shell.
inline ProgramRun RunProgram(const std::string& program, const std::string& arguments) {
  const ScratchFolder folder;
  const std::string command =
      Quoted(program) + " " + arguments + " >" + Quoted(folder / "out") + " 2>" + Quoted(folder / "err");
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(folder / "out"), ReadFile(folder / "err")};
}

/// A NIfTI-1 file, written field by field as the format lays it out.
struct NiftiFile {
  std::array<std::int16_t, 8> dimensions{2, 1, 1, 1, 1, 1, 1, 1};
  std::array<float, 3> voxelSize{1.0F, 1.0F, 1.0F};
  std::int16_t datatype = 2;  // 8-bit unsigned
  float slope = 0.0F;
  float intercept = 0.0F;
  char units = 2;  // millimetres
  bool isBigEndian = false;
  bool isMirrored = false;  // a place in the patient whose x runs the other way
  bool hasPlace = false;
  std::string voxels;

  template <class T>
  std::string Stored(T value) const {
    std::string bytes(sizeof(T), '\0');
    std::memcpy(bytes.data(), &value, sizeof(T));
    if (isBigEndian != (std::endian::native == std::endian::big)) bytes.assign(bytes.rbegin(), bytes.rend());
    return bytes;
  }

  template <class T>
  void SetVoxels(const std::vector<int>& values) {
    voxels.clear();
    for (const int value : values) voxels += Stored(static_cast<T>(value));
  }

  std::string Bytes(std::int16_t bitsPerVoxel) const {
    std::string header(352, '\0');
    const auto put = [&](std::size_t offset, const std::string& bytes) {
      header.replace(offset, bytes.size(), bytes);
    };
    put(0, Stored(std::int32_t{348}));
    for (std::size_t i = 0; i < 8; ++i) put(40 + 2 * i, Stored(dimensions[i]));
    put(70, Stored(datatype));
    put(72, Stored(bitsPerVoxel));
    for (std::size_t i = 0; i < 3; ++i) put(80 + 4 * i, Stored(voxelSize[i]));
    put(108, Stored(352.0F));
    put(112, Stored(slope));
    put(116, Stored(intercept));
    header[123] = units;
    if (hasPlace) {
      put(254, Stored(std::int16_t{1}));
      const float x = isMirrored ? -voxelSize[0] : voxelSize[0];
      const std::array<float, 12> rows{x, 0, 0, 0, 0, voxelSize[1], 0, 0, 0, 0, voxelSize[2], 0};
      for (std::size_t i = 0; i < 12; ++i) put(280 + 4 * i, Stored(rows[i]));
    }
    put(344, std::string("n+1\0", 4));
    return header + voxels;
  }
};

}  // namespace mth_test
