#pragma once

#include <optional>
#include <vector>

#include "support/image.h"
#include "support/segmentation.h"

namespace desktop_host {

using example::Segmentation;

/// What a computation works on: copies, so that the user can go on looking at the image.
struct Request {
  example::GreyImage image;
  example::GreyImage slice;  ///< the plane of it that is shown
  int classesCount;
  int sliceIndex = 0;
};

/// What came out of a computation: classes of the slice or of the whole image, a new image, or nothing when
/// it was cancelled.
struct Outcome {
  std::optional<Segmentation> segmentation;
  bool isOfWholeImage = false;
  int sliceIndex = 0;  ///< of classes of a slice
  std::optional<example::GreyImage> image;
};

/// An entry of the menu of computations, which may run in a worker thread: they show their progress in the
/// library's windows.
struct Processing {
  const char* name;  ///< with the mnemonic of the menu
  const char* hint;
  Outcome (*run)(const Request& request);
};

/// The computations that the host offers, in the order of the menu.
const std::vector<Processing>& Processings();

}  // namespace desktop_host
