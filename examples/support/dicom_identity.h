#pragma once

#include <cstdint>
#include <string>

#include "support/dicom_results.h"
#include "support/dicom_toolkit.h"

namespace example {

/// The unique identifiers of the objects of a run: random, or, with a seed, made of it and of all that the
/// run reads and writes, so that the same run makes the same ones and no other run does.
class DicomUids {
 public:
  explicit DicomUids(const DicomOutput& output);

  /// Lets what identifies the run count: settings, sources, voxels.
  void Add(const void* bytes, std::size_t count);
  void Add(const std::string& text) { Add(text.data(), text.size()); }

  /// The identifier of what plays that role in the run.
  std::string Make(const std::string& role) const;

 private:
  std::string root_;
  bool isSeeded_;
  std::uint64_t high_;
  std::uint64_t low_;
};

/// Now, or what SOURCE_DATE_EPOCH says.
struct DicomTime {
  std::string date;
  std::string time;
};
DicomTime DicomNow();

/// The shortest decimal text of at most 16 characters, as DICOM writes numbers.
std::string DicomDecimal(double value);

/// Sets an element to a text.
/// @throws Failure  when the toolkit refuses it.
void SetDicomText(DcmItem& item, const DcmTagKey& key, const std::string& text);

/// A new item at the end of a sequence.
DcmItem& AddDicomItem(DcmItem& item, const DcmTagKey& sequence);

/// The only item of a sequence: a code.
void SetDicomCode(DcmItem& item, const DcmTagKey& sequence, const std::string& value,
                  const std::string& scheme, const std::string& meaning);

/// Takes out who the patient is and everything else that is not needed to show the images, private elements
/// first; what an object must have stays there without a value.
void Anonymise(DcmDataset& dataset);

/// @throws WriteFailure  when the file cannot be written whole.
void SaveDicom(DcmFileFormat& file, const std::string& path);

}  // namespace example
