#include "support/dicom_identity.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <random>

#include "support/text.h"

namespace example {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::uint64_t kPrime = 0x100000001b3U;  // Fowler, Noll and Vo's hash
constexpr std::uint64_t kFirstBasis = 0xcbf29ce484222325U;
constexpr std::uint64_t kSecondBasis = 0x84222325cbf29ce4U;

// Spreads a hash over all of its bits: Steele, Lea and Flood's finaliser.
std::uint64_t Spread(std::uint64_t value) {
  value = (value ^ value >> 30U) * 0xbf58476d1ce4e5b9U;
  value = (value ^ value >> 27U) * 0x94d049bb133111ebU;
  return value ^ value >> 31U;
}

void Hash(std::uint64_t& hash, const void* bytes, std::size_t count) {
  const auto* const from = static_cast<const unsigned char*>(bytes);
  for (std::size_t i = 0; i < count; ++i) hash = (hash ^ from[i]) * kPrime;
}

std::string Decimal(Wide number) {
  std::string text;
  do text.insert(text.begin(), static_cast<char>('0' + static_cast<int>(number % 10)));
  while ((number /= 10) != 0);
  return text;
}

// Texts without which an object cannot be understood; of all others some may name people.
bool IsKeptText(const DcmTagKey& key) {
  static const DcmTagKey kept[] = {DCM_CodeValue,
                                   DCM_CodingSchemeDesignator,
                                   DCM_CodeMeaning,
                                   DCM_SegmentLabel,
                                   DCM_SegmentDescription,
                                   DCM_SegmentAlgorithmName,
                                   DCM_AlgorithmName,
                                   DCM_AlgorithmVersion,
                                   DCM_AlgorithmParameters,
                                   DCM_ContentDescription,
                                   DCM_Manufacturer,
                                   DCM_ManufacturerModelName,
                                   DCM_SoftwareVersions,
                                   DCM_StackID,
                                   DCM_PulseSequenceName,
                                   DCM_ReceiveCoilName,
                                   DCM_TransmitCoilName,
                                   DCM_DimensionDescriptionLabel,
                                   DCM_RescaleType,
                                   DCM_ReceiveCoilManufacturerName,
                                   DCM_TransmitCoilManufacturerName};
  return std::find(std::begin(kept), std::end(kept), key) != std::end(kept);
}

// The patient, the clinical trial, the request, the visit, and what was dictated.
bool IsOfPeople(Uint16 group) {
  return group == 0x0010 || group == 0x0012 || group == 0x0032 || group == 0x0038 || group == 0x4008;
}

bool MayIdentify(DcmElement& element) {
  const DcmTagKey& key = element.getTag();
  if (key.isPrivate() || IsOfPeople(key.getGroup()) || key == DCM_RequestAttributesSequence) return true;
  switch (element.getVR()) {
    case EVR_PN:
    case EVR_DA:
    case EVR_TM:
    case EVR_DT:
    case EVR_AE:
    case EVR_UN:
    case EVR_UR:
      return true;
    case EVR_LO:
    case EVR_SH:
    case EVR_ST:
    case EVR_LT:
    case EVR_UT:
    case EVR_UC:
      return !IsKeptText(key);
    default:
      return false;
  }
}

void RemoveIdentity(DcmItem& item) {
  for (unsigned long i = item.card(); i-- > 0;) {
    DcmElement* const element = item.getElement(i);
    if (element == nullptr) continue;
    if (MayIdentify(*element)) {
      delete item.remove(i);
    } else if (element->ident() == EVR_SQ) {
      auto& sequence = static_cast<DcmSequenceOfItems&>(*element);
      for (unsigned long k = 0; k < sequence.card(); ++k) RemoveIdentity(*sequence.getItem(k));
    }
  }
}

}  // namespace

DicomUids::DicomUids(const DicomOutput& output)
    : root_(output.uidRoot), isSeeded_(!output.uidSeed.empty()), high_(kFirstBasis), low_(kSecondBasis) {
  Add(output.uidSeed);
}

void DicomUids::Add(const void* bytes, std::size_t count) {
  if (!isSeeded_) return;
  Hash(high_, bytes, count);
  Hash(low_, bytes, count);
}

std::string DicomUids::Make(const std::string& role) const {
  std::uint64_t high = high_;
  std::uint64_t low = low_;
  if (isSeeded_) {
    Hash(high, role.data(), role.size());
    Hash(low, role.data(), role.size());
    high = Spread(high);
    low = Spread(low + high);
  } else {
    std::random_device random;
    high = std::uint64_t{random()} << 32U | random();
    low = std::uint64_t{random()} << 32U | random();
  }
  // A UUID: of random numbers, or of the maker's own making (RFC 9562), and the usual variant.
  high = (high & ~std::uint64_t{0xf000}) | (isSeeded_ ? 0x8000U : 0x4000U);
  low = (low & ~(std::uint64_t{3} << 62U)) | std::uint64_t{2} << 62U;
  const Wide number = static_cast<Wide>(high) << 64U | low;
  if (root_.empty()) return "2.25." + Decimal(number);
  return root_ + "." + Decimal(number);
}

DicomTime DicomNow() {
  std::time_t now = std::time(nullptr);
  std::tm parts{};
  if (const char* const epoch = std::getenv("SOURCE_DATE_EPOCH")) {
    now = static_cast<std::time_t>(std::strtoll(epoch, nullptr, 10));
    gmtime_r(&now, &parts);
  } else {
    localtime_r(&now, &parts);
  }
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y%m%d", &parts);
  const std::string date = text.data();
  std::strftime(text.data(), text.size(), "%H%M%S", &parts);
  return {date, text.data()};
}

std::string DicomDecimal(double value) {
  constexpr std::size_t kLongest = 16;
  for (int digits = 16; digits > 1; --digits) {
    std::array<char, 64> text{};
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, digits);
    const std::string decimal(text.data(), end.ptr);
    if (decimal.size() <= kLongest) return decimal;
  }
  return "0";
}

void SetDicomText(DcmItem& item, const DcmTagKey& key, const std::string& text) {
  if (item.putAndInsertString(key, text.c_str()).bad()) throw Failure("cannot make a DICOM object");
}

DcmItem& AddDicomItem(DcmItem& item, const DcmTagKey& sequence) {
  constexpr long kNew = -2;
  DcmItem* added = nullptr;
  if (item.findOrCreateSequenceItem(sequence, added, kNew).bad()) throw Failure("cannot make a DICOM object");
  return *added;
}

void SetDicomCode(DcmItem& item, const DcmTagKey& sequence, const std::string& value,
                  const std::string& scheme, const std::string& meaning) {
  item.findAndDeleteElement(sequence);
  DcmItem& code = AddDicomItem(item, sequence);
  SetDicomText(code, DCM_CodeValue, value);
  SetDicomText(code, DCM_CodingSchemeDesignator, scheme);
  SetDicomText(code, DCM_CodeMeaning, meaning);
}

void Anonymise(DcmDataset& dataset) {
  const bool hasNumber = dataset.tagExists(DCM_DeviceSerialNumber);
  RemoveIdentity(dataset);
  if (hasNumber)
    SetDicomText(dataset, DCM_DeviceSerialNumber, "0");  // objects of several frames must have one
  for (const DcmTagKey& key :
       {DCM_PatientName, DCM_PatientID, DCM_PatientBirthDate, DCM_PatientSex, DCM_StudyDate, DCM_StudyTime,
        DCM_StudyID, DCM_AccessionNumber, DCM_ReferringPhysicianName, DCM_PositionReferenceIndicator})
    dataset.insertEmptyElement(key);
  SetDicomText(dataset, DCM_PatientIdentityRemoved, "YES");
  SetDicomText(dataset, DCM_DeidentificationMethod, "names, dates, texts and private elements left out");
}

void SaveDicom(DcmFileFormat& file, const std::string& path) {
  errno = 0;
  if (file.saveFile(path.c_str(), EXS_LittleEndianExplicit).bad()) throw WriteFailure::FromErrno();
}

}  // namespace example
