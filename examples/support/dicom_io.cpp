#include "support/dicom_io.h"

#include <filesystem>
#include <set>

#include "support/dicom_files.h"
#include "support/dicom_pixels.h"
#include "support/dicom_series.h"
#include "support/dicom_stack.h"
#include "support/failure.h"
#include "support/text.h"

namespace example {

// A pipe is not looked into: it may never give a byte.
bool IsDicomPath(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) return true;
  return std::filesystem::is_regular_file(path, error) && LooksLikeDicom(path);
}

GreyImage ReadDicom(const std::string& path, const SeriesChoice& choice) {
  auto stack = std::make_shared<DicomStack>(StackSlices(ChooseDicomFrames(path, choice)));
  GreyImage image = GridOf(*stack);
  ReadDicomVoxels(*stack, image);
  image.dicom = stack;
  return image;
}

SeriesGeometry ReadDicomGeometry(const std::string& path, const SeriesChoice& choice) {
  const DicomStack stack = StackSlices(ChooseDicomFrames(path, choice));
  if (!stack.place) throw Failure("no place in the patient in " + path);
  const DicomStack::Place& place = *stack.place;
  return {place.alongRow, place.alongColumn, place.origin, place.step, GridOf(stack).size, place.voxelSize};
}

std::vector<SeriesEntry> ListDicomSeries(const std::string& path) {
  std::vector<SeriesEntry> entries;
  for (const DicomSeries& series : FindDicomSeries(path)) {
    const std::set<int> echoes = EchoesOf(series);
    for (const int echo : echoes) {
      SeriesEntry entry;
      entry.choice.series = series.name;
      entry.text = OnOneLine(SeriesText(OfEcho(series, echo)));
      if (echoes.size() > 1) {
        entry.choice.echo = echo;
        entry.text += ", echo " + std::to_string(echo);
      }
      entries.push_back(entry);
    }
  }
  return entries;
}

}  // namespace example
