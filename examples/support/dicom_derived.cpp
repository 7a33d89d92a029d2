#include <algorithm>
#include <cmath>
#include <map>

#include "support/cancellation.h"
#include "support/dicom_identity.h"
#include "support/dicom_stack.h"

namespace example {

namespace {

constexpr int kDerived = 2000;  // added to the number of the series: beyond those that scanners give

// How numbers are stored in words of 16 bits.
struct Packing {
  unsigned bits;
  bool isSigned;
  bool isInverted;  // low numbers are bright

  double Least() const { return isSigned ? -std::ldexp(1.0, static_cast<int>(bits) - 1) : 0.0; }
  double Greatest() const { return Least() + std::ldexp(1.0, static_cast<int>(bits)) - 1.0; }
  bool Holds(double least, double greatest) const { return least >= Least() && greatest <= Greatest(); }
};

// The numbers of a slice, rows from the first to the last, and how they become intensities.
struct Stored {
  std::vector<double> numbers;
  Packing packing;
  double slope;
  double intercept;
  bool isScaledAnew = false;
};

std::vector<double> RowsOf(const GreyImage& image, std::size_t slice) {
  const auto width = static_cast<std::ptrdiff_t>(image.size[0]);
  const auto height = static_cast<std::ptrdiff_t>(image.size[1]);
  const auto start = image.values.begin() + static_cast<std::ptrdiff_t>(slice) * width * height;
  std::vector<double> values;
  values.reserve(static_cast<std::size_t>(width * height));
  for (std::ptrdiff_t row = height - 1; row >= 0; --row)
    values.insert(values.end(), start + row * width, start + (row + 1) * width);
  return values;
}

// As the source stores its numbers; in all 16 bits, or with a scale of their own, where these do not hold
// them.
Stored StoreSlice(const GreyImage& image, std::size_t slice, const DicomFrame& source, Packing packing) {
  Stored stored{RowsOf(image, slice), packing, source.slope, source.intercept};
  for (double& value : stored.numbers) value = std::nearbyint((value - source.intercept) / source.slope);
  const auto [least, greatest] = std::minmax_element(stored.numbers.begin(), stored.numbers.end());
  if (packing.Holds(*least, *greatest)) return stored;
  for (const bool isSigned : {packing.isSigned, true}) {
    stored.packing = {16, isSigned, packing.isInverted};
    if (stored.packing.Holds(*least, *greatest)) return stored;
  }
  stored.numbers = RowsOf(image, slice);
  const auto [low, high] = std::minmax_element(stored.numbers.begin(), stored.numbers.end());
  stored.packing = {16, false, packing.isInverted};
  stored.intercept = *low;
  stored.slope = (*high - *low) / stored.packing.Greatest();
  stored.isScaledAnew = true;
  for (double& value : stored.numbers) value = std::nearbyint((value - stored.intercept) / stored.slope);
  return stored;
}

void AppendWords(const Stored& stored, std::vector<Uint16>& words) {
  const Packing& packing = stored.packing;
  for (double number : stored.numbers) {
    if (packing.isInverted) number = packing.Least() + packing.Greatest() - number;
    words.push_back(static_cast<Uint16>(static_cast<Sint32>(number) & ((1 << packing.bits) - 1)));
  }
}

void SetNumber(DcmItem& item, const DcmTagKey& key, unsigned number) {
  if (item.putAndInsertUint16(key, static_cast<Uint16>(number)).bad())
    throw Failure("cannot make a DICOM object");
}

// What holds for the source's own pixels or file alone, and private elements.
void RemoveWhatNoLongerHolds(DcmDataset& dataset) {
  for (const DcmTagKey& key :
       {DCM_SmallestImagePixelValue, DCM_LargestImagePixelValue, DCM_SmallestPixelValueInSeries,
        DCM_LargestPixelValueInSeries, DCM_PixelPaddingValue, DCM_PixelPaddingRangeLimit,
        DCM_IconImageSequence, DCM_DigitalSignaturesSequence, DCM_OriginalAttributesSequence, DCM_PixelData,
        DCM_RealWorldValueMappingSequence, DCM_ContentCreatorName, DCM_NumberOfFrames,
        DCM_DataSetTrailingPadding})
    dataset.findAndDeleteElement(key);
  for (unsigned long i = dataset.card(); i-- > 0;) {
    const DcmTagKey key = dataset.getElement(i)->getTag();
    const bool isOverlay = key.getGroup() >= 0x6000 && key.getGroup() < 0x6100;
    if (key.isPrivate() || isOverlay || key.getGroup() == 0xFFFA) delete dataset.remove(i);
  }
}

// The second word of multi-frame images stays what it must be.
std::string DerivedType(const std::string& type, bool isEnhanced) {
  std::string rest = type;
  for (int part = 0; part < 2; ++part)
    rest = rest.find('\\') == std::string::npos ? "" : rest.substr(rest.find('\\') + 1);
  return std::string("DERIVED\\") + (isEnhanced ? "PRIMARY" : "SECONDARY") +
         (rest.empty() ? "" : "\\" + rest);
}

// How a multi-frame image was acquired is told of original ones alone; a derived one names its sources.
void DescribeEnhanced(DcmDataset& dataset, const DicomFrame& source) {
  for (const DcmTagKey& key : {DCM_PulseSequenceName,
                               DCM_MRAcquisitionType,
                               DCM_EchoPulseSequence,
                               DCM_MultipleSpinEcho,
                               DCM_MultiPlanarExcitation,
                               DCM_PhaseContrast,
                               DCM_VelocityEncodingAcquisitionSequence,
                               DCM_TimeOfFlightContrast,
                               DCM_ArterialSpinLabelingContrast,
                               DCM_SteadyStatePulseSequence,
                               DCM_EchoPlanarPulseSequence,
                               DCM_SaturationRecovery,
                               DCM_SpectrallySelectedSuppression,
                               DCM_OversamplingPhase,
                               DCM_GeometryOfKSpaceTraversal,
                               DCM_RectilinearPhaseEncodeReordering,
                               DCM_SegmentedKSpaceTraversal,
                               DCM_CoverageOfKSpace,
                               DCM_NumberOfKSpaceTrajectories,
                               DCM_SourceImageEvidenceSequence})
    dataset.findAndDeleteElement(key);
  DcmItem& study = AddDicomItem(dataset, DCM_SourceImageEvidenceSequence);
  SetDicomText(study, DCM_StudyInstanceUID, DicomText(dataset, DCM_StudyInstanceUID));
  DcmItem& series = AddDicomItem(study, DCM_ReferencedSeriesSequence);
  SetDicomText(series, DCM_SeriesInstanceUID, source.seriesUid);
  DcmItem& instance = AddDicomItem(series, DCM_ReferencedSOPSequence);
  SetDicomText(instance, DCM_ReferencedSOPClassUID, source.sopClass);
  SetDicomText(instance, DCM_ReferencedSOPInstanceUID, source.instance);
}

void AddSource(DcmItem& item, const DicomFrame& source) {
  DcmItem& reference = AddDicomItem(item, DCM_SourceImageSequence);
  SetDicomText(reference, DCM_ReferencedSOPClassUID, source.sopClass);
  SetDicomText(reference, DCM_ReferencedSOPInstanceUID, source.instance);
  if (source.isEnhanced) SetDicomText(reference, DCM_ReferencedFrameNumber, std::to_string(source.index + 1));
  SetDicomCode(reference, DCM_PurposeOfReferenceCodeSequence, "121322", "DCM",
               "Source image for image processing operation");
}

void DescribeDerivation(DcmItem& item, const DicomFrame& source, const DicomMaker& maker) {
  item.findAndDeleteElement(DCM_SourceImageSequence);
  AddSource(item, source);
  SetDicomText(item, DCM_DerivationDescription, maker.host + ": " + maker.algorithm + ", " + maker.settings);
  SetDicomCode(item, DCM_DerivationCodeSequence, "113087", "DCM", "Smoothing");
}

void SetPixels(DcmDataset& dataset, const Packing& packing, const std::vector<Uint16>& words) {
  SetNumber(dataset, DCM_BitsAllocated, 16);
  SetNumber(dataset, DCM_BitsStored, packing.bits);
  SetNumber(dataset, DCM_HighBit, packing.bits - 1);
  SetNumber(dataset, DCM_PixelRepresentation, packing.isSigned ? 1 : 0);
  if (dataset.putAndInsertUint16Array(DCM_PixelData, words.data(), words.size()).bad())
    throw Failure("cannot make a DICOM object");
}

void SetScale(DcmItem& item, const Stored& stored) {
  if (!stored.isScaledAnew) return;  // that of the source stays
  SetDicomText(item, DCM_RescaleSlope, DicomDecimal(stored.slope));
  SetDicomText(item, DCM_RescaleIntercept, DicomDecimal(stored.intercept));
  SetDicomText(item, DCM_RescaleType, "US");
}

Packing PackingOf(DcmItem& dataset) {
  return {static_cast<unsigned>(DicomNumber(dataset, DCM_BitsStored, 16.0)),
          DicomNumber(dataset, DCM_PixelRepresentation, 0.0) == 1.0,
          DicomText(dataset, DCM_PhotometricInterpretation) == "MONOCHROME1"};
}

class SeriesWriter {
 public:
  SeriesWriter(Results& results, const GreyImage& image, const std::string& suffix, const DicomMaker& maker,
               const DicomOutput& output)
      : results_(results), image_(image), suffix_(suffix), maker_(maker), output_(output), uids_(output) {
    for (const DicomFrame& slice : image.dicom->slices) uids_.Add(slice.instance);
    uids_.Add(maker.algorithm + maker.settings);
    uids_.Add(image.values.data(), image.values.size() * sizeof(double));
    series_ = uids_.Make("derived series");
  }

  // One file for each of the source; the slices of a multi-frame file that were not read are left out.
  void Write() {
    std::map<std::string, std::vector<std::size_t>> slicesOf;
    const auto& slices = image_.dicom->slices;
    for (std::size_t slice = 0; slice < slices.size(); ++slice) slicesOf[slices[slice].path].push_back(slice);
    for (const auto& [path, indices] : slicesOf) WriteOne(path, indices);
  }

 private:
  void WriteOne(const std::string& path, const std::vector<std::size_t>& indices) {
    ThrowIfCancelled();
    DcmFileFormat file;
    LoadDicomHeader(file, path);
    DcmDataset& dataset = *file.getDataset();
    RemoveWhatNoLongerHolds(dataset);
    const std::string description =
        output_.isAnonymous ? "" : DicomText(dataset, DCM_SeriesDescription) + " ";
    if (output_.isAnonymous) Anonymise(dataset);
    const std::size_t first = indices.front();
    SetIdentity(dataset, first, description);
    std::vector<Uint16> words;
    if (image_.dicom->slices[first].isEnhanced) {
      DescribeEnhanced(dataset, image_.dicom->slices[first]);
      words = FillFrames(dataset, indices);
    } else {
      const DicomFrame& source = image_.dicom->slices[first];
      const Stored stored = StoreSlice(image_, first, source, PackingOf(dataset));
      AppendWords(stored, words);
      SetScale(dataset, stored);
      SetPixels(dataset, stored.packing, words);
      DescribeDerivation(dataset, source, maker_);
    }
    const std::string number = std::to_string(first + 1);
    results_.WriteInFolder(
        output_.folder,
        "slice_" + std::string(5 - std::min<std::size_t>(number.size(), 4), '0') + number + ".dcm",
        [&](const std::string& place) { SaveDicom(file, place); });
  }

  void SetIdentity(DcmDataset& dataset, std::size_t first, const std::string& description) const {
    const auto [date, time] = DicomNow();
    SetDicomText(dataset, DCM_SOPInstanceUID, uids_.Make("derived " + std::to_string(first)));
    SetDicomText(dataset, DCM_SeriesInstanceUID, series_);
    const int number = image_.dicom->slices.front().seriesNumber.value_or(0);
    SetDicomText(dataset, DCM_SeriesNumber, std::to_string(kDerived + std::clamp(number, 0, 1000000)));
    SetDicomText(dataset, DCM_SeriesDescription, (description + suffix_).substr(0, 64));
    SetDicomText(dataset, DCM_InstanceNumber, std::to_string(first + 1));
    SetDicomText(dataset, DCM_ImageType,
                 DerivedType(DicomText(dataset, DCM_ImageType), image_.dicom->slices[first].isEnhanced));
    for (const DcmTagKey& key : {DCM_InstanceCreationDate, DCM_ContentDate, DCM_SeriesDate})
      SetDicomText(dataset, key, date);
    for (const DcmTagKey& key : {DCM_InstanceCreationTime, DCM_ContentTime, DCM_SeriesTime})
      SetDicomText(dataset, key, time);
  }

  // The frames that were read, in the order of their places, each with its own scale.
  std::vector<Uint16> FillFrames(DcmDataset& dataset, const std::vector<std::size_t>& indices) const {
    DcmSequenceOfItems* groups = nullptr;
    dataset.findAndGetSequence(DCM_PerFrameFunctionalGroupsSequence, groups, OFFalse, OFTrue);
    const std::unique_ptr<DcmSequenceOfItems> former(groups);
    dataset.findAndDeleteElement(DCM_PerFrameFunctionalGroupsSequence);
    const Packing packing = PackingOf(dataset);
    Packing widest = packing;
    std::vector<Stored> frames;
    for (const std::size_t slice : indices) {
      frames.push_back(StoreSlice(image_, slice, image_.dicom->slices[slice], packing));
      const Packing& used = frames.back().packing;
      widest = {std::max(widest.bits, used.bits), widest.isSigned || used.isSigned, packing.isInverted};
    }
    std::vector<Uint16> words;
    for (std::size_t i = 0; i < indices.size(); ++i) {
      const DicomFrame& source = image_.dicom->slices[indices[i]];
      DcmItem& item = AddDicomItem(dataset, DCM_PerFrameFunctionalGroupsSequence);
      item = *former->getItem(static_cast<unsigned long>(source.index));
      item.findAndDeleteElement(DCM_DerivationImageSequence);
      DescribeDerivation(AddDicomItem(item, DCM_DerivationImageSequence), source, maker_);
      SetFrameType(dataset, item);
      const auto [least, greatest] = std::minmax_element(frames[i].numbers.begin(), frames[i].numbers.end());
      if (!widest.Holds(*least, *greatest)) throw Failure("the frames do not fit into one DICOM file");
      frames[i].packing = widest;
      AppendWords(frames[i], words);
      if (DcmItem* const scale = DicomItemOf(&item, DCM_PixelValueTransformationSequence))
        SetScale(*scale, frames[i]);
    }
    SetPixels(dataset, widest, words);
    SetDicomText(dataset, DCM_NumberOfFrames, std::to_string(indices.size()));
    return words;
  }

  static void SetFrameType(DcmDataset& dataset, DcmItem& own) {
    DcmItem* const shared = DicomItemOf(&dataset, DCM_SharedFunctionalGroupsSequence);
    for (DcmItem* const groups : {shared, &own}) {
      if (DcmItem* const type = DicomItemOf(groups, DCM_MRImageFrameTypeSequence))
        SetDicomText(*type, DCM_FrameType, DerivedType(DicomText(*type, DCM_FrameType), true));
    }
  }

  Results& results_;
  const GreyImage& image_;
  std::string suffix_;
  const DicomMaker& maker_;
  const DicomOutput& output_;
  DicomUids uids_;
  std::string series_;
};

}  // namespace

void WriteDicomSeries(Results& results, const GreyImage& image, const std::string& suffix,
                      const DicomMaker& maker, const DicomOutput& output) {
  SeriesWriter(results, image, suffix, maker, output).Write();
}

}  // namespace example
