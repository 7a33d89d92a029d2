#pragma once

#include <nifti2_io.h>
#include <zlib.h>

#include <cstdint>
#include <memory>
#include <string>

namespace example {

struct NiftiImageDeleter {
  void operator()(nifti_image* image) const { nifti_image_free(image); }
};
using NiftiImagePtr = std::unique_ptr<nifti_image, NiftiImageDeleter>;

struct GzipCloser {
  void operator()(gzFile_s* file) const { gzclose(file); }
};
using GzipFile = std::unique_ptr<gzFile_s, GzipCloser>;

/// Ends the program: the file is damaged or no NIfTI image.
[[noreturn]] void ThrowDamagedNifti(const std::string& path);

/// The header of a one-file NIfTI-1 or NIfTI-2 image of at most three dimensions, whose fixed part has been
/// checked before the reader library takes it at its word, and whose file holds all of its voxels.
/// @throws Failure  naming the file.
NiftiImagePtr ReadNiftiHeader(const std::string& path);

/// Where the voxels start in the decompressed file: never before the header and the four bytes behind it have
/// ended, whatever the header says.
std::int64_t NiftiVoxelsStart(const nifti_image& image);

}  // namespace example
