#include <dcmtk/config/osconfig.h>  // has to come before all else of the toolkit
#include <dcmtk/dcmsr/cmr/tid1500.h>
#include <dcmtk/dcmsr/dsrdoc.h>

#include <cmath>

#include "support/dicom_codes.h"
#include "support/dicom_identity.h"
#include "support/dicom_stack.h"

#ifndef MTH_EXAMPLE_VERSION
#define MTH_EXAMPLE_VERSION "unknown"
#endif

namespace example {

namespace {

void Require(const OFCondition& status) {
  if (status.bad()) throw Failure(std::string("cannot make a DICOM report: ") + status.text());
}

DSRCodedEntryValue CodeOf(const DicomCode& code) {
  return {code.value.c_str(), code.scheme.c_str(), code.meaning.c_str()};
}

// What both groups of the template have in common: of a segment, and of a region without one.
template <class Group>
void FillGroup(Group& group, const DicomRegion& region, const std::string& uid) {
  Require(group.setTrackingIdentifier(region.name.c_str()));
  Require(group.setTrackingUniqueIdentifier(uid.c_str()));
  if (region.tissue != DicomTissue::Other) Require(group.setFinding(CodeOf(TypeCodeOf(region.tissue))));
}

template <class Group>
void AddMeasurements(Group& group, const DicomRegion& region) {
  for (const DicomMeasurement& measurement : region.measurements) {
    if (!std::isfinite(measurement.value)) continue;  // the document has no word for it
    const typename Group::MeasurementValue value(DicomDecimal(measurement.value).c_str(),
                                                 CodeOf(measurement.unit));
    Require(group.addMeasurement(CodeOf(measurement.what), value));
  }
}

void AddSegment(CMR_TID1500& report, const DicomRegion& region, const DicomReference& segmentation,
                const std::string& sourceSeries, const std::string& uid) {
  Require(report.addVolumetricROIMeasurements());
  auto& group = report.getVolumetricROIMeasurements();
  FillGroup(group, region, uid);
  DSRImageReferenceValue reference(UID_SegmentationStorage, segmentation.instance.c_str());
  reference.getSegmentList().addItem(static_cast<Uint16>(region.segment));
  Require(group.setReferencedSegment(reference));
  Require(group.setSourceSeriesForSegmentation(sourceSeries.c_str()));
  AddMeasurements(group, region);
}

void AddRegion(CMR_TID1500& report, const DicomRegion& region, const std::string& uid) {
  Require(report.addIndividualMeasurements());
  auto& group = report.getIndividualMeasurements();
  FillGroup(group, region, uid);
  AddMeasurements(group, region);
}

// The images that were measured, each file once.
void AddImages(CMR_TID1500& report, DSRDocument& document, const DicomStack& stack) {
  Require(report.getImageLibrary().createNewImageLibrary());
  Require(report.getImageLibrary().addImageGroup());
  std::string last;
  for (const DicomFrame& slice : stack.slices) {
    if (slice.instance == last) continue;
    last = slice.instance;
    DcmFileFormat file;
    LoadDicomHeader(file, slice.path);
    Require(
        report.getImageLibrary().addImageEntry(*file.getDataset(), TID1600_ImageLibrary::withoutDescriptors));
    Require(document.getCurrentRequestedProcedureEvidence().addItem(*file.getDataset()));
  }
}

// The patient and the study of the source; of an anonymous report the study alone.
void CopyStudy(DcmDataset& dataset, DcmDataset& source, bool isAnonymous) {
  std::vector<DcmTagKey> keys{DCM_StudyInstanceUID};
  if (!isAnonymous)
    keys = {DCM_SpecificCharacterSet,
            DCM_PatientName,
            DCM_PatientID,
            DCM_PatientBirthDate,
            DCM_PatientSex,
            DCM_PatientAge,
            DCM_StudyInstanceUID,
            DCM_StudyDate,
            DCM_StudyTime,
            DCM_StudyID,
            DCM_AccessionNumber,
            DCM_ReferringPhysicianName,
            DCM_StudyDescription};
  for (const DcmTagKey& key : keys) {
    DcmElement* element = nullptr;
    if (source.findAndGetElement(key, element, OFFalse, OFTrue).good()) dataset.insert(element, OFTrue);
  }
}

void SetIdentity(DcmDataset& dataset, const DicomStack& stack, const DicomUids& uids,
                 const DicomMaker& maker) {
  constexpr int kReports = 3000;  // added to the number of the series: beyond those that scanners give
  const auto [date, time] = DicomNow();
  SetDicomText(dataset, DCM_SOPInstanceUID, uids.Make("report"));
  SetDicomText(dataset, DCM_SeriesInstanceUID, uids.Make("series of the report"));
  for (const DcmTagKey& key : {DCM_ContentDate, DCM_SeriesDate, DCM_InstanceCreationDate})
    SetDicomText(dataset, key, date);
  for (const DcmTagKey& key : {DCM_ContentTime, DCM_SeriesTime, DCM_InstanceCreationTime})
    SetDicomText(dataset, key, time);
  dataset.findAndDeleteElement(DCM_InstanceCreatorUID);
  SetDicomText(dataset, DCM_SeriesNumber,
               std::to_string(kReports + std::max(stack.slices.front().seriesNumber.value_or(0), 0)));
  SetDicomText(dataset, DCM_InstanceNumber, "1");
  SetDicomText(dataset, DCM_SeriesDescription, "Measurements, " + maker.host);
  SetDicomText(dataset, DCM_Manufacturer, "mth");
  SetDicomText(dataset, DCM_ManufacturerModelName, maker.host);
  SetDicomText(dataset, DCM_SoftwareVersions, MTH_EXAMPLE_VERSION);
}

}  // namespace

void WriteDicomReport(const std::string& path, const GreyImage& image,
                      const std::vector<DicomRegion>& regions, const DicomReference& segmentation,
                      const DicomMaker& maker, const DicomOutput& output) {
  const DicomStack& stack = *image.dicom;
  DicomUids uids(output);
  for (const DicomFrame& slice : stack.slices) uids.Add(slice.instance);
  for (const DicomRegion& region : regions) {
    uids.Add(region.name);
    for (const DicomMeasurement& measurement : region.measurements)
      uids.Add(&measurement.value, sizeof(measurement.value));
  }
  CMR_TID1500 report(CMR_CID7021::ImagingMeasurementReport);
  Require(report.setLanguage(CID5000_Languages::English));
  Require(report.getObservationContext().addDeviceObserver(uids.Make("device").c_str(), maker.host.c_str(),
                                                           "mth", maker.algorithm.c_str()));
  Require(report.addProcedureReported(CMR_CID100::MRIUnspecifiedBodyRegion));
  DSRDocument document(DSRTypes::DT_Comprehensive3DSR);
  AddImages(report, document, stack);
  DcmFileFormat source;
  LoadDicomHeader(source, stack.slices.front().path);
  const std::string study = DicomText(*source.getDataset(), DCM_StudyInstanceUID);
  if (!segmentation.instance.empty())
    Require(document.getCurrentRequestedProcedureEvidence().addItem(
        study.c_str(), segmentation.series.c_str(), UID_SegmentationStorage, segmentation.instance.c_str()));
  for (const DicomRegion& region : regions) {
    const std::string uid = uids.Make("region " + region.name);
    if (region.segment > 0) {
      AddSegment(report, region, segmentation, stack.slices.front().seriesUid, uid);
    } else {
      AddRegion(report, region, uid);
    }
  }
  Require(document.setTreeFromRootTemplate(report));
  Require(document.completeDocument());
  DcmFileFormat file;
  Require(document.write(*file.getDataset()));
  CopyStudy(*file.getDataset(), *source.getDataset(), output.isAnonymous);
  SetIdentity(*file.getDataset(), stack, uids, maker);
  SaveDicom(file, path);
}

}  // namespace example
