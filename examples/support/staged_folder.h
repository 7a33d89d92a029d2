#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "support/manifest.h"

namespace example {

/// A step of putting results into their places, which can be taken back.
struct Move {
  std::filesystem::path from;
  std::filesystem::path to;
};

/// Whether a place is a folder or lies in it, as far as both exist; links are followed.
bool IsWithin(const std::filesystem::path& place, const std::filesystem::path& folder);

/// While it lives, no other run looks at the places of results in these folders or puts any there: a list of
/// results and the files that it names change together. Nothing is kept out where the file system knows no
/// locks.
class FolderLock {
 public:
  /// Folders that do not exist are passed over.
  explicit FolderLock(const std::vector<std::filesystem::path>& folders);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  std::vector<int> locked_;
};

/// The results of a run for one folder, kept in a hidden folder inside it until all are complete. What is
/// left there goes with the object, and what a killed run has left there goes when the next one comes.
class StagedFolder {
 public:
  /// Takes back what a killed run has left half done.
  /// @param inputs  what the run reads: it stays, whatever is written.
  StagedFolder(std::filesystem::path folder, std::string host, const std::vector<std::string>& inputs);
  ~StagedFolder();
  StagedFolder(const StagedFolder&) = delete;
  StagedFolder& operator=(const StagedFolder&) = delete;

  const std::filesystem::path& GetPath() const { return folder_; }

  /// Where to write the file of that name for now.
  /// @param isAlone  the file was asked for by its own name: later runs that do not write it leave it there.
  /// @throws Failure  when the folder cannot be written.
  std::filesystem::path Stage(const std::string& name, bool isAlone);

  /// @throws Failure  when the place of that result is taken by what the host did not write, or by what has
  /// changed since or is write-protected (unless `isForced`); always when it is an input, a link or no
  /// regular file.
  void CheckPlace(const std::string& name, bool isForced) const;

  /// The steps that put the results in place: former results step aside, then the new ones come, the manifest
  /// last. Results of an earlier run that this one did not write step aside too: they would pass for its own,
  /// unless they tell by their names that they are of another scan.
  std::vector<Move> PlanMoves();

 private:
  void CreateStaging();
  bool TryStaging();
  void CreateFolder();
  bool Stays(const std::string& name, const ManifestEntry& entry) const;
  void ClearDeadRuns() const;

  std::filesystem::path folder_;
  std::string host_;
  std::vector<std::string> inputs_;
  std::filesystem::path staging_;               // empty until the first file
  std::vector<std::filesystem::path> created_;  // folders made for this run, outermost first
  int mark_ = -1;                               // locked while this run lives
  Manifest written_;                            // names of this run
};

}  // namespace example
