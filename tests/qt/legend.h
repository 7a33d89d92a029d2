#pragma once

#include <QListWidget>
#include <QStringList>
#include <QTemporaryDir>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

namespace mth_test {

/// What the legend shows.
inline QStringList TextsOf(const QListWidget& legend) {
  QStringList texts;
  for (int k = 0; k < legend.count(); ++k) texts.append(legend.item(k)->text());
  return texts;
}

/// What it should show: the classes that segment_mr finds in the slice with these options.
inline QStringList LegendOfCommandLine(const std::string& options) {
  const QTemporaryDir folder;
  const std::string output = folder.filePath("result").toStdString();
  const std::string slice = MTH_DATA_DIR "/t1_brain_axial.nii.gz ";
  if (std::system((MTH_SEGMENT_MR " " + slice + options + " -o " + output + " > /dev/null").c_str()) != 0)
    return {};
  std::ifstream file(output + "/report.json");
  const auto report = nlohmann::json::parse(file);
  QStringList texts;
  for (const auto& entry : report["classes"])
    texts.append(QString("class %1: grey level %2\n%3 mm\u00b2")
                     .arg(texts.size() + 1)
                     .arg(entry["centroid"].get<double>(), 0, 'f', 1)
                     .arg(entry["area_mm2"].get<double>(), 0, 'f', 1));
  return texts;
}

}  // namespace mth_test
