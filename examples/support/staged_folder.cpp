#include "support/staged_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <set>
#include <utility>

#include "support/bids.h"
#include "support/dicom_io.h"
#include "support/failure.h"

namespace example {

namespace fs = std::filesystem;

namespace {

// What a staging folder holds.
constexpr const char* kPrefix = ".mth_part-";
constexpr const char* kMark = "mark";
constexpr const char* kUnlocked = "unlocked";  // the mark of a run that begins
constexpr const char* kNew = "new";
constexpr const char* kFormer = "former";
constexpr const char* kPlan = "plan";          // names and fingerprints of what this run puts in place
constexpr const char* kManifest = "manifest";  // the new one

[[noreturn]] void CannotWrite(const fs::path& path, const std::string& reason) {
  throw Failure("cannot write into the folder " + path.string() + ": " + reason);
}

// A commit that was killed between two steps: what it had put in place goes, what had stepped aside returns.
// The manifest is the last to move, so a commit that had put it in place was complete.
void TakeBack(const fs::path& folder, const fs::path& staging) {
  std::error_code error;
  for (const auto& [name, entry] : ReadManifest(staging / kPlan)) {
    const bool isInPlace =
        !fs::exists(staging / kNew / name, error) && FingerprintOf(folder / name) == entry.fingerprint;
    if (isInPlace) fs::remove(folder / name, error);
  }
  for (const fs::directory_entry& former : fs::directory_iterator(staging / kFormer, error)) {
    const fs::path place = folder / former.path().filename();
    if (!fs::exists(fs::symlink_status(place, error))) fs::rename(former.path(), place, error);
  }
}

// A former file that cannot return, as its place was taken meanwhile, stays for the user: without the mark
// nothing touches it any more.
void ClearStaging(const fs::path& folder, const fs::path& staging) {
  std::error_code ignored;
  const bool isHalf = fs::exists(staging / kManifest, ignored);
  if (isHalf) TakeBack(folder, staging);
  if (isHalf && !fs::is_empty(staging / kFormer, ignored)) {
    fs::remove(staging / kMark, ignored);
  } else {
    fs::remove_all(staging, ignored);
  }
}

void ClearIfDead(const fs::path& folder, const fs::path& staging) {
  constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC;
  int mark = open((staging / kMark).c_str(), kFlags);
  if (mark < 0) mark = open((staging / kUnlocked).c_str(), kFlags);
  if (mark < 0) return;  // not one of ours
  if (flock(mark, LOCK_EX | LOCK_NB) == 0) ClearStaging(folder, staging);
  close(mark);
}

// Whether one of the files below a folder is that file, also under another name.
bool Holds(const fs::path& folder, const fs::path& file) {
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    std::error_code ignored;
    if (fs::equivalent(entry->path(), file, ignored)) return true;
  }
  return false;
}

// A folder that is read, or the index of a disc, stands for every DICOM file below it.
bool IsInput(const fs::path& place, const std::string& input) {
  std::error_code error;
  if (fs::equivalent(place, input, error)) return true;
  const bool isFolder = fs::is_directory(input, error);
  if (!isFolder && !IsDicomDirectory(input)) return false;
  const fs::path folder = isFolder ? fs::path(input) : fs::absolute(input, error).parent_path();
  return fs::is_regular_file(place, error) && IsDicomPath(place.string()) && Holds(folder, place);
}

bool IsAnyInput(const fs::path& place, const std::vector<std::string>& inputs) {
  return std::any_of(inputs.begin(), inputs.end(),
                     [&](const std::string& input) { return IsInput(place, input); });
}

bool IsProtected(const fs::path& place) {
  std::error_code error;
  return (fs::status(place, error).permissions() & fs::perms::owner_write) == fs::perms::none;
}

// That of another subject, session or contrast.
bool IsOfAnotherScan(const std::string& name, const Manifest& written) {
  const BidsName former = ParseBidsName(name);
  return former.IsBids() && std::none_of(written.begin(), written.end(), [&](const auto& entry) {
           return AreOfOneScan(former, ParseBidsName(entry.first));
         });
}

void WriteManifest(const fs::path& path, const Manifest& manifest) {
  errno = 0;
  std::ofstream file(path, std::ios::binary);
  if (!(file << ManifestText(manifest)).flush())
    throw Failure("cannot write " + path.string() + ": " + WriteFailure::FromErrno().what());
}

}  // namespace

bool IsWithin(const fs::path& place, const fs::path& folder) {
  std::error_code error;
  const fs::path inner = fs::weakly_canonical(place, error);
  const fs::path outer = fs::weakly_canonical(folder, error);
  const auto [end, rest] = std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end());
  return end == outer.end();
}

// In the order of their true names, each once: two runs that want the same folders never wait for each other.
FolderLock::FolderLock(const std::vector<fs::path>& folders) {
  std::error_code error;
  std::set<fs::path> places;
  for (const fs::path& folder : folders) {
    const fs::path place = fs::canonical(folder, error);
    if (!error) places.insert(place);
  }
  for (const fs::path& place : places) {
    const int folder = open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) continue;
    locked_.push_back(folder);
    flock(folder, LOCK_EX);
  }
}

FolderLock::~FolderLock() {
  for (const int folder : locked_) close(folder);
}

StagedFolder::StagedFolder(fs::path folder, std::string host, const std::vector<std::string>& inputs)
    : folder_(std::move(folder)), host_(std::move(host)), inputs_(inputs) {
  ClearDeadRuns();
}

StagedFolder::~StagedFolder() {
  std::error_code ignored;
  if (!staging_.empty()) ClearStaging(folder_, staging_);
  if (mark_ >= 0) close(mark_);
  std::for_each(created_.rbegin(), created_.rend(), [&](const fs::path& path) {
    fs::remove(path, ignored);  // stays where it holds something
  });
}

void StagedFolder::ClearDeadRuns() const {
  std::error_code error;
  std::vector<fs::path> found;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_, error)) {
    const bool isStaging = entry.path().filename().string().starts_with(kPrefix);
    if (isStaging && fs::is_directory(entry.symlink_status(error))) found.push_back(entry.path());
  }
  for (const fs::path& staging : found) ClearIfDead(folder_, staging);
}

// Keeps in mind what it has created itself: no link, which may lead nowhere, goes with a failed run.
void StagedFolder::CreateFolder() {
  std::error_code error;
  std::vector<fs::path> missing;
  for (fs::path path = folder_; !fs::exists(path, error) && path.has_relative_path();
       path = path.parent_path())
    missing.push_back(path);
  std::for_each(missing.rbegin(), missing.rend(), [&](const fs::path& path) {
    if (fs::create_directory(path, error)) created_.push_back(path);
  });
}

void StagedFolder::CreateStaging() {
  CreateFolder();
  while (!TryStaging()) close(std::exchange(mark_, -1));
  for (const char* name : {kNew, kFormer}) {
    if (mkdir((staging_ / name).c_str(), 0777) != 0) CannotWrite(folder_, WriteFailure::FromErrno().what());
  }
}

// False where another run that begins met the mark before it was locked, took it for a dead run's and clears
// the folder.
bool StagedFolder::TryStaging() {
  errno = 0;
  const auto check = [this](bool isDone) {
    if (!isDone) CannotWrite(folder_, WriteFailure::FromErrno().what());
  };
  // A name of its own: the number of the process is the same in many containers.
  std::string staging = (folder_ / (std::string(kPrefix) + "XXXXXX")).string();
  check(mkdtemp(staging.data()) != nullptr);
  staging_ = staging;
  // Locked before it has its name. Where the file system knows no locks, none can be had of a dead run's
  // either, and it stays.
  const fs::path unlocked = staging_ / kUnlocked;
  mark_ = open(unlocked.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  check(mark_ >= 0);
  if (flock(mark_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return false;
  const bool hasName = rename(unlocked.c_str(), (staging_ / kMark).c_str()) == 0;
  check(hasName || errno == ENOENT);
  return hasName;
}

fs::path StagedFolder::Stage(const std::string& name, bool isAlone) {
  if (staging_.empty()) CreateStaging();
  written_[name].isAlone = isAlone;
  return staging_ / kNew / name;
}

void StagedFolder::CheckPlace(const std::string& name, bool isForced) const {
  const fs::path place = folder_ / name;
  const fs::path list = folder_ / ManifestName(host_);
  std::error_code error;
  const fs::file_status listStatus = fs::symlink_status(list, error);
  if (fs::exists(listStatus) && !fs::is_regular_file(listStatus))
    throw Failure(list.string() + " is no regular file: the list of results does not replace it");
  const fs::file_status status = fs::symlink_status(place, error);
  if (!fs::exists(status)) return;
  if (IsAnyInput(place, inputs_))
    throw Failure(place.string() + " is an input of this run: choose another output");
  if (fs::is_symlink(status)) throw Failure(place.string() + " is a link: results do not replace one");
  if (fs::is_directory(status)) throw Failure(place.string() + " is a folder: results do not replace one");
  if (!fs::is_regular_file(status))
    throw Failure(place.string() + " is no regular file: results do not replace it");
  if (isForced) return;
  const Manifest manifest = ReadManifest(folder_ / ManifestName(host_));
  const auto former = manifest.find(name);
  if (former == manifest.end())
    throw Failure(place.string() + " is not a result of " + host_ + ": --force replaces it");
  if (FingerprintOf(place) != former->second.fingerprint)
    throw Failure(place.string() + " was changed since " + host_ + " wrote it: --force replaces it");
  if (IsProtected(place)) throw Failure(place.string() + " is write-protected: --force replaces it");
}

// Whether a result of an earlier run that this one did not write is left where it is.
bool StagedFolder::Stays(const std::string& name, const ManifestEntry& entry) const {
  const bool writesFolder = std::any_of(written_.begin(), written_.end(),
                                        [](const auto& written) { return !written.second.isAlone; });
  return entry.isAlone || !writesFolder || IsAnyInput(folder_ / name, inputs_) ||
         IsProtected(folder_ / name) || IsOfAnotherScan(name, written_);
}

std::vector<Move> StagedFolder::PlanMoves() {
  if (staging_.empty()) return {};
  Manifest manifest;
  std::vector<Move> moves;
  std::error_code error;
  const auto stepAside = [&](const std::string& name) {
    const bool isThere = fs::exists(fs::symlink_status(folder_ / name, error));
    if (isThere) moves.push_back({folder_ / name, staging_ / kFormer / name});
  };
  for (const auto& [name, entry] : ReadManifest(folder_ / ManifestName(host_))) {
    if (written_.contains(name) || FingerprintOf(folder_ / name) != entry.fingerprint) continue;
    if (Stays(name, entry)) {
      manifest[name] = entry;
    } else {
      stepAside(name);
    }
  }
  for (auto& [name, entry] : written_) {
    const auto fingerprint = FingerprintOf(staging_ / kNew / name);
    if (!fingerprint) CannotWrite(folder_, name + " is not there any more");
    entry.fingerprint = *fingerprint;
    manifest[name] = entry;
    stepAside(name);
  }
  stepAside(ManifestName(host_));
  WriteManifest(staging_ / kPlan, written_);
  WriteManifest(staging_ / kManifest, manifest);
  for (const auto& [name, entry] : written_) moves.push_back({staging_ / kNew / name, folder_ / name});
  moves.push_back({staging_ / kManifest, folder_ / ManifestName(host_)});
  return moves;
}

}  // namespace example
