#include "support/batch.h"

#include <cstdio>
#include <filesystem>
#include <set>

#include "support/cancellation.h"
#include "support/failure.h"
#include "support/json_text.h"
#include "support/text.h"

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

namespace {

// Adds to what ends a run in the middle that the images before have their results.
ImageSummary TellingWhatIsDone(std::size_t done, const std::function<ImageSummary()>& run) {
  const std::string text = "the results of " + std::to_string(done) + " images before it are written";
  try {
    return run();
  } catch (const Cancelled&) {
    if (done > 0) throw Cancelled("cancelled; " + text);
    throw;
  } catch (const Failure& failure) {
    if (done > 0) throw Failure(failure.what() + ("; " + text));
    throw;
  }
}

}  // namespace

void RunEach(const std::string& host, const std::vector<std::string>& paths,
             const std::vector<std::string>& inputs, const OutputOptions& output, const std::string& header,
             const std::function<ImageSummary(const std::string& path, const OutputOptions& output)>& run) {
  std::set<std::string> stems;  // many file systems do not tell capitals from small letters
  for (const std::string& path : paths) {
    if (!stems.insert(LowerCase(StemOf(path))).second)
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
    const ImageSummary summary = TellingWhatIsDone(reports.size(), [&] {
      return run(path, {folder, "", output.isForced});
    });
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
