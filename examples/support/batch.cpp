#include "support/batch.h"

#include <cstdio>
#include <filesystem>
#include <set>

#include "support/failure.h"
#include "support/json_text.h"

namespace example {

std::string StemOf(const std::string& path) {
  std::filesystem::path place(path);
  if (!place.has_filename()) place = place.parent_path();  // "folder/" means "folder"
  const std::string name = place.filename().string();
  return name.substr(0, name.find('.'));
}

std::string CsvField(const std::string& text) {
  std::string field = "\"";
  for (const char character : text) field.append(character == '"' ? 2 : 1, character);
  return field + "\"";
}

void RunEach(const std::string& host, const std::vector<std::string>& paths,
             const std::vector<std::string>& inputs, const OutputOptions& output, const std::string& header,
             const std::function<ImageSummary(const std::string& path, const OutputOptions& output)>& run) {
  std::set<std::string> stems;
  for (const std::string& path : paths) {
    if (!stems.insert(StemOf(path)).second)
      throw Failure("two images are named " + StemOf(path) + ": their results would fall into one folder");
  }
  Results results(host, inputs, output.isForced);
  results.OpenFolder(output.path);
  results.Announce({"summary.csv"});
  results.AnnounceFile(output.jsonPath);
  std::string table = header;
  Json reports = Json::array();
  for (const std::string& path : paths) {
    const std::string folder = (std::filesystem::path(output.path) / StemOf(path)).string();
    const ImageSummary summary = run(path, {folder, "", output.isForced});
    table += summary.rows;
    reports.push_back(Json::parse(summary.json));
    std::printf("\n");
  }
  results.WriteText("summary.csv", table);
  results.WriteTextFile(output.jsonPath, JsonText(reports));
  results.Commit();
  std::printf("One row for each image: %s\n",
              (std::filesystem::path(output.path) / "summary.csv").string().c_str());
}

}  // namespace example
