#pragma once

#include <dcmtk/config/osconfig.h>  // has to come before all else of the toolkit
#include <dcmtk/dcmdata/dctk.h>

#include <string>
#include <vector>

#include "support/failure.h"

namespace example {

/// Readies the toolkit once: its decoders, and no word of its own, which could hold patient data.
/// @throws Failure  when its dictionary is missing.
void ReadyDicomToolkit();

/// Reads a file up to its pixels, or whole.
/// @throws Failure  naming the file, when it is damaged, cut short or no DICOM file.
void LoadDicomHeader(DcmFileFormat& file, const std::string& path);
void LoadDicomFile(DcmFileFormat& file, const std::string& path);

/// All values of a text element, separated by backslashes; empty when it is not there.
std::string DicomText(DcmItem& item, const DcmTagKey& key);

/// The numbers of an element; empty when it is not there, or one of them is no finite number.
std::vector<double> DicomNumbers(DcmItem& item, const DcmTagKey& key);

/// The first number of an element, or the fallback.
double DicomNumber(DcmItem& item, const DcmTagKey& key, double fallback);

/// The item at `index` of a sequence; null when it is not there.
DcmItem* DicomItemOf(DcmItem* item, const DcmTagKey& sequence, unsigned long index = 0);

/// How many items a sequence has.
unsigned long CountDicomItems(DcmItem& item, const DcmTagKey& sequence);

}  // namespace example
