#include "support/bids.h"

#include <filesystem>
#include <regex>

namespace example {

BidsName ParseBidsName(const std::string& path) {
  static const std::regex pattern(
      "(sub-[A-Za-z0-9]+(?:_[A-Za-z]+-[A-Za-z0-9+]+)*)_([A-Za-z0-9]+)\\.nii(?:\\.gz)?");
  std::smatch match;
  const std::string name = std::filesystem::path(path).filename().string();
  if (!std::regex_match(name, match, pattern)) return {};
  return {match[1], match[2]};
}

std::vector<std::string> ClassNames(const BidsName& name, int classes) {
  if (classes == 3 && name.suffix == "T1w") return {"CSF", "GM", "WM"};
  std::vector<std::string> names;
  for (int k = 1; k <= classes; ++k) names.push_back("class" + std::to_string(k));
  return names;
}

}  // namespace example
