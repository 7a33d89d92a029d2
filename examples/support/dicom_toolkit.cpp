#include "support/dicom_toolkit.h"

#include <dcmtk/dcmdata/dcrledrg.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <dcmtk/dcmjpls/djdecode.h>
#include <dcmtk/oflog/oflog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>

namespace example {

namespace {

constexpr unsigned long kMostNumbers = 64;  // far more than any element of interest has

// What the toolkit says of a file may quote the file: only what it calls the fault in general is passed on.
[[noreturn]] void ThrowDamagedDicom(const std::string& path, const OFCondition& reason) {
  errno = 0;
  if (access(path.c_str(), R_OK) != 0)
    throw Failure("cannot open " + path + ": " + WriteFailure::FromErrno().what());
  const bool isCut = reason == EC_EndOfStream || reason == EC_StreamNotifyClient ||
                     reason == EC_InvalidStream || reason == EC_SequDelimitationItemMissing;
  throw Failure((isCut ? "truncated DICOM file: " : "damaged or not a DICOM file: ") + path);
}

double NumberAt(DcmElement& element, unsigned long index) {
  Float64 real = 0.0;
  Sint32 integer = 0;
  Uint16 small = 0;
  Uint32 large = 0;
  if (element.getFloat64(real, index).good()) return real;
  if (element.getSint32(integer, index).good()) return integer;
  if (element.getUint16(small, index).good()) return small;
  if (element.getUint32(large, index).good()) return large;
  return std::nan("");
}

}  // namespace

void ReadyDicomToolkit() {
  static const bool isReady = [] {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    DcmRLEDecoderRegistration::registerCodecs();
    DJDecoderRegistration::registerCodecs();
    DJLSDecoderRegistration::registerCodecs();
    return dcmDataDict.isDictionaryLoaded();
  }();
  if (!isReady) throw Failure("the dictionary of DICOM is missing: DCMDICTPATH tells where it is");
}

void LoadDicomHeader(DcmFileFormat& file, const std::string& path) {
  ReadyDicomToolkit();
  const OFCondition status = file.loadFileUntilTag(path.c_str(), EXS_Unknown, EGL_noChange, DCM_MaxReadLength,
                                                   ERM_autoDetect, DCM_PixelData);
  if (status.bad()) ThrowDamagedDicom(path, status);
}

void LoadDicomFile(DcmFileFormat& file, const std::string& path) {
  ReadyDicomToolkit();
  const OFCondition status = file.loadFile(path.c_str());
  if (status.bad()) ThrowDamagedDicom(path, status);
}

std::string DicomText(DcmItem& item, const DcmTagKey& key) {
  OFString text;
  if (item.findAndGetOFStringArray(key, text).bad()) return {};
  const auto last = text.find_last_not_of(std::string(" \0", 2).c_str(), OFString_npos, 2);
  return last == OFString_npos ? std::string() : std::string(text.c_str(), last + 1);
}

std::vector<double> DicomNumbers(DcmItem& item, const DcmTagKey& key) {
  DcmElement* element = nullptr;
  if (item.findAndGetElement(key, element).bad() || element == nullptr) return {};
  std::vector<double> numbers;
  const unsigned long count = std::min<unsigned long>(element->getVM(), kMostNumbers);
  for (unsigned long i = 0; i < count; ++i) numbers.push_back(NumberAt(*element, i));
  const bool areFinite =
      std::all_of(numbers.begin(), numbers.end(), [](double number) { return std::isfinite(number); });
  return areFinite ? numbers : std::vector<double>();
}

double DicomNumber(DcmItem& item, const DcmTagKey& key, double fallback) {
  const std::vector<double> numbers = DicomNumbers(item, key);
  return numbers.empty() ? fallback : numbers.front();
}

DcmItem* DicomItemOf(DcmItem* item, const DcmTagKey& sequence, unsigned long index) {
  DcmItem* found = nullptr;
  const bool isThere =
      item != nullptr && item->findAndGetSequenceItem(sequence, found, static_cast<long>(index)).good();
  return isThere ? found : nullptr;
}

unsigned long CountDicomItems(DcmItem& item, const DcmTagKey& sequence) {
  DcmSequenceOfItems* items = nullptr;
  return item.findAndGetSequence(sequence, items).good() && items != nullptr ? items->card() : 0;
}

}  // namespace example
