#pragma once

#include <string>
#include <vector>

namespace example {

/// The DICOM files that a path stands for: itself, those of a folder and the folders in it, or those that a
/// DICOMDIR names; sorted by name.
/// @throws Failure  naming the file, when a DICOMDIR is damaged or names one that is not there.
std::vector<std::string> FindDicomFiles(const std::string& path);

/// Whether a file begins as DICOM files do, or is named as they are.
bool LooksLikeDicom(const std::string& path);

}  // namespace example
