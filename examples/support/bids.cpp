#include "support/bids.h"

#include <filesystem>
#include <regex>

namespace example {

BidsName ParseBidsName(const std::string& path) {
  static const std::regex pattern(
      "(sub-[A-Za-z0-9]+(?:_[A-Za-z]+-[A-Za-z0-9+]+)*)_([A-Za-z0-9]+)(?:\\.nii(?:\\.gz)?|\\.json)");
  std::smatch match;
  const std::string name = std::filesystem::path(path).filename().string();
  if (!std::regex_match(name, match, pattern)) return {};
  const std::string entities = match[1];
  BidsName result{entities.substr(0, entities.find('_')), "", match[2]};
  for (std::size_t at = entities.find('_'); at != std::string::npos;) {
    const std::size_t next = entities.find('_', at + 1);
    const std::string entity = entities.substr(at + 1, next - at - 1);
    if (entity.starts_with("desc-")) {
      result.description = entity.substr(5);
    } else if (!entity.starts_with("label-")) {
      result.entities += "_" + entity;
    }
    at = next;
  }
  return result;
}

bool AreOfOneScan(const BidsName& a, const BidsName& b) {
  const auto isMap = [](const BidsName& name) {
    return name.suffix == "dseg" || name.suffix == "probseg" || name.suffix == "map";
  };
  return a.entities == b.entities && (a.suffix == b.suffix || isMap(a) || isMap(b));
}

std::string BidsResult(const BidsName& name, const std::string& label, const std::string& description,
                       const std::string& suffix) {
  const std::string& desc = description.empty() ? name.description : description;
  return name.entities + (label.empty() ? "" : "_label-" + label) + (desc.empty() ? "" : "_desc-" + desc) +
         "_" + suffix;
}

std::vector<std::string> ClassNames(const BidsName& name, int classes) {
  if (classes == 3 && name.suffix == "T1w") return {"CSF", "GM", "WM"};
  std::vector<std::string> names;
  for (int k = 1; k <= classes; ++k) names.push_back("class" + std::to_string(k));
  return names;
}

}  // namespace example
