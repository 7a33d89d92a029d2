#include "support/dicom_files.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "support/cancellation.h"
#include "support/dicom_io.h"
#include "support/dicom_toolkit.h"
#include "support/failure.h"
#include "support/text.h"

namespace example {

namespace fs = std::filesystem;

namespace {

constexpr int kDeepestFolder = 16;

// Links to folders are not followed: they may lead in a circle.
std::vector<std::string> FilesInFolder(const fs::path& folder) {
  std::vector<std::string> files;
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    ThrowIfCancelled();
    if (entry.depth() >= kDeepestFolder) entry.disable_recursion_pending();
    const bool isHidden = entry->path().filename().string().starts_with('.');
    if (isHidden) entry.disable_recursion_pending();
    if (isHidden || !entry->is_regular_file(error) || IsDicomDirectory(entry->path().string())) continue;
    if (LooksLikeDicom(entry->path().string())) files.push_back(entry->path().string());
  }
  if (error) throw Failure("cannot read the folder " + folder.string() + ": " + error.message());
  return files;
}

// The file that a record names by its folders, each at most one step down. Discs store names in capitals
// that systems show in small letters.
std::string ReferencedFile(const fs::path& folder, const std::string& id) {
  fs::path found = folder;
  for (std::size_t start = 0; start <= id.size();) {
    const std::size_t end = std::min(id.find('\\', start), id.size());
    std::string part = id.substr(start, end - start);
    if (part.empty() || part == "." || part == ".." || part.find('/') != std::string::npos)
      throw Failure("damaged DICOMDIR in " + folder.string() + ": it names a file outside its folder");
    std::error_code error;
    if (!fs::exists(found / part, error)) part = LowerCase(part);
    found /= part;
    start = end + 1;
  }
  std::error_code error;
  if (!fs::is_regular_file(found, error))
    throw Failure("the DICOMDIR names a file that is not there: " + found.string());
  return found.string();
}

std::vector<std::string> FilesOfDirectory(const std::string& path) {
  DcmFileFormat file;
  LoadDicomFile(file, path);
  DcmSequenceOfItems* records = nullptr;
  file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records);
  std::vector<std::string> files;
  DcmObject* record = nullptr;
  while (records != nullptr && (record = records->nextInContainer(record)) != nullptr) {
    DcmItem& item = *static_cast<DcmItem*>(record);
    const std::string id = DicomText(item, DCM_ReferencedFileID);
    const bool isImage = DicomText(item, DCM_DirectoryRecordType) == "IMAGE";
    if (isImage && !id.empty()) files.push_back(ReferencedFile(fs::path(path).parent_path(), id));
  }
  return files;
}

}  // namespace

bool IsDicomDirectory(const std::string& path) {
  return LowerCase(fs::path(path).filename().string()).starts_with("dicomdir");
}

bool LooksLikeDicom(const std::string& path) {
  const std::string ending = LowerCase(fs::path(path).extension().string());
  if (ending == ".dcm" || ending == ".ima" || ending == ".dicom") return true;
  std::array<char, 132> start{};
  std::ifstream file(path, std::ios::binary);
  if (!file) return true;  // one that may not be read could be a slice: who loads it names it
  return file.read(start.data(), start.size()) && std::string_view(&start[128], 4) == "DICM";
}

std::vector<std::string> FindDicomFiles(const std::string& path) {
  std::error_code error;
  std::vector<std::string> files{path};
  if (fs::is_directory(path, error)) {
    files = FilesInFolder(path);
  } else if (!fs::is_regular_file(path, error)) {
    throw Failure("cannot open " + path);
  } else if (IsDicomDirectory(path)) {
    files = FilesOfDirectory(path);
  }
  std::sort(files.begin(), files.end());
  files.erase(std::unique(files.begin(), files.end()), files.end());
  return files;
}

}  // namespace example
