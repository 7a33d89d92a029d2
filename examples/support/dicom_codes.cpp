#include "support/dicom_codes.h"

namespace example {

namespace {

DicomCode Clinical(const char* value, const char* meaning) {
  return {value, "SCT", meaning};  // SNOMED CT
}

}  // namespace

DicomCode CategoryCodeOf(DicomTissue tissue) {
  if (tissue == DicomTissue::Lesion) return Clinical("49755003", "Morphologically Abnormal Structure");
  if (tissue == DicomTissue::Other) return Clinical("85756007", "Tissue");
  return Clinical("123037004", "Anatomical Structure");
}

DicomCode TypeCodeOf(DicomTissue tissue) {
  switch (tissue) {
    case DicomTissue::Fluid:
      return Clinical("65216001", "Cerebrospinal Fluid");
    case DicomTissue::GreyMatter:
      return Clinical("389081007", "Gray Matter");
    case DicomTissue::WhiteMatter:
      return Clinical("389080008", "White Matter");
    case DicomTissue::Lesion:
      return Clinical("52988006", "Lesion");
    case DicomTissue::Other:
      break;
  }
  return Clinical("85756007", "Tissue");
}

DicomMeasurement VolumeMeasurement(double millilitres) {
  return {Clinical("118565006", "Volume"), millilitres, {"ml", "UCUM", "milliliter"}};
}

}  // namespace example
