#pragma once

#include <string>
#include <vector>

namespace example {

/// The name of a file as the Brain Imaging Data Structure (BIDS) builds it: sub-01_ses-2_desc-raw_T1w.nii.gz
/// has the entities "sub-01_ses-2", the description "raw" and the suffix "T1w".
struct BidsName {
  std::string entities;     ///< without label and description; empty: not such a name
  std::string description;  ///< empty: none
  std::string suffix;
  bool IsBids() const { return !entities.empty(); }
};
/// @param path  of an image, or of the sidecar of one.
BidsName ParseBidsName(const std::string& path);

/// Whether images of these names are of one scan, as far as the names tell: maps made of an image do not tell
/// its suffix.
bool AreOfOneScan(const BidsName& a, const BidsName& b);

/// The name, without its ending, of what is made of an image of that name: sub-01_label-GM_probseg.
/// @param label        of what it shows alone; empty: none.
/// @param description  how it was made; empty: that of the image.
std::string BidsResult(const BidsName& name, const std::string& label, const std::string& description,
                       const std::string& suffix);

/// Names of tissue classes by increasing intensity: CSF, GM and WM for three classes of a T1-weighted image
/// that is named as BIDS does, otherwise class1, class2 ...
std::vector<std::string> ClassNames(const BidsName& name, int classes);

}  // namespace example
