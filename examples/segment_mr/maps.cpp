#include "maps.h"

#include "lesions.h"
#include "support/bids.h"
#include "support/json_text.h"
#include "support/nifti_io.h"
#include "support/text.h"

namespace segment_mr {

namespace {

using example::Colour;
using example::GreyImage;
using example::Segmentation;

// What a map is called: in words of our own, or as BIDS wants it.
struct MapName {
  std::string own;
  std::string label;
  std::string description;
  std::string suffix;
};

// Writes maps of one image, each with its sidecar where the image is named as BIDS does.
class MapWriter {
 public:
  MapWriter(example::Results& results, const GreyImage& image, const Options& options)
      : results_(results),
        image_(image),
        options_(options),
        name_(example::ParseBidsName(options.imagePath)) {}

  void WriteLabels(const std::vector<std::uint8_t>& labels, const std::vector<std::string>& names) const {
    example::Json sidecar;
    for (std::size_t k = 0; k < names.size(); ++k) sidecar["LabelMap"][std::to_string(k + 1)] = names[k];
    Write({"labels", "", "", "dseg"}, sidecar, [&](const std::string& path) {
      example::WriteNiftiLabels(path, image_, options_.imagePath, labels);
    });
  }

  void WriteField(const MapName& name, const std::vector<double>& field) const {
    example::Json sidecar;
    sidecar["Description"] =
        "bias field: the image divided by it has the same tissue equally bright everywhere";
    Write(name, sidecar, [&](const std::string& path) {
      example::WriteNiftiFloats(path, image_, options_.imagePath,
                                std::vector<float>(field.begin(), field.end()),
                                example::Meaning::Intensities);
    });
  }

  void WriteShares(const MapName& name, const std::string& description,
                   const std::vector<float>& shares) const {
    example::Json sidecar;
    sidecar["Description"] = description;
    Write(name, sidecar, [&](const std::string& path) {
      example::WriteNiftiFloats(path, image_, options_.imagePath, shares, example::Meaning::Probabilities);
    });
  }

 private:
  void Write(const MapName& name, example::Json& sidecar, const example::Results::Writer& write) const {
    const std::string stem =
        name_.IsBids() ? example::BidsResult(name_, name.label, name.description, name.suffix) : name.own;
    results_.Write(stem + ".nii.gz", write);
    if (!name_.IsBids()) return;
    sidecar["Sources"] = options_.channelPaths;
    results_.WriteText(stem + ".json", example::JsonText(sidecar));
  }

  example::Results& results_;
  const GreyImage& image_;
  const Options& options_;
  example::BidsName name_;
};

std::string Joined(const std::vector<std::string>& fields) {
  std::string line;
  for (const std::string& field : fields) line += (line.empty() ? "" : " ") + field;
  return line + "\n";
}

std::string ChannelText(std::uint8_t channel) {
  return std::to_string(static_cast<int>(channel));
}

// Slicer: number, name, red, green, blue, opacity.
std::string SlicerTable(const std::vector<std::string>& names, const std::vector<Colour>& colours) {
  std::string table = "0 outside 0 0 0 0\n";
  for (std::size_t k = 0; k < names.size(); ++k) {
    const auto& [red, green, blue] = colours[k];
    table += Joined(
        {std::to_string(k + 1), names[k], ChannelText(red), ChannelText(green), ChannelText(blue), "255"});
  }
  return table;
}

// FSLeyes: number, red, green and blue from 0 to 1, name.
std::string FsleyesTable(const std::vector<std::string>& names, const std::vector<Colour>& colours) {
  const auto share = [](std::uint8_t channel) { return example::Fixed(channel / 255.0, 5); };
  std::string table;
  for (std::size_t k = 0; k < names.size(); ++k) {
    const auto& [red, green, blue] = colours[k];
    table += Joined({std::to_string(k + 1), share(red), share(green), share(blue), names[k]});
  }
  return table;
}

// ITK-SNAP: number, red, green, blue, opacity, visible, with a mesh, "name".
std::string ItkSnapTable(const std::vector<std::string>& names, const std::vector<Colour>& colours) {
  std::string table = "0 0 0 0 0 0 0 \"outside\"\n";
  for (std::size_t k = 0; k < names.size(); ++k) {
    const auto& [red, green, blue] = colours[k];
    table += Joined({std::to_string(k + 1), ChannelText(red), ChannelText(green), ChannelText(blue), "1 1 1",
                     "\"" + names[k] + "\""});
  }
  return table;
}

}  // namespace

std::vector<std::string> LabelNames(const Segmentation& segmentation, const Options& options) {
  std::vector<std::string> names = example::ClassNames(example::ParseBidsName(options.imagePath),
                                                       static_cast<int>(segmentation.centroids.size()));
  if (segmentation.evidence) names.push_back("undecided");
  if (!segmentation.isLesion.empty()) names.push_back(kLesionName);
  return names;
}

std::vector<Colour> LabelColours(const Segmentation& segmentation) {
  std::vector<Colour> colours = example::DistinctColours(static_cast<int>(segmentation.centroids.size()));
  if (segmentation.evidence) colours.push_back(example::kUndecidedColour);
  if (!segmentation.isLesion.empty()) colours.push_back(example::kLesionColour);
  return colours;
}

void WriteMaps(example::Results& results, const GreyImage& image, const Segmentation& segmentation,
               const Options& options) {
  const std::vector<std::string> names = LabelNames(segmentation, options);
  const std::vector<Colour> colours = LabelColours(segmentation);
  const MapWriter writer(results, image, options);
  writer.WriteLabels(AllLabels(segmentation), names);
  results.WriteText("labels.ctbl", SlicerTable(names, colours));
  results.WriteText("labels.lut", FsleyesTable(names, colours));
  results.WriteText("labels.label.txt", ItkSnapTable(names, colours));
  for (std::size_t k = 0; k < segmentation.memberships.size(); ++k) {
    const std::string number = std::to_string(k + 1);
    writer.WriteShares({"membership_" + number, names[k], "", "probseg"}, "membership of class " + number,
                       segmentation.memberships[k]);
    if (!segmentation.evidence) continue;
    writer.WriteShares({"plausibility_" + number, names[k], "plausibility", "probseg"},
                       "plausibility of class " + number, segmentation.evidence->plausibility[k]);
  }
  for (std::size_t channel = 0; channel < segmentation.fields.size() && options.settings.estimatesField;
       ++channel) {
    const bool isOne = segmentation.fields.size() == 1;
    const std::string number = isOne ? "" : std::to_string(channel + 1);
    std::string name = "bias_field";
    if (!isOne) name.append("_").append(number);
    writer.WriteField({name, "", "biasfield" + number, "map"}, segmentation.fields[channel]);
  }
  if (!segmentation.evidence) return;
  writer.WriteShares({"undecided", "undecided", "", "probseg"}, "mass on sets of several classes",
                     segmentation.evidence->undecided);
  const bool isFused = segmentation.fused.has_value();
  writer.WriteShares({isFused ? "conflict" : "outliers", isFused ? "conflict" : "outlier", "", "probseg"},
                     isFused ? "conflict of the two images" : "mass on no class",
                     segmentation.evidence->unassigned);
}

}  // namespace segment_mr
