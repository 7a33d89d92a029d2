#include "support/results.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "support/cancellation.h"
#include "support/failure.h"

namespace example {

namespace fs = std::filesystem;

namespace {

// The folder itself, or the nearest one above it that exists.
fs::path NearestExisting(fs::path path) {
  std::error_code error;
  while (!fs::exists(path, error) && path.has_relative_path()) path = path.parent_path();
  return path;
}

void Rename(const Move& move) {
  std::error_code error;
  const bool isTaken = fs::exists(fs::symlink_status(move.to, error));
  if (!isTaken) fs::rename(move.from, move.to, error);
  if (isTaken || error)
    throw Failure("cannot put " + move.to.string() +
                  " into its place: " + (isTaken ? "another file is there" : error.message()));
}

// All of the steps, or none.
void MoveAll(const std::vector<Move>& moves) {
  std::size_t done = 0;
  try {
    for (; done < moves.size(); ++done) Rename(moves[done]);
  } catch (const Failure&) {
    std::error_code ignored;
    while (done-- > 0) fs::rename(moves[done].to, moves[done].from, ignored);
    throw;
  }
}

}  // namespace

void WriteBytes(const std::string& path, const void* bytes, std::size_t count) {
  errno = 0;
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) throw WriteFailure::FromErrno();
  const bool isWritten = std::fwrite(bytes, 1, count, file) == count && std::fflush(file) == 0;
  const int reason = errno;
  const bool isClosed = std::fclose(file) == 0;
  if (!isWritten) errno = reason;
  if (!isWritten || !isClosed) throw WriteFailure::FromErrno();
}

Results::Results(std::string host, std::vector<std::string> inputs, bool isForced)
    : host_(std::move(host)), inputs_(std::move(inputs)), isForced_(isForced) {}

StagedFolder& Results::FolderOf(const std::string& path) {
  std::error_code error;
  // As the system takes it: ".." after a link leads out of what the link names.
  fs::path folder = fs::weakly_canonical(path.empty() ? "." : path, error);
  const auto fail = [&](const std::string& reason) {
    throw Failure("cannot write into the folder " + path + ": " + reason);
  };
  if (!error) folder = fs::absolute(folder, error);
  if (error) fail(error.message());
  if (!folder.has_filename()) folder = folder.parent_path();  // "folder/" means "folder"
  const fs::path existing = NearestExisting(folder);
  if (!fs::is_directory(existing, error)) fail(existing.string() + " is no folder");
  if (access(existing.c_str(), W_OK | X_OK) != 0) fail(WriteFailure::FromErrno().what());
  for (const auto& staged : folders_) {
    if (staged->GetPath() == folder || fs::equivalent(staged->GetPath(), folder, error)) return *staged;
  }
  folders_.push_back(std::make_unique<StagedFolder>(folder, host_, inputs_));
  return *folders_.back();
}

void Results::OpenFolder(const std::string& path) {
  if (path.empty()) throw Failure("the folder of the results needs a name");
  main_ = &FolderOf(path);
}

// Two results of one name would take each other's place.
void Results::Append(std::vector<Target>& targets, StagedFolder& folder, const std::string& name) {
  for (const Target& target : targets) {
    if (target.folder == &folder && target.name == name)
      throw Failure((folder.GetPath() / name).string() + " would be written twice");
  }
  targets.push_back({&folder, name});
}

void Results::AnnounceInto(StagedFolder& folder, const std::string& name) {
  Append(announced_, folder, name);
  const FolderLock lock({folder.GetPath()});
  folder.CheckPlace(name, isForced_);
}

void Results::Announce(const std::vector<std::string>& names) {
  for (const std::string& name : names) AnnounceInto(*main_, name);
}

// A single file goes into a folder that is there, or that this run makes: another name may be a slip.
StagedFolder& Results::FolderAround(const std::string& file) {
  const fs::path path(file);
  std::error_code error;
  if (!path.has_filename()) throw Failure(file + " is a folder: results do not replace one");
  const std::string folder = path.has_parent_path() ? path.parent_path().string() : ".";
  StagedFolder& around = FolderOf(folder);
  if (&around != main_ && !fs::is_directory(folder, error))
    throw Failure("cannot write " + file + ": no folder " + folder);
  return around;
}

void Results::AnnounceFile(const std::string& path) {
  if (path.empty()) return;
  AnnounceInto(FolderAround(path), fs::path(path).filename().string());
}

void Results::WriteInto(StagedFolder& folder, const std::string& name, bool isAlone, const Writer& write) {
  ThrowIfCancelled();
  Append(targets_, folder, name);
  try {
    write(folder.Stage(name, isAlone).string());
  } catch (const WriteFailure& failure) {
    throw Failure("cannot write " + (folder.GetPath() / name).string() + ": " + failure.what());
  }
}

void Results::Write(const std::string& name, const Writer& write) {
  WriteInto(*main_, name, false, write);
  names_.push_back(name);
}

void Results::WriteText(const std::string& name, const std::string& text) {
  Write(name, [&](const std::string& path) { WriteBytes(path, text.data(), text.size()); });
}

void Results::AnnounceInFolder(const std::string& folder, const std::string& name) {
  if (!folder.empty()) AnnounceInto(FolderOf(folder), name);
}

void Results::WriteInFolder(const std::string& folder, const std::string& name, const Writer& write) {
  if (!folder.empty()) WriteInto(FolderOf(folder), name, false, write);
}

void Results::WriteFile(const std::string& path, const Writer& write) {
  if (path.empty()) return;
  WriteInto(FolderAround(path), fs::path(path).filename().string(), true, write);
}

void Results::WriteTextFile(const std::string& path, const std::string& text) {
  WriteFile(path, [&](const std::string& place) { WriteBytes(place, text.data(), text.size()); });
}

void Results::Commit() {
  std::vector<fs::path> places;
  for (const auto& folder : folders_) places.push_back(folder->GetPath());
  const FolderLock lock(places);
  for (const Target& target : targets_) target.folder->CheckPlace(target.name, isForced_);
  const UninterruptedScope scope;
  ThrowIfCancelled();
  std::vector<Move> moves;
  for (const auto& folder : folders_) {
    const std::vector<Move> steps = folder->PlanMoves();
    moves.insert(moves.end(), steps.begin(), steps.end());
  }
  MoveAll(moves);
  folders_.clear();
  announced_.clear();
  targets_.clear();
  main_ = nullptr;
}

}  // namespace example
