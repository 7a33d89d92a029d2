#include "support/output_folder.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>

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

[[noreturn]] void CannotWrite(const fs::path& path) {
  throw Failure("cannot write into the folder " + path.string());
}

}  // namespace

OutputFolder::OutputFolder(const std::string& path) {
  std::error_code error;
  path_ = fs::absolute(path, error).lexically_normal();
  if (error || path.empty()) CannotWrite(path);
  if (!path_.has_filename()) path_ = path_.parent_path();  // "folder/" means "folder"
  const fs::path existing = NearestExisting(path_);
  if (!fs::is_directory(existing, error) || access(existing.c_str(), W_OK | X_OK) != 0) CannotWrite(path);
}

OutputFolder::~OutputFolder() {
  std::error_code ignored;
  if (!staging_.empty()) fs::remove_all(staging_, ignored);
}

std::string OutputFolder::PathOf(const std::string& name) {
  if (staging_.empty()) {
    std::error_code error;
    const bool folderExists = fs::is_directory(path_, error);
    if (!folderExists) fs::create_directories(path_.parent_path(), error);
    const std::string stagingName = path_.filename().string() + ".part-" + std::to_string(getpid());
    // Inside an existing folder, since only that one is known to be writable and on the same disc.
    const fs::path staging = (folderExists ? path_ : path_.parent_path()) / stagingName;
    if (!fs::create_directory(staging, error)) CannotWrite(path_);
    staging_ = staging;
  }
  names_.push_back(name);
  return (staging_ / name).string();
}

void OutputFolder::WriteText(const std::string& name, const std::string& text) {
  const std::string path = PathOf(name);
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw Failure("cannot write " + (path_ / name).string());
}

void OutputFolder::Commit(const std::vector<std::string>& ownStems) {
  std::error_code error;
  if (!fs::exists(path_, error)) {
    fs::rename(staging_, path_, error);
    if (error) CannotWrite(path_);
  } else {
    RemoveStaleFiles(ownStems);
    for (const std::string& name : names_) {
      fs::rename(staging_ / name, path_ / name, error);
      if (error) CannotWrite(path_);
    }
    fs::remove(staging_, error);
  }
  staging_.clear();
}

void OutputFolder::RemoveStaleFiles(const std::vector<std::string>& ownStems) const {
  std::error_code error;
  std::vector<fs::path> stale;
  for (const fs::directory_entry& entry : fs::directory_iterator(path_, error)) {
    const std::string name = entry.path().filename().string();
    const bool isOwn = std::any_of(ownStems.begin(), ownStems.end(),
                                   [&](const std::string& stem) { return name.starts_with(stem); });
    const bool isWritten = std::find(names_.begin(), names_.end(), name) != names_.end();
    if (isOwn && !isWritten && entry.is_regular_file(error)) stale.push_back(entry.path());
  }
  for (const fs::path& path : stale) fs::remove(path, error);
}

}  // namespace example
