#pragma once

#include "support/dicom_stack.h"

namespace example {

/// Reads the voxels of the stack into an image of its grid, with their scaling, bright for bright: what is
/// stored as bright for low numbers is turned.
/// @throws Failure    naming the file, when its pixels are cut short or cannot be decompressed.
/// @throws Cancelled  when the user has pressed Ctrl-C.
void ReadDicomVoxels(const DicomStack& stack, GreyImage& image);

}  // namespace example
