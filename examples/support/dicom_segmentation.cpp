#include <dcmtk/config/osconfig.h>  // has to come before all else of the toolkit
#include <dcmtk/dcmfg/fgderimg.h>
#include <dcmtk/dcmfg/fgfracon.h>
#include <dcmtk/dcmfg/fgpixmsr.h>
#include <dcmtk/dcmfg/fgplanor.h>
#include <dcmtk/dcmfg/fgplanpo.h>
#include <dcmtk/dcmfg/fgseg.h>
#include <dcmtk/dcmiod/cielabutil.h>
#include <dcmtk/dcmseg/segdoc.h>
#include <dcmtk/dcmseg/segment.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "support/cancellation.h"
#include "support/dicom_codes.h"
#include "support/dicom_identity.h"
#include "support/dicom_stack.h"

#ifndef MTH_EXAMPLE_VERSION
#define MTH_EXAMPLE_VERSION "unknown"
#endif

namespace example {

namespace {

constexpr std::uint8_t kFullFraction = 255;

void Require(const OFCondition& status) {
  if (status.bad()) throw Failure(std::string("cannot make a DICOM segmentation: ") + status.text());
}

// The frame of a segment in a slice, rows from the first to the last; empty where the segment is not there.
using FrameOf = std::function<std::vector<Uint8>(std::size_t segment, std::size_t slice)>;

using Segmentation = std::unique_ptr<DcmSegmentation>;

Segmentation CreateObject(const DicomStack& stack, bool hasFractions, const DicomMaker& maker) {
  const auto rows = static_cast<Uint16>(stack.slices.front().rows);
  const auto columns = static_cast<Uint16>(stack.slices.front().columns);
  const IODGeneralEquipmentModule::EquipmentInfo equipment("mth", maker.host.c_str(), "0",
                                                           MTH_EXAMPLE_VERSION);
  ContentIdentificationMacro content;
  Require(content.setInstanceNumber("1"));
  Require(content.setContentLabel("TISSUES"));
  Require(content.setContentDescription(maker.algorithm.c_str()));
  Require(content.setContentCreatorName(maker.host.c_str()));
  DcmSegmentation* made = nullptr;
  Require(hasFractions
              ? DcmSegmentation::createFractionalSegmentation(
                    made, rows, columns, DcmSegTypes::SFT_PROBABILITY, kFullFraction, equipment, content)
              : DcmSegmentation::createBinarySegmentation(made, rows, columns, equipment, content));
  return Segmentation(made);
}

void SetAlgorithm(DcmSegment& segment, const DicomMaker& maker) {
  AlgorithmIdentificationMacro algorithm;
  Require(algorithm.getAlgorithmFamilyCode().set("123107", "DCM", "Cluster Analysis"));
  Require(algorithm.setAlgorithmName(maker.algorithm.c_str()));
  Require(algorithm.setAlgorithmVersion(MTH_EXAMPLE_VERSION));
  if (!maker.settings.empty()) Require(algorithm.setAlgorithmParameters(maker.settings.c_str()));
  Require(segment.setSegmentationAlgorithmIdentification(algorithm));
}

void AddSegment(DcmSegmentation& object, const DicomSegment& segment, const DicomMaker& maker) {
  const auto code = [](const DicomCode& entry) {
    return CodeSequenceMacro(entry.value.c_str(), entry.scheme.c_str(), entry.meaning.c_str());
  };
  const bool isGiven = segment.tissue == DicomTissue::Lesion;  // drawn by the user, not found by the host
  DcmSegment* made = nullptr;
  Require(DcmSegment::create(made, segment.name.c_str(), code(CategoryCodeOf(segment.tissue)),
                             code(TypeCodeOf(segment.tissue)),
                             isGiven ? DcmSegTypes::SAT_MANUAL : DcmSegTypes::SAT_AUTOMATIC,
                             isGiven ? "" : maker.algorithm.c_str()));
  std::unique_ptr<DcmSegment> owner(made);
  if (!isGiven) SetAlgorithm(*made, maker);
  double lightness = 0.0;
  double a = 0.0;
  double b = 0.0;
  IODCIELabUtil::rgb2DicomLab(lightness, a, b, segment.colour.red / 255.0, segment.colour.green / 255.0,
                              segment.colour.blue / 255.0);
  const auto rounded = [](double value) {
    return static_cast<Uint16>(std::clamp(std::nearbyint(value), 0.0, 65535.0));
  };
  Require(made->setRecommendedDisplayCIELabValue(rounded(lightness), rounded(a), rounded(b)));
  Uint16 number = 0;
  Require(object.addSegment(owner.release(), number));
}

void AddSharedGroups(DcmSegmentation& object, const DicomStack::Place& place) {
  const auto text = [](double value) { return OFString(DicomDecimal(value).c_str()); };
  const Vector3& row = place.alongRow;
  const Vector3& column = place.alongColumn;
  const std::unique_ptr<FGPlaneOrientationPatient> orientation(FGPlaneOrientationPatient::createMinimal(
      text(row[0]), text(row[1]), text(row[2]), text(column[0]), text(column[1]), text(column[2])));
  FGPixelMeasures measures;
  const auto& [width, height, depth] = place.voxelSize;
  Require(measures.setPixelSpacing((DicomDecimal(height) + "\\" + DicomDecimal(width)).c_str()));
  Require(measures.setSliceThickness(text(depth)));
  Require(measures.setSpacingBetweenSlices(text(depth)));
  Require(object.addForAllFrames(*orientation));
  Require(object.addForAllFrames(measures));
}

std::unique_ptr<FGDerivationImage> DerivationOf(const DicomFrame& source) {
  ImageSOPInstanceReferenceMacro reference;
  Require(reference.setReferencedSOPClassUID(source.sopClass.c_str()));
  Require(reference.setReferencedSOPInstanceUID(source.instance.c_str()));
  if (source.isEnhanced) Require(reference.addReferencedFrameNumber(static_cast<Uint16>(source.index + 1)));
  OFVector<ImageSOPInstanceReferenceMacro> sources;
  sources.push_back(reference);
  return std::unique_ptr<FGDerivationImage>(FGDerivationImage::createMinimal(
      sources, "", CodeSequenceMacro("113076", "DCM", "Segmentation"),
      CodeSequenceMacro("121322", "DCM", "Source image for image processing operation")));
}

void AddFrame(DcmSegmentation& object, const DicomStack& stack, std::size_t segment, std::size_t slice,
              std::vector<Uint8> pixels) {
  const DicomFrame& source = stack.slices[slice];
  const Vector3& place = *source.position;
  const auto text = [](double value) { return OFString(DicomDecimal(value).c_str()); };
  const std::unique_ptr<FGPlanePosPatient> position(
      FGPlanePosPatient::createMinimal(text(place[0]), text(place[1]), text(place[2])));
  FGFrameContent content;
  Require(content.setStackID("1"));
  Require(content.setInStackPositionNumber(static_cast<Uint32>(slice + 1)));
  Require(content.setDimensionIndexValues(static_cast<Uint32>(segment + 1), 0));
  Require(content.setDimensionIndexValues(static_cast<Uint32>(slice + 1), 1));
  const std::unique_ptr<FGDerivationImage> derivation = DerivationOf(source);
  OFVector<FGBase*> groups;
  groups.push_back(position.get());
  groups.push_back(&content);
  groups.push_back(derivation.get());
  Require(object.addFrame(pixels.data(), static_cast<Uint16>(segment + 1), groups));
}

// The voxels of all frames bit after bit, from the lowest of each byte.
class PackedBits {
 public:
  void Append(const std::vector<Uint8>& pixels) {
    bytes_.resize((count_ + pixels.size() + 7) / 8);
    for (const Uint8 pixel : pixels) {
      if (pixel != 0) bytes_[count_ / 8] = static_cast<Uint8>(bytes_[count_ / 8] | 1U << count_ % 8);
      ++count_;
    }
  }

  // In an even number of bytes.
  std::vector<Uint8> Bytes() const {
    std::vector<Uint8> bytes = bytes_;
    bytes.resize((bytes.size() + 1) / 2 * 2);
    return bytes;
  }

 private:
  std::vector<Uint8> bytes_;
  std::size_t count_ = 0;
};

// A segment that is nowhere keeps one empty frame: an object without frames of a segment is none.
PackedBits AddFrames(DcmSegmentation& object, const DicomStack& stack, std::size_t segments,
                     const FrameOf& frameOf) {
  const auto voxels = static_cast<std::size_t>(stack.slices.front().rows) *
                      static_cast<std::size_t>(stack.slices.front().columns);
  PackedBits packed;
  const auto add = [&](std::size_t segment, std::size_t slice, std::vector<Uint8> pixels) {
    packed.Append(pixels);
    AddFrame(object, stack, segment, slice, std::move(pixels));
  };
  for (std::size_t segment = 0; segment < segments; ++segment) {
    bool isSomewhere = false;
    for (std::size_t slice = 0; slice < stack.slices.size(); ++slice) {
      ThrowIfCancelled();
      std::vector<Uint8> pixels = frameOf(segment, slice);
      if (pixels.empty()) continue;
      add(segment, slice, std::move(pixels));
      isSomewhere = true;
    }
    if (!isSomewhere) add(segment, 0, std::vector<Uint8>(voxels));
  }
  return packed;
}

// The slices that the object refers to, in their series.
void AddReferences(DcmDataset& dataset, const DicomStack& stack) {
  dataset.findAndDeleteElement(DCM_ReferencedSeriesSequence);
  DcmItem& series = AddDicomItem(dataset, DCM_ReferencedSeriesSequence);
  SetDicomText(series, DCM_SeriesInstanceUID, stack.slices.front().seriesUid);
  const std::string* last = nullptr;
  for (const DicomFrame& slice : stack.slices) {
    if (last != nullptr && *last == slice.instance) continue;  // another frame of the same file
    last = &slice.instance;
    DcmItem& reference = AddDicomItem(series, DCM_ReferencedInstanceSequence);
    SetDicomText(reference, DCM_ReferencedSOPClassUID, slice.sopClass);
    SetDicomText(reference, DCM_ReferencedSOPInstanceUID, slice.instance);
  }
}

void SetIdentity(DcmDataset& dataset, const DicomStack& stack, const DicomUids& uids,
                 const DicomMaker& maker) {
  const auto [date, time] = DicomNow();
  SetDicomText(dataset, DCM_SOPInstanceUID, uids.Make("segmentation"));
  SetDicomText(dataset, DCM_SeriesInstanceUID, uids.Make("series of the segmentation"));
  for (const DcmTagKey& key : {DCM_ContentDate, DCM_SeriesDate, DCM_InstanceCreationDate})
    SetDicomText(dataset, key, date);
  for (const DcmTagKey& key : {DCM_ContentTime, DCM_SeriesTime, DCM_InstanceCreationTime})
    SetDicomText(dataset, key, time);
  constexpr int kResults = 1000;  // beyond the numbers that scanners give
  SetDicomText(dataset, DCM_SeriesNumber,
               std::to_string(kResults + std::max(stack.slices.front().seriesNumber.value_or(0), 0)));
  SetDicomText(dataset, DCM_SeriesDescription, "Segmentation, " + maker.host);
  const std::string dimensions = uids.Make("dimensions");
  for (const DcmTagKey& sequence : {DCM_DimensionOrganizationSequence, DCM_DimensionIndexSequence}) {
    for (unsigned long i = 0; i < CountDicomItems(dataset, sequence); ++i)
      SetDicomText(*DicomItemOf(&dataset, sequence, i), DCM_DimensionOrganizationUID, dimensions);
  }
}

DicomReference WriteObject(const std::string& path, const GreyImage& image,
                           const std::vector<DicomSegment>& segments, const FrameOf& frameOf, DicomUids uids,
                           const DicomMaker& maker, const DicomOutput& output) {
  const DicomStack& stack = *image.dicom;
  const Segmentation object = CreateObject(stack, output.writesFractions, maker);
  DcmFileFormat source;
  LoadDicomHeader(source, stack.slices.front().path);
  Require(object->importFromSourceImage(*source.getDataset()));
  for (const DicomFrame& slice : stack.slices) uids.Add(slice.instance);
  for (const DicomSegment& segment : segments) AddSegment(*object, segment, maker);
  AddSharedGroups(*object, *stack.place);
  IODMultiframeDimensionModule& dimensions = object->getDimensions();
  const OFString dimensionsUid = uids.Make("dimensions").c_str();
  Require(dimensions.addDimensionIndex(DCM_ReferencedSegmentNumber, dimensionsUid,
                                       DCM_SegmentIdentificationSequence, "Segment"));
  Require(dimensions.addDimensionIndex(DCM_ImagePositionPatient, dimensionsUid, DCM_PlanePositionSequence,
                                       "Slice"));
  const PackedBits packed = AddFrames(*object, stack, segments.size(), frameOf);
  if (!source.getDataset()->tagExists(DCM_FrameOfReferenceUID))
    Require(object->getFrameOfReference().setFrameOfReferenceUID(uids.Make("frame of reference").c_str()));
  Require(
      object->getSeries().setSeriesNumber("1"));  // for the toolkit's check; SetIdentity gives the true one
  DcmFileFormat file;
  Require(object->writeDataset(*file.getDataset()));
  if (!output.writesFractions) {
    // The toolkit (3.6.7) packs frames that do not fill their last byte wrongly from the third one on.
    const std::vector<Uint8> bytes = packed.Bytes();
    Require(file.getDataset()->putAndInsertUint8Array(DCM_PixelData, bytes.data(), bytes.size()));
  }
  if (output.isAnonymous) Anonymise(*file.getDataset());
  SetIdentity(*file.getDataset(), stack, uids, maker);
  AddReferences(*file.getDataset(), stack);
  SaveDicom(file, path);
  return {DicomText(*file.getDataset(), DCM_SeriesInstanceUID),
          DicomText(*file.getDataset(), DCM_SOPInstanceUID)};
}

// The index of the voxel at a place in a slice, its rows counted from the first: the image counts from the
// last.
std::size_t VoxelAt(const GreyImage& image, std::size_t slice, std::size_t row, std::size_t column) {
  const auto width = static_cast<std::size_t>(image.size[0]);
  const auto height = static_cast<std::size_t>(image.size[1]);
  return column + width * (height - 1 - row + height * slice);
}

// What a value per voxel makes of a slice.
template <class ValueOf>
std::vector<Uint8> SliceOf(const GreyImage& image, std::size_t slice, const ValueOf& valueOf) {
  std::vector<Uint8> pixels;
  pixels.reserve(static_cast<std::size_t>(image.size[0]) * static_cast<std::size_t>(image.size[1]));
  for (std::size_t row = 0; row < static_cast<std::size_t>(image.size[1]); ++row) {
    for (std::size_t column = 0; column < static_cast<std::size_t>(image.size[0]); ++column)
      pixels.push_back(valueOf(VoxelAt(image, slice, row, column)));
  }
  const bool isEmpty = std::all_of(pixels.begin(), pixels.end(), [](Uint8 pixel) { return pixel == 0; });
  return isEmpty ? std::vector<Uint8>() : pixels;
}

}  // namespace

DicomReference WriteDicomLabels(const std::string& path, const GreyImage& image,
                                const std::vector<DicomSegment>& segments,
                                const std::vector<std::uint8_t>& labels, const DicomMaker& maker,
                                const DicomOutput& output) {
  DicomUids uids(output);
  uids.Add(labels.data(), labels.size());
  const auto frameOf = [&](std::size_t segment, std::size_t slice) {
    return SliceOf(image, slice, [&](std::size_t voxel) {
      return static_cast<Uint8>(labels[voxel] == segment + 1 ? 1 : 0);
    });
  };
  return WriteObject(path, image, segments, frameOf, uids, maker, output);
}

DicomReference WriteDicomFractions(const std::string& path, const GreyImage& image,
                                   const std::vector<DicomSegment>& segments,
                                   const std::vector<std::vector<float>>& shares, const DicomMaker& maker,
                                   const DicomOutput& output) {
  DicomUids uids(output);
  for (const std::vector<float>& share : shares) uids.Add(share.data(), share.size() * sizeof(float));
  const auto frameOf = [&](std::size_t segment, std::size_t slice) {
    return SliceOf(image, slice, [&](std::size_t voxel) {
      return static_cast<Uint8>(
          std::clamp(std::nearbyint(shares[segment][voxel] * kFullFraction), 0.0F, 255.0F));
    });
  };
  return WriteObject(path, image, segments, frameOf, uids, maker, output);
}

}  // namespace example
