#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/image.h"
#include "support/raster.h"
#include "support/results.h"

namespace CLI {
class App;
}

namespace example {

struct Segmentation;

/// How results go back into an archive.
struct DicomOutput {
  std::string folder;            ///< empty: they do not
  bool isAnonymous = false;      ///< leaves out who the patient is
  bool writesFractions = false;  ///< probabilities instead of labels
  std::string uidRoot;           ///< of the user's organisation; empty: that of random numbers
  std::string uidSeed;           ///< empty: identifiers are random
};

/// --dicom-output, --anonymous, --uid-root and --uid-seed; --dicom-fractions where it has a text.
void AddDicomOutputOptions(CLI::App& app, DicomOutput& output, const std::string& text,
                           const std::string& fractionsText);

/// @throws Failure  before a long run: the image is not DICOM or not whole, the folder is one of the source,
/// or the root is none.
void RequireDicomOutput(const DicomOutput& output, const GreyImage& image, const std::string& imagePath);

/// Whether an image read from DICOM is T1-weighted, by what the scanner says of its timing: a short echo
/// time, and a short repetition time or an inversion.
bool IsT1Weighted(const GreyImage& image);

enum class DicomTissue { Fluid, GreyMatter, WhiteMatter, Lesion, Other };

/// What a label stands for.
struct DicomSegment {
  std::string name;
  DicomTissue tissue;
  Colour colour;
};

/// What the labels of a segmentation stand for: three tissues of a T1-weighted image are cerebrospinal fluid,
/// grey and white matter; other classes are tissue, numbered; above them what is undecided, then the lesions.
std::vector<DicomSegment> SegmentsOf(const GreyImage& image, const Segmentation& segmentation);

/// A term of a coding scheme.
struct DicomCode {
  std::string value;
  std::string scheme;
  std::string meaning;
};

struct DicomMeasurement {
  DicomCode what;
  double value;
  DicomCode unit;
};
DicomMeasurement VolumeMeasurement(double millilitres);

/// What was measured in a part of an image.
struct DicomRegion {
  std::string name;
  DicomTissue tissue;
  int segment;  ///< of the Segmentation object; 0: the part is in none
  std::vector<DicomMeasurement> measurements;
};

/// An object that others refer to.
struct DicomReference {
  std::string series;
  std::string instance;
};

/// Who made the results, and how, for people.
struct DicomMaker {
  std::string host;       ///< the program
  std::string algorithm;  ///< its method
  std::string settings;   ///< in words
};

/// Writes a Segmentation object that viewers lay over the slices of the image: a segment for each label from
/// 1 up, its frames where it is.
/// @param labels  of every voxel; 0 is outside.
/// @throws WriteFailure  when the file cannot be written whole.
DicomReference WriteDicomLabels(const std::string& path, const GreyImage& image,
                                const std::vector<DicomSegment>& segments,
                                const std::vector<std::uint8_t>& labels, const DicomMaker& maker,
                                const DicomOutput& output);

/// The same with the probability of each segment in every voxel, in steps of 1/255.
DicomReference WriteDicomFractions(const std::string& path, const GreyImage& image,
                                   const std::vector<DicomSegment>& segments,
                                   const std::vector<std::vector<float>>& shares, const DicomMaker& maker,
                                   const DicomOutput& output);

/// Writes a Structured Report of the measurements (template TID 1500); values that are no finite numbers are
/// left out.
/// @param segmentation  the object whose segments the regions name; empty: none.
void WriteDicomReport(const std::string& path, const GreyImage& image,
                      const std::vector<DicomRegion>& regions, const DicomReference& segmentation,
                      const DicomMaker& maker, const DicomOutput& output);

/// Writes the image as a derived series, a file for each one that it was read from: of the same patient,
/// study and place, its window kept, with the voxels of `image`.
/// @param suffix  of the series' description.
void WriteDicomSeries(Results& results, const GreyImage& image, const std::string& suffix,
                      const DicomMaker& maker, const DicomOutput& output);

}  // namespace example
