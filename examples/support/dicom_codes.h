#pragma once

#include "support/dicom_results.h"

namespace example {

/// What the kind of thing that a segment shows is called in SNOMED CT, and what it is.
DicomCode CategoryCodeOf(DicomTissue tissue);
DicomCode TypeCodeOf(DicomTissue tissue);

}  // namespace example
