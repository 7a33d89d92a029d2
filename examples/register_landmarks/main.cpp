// Finds the rigid transform between two sets of landmarks: an example of a host program around the changes of
// reference.

#include <cstdio>
#include <memory>

#include "landmarks.h"
#include "report.h"
#include "support/cancellation.h"
#include "support/command_line.h"
#include "support/failure.h"
#include "support/text.h"

namespace {

using example::Failure;

constexpr const char* kFooter =
    "FILES hold x,y,z or label,x,y,z per line, or are fiducials of Slicer (.fcsv, .mrk.json). Points are "
    "matched\n"
    "by their labels when either file has any, otherwise by their order.\n"
    "\n"
    "Writes matrix.txt, transform.tfm (for Slicer and ITK) and residuals.svg (all or none).\n";

struct Options {
  std::string firstPath;
  std::string secondPath;
  example::OutputOptions output{"registration", "", false};
  std::string method = "quaternion";
  bool isByOrder = false;
  bool isRas = false;
};

bool Estimate(MTH_MATRIX_CHGREF& change, const std::string& method, bool* isOutlier) {
  if (method == "robust") return change.ComputeWithoutOutliers(isOutlier);
  return method == "quaternion" ? change.ComputeFromSetsByQuaternion() : change.ComputeByGeometricMethod();
}

// Their labels, or their numbers.
std::vector<std::string> NamesOf(const register_landmarks::Landmarks& landmarks, bool isByLabel) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < landmarks.labels.size(); ++i)
    names.push_back(isByLabel ? example::OnOneLine(landmarks.labels[i]) : std::to_string(i + 1));
  return names;
}

void RegisterFiles(const Options& options) {
  example::Results results("register_landmarks", {options.firstPath, options.secondPath},
                           options.output.isForced);
  results.OpenFolder(options.output.path);
  results.Announce({"matrix.txt", "transform.tfm", "residuals.svg"});
  results.AnnounceFile(options.output.jsonPath);
  auto first = register_landmarks::ReadLandmarks(options.firstPath, options.isRas);
  auto second = register_landmarks::ReadLandmarks(options.secondPath, options.isRas);
  const bool isByLabel = MatchLandmarks(first, second, options.isByOrder);
  if (first.points.size() < 3) throw Failure("at least three landmarks are needed");
  for (const auto* landmarks : {&first, &second}) {
    if (register_landmarks::AreCollinear(landmarks->points))
      throw Failure("the landmarks of " + landmarks->path + " lie on one line: they leave the rotation open");
  }
  const register_landmarks::Matching matching{options.method, NamesOf(first, isByLabel), isByLabel};

  MTH_MATRIX_CHGREF change(static_cast<int>(first.points.size()), first.points.data(), second.points.data());
  const auto isOutlier = std::make_unique<bool[]>(first.points.size());
  const bool isEstimated = Estimate(change, options.method, isOutlier.get());
  example::ThrowIfCancelled();
  if (!isEstimated) throw Failure("no transform can be found for these landmarks");
  const auto quality =
      register_landmarks::Assess(change, options.method == "robust" ? isOutlier.get() : nullptr);

  results.WriteText("matrix.txt", register_landmarks::MatrixText(change));
  results.WriteText("transform.tfm", register_landmarks::ItkTransformText(change));
  results.WriteText("residuals.svg", DrawResiduals(quality, matching));
  results.WriteTextFile(options.output.jsonPath, JsonReport(change, quality, matching));
  results.Commit();
  std::printf("%s3 files written into %s\n", TextReport(change, quality, matching).c_str(),
              options.output.path.c_str());
}

int Run(int argc, char** argv) {
  Options options;
  CLI::App app("Finds the rigid transform that maps the landmarks of a first file to those of a second one.",
               "register_landmarks");
  app.footer(std::string(kFooter) + example::kReplacementText + example::kStatusText);
  app.add_option("FIRST", options.firstPath, "Landmarks to move")->required();
  app.add_option("SECOND", options.secondPath, "The same landmarks where they should be")->required();
  example::AddOutputOptions(app, options.output);
  example::AddWord(
      app, "-m,--method", options.method, {"quaternion", "geometric", "robust"}, "METHOD",
      "quaternion (least squares), geometric, or robust (least squares of\nthe landmarks that are "
      "right, as the least mean distance tells them)");
  app.add_flag("--by-order", options.isByOrder, "Match the points by their order, whatever their labels are");
  app.add_flag("--ras", options.isRas, "Text files have x to the right and y to the front, not LPS");
  if (!example::ParseCommandLine(app, argc, argv)) return 0;
  const bool tellAxes =
      register_landmarks::TellsAxes(options.firstPath) && register_landmarks::TellsAxes(options.secondPath);
  example::Require(!options.isRas || !tellAxes, "--ras belongs to text files: these tell their axes");
  RegisterFiles(options);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("register_landmarks", Run, argc, argv);
}
