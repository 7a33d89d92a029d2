// What stands in for the DICOM toolkit in a build without it.

#include <filesystem>

#include "support/command_line.h"
#include "support/dicom_io.h"
#include "support/dicom_results.h"
#include "support/failure.h"

namespace example {

namespace {

[[noreturn]] void Refuse(const std::string& path) {
  throw Failure("unsupported image " + path + ": this build reads no DICOM, as it was made without DCMTK");
}

}  // namespace

bool IsDicomPath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path ending = std::filesystem::path(path).extension();
  if (!std::filesystem::is_regular_file(path, error)) return false;
  return ending == ".dcm" || ending == ".ima" || ending == ".IMA";
}

bool IsDicomDirectory(const std::string&) {
  return false;
}

GreyImage ReadDicom(const std::string& path, const SeriesChoice&) {
  Refuse(path);
}

SeriesGeometry ReadDicomGeometry(const std::string& path, const SeriesChoice&) {
  Refuse(path);
}

void AddDicomOutputOptions(CLI::App&, DicomOutput&, const std::string&, const std::string&) {}

void RequireDicomOutput(const DicomOutput&, const GreyImage&, const std::string&) {}

bool IsT1Weighted(const GreyImage&) {
  return false;
}

DicomMeasurement VolumeMeasurement(double millilitres) {
  return {{}, millilitres, {}};
}

DicomReference WriteDicomLabels(const std::string& path, const GreyImage&, const std::vector<DicomSegment>&,
                                const std::vector<std::uint8_t>&, const DicomMaker&, const DicomOutput&) {
  Refuse(path);
}

DicomReference WriteDicomFractions(const std::string& path, const GreyImage&,
                                   const std::vector<DicomSegment>&, const std::vector<std::vector<float>>&,
                                   const DicomMaker&, const DicomOutput&) {
  Refuse(path);
}

void WriteDicomReport(const std::string& path, const GreyImage&, const std::vector<DicomRegion>&,
                      const DicomReference&, const DicomMaker&, const DicomOutput&) {
  Refuse(path);
}

void WriteDicomSeries(Results&, const GreyImage&, const std::string&, const DicomMaker&,
                      const DicomOutput& output) {
  Refuse(output.folder);
}

std::vector<SeriesEntry> ListDicomSeries(const std::string& path) {
  Refuse(path);
}

}  // namespace example
