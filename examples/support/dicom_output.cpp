#include <algorithm>
#include <cctype>
#include <filesystem>

#include "support/command_line.h"
#include "support/dicom_results.h"
#include "support/dicom_stack.h"
#include "support/dicom_toolkit.h"
#include "support/failure.h"

namespace example {

namespace fs = std::filesystem;

namespace {

// Leaves 39 digits for the identifiers below it, of the 64 characters that they may have.
constexpr std::size_t kLongestRoot = 24;

bool IsRoot(const std::string& root) {
  if (root.size() > kLongestRoot) return false;
  std::size_t start = 0;
  while (start <= root.size()) {
    const std::size_t end = std::min(root.find('.', start), root.size());
    const std::string part = root.substr(start, end - start);
    const bool isNumber = !part.empty() && std::all_of(part.begin(), part.end(),
                                                       [](unsigned char c) { return std::isdigit(c) != 0; });
    if (!isNumber || (part.size() > 1 && part.front() == '0')) return false;
    start = end + 1;
  }
  return root.find('.') != std::string::npos;
}

}  // namespace

void AddDicomOutputOptions(CLI::App& app, DicomOutput& output, const std::string& text,
                           const std::string& fractionsText) {
  CLI::Option* const folder = app.add_option("--dicom-output", output.folder, text)->type_name("FOLDER");
  if (!fractionsText.empty())
    app.add_flag("--dicom-fractions", output.writesFractions, fractionsText)->needs(folder);
  app.add_flag("--anonymous", output.isAnonymous, "Leave out there who the patient is")->needs(folder);
  app.add_option("--uid-root", output.uidRoot,
                 "Your organisation's root of the unique identifiers there;\nwithout it they are random "
                 "numbers under "
                 "2.25")
      ->type_name("ROOT")
      ->needs(folder);
  app.add_option(
         "--uid-seed", output.uidSeed,
         "Make the identifiers of this text and of what the run reads and\nwrites: the same run makes the "
         "same ones (and the same times with\nSOURCE_DATE_EPOCH)")
      ->type_name("TEXT")
      ->needs(folder);
}

void RequireDicomOutput(const DicomOutput& output, const GreyImage& image, const std::string& imagePath) {
  if (output.folder.empty()) return;
  if (!image.dicom) throw Failure("--dicom-output needs a DICOM image, taken whole: " + imagePath);
  if (!image.dicom->place)
    throw Failure("--dicom-output needs a place in the patient, which is not in " + imagePath);
  if (!output.uidRoot.empty() && !IsRoot(output.uidRoot))
    throw Failure("--uid-root needs numbers with dots between them, 24 characters at most");
  std::error_code error;
  const bool isFolder = fs::is_directory(imagePath, error);
  const fs::path source = isFolder ? fs::path(imagePath) : fs::absolute(imagePath, error).parent_path();
  const bool isSource = IsWithin(output.folder, source) && (isFolder || IsWithin(source, output.folder));
  const bool holdsSlice =
      std::any_of(image.dicom->slices.begin(), image.dicom->slices.end(), [&](const auto& slice) {
        return fs::equivalent(fs::path(slice.path).parent_path(), output.folder, error);
      });
  if (isSource || holdsSlice)
    throw Failure("DICOM results do not go into the folder of the source: " + output.folder);
}

bool IsT1Weighted(const GreyImage& image) {
  constexpr double kLongEcho = 30.0;  // ms
  constexpr double kLongRepetition = 1000.0;
  if (!image.dicom) return false;
  const DicomFrame& slice = image.dicom->slices.front();
  DcmFileFormat file;
  LoadDicomHeader(file, slice.path);
  DcmItem* timing = file.getDataset();
  if (DcmItem* const shared = DicomItemOf(timing, DCM_SharedFunctionalGroupsSequence))
    if (DcmItem* const group = DicomItemOf(shared, DCM_MRTimingAndRelatedParametersSequence)) timing = group;
  const double repetition = DicomNumber(*timing, DCM_RepetitionTime, kLongRepetition);
  const bool isInverted = DicomNumber(*file.getDataset(), DCM_InversionTime, 0.0) > 0.0 ||
                          DicomText(*file.getDataset(), DCM_InversionRecovery) == "YES";
  return slice.echoTime && *slice.echoTime < kLongEcho && (repetition < kLongRepetition || isInverted);
}

}  // namespace example
