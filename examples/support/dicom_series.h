#pragma once

#include <set>
#include <string>
#include <vector>

#include "support/dicom_frames.h"
#include "support/image.h"

namespace example {

/// The slices of a folder that belong together: a series, or one kind of its images.
struct DicomSeries {
  std::string name;  ///< what --series takes: its number ("5"), a kind of it ("5:2"), or else its identifier
  std::vector<DicomFrame> frames;
};

/// All series of a file, a folder with those below it, or a DICOMDIR, by their numbers.
/// @throws Failure  naming the file, when one is damaged, is named by the DICOMDIR and not there, or when
/// there is no image.
std::vector<DicomSeries> FindDicomSeries(const std::string& path);

/// The numbers of the echoes of a series; 1 of images that tell none.
std::set<int> EchoesOf(const DicomSeries& series);
DicomSeries OfEcho(DicomSeries series, int echo);

/// "5 'T1 axial', 181 slices of 217 x 181, derived": for people who choose.
std::string SeriesText(const DicomSeries& series);

/// The slices that the user means, of one echo.
/// @throws Failure  listing the series, when there are several and none of them, or none that exists, is
/// chosen; likewise the echoes; with the reason when the images cannot be read.
std::vector<DicomFrame> ChooseDicomFrames(const std::string& path, const SeriesChoice& choice);

}  // namespace example
