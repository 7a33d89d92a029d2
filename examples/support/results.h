#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/staged_folder.h"

namespace example {

/// Where a host puts its results, as its user asks for it.
struct OutputOptions {
  std::string path;       ///< folder, or file of a host that writes a single one
  std::string jsonPath;   ///< report for programs; empty: none
  bool isForced = false;  ///< may replace files that the host did not write
};

/// The results of a run: all of them are put into their places, or none. Only files that an earlier run of
/// the host wrote, and that nobody has changed since, are replaced or removed.
class Results {
 public:
  /// @param inputs  files that the run reads: no result replaces one of them.
  Results(std::string host, std::vector<std::string> inputs, bool isForced);

  /// The folder of the results that are written by name; touches nothing yet but what a killed run has left.
  /// @throws Failure  when it can neither be written nor created.
  void OpenFolder(const std::string& path);

  /// Refuses early what Commit would refuse after a long run.
  /// @throws Failure  when one of these results of the folder cannot be put into its place.
  void Announce(const std::vector<std::string>& names);

  /// The same for a single file outside the folder of the results; no name: nothing.
  void AnnounceFile(const std::string& path);

  using Writer = std::function<void(const std::string& path)>;
  /// Lets `write` write the file of that name, for now in a hidden place.
  /// @throws Failure  naming the file and the reason, when it throws a WriteFailure.
  void Write(const std::string& name, const Writer& write);
  void WriteText(const std::string& name, const std::string& text);

  /// The same for a file of another folder, which is created if it is missing; no folder: nothing.
  void AnnounceInFolder(const std::string& folder, const std::string& name);
  void WriteInFolder(const std::string& folder, const std::string& name, const Writer& write);

  /// The same for a single file outside the folder of the results; no name: nothing.
  void WriteFile(const std::string& path, const Writer& write);
  void WriteTextFile(const std::string& path, const std::string& text);

  /// Names of the files in the folder so far, in order.
  const std::vector<std::string>& GetNames() const { return names_; }

  /// Puts all files into their places; Ctrl-C waits meanwhile.
  /// @throws Failure    leaving everything as it was before the run.
  /// @throws Cancelled  likewise.
  void Commit();

 private:
  void AnnounceInto(StagedFolder& folder, const std::string& name);
  StagedFolder& FolderOf(const std::string& path);
  StagedFolder& FolderAround(const std::string& file);
  void WriteInto(StagedFolder& folder, const std::string& name, bool isAlone, const Writer& write);

  struct Target {
    StagedFolder* folder;
    std::string name;
  };
  static void Append(std::vector<Target>& targets, StagedFolder& folder, const std::string& name);

  std::string host_;
  std::vector<std::string> inputs_;
  bool isForced_;
  std::vector<std::unique_ptr<StagedFolder>> folders_;
  StagedFolder* main_ = nullptr;
  std::vector<std::string> names_;
  std::vector<Target> announced_;
  std::vector<Target> targets_;
};

/// Writes bytes as a file.
/// @throws WriteFailure  with the reason.
void WriteBytes(const std::string& path, const void* bytes, std::size_t count);

}  // namespace example
