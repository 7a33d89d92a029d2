#pragma once

#include <string>
#include <vector>

namespace example {

/// The name of a file as the Brain Imaging Data Structure (BIDS) builds it: sub-01_ses-2_T1w.nii.gz has the
/// entities "sub-01_ses-2" and the suffix "T1w".
struct BidsName {
  std::string entities;  ///< empty: not such a name
  std::string suffix;
  bool IsBids() const { return !entities.empty(); }
};
BidsName ParseBidsName(const std::string& path);

/// Names of tissue classes by increasing intensity: CSF, GM and WM for three classes of a T1-weighted image
/// that is named as BIDS does, otherwise class1, class2 ...
std::vector<std::string> ClassNames(const BidsName& name, int classes);

}  // namespace example
