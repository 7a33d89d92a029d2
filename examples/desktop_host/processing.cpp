#include "processing.h"

#include <algorithm>

#include "support/denoising.h"

namespace desktop_host {

namespace {

using example::Method;

// As the command line's segment_mr does by default, with its settings and its numbers.
example::SegmentationSettings SettingsOf(Method method, int classesCount) {
  example::SegmentationSettings settings;
  settings.method = method;
  settings.clusters = classesCount;
  settings.iterations = example::DefaultIterations(method);
  return settings;
}

Outcome SegmentSlice(const Request& request, Method method) {
  const example::Inside inside = example::FindInside(request.slice, 0.0, nullptr);
  Outcome outcome;
  outcome.sliceIndex = request.sliceIndex;
  outcome.segmentation =
      example::Segment(request.slice, inside, nullptr, SettingsOf(method, request.classesCount));
  return outcome;
}

// Noise is taken off first, as on the command line, where the image is one of magnitudes.
Outcome DivideWhole(const Request& request) {
  std::vector<example::GreyImage> channels{request.image};
  std::vector<double> confidence;
  const auto& values = request.image.values;
  if (std::all_of(values.begin(), values.end(), [](double value) { return value >= 0.0; }))
    confidence = example::DenoiseInside(channels.front(), {}).confidence;
  const example::Inside inside = example::FindInside(channels.front(), 0.0, nullptr);
  Outcome outcome;
  outcome.isOfWholeImage = true;
  outcome.segmentation =
      example::DivideTissues(channels, inside, confidence, SettingsOf(Method::Tissue, request.classesCount));
  return outcome;
}

Outcome Denoise(const Request& request) {
  Outcome outcome;
  outcome.image = request.image;
  example::DenoisingOptions options;
  options.isPlaneByPlane = !example::IsVolume(request.image);
  example::Denoise(*outcome.image, options);
  return outcome;
}

}  // namespace

const std::vector<Processing>& Processings() {
  static const std::vector<Processing> processings{
      {"&Fuzzy c-means", "Tissue classes of the slice with memberships between 0 and 1",
       [](const Request& request) { return SegmentSlice(request, Method::FuzzyCMeans); }},
      {"&Evidential c-means",
       "Tissue classes of the slice with probabilities, drawn from the belief in every set of classes",
       [](const Request& request) { return SegmentSlice(request, Method::EvidentialCMeans); }},
      {"&Tissues of the whole image", "Fractions of tissues everywhere, with their mixtures and a bias field",
       DivideWhole},
      {"&Denoise", "The whole image without its noise", Denoise},
  };
  return processings;
}

}  // namespace desktop_host
