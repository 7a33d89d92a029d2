#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "examples/host_run.h"

// Running segment_mr and reading what it leaves.
namespace mth_test {

using Json = nlohmann::json;

inline const std::string kSlice = MTH_DATA_DIR "/t1_brain_axial.nii.gz";
constexpr std::size_t kHeaderBytes = 352;

// Runs the program into the folder "result" and answers its report.
inline Json Segment(const ScratchFolder& folder, const std::string& image, const std::string& options) {
  const std::string output = folder / "result";
  const ProgramRun run = RunProgram(MTH_SEGMENT_MR, Quoted(image) + " -o " + Quoted(output) + " " + options);
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");  // no progress where standard error is no terminal
  const std::string text = ReadFile(output + "/report.txt");
  EXPECT_EQ(run.output.rfind(text, 0), 0U);
  return Json::parse(ReadFile(output + "/report.json"), nullptr, false);
}

inline std::vector<double> Column(const Json& report, const char* name) {
  std::vector<double> values;
  for (const Json& entry : report["classes"]) values.push_back(entry[name].get<double>());
  return values;
}

inline void ExpectNear(const std::vector<double>& actual, const std::vector<double>& expected,
                       double tolerance) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << i;
}

inline float FloatAt(const std::string& file, std::size_t offset) {
  float value = 0.0F;
  std::memcpy(&value, file.data() + offset, sizeof(value));
  return value;
}

// An image of 3 x 2 pixels of 0.5 mm by 2 mm: two pixels of 10, three of 60 and one of 0.
inline NiftiFile TwoClasses() {
  NiftiFile file;
  file.dimensions = {2, 3, 2, 1, 1, 1, 1, 1};
  file.voxelSize = {0.5F, 2.0F, 3.0F};
  return file;
}

}  // namespace mth_test
