#include "support/dicom_frames.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "support/dicom_toolkit.h"

namespace example {

namespace {

// Looks a value up where a multi-frame file may keep it: in the functional groups of the frame, in those that
// all frames share, or as classic files do.
class FrameItems {
 public:
  FrameItems(DcmItem& dataset, unsigned long frame)
      : dataset_(dataset),
        shared_(DicomItemOf(&dataset, DCM_SharedFunctionalGroupsSequence)),
        own_(DicomItemOf(&dataset, DCM_PerFrameFunctionalGroupsSequence, frame)) {}

  DcmItem& Group(const DcmTagKey& group) const {
    if (DcmItem* const item = DicomItemOf(own_, group)) return *item;
    if (DcmItem* const item = DicomItemOf(shared_, group)) return *item;
    return dataset_;
  }

 private:
  DcmItem& dataset_;
  DcmItem* shared_;
  DcmItem* own_;
};

std::optional<Vector3> VectorAt(const std::vector<double>& numbers, std::size_t start) {
  if (numbers.size() < start + 3) return std::nullopt;
  return Vector3{numbers[start], numbers[start + 1], numbers[start + 2]};
}

std::optional<int> IntegerOf(DcmItem& item, const DcmTagKey& key) {
  const std::vector<double> numbers = DicomNumbers(item, key);
  const bool isInteger = !numbers.empty() && std::abs(numbers.front()) <= 2147483647.0;
  return isInteger ? std::optional<int>(static_cast<int>(numbers.front())) : std::nullopt;
}

void ReadGeometry(const FrameItems& items, DicomFrame& frame) {
  frame.position =
      VectorAt(DicomNumbers(items.Group(DCM_PlanePositionSequence), DCM_ImagePositionPatient), 0);
  const std::vector<double> cosines =
      DicomNumbers(items.Group(DCM_PlaneOrientationSequence), DCM_ImageOrientationPatient);
  frame.alongRow = VectorAt(cosines, 0);
  frame.alongColumn = VectorAt(cosines, 3);
  DcmItem& measures = items.Group(DCM_PixelMeasuresSequence);
  const std::vector<double> spacing = DicomNumbers(measures, DCM_PixelSpacing);
  if (spacing.size() >= 2 && spacing[0] > 0.0 && spacing[1] > 0.0) frame.spacing = {spacing[1], spacing[0]};
  const double between = DicomNumber(measures, DCM_SpacingBetweenSlices, 0.0);
  const double thickness = DicomNumber(measures, DCM_SliceThickness, 0.0);
  frame.thickness = between > 0.0 ? between : std::max(thickness, 0.0);
}

void ReadScaling(const FrameItems& items, DicomFrame& frame) {
  DcmItem& scaling = items.Group(DCM_PixelValueTransformationSequence);
  frame.slope = DicomNumber(scaling, DCM_RescaleSlope, 1.0);
  frame.intercept = DicomNumber(scaling, DCM_RescaleIntercept, 0.0);
  if (scaling.tagExists(DCM_ModalityLUTSequence))
    throw Failure("unsupported DICOM image " + frame.path + ": its intensities are in a modality table");
  if (frame.slope == 0.0) throw Failure("damaged DICOM image " + frame.path + ": its rescale slope is 0");
}

DicomFrame ReadFrame(DcmItem& dataset, DicomFrame frame, int index) {
  const FrameItems items(dataset, static_cast<unsigned long>(index));
  frame.index = index;
  frame.kind = DicomText(dataset, DCM_ImageType);
  const std::string frameType = DicomText(items.Group(DCM_MRImageFrameTypeSequence), DCM_FrameType);
  if (!frameType.empty()) frame.kind = frameType;
  const std::string stack = DicomText(items.Group(DCM_FrameContentSequence), DCM_StackID);
  if (!stack.empty()) frame.kind += "\\stack " + stack;
  frame.echoNumber = IntegerOf(dataset, DCM_EchoNumbers);
  DcmItem& echo = items.Group(DCM_MREchoSequence);
  const DcmTagKey timeKey = &echo == &dataset ? DCM_EchoTime : DCM_EffectiveEchoTime;
  if (const auto times = DicomNumbers(echo, timeKey); !times.empty()) frame.echoTime = times.front();
  ReadGeometry(items, frame);
  ReadScaling(items, frame);
  return frame;
}

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
  throw Failure("unsupported DICOM image " + path + ": " + reason);
}

void RequireReadableSyntax(E_TransferSyntax syntax, const std::string& path) {
  const DcmXfer transfer(syntax);
  const std::string name = transfer.getXferName();
  if (name.find("2000") != std::string::npos) Refuse(path, "it is compressed as JPEG 2000");
  const bool isDecoded =
      !transfer.isEncapsulated() || name.rfind("JPEG", 0) == 0 || name.rfind("RLE", 0) == 0;
  if (!isDecoded) Refuse(path, "it is compressed as " + name);
}

void RequireGrey(DcmItem& dataset, const std::string& path) {
  const std::string colours = DicomText(dataset, DCM_PhotometricInterpretation);
  const bool isGrey = colours == "MONOCHROME1" || colours == "MONOCHROME2";
  if (!isGrey || DicomNumber(dataset, DCM_SamplesPerPixel, 1.0) != 1.0)
    Refuse(path, "it is a colour image (" + colours + ")");
  const double allocated = DicomNumber(dataset, DCM_BitsAllocated, 0.0);
  if (allocated != 8.0 && allocated != 16.0)
    Refuse(path, std::to_string(static_cast<int>(std::clamp(allocated, 0.0, 65535.0))) + " bits per voxel");
  const double stored = DicomNumber(dataset, DCM_BitsStored, allocated);
  const double high = DicomNumber(dataset, DCM_HighBit, stored - 1.0);
  if (!(stored >= 1.0 && stored <= allocated && high >= stored - 1.0 && high < allocated))
    throw Failure("damaged DICOM image " + path + ": its bits do not fit into a voxel");
  if (DicomText(dataset, DCM_ImageType).find("MOSAIC") != std::string::npos)
    Refuse(path, "it is a mosaic, one picture of many slices");
}

// No more voxels than the file can hold; of a compressed one, than any of the compressions could have packed.
void RequireContent(DcmItem& dataset, E_TransferSyntax syntax, const DicomFrame& frame, double frames) {
  constexpr double kMostPacked = 2048.0;
  constexpr double kFree = 16777216.0;  // black frames pack into almost nothing
  std::error_code error;
  const auto bytes = static_cast<double>(std::filesystem::file_size(frame.path, error));
  const DcmXfer transfer(syntax);
  const bool isPacked = transfer.isEncapsulated() || transfer.getStreamCompression() != ESC_none;
  const double most = isPacked ? kFree + kMostPacked * bytes : bytes;
  const double voxelBytes = DicomNumber(dataset, DCM_BitsAllocated, 16.0) / 8.0;
  if (!(voxelBytes * frame.rows * frame.columns * frames <= most))
    throw Failure("truncated DICOM file: " + frame.path + " holds less than its size says");
}

bool IsImage(DcmItem& dataset) {
  return dataset.tagExists(DCM_Rows) && dataset.tagExists(DCM_Columns) &&
         DicomText(dataset, DCM_SOPClassUID) != UID_SegmentationStorage;
}

DicomFrame IdentityOf(DcmItem& dataset, const std::string& path) {
  DicomFrame frame;
  frame.path = path;
  frame.sopClass = DicomText(dataset, DCM_SOPClassUID);
  frame.instance = DicomText(dataset, DCM_SOPInstanceUID);
  frame.seriesUid = DicomText(dataset, DCM_SeriesInstanceUID);
  frame.seriesNumber = IntegerOf(dataset, DCM_SeriesNumber);
  frame.description = DicomText(dataset, DCM_SeriesDescription);
  frame.kind = DicomText(dataset, DCM_ImageType);
  frame.rows = IntegerOf(dataset, DCM_Rows).value_or(0);
  frame.columns = IntegerOf(dataset, DCM_Columns).value_or(0);
  return frame;
}

std::vector<DicomFrame> FramesOf(DcmDataset& dataset, DicomFrame frame) {
  const std::string& path = frame.path;
  RequireReadableSyntax(dataset.getOriginalXfer(), path);
  RequireGrey(dataset, path);
  if (frame.rows < 1 || frame.columns < 1)
    throw Failure("damaged DICOM image " + path + ": it has no voxels");
  const double count = DicomNumber(dataset, DCM_NumberOfFrames, 1.0);
  if (!(count >= 1.0)) throw Failure("damaged DICOM image " + path + ": it has no frames");
  RequireContent(dataset, dataset.getOriginalXfer(), frame, count);
  const unsigned long groups = CountDicomItems(dataset, DCM_PerFrameFunctionalGroupsSequence);
  frame.isEnhanced = groups > 0;
  if (frame.isEnhanced && static_cast<double>(groups) != count)
    throw Failure("damaged DICOM image " + path + ": its frames and their descriptions differ in number");
  if (!frame.isEnhanced && count > 1.0) Refuse(path, "it has several frames without their places");
  std::vector<DicomFrame> frames;
  for (int index = 0; index < static_cast<int>(count); ++index)
    frames.push_back(ReadFrame(dataset, frame, index));
  return frames;
}

}  // namespace

std::vector<DicomFrame> ReadDicomFrames(const std::string& path) {
  DcmFileFormat file;
  LoadDicomHeader(file, path);
  DcmDataset& dataset = *file.getDataset();
  if (!IsImage(dataset)) return {};
  DicomFrame identity = IdentityOf(dataset, path);
  try {
    return FramesOf(dataset, identity);
  } catch (const Failure& failure) {
    identity.refusal = failure.what();
    return {identity};
  }
}

}  // namespace example
