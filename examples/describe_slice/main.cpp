// Tells how an MR slice lies in the patient in the scanner's words: an example of a host program around the
// slice orientations.

#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "mth/geometry/Mth_3d_geometry.h"
#include "slice_geometry.h"
#include "support/batch.h"
#include "support/command_line.h"
#include "support/dicom_io.h"
#include "support/failure.h"
#include "support/json_text.h"
#include "support/text.h"

namespace {

using describe_slice::SliceGeometry;
using describe_slice::SliceStack;
using example::Failure;
using example::Fixed;

struct Options {
  std::vector<std::string> paths;
  std::string csvPath;
  std::vector<double> cosines;
  std::vector<double> centre = {0.0, 0.0, 0.0};
  std::optional<int> index;
  example::SeriesChoice series;
  bool listsSeries = false;
  example::OutputOptions output;
};

MTH_3D_VECT_DOUBLE NormalOf(const SliceGeometry& slice) {
  const auto& [rx, ry, rz] = slice.rowDirection;
  const auto& [cx, cy, cz] = slice.columnDirection;
  const MTH_3D_VECT_DOUBLE row(rx, ry, rz);
  const std::unique_ptr<MTH_3D_VECT_DOUBLE> normal(row ^ MTH_3D_VECT_DOUBLE(cx, cy, cz));
  if (!normal || !(normal->GetNorm() > 0.0) || !std::isfinite(normal->GetNorm())) {
    throw Failure("the directions do not span a plane");
  }
  normal->Normalise();
  return *normal;
}

// "AXI > SAG 12 > COR -5": the main plane, then each tilt with its degrees.
std::string WordsOf(const Orient_Coupe_Irm& record) {
  std::string words = record.orientation;
  if (record.tiltCount > 0)
    words += std::string(" > ") + record.firstTilt + " " + std::to_string(record.firstAngle);
  if (record.tiltCount > 1)
    words += std::string(" > ") + record.secondTilt + " " + std::to_string(record.secondAngle);
  return words;
}

// How the slice lies, in the words and numbers of the scanner.
struct Description {
  std::string orientation;
  double shift;
  MTH_3D_VECT_DOUBLE normal;
  short codes[2];
  double angles[2];
  std::optional<SliceStack> stack;  // of a DICOM series
};

Description Describe(const SliceGeometry& slice) {
  Description result{"", 0.0, NormalOf(slice), {0, 0}, {0.0, 0.0}, slice.stack};
  Mth_3D_CalculParamCoupePerp(&result.normal, &result.codes[0], &result.codes[1], &result.angles[0],
                              &result.angles[1]);
  // A sagittal slice tilted to the axial plane alone keeps the name that the record holds before.
  Orient_Coupe_Irm record = {0, "SAG", " ", " ", 0, 0, 0.0};
  Mth_3D_Trans_Cod_IRM(result.codes[0], result.codes[1], result.angles[0], result.angles[1], &record);
  Mth_3D_CalculShiftmean(slice.firstCorner, slice.lastCorner, &record);
  result.orientation = WordsOf(record);
  result.shift = record.shift;
  for (double& angle : result.angles) angle += 0.0;  // takes the sign off a zero
  return result;
}

std::string PlaceText(const std::array<double, 3>& place) {
  return Fixed(place[0], 2) + " " + Fixed(place[1], 2) + " " + Fixed(place[2], 2);
}

void Print(const Description& slice) {
  std::printf("Orientation  %s\n", slice.orientation.c_str());
  std::printf("Shift        %s mm\n", Fixed(slice.shift, 1).c_str());
  std::printf("Normal       %s %s %s\n", Fixed(slice.normal.GetX(), 4).c_str(),
              Fixed(slice.normal.GetY(), 4).c_str(), Fixed(slice.normal.GetZ(), 4).c_str());
  std::printf("Codes        %d %d, angles %s %s degrees\n", slice.codes[0], slice.codes[1],
              Fixed(slice.angles[0], 2).c_str(), Fixed(slice.angles[1], 2).c_str());
  if (!slice.stack) return;
  std::printf("Slices       %d, %s mm apart\n", slice.stack->count,
              example::Rounded(slice.stack->spacing, 6).c_str());
  std::printf("First voxel  %s of the first slice, %s of the last\n", PlaceText(slice.stack->first).c_str(),
              PlaceText(slice.stack->last).c_str());
}

example::Json JsonReport(const std::string& path, const Description& slice) {
  example::Json json;
  if (!path.empty()) json["image"] = path;
  json["orientation"] = slice.orientation;
  json["shift_mm"] = slice.shift;
  json["normal_lps"] = {slice.normal.GetX(), slice.normal.GetY(), slice.normal.GetZ()};
  json["codes"] = slice.codes;
  json["angles_degrees"] = slice.angles;
  if (slice.stack)
    json["slices"] = {{"count", slice.stack->count},
                      {"spacing_mm", slice.stack->spacing},
                      {"first_lps", slice.stack->first},
                      {"last_lps", slice.stack->last}};
  return json;
}

std::string TableRow(const std::string& path, const Description& slice) {
  std::string row = example::CsvField(path) + "," + example::CsvField(slice.orientation);
  for (const double number : {slice.shift, slice.normal.GetX(), slice.normal.GetY(), slice.normal.GetZ()})
    row.append(",").append(example::Rounded(number, 8));
  return row + "\n";
}

// No path: the slice of the cosines.
SliceGeometry GeometryOf(const std::string& path, const Options& options) {
  if (!path.empty()) return describe_slice::ReadSliceGeometry(path, options.index, options.series);
  std::array<double, 6> cosines{};
  std::array<double, 3> centre{};
  std::copy_n(options.cosines.begin(), 6, cosines.begin());
  std::copy_n(options.centre.begin(), 3, centre.begin());
  return describe_slice::GeometryFromCosines(cosines, centre);
}

bool ParseOptions(int argc, char** argv, Options& options) {
  CLI::App app(
      "Tells how an MR slice lies in the patient: sagittal (SAG), coronal (COR) or axial (AXI), and its "
      "tilts.",
      "describe_slice");
  app.footer(std::string(
                 "Directions and places are those of DICOM: x to the patient's left, y to the back, z to the "
                 "head.\n") +
             example::kStatusText);
  auto* file = app.add_option("FILE", options.paths, "NIfTI images, or DICOM: files, folders or DICOMDIRs");
  auto* cosines = app.add_option("-c,--cosines", options.cosines,
                                 "Direction cosines along a row and along a column, separated by commas");
  cosines->delimiter(',')->expected(6)->type_name("RX,RY,RZ,CX,CY,CZ")->excludes(file);
  app.add_option("-m,--middle", options.centre, "Middle of the slice in mm, for its shift")
      ->delimiter(',')
      ->expected(3)
      ->type_name("X,Y,Z")
      ->needs(cosines);
  app.add_option("-i,--index", options.index, "Slice along the third axis of FILE; the middle one without it")
      ->needs(file);
  app.add_option("--csv", options.csvPath, "Write a table with a row for each FILE, too")
      ->type_name("FILE")
      ->needs(file);
  example::AddSeriesOptions(app, options.series);
  for (const char* name : {"--series", "--echo"}) app.get_option(name)->needs(file);
  example::AddReportOptions(app, options.output);
  CLI::Option* list =
      app.add_flag("--list", options.listsSeries, "Only list the series of DICOM folders")->needs(file);
  for (const char* name : {"--json", "--csv", "--index", "--series", "--echo"})
    list->excludes(app.get_option(name));
  if (!example::ParseCommandLine(app, argc, argv)) return false;
  if (options.paths.empty() && options.cosines.empty()) throw Failure("FILE or --cosines is needed");
  return true;
}

int Run(int argc, char** argv) {
  Options options;
  if (!ParseOptions(argc, argv, options)) return 0;
  if (options.listsSeries) {
    for (const std::string& path : options.paths) {
      for (const auto& entry : example::ListDicomSeries(path)) std::printf("%s\n", entry.text.c_str());
    }
    return 0;
  }
  example::Results results("describe_slice", options.paths, options.output.isForced);
  results.AnnounceFile(options.output.jsonPath);
  results.AnnounceFile(options.csvPath);
  std::vector<std::string> paths = options.paths;
  if (paths.empty()) paths.emplace_back();
  std::vector<Description> slices;
  example::Json reports = example::Json::array();
  std::string table = "image,orientation,shift mm,normal x,normal y,normal z\n";
  for (const std::string& path : paths) {
    slices.push_back(Describe(GeometryOf(path, options)));
    reports.push_back(JsonReport(path, slices.back()));
    table += TableRow(path, slices.back());
  }
  results.WriteTextFile(options.output.jsonPath,
                        example::JsonText(paths.size() == 1 ? reports.front() : reports));
  results.WriteTextFile(options.csvPath, table);
  results.Commit();
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (paths.size() > 1) std::printf("%sImage        %s\n", i == 0 ? "" : "\n", paths[i].c_str());
    Print(slices[i]);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("describe_slice", Run, argc, argv);
}
