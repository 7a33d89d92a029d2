// Finds the rigid transform between two sets of landmarks: an example of a host program around the changes of
// reference.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "landmarks.h"
#include "report.h"
#include "support/command_line.h"
#include "support/failure.h"
#include "support/output_folder.h"

namespace {

using example::Failure;

constexpr const char* kFooter =
    "FILES hold x,y,z or label,x,y,z per line, or are fiducials of Slicer (.fcsv, .mrk.json). Points are "
    "matched\n"
    "by their labels when both files have the same ones, otherwise by their order.\n"
    "\n"
    "Writes matrix.txt, transform.tfm (for Slicer and ITK) and residuals.svg.\n"
    "Exit status: 0 done, 2 failure (one line on standard error).\n";

struct Options {
  std::string firstPath;
  std::string secondPath;
  std::string outputPath = "registration";
  std::string method = "quaternion";
  bool isRas = false;
};

bool Estimate(MTH_MATRIX_CHGREF& change, const std::string& method) {
  return method == "quaternion" ? change.ComputeFromSetsByQuaternion() : change.ComputeByGeometricMethod();
}

void RegisterFiles(const Options& options) {
  example::OutputFolder folder(options.outputPath);
  auto first = register_landmarks::ReadLandmarks(options.firstPath, options.isRas);
  auto second = register_landmarks::ReadLandmarks(options.secondPath, options.isRas);
  MatchLandmarks(first, second);
  if (first.points.size() < 3) throw Failure("at least three landmarks are needed");

  MTH_MATRIX_CHGREF change(static_cast<int>(first.points.size()), first.points.data(), second.points.data());
  if (!Estimate(change, options.method)) throw Failure("no transform can be found for these landmarks");
  const auto quality = register_landmarks::Assess(change);

  folder.WriteText("matrix.txt", register_landmarks::MatrixText(change));
  folder.WriteText("transform.tfm", register_landmarks::ItkTransformText(change));
  folder.WriteText("residuals.svg", DrawResiduals(quality));
  folder.Commit({});
  std::printf("%s3 files written into %s\n", TextReport(change, quality).c_str(), options.outputPath.c_str());
}

int Run(int argc, char** argv) {
  Options options;
  CLI::App app("Finds the rigid transform that maps the landmarks of a first file to those of a second one.");
  app.footer(kFooter);
  app.add_option("FIRST", options.firstPath, "Landmarks to move")->required();
  app.add_option("SECOND", options.secondPath, "The same landmarks where they should be")->required();
  app.add_option("-o,--output", options.outputPath, "Folder for the results")->capture_default_str();
  app.add_option("-m,--method", options.method, "quaternion (least squares) or geometric")
      ->check(CLI::IsMember({"quaternion", "geometric"}).description(""))
      ->capture_default_str();
  app.add_flag("--ras", options.isRas, "Text files have x to the right and y to the front, not LPS");
  if (!example::ParseCommandLine(app, argc, argv)) return 0;
  RegisterFiles(options);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("register_landmarks", Run, argc, argv);
}
