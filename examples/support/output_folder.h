#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace example {

/// Writes the files of a run into a folder, all or none: they are written into a folder beside it, which
/// takes its place, or hands its files over, when all are complete. Until then the destructor removes them.
class OutputFolder {
 public:
  /// Checks that the folder can be written, or created; touches nothing.
  /// @throws Failure  when it cannot.
  explicit OutputFolder(const std::string& path);
  ~OutputFolder();
  OutputFolder(const OutputFolder&) = delete;
  OutputFolder& operator=(const OutputFolder&) = delete;

  /// Where to write the file of that name for now.
  std::string PathOf(const std::string& name);

  /// Writes a text file.
  void WriteText(const std::string& name, const std::string& text);

  /// Names of the files so far, in order.
  const std::vector<std::string>& GetNames() const { return names_; }

  /// Puts the files into the folder. Files of an earlier run whose names start with one of `ownStems`, and
  /// that this run did not write, are removed: they would pass for results of this one.
  void Commit(const std::vector<std::string>& ownStems);

 private:
  void RemoveStaleFiles(const std::vector<std::string>& ownStems) const;

  std::filesystem::path path_;
  std::filesystem::path staging_;  // empty until the first file
  std::vector<std::string> names_;
};

}  // namespace example
