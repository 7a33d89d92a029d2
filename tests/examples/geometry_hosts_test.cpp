#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "examples/host_run.h"

namespace {

using namespace mth_test;

// A quarter turn about z and a shift of (5, 10, 7), in mm, LPS; the second file is Slicer's, in another
// order, in RAS.
constexpr const char* kFirst = "# landmarks\nA,0,0,0\nB,100,0,0\nC,0,50,0\n\nD,0,0,80\n";
constexpr const char* kSecond =
    "# Markups fiducial file version = 4.11\n# CoordinateSystem = RAS\n"
    "1,-5,-110,7,0,0,0,1,1,1,0,B,,\n2,-5,-10,7,0,0,0,1,1,1,0,A,,\n"
    "3,45,-10,7,0,0,0,1,1,1,0,C,,\n4,-5,-10,87,0,0,0,1,1,1,0,D,,\n";
constexpr const char* kMarkups =
    R"({"markups":[{"coordinateSystem":"LPS","controlPoints":[{"label":"C","position":[-45,10,7]},)"
    R"({"label":"A","position":[5,10,7]},{"label":"B","position":[5,110,7]},{"label":"D","position":[5,10,87]}]}]})";

std::vector<double> Numbers(std::string text) {
  std::istringstream words(text);
  std::vector<double> numbers;
  for (double number = 0.0; words >> number;) numbers.push_back(number);
  return numbers;
}

TEST(RegisterLandmarks, WritesTheTransformAndItsInverseForSlicer) {
  const std::vector<double> expected = {0, -1, 0, 5, 1, 0, 0, 10, 0, 0, 1, 7, 0, 0, 0, 1};
  const std::vector<double> expectedInverse = {0, 1, 0, -1, 0, 0, 0, 0, 1, -10, 5, -7};
  for (const std::string method : {"quaternion", "geometric"}) {
    for (const std::string second : {"second.fcsv", "second.mrk.json"}) {
      const ScratchFolder folder;
      WriteFile(folder / "first.csv", kFirst);
      WriteFile(folder / second, second == "second.fcsv" ? kSecond : kMarkups);
      const ProgramRun run =
          RunProgram(MTH_REGISTER_LANDMARKS, Quoted(folder / "first.csv") + " " + Quoted(folder / second) +
                                                 " -m " + method + " -o " + Quoted(folder / "out"));
      ASSERT_EQ(run.status, 0) << run.errors;
      EXPECT_NE(run.output.find("mean 0.000, root mean square 0.000, largest 0.000"), std::string::npos)
          << run.output;
      EXPECT_NE(run.output.find("after 0.000"), std::string::npos) << run.output;
      const auto matrix = Numbers(ReadFile(folder / "out/matrix.txt"));
      ASSERT_EQ(matrix.size(), expected.size());
      for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(matrix[i], expected[i], 1e-9) << i;
      const std::string transform = ReadFile(folder / "out/transform.tfm");
      EXPECT_EQ(transform.find(
                    "#Insight Transform File V1.0\n#Transform 0\nTransform: AffineTransform_double_3_3\n"),
                0U);
      const auto parameters = Numbers(transform.substr(transform.find("Parameters:") + 11));
      ASSERT_EQ(parameters.size(), expectedInverse.size());
      for (std::size_t i = 0; i < parameters.size(); ++i)
        EXPECT_NEAR(parameters[i], expectedInverse[i], 1e-9) << i;
      EXPECT_EQ(ReadFile(folder / "out/residuals.svg").find("<svg"), 0U);
    }
  }
}

// Residuals by name, worst told: one of three pairs on a right angle is off by 3 mm along its leg.
TEST(RegisterLandmarks, TellsHowPointsWereMatchedAndHowFarEachIsOff) {
  const ScratchFolder folder;
  WriteFile(folder / "first.csv", "nose,0,0,0\nleft,10,0,0\nright,0,10,0\n");
  WriteFile(folder / "second.csv", "right,0,10,0\nnose,0,0,0\nleft,10,0,0\n");
  const std::string files = Quoted(folder / "first.csv") + " " + Quoted(folder / "second.csv");
  const auto run = [&](const std::string& options) {
    return RunProgram(MTH_REGISTER_LANDMARKS, files + " -o " + Quoted(folder / "out") + " --json " +
                                                  Quoted(folder / "report.json") + " " + options);
  };
  const ProgramRun byLabel = run("");
  EXPECT_NE(byLabel.output.find("3 landmarks matched by label"), std::string::npos) << byLabel.output;
  EXPECT_NE(byLabel.output.find("0.000  left\n"), std::string::npos) << byLabel.output;
  EXPECT_NE(ReadFile(folder / "out/residuals.svg").find(">left</text>"), std::string::npos);
  EXPECT_NE(ReadFile(folder / "report.json").find("\"matched_by\": \"label\""), std::string::npos);
  const ProgramRun byOrder = run("--by-order");
  EXPECT_NE(byOrder.output.find("3 landmarks matched by order"), std::string::npos) << byOrder.output;
  EXPECT_EQ(byOrder.output.find("largest 0.000"), std::string::npos) << byOrder.output;
}

// Two of eight landmarks are wrong: the robust transform is that of the six others, and names the two.
TEST(RegisterLandmarks, RobustlyFindsTheTransformOfMostLandmarks) {
  const ScratchFolder folder;
  std::string first;
  std::string second = "\xEF\xBB\xBF";  // the mark that some tables begin with
  for (int i = 0; i < 8; ++i) {
    const int x = 40 * (i & 1);
    const int y = 50 * (i >> 1 & 1);
    const int z = 60 * (i >> 2);
    const auto line = [i](int a, int b, int c) {
      return "L" + std::to_string(i) + "," + std::to_string(a) + "," + std::to_string(b) + "," +
             std::to_string(c) + "\n";
    };
    first += line(x, y, z);
    second += i == 2 || i == 5 ? line(30 - y, x + 25, z + 15) : line(5 - y, x + 10, z + 7);
  }
  WriteFile(folder / "first.csv", first);
  WriteFile(folder / "second.csv", second);
  const std::vector<double> expected = {0, -1, 0, 5, 1, 0, 0, 10, 0, 0, 1, 7, 0, 0, 0, 1};
  const ProgramRun run =
      RunProgram(MTH_REGISTER_LANDMARKS, Quoted(folder / "first.csv") + " " + Quoted(folder / "second.csv") +
                                             " -m robust -o " + Quoted(folder / "out"));
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto matrix = Numbers(ReadFile(folder / "out/matrix.txt"));
  ASSERT_EQ(matrix.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(matrix[i], expected[i], 0.02) << i;
  EXPECT_NE(run.output.find("L2  (outlier)"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("L5  (outlier)"), std::string::npos) << run.output;
  EXPECT_EQ(run.output.find("L1  (outlier)"), std::string::npos) << run.output;
}

TEST(RegisterLandmarks, RefusesWhatItCannotReadOrMatch) {
  struct Case {
    const char* first;
    const char* second;
    const char* error;
    const char* options = "";
  };
  constexpr const char* kLine = "0,0,0\n1,2,3\n2,4,6\n-5,-10,-15\n";
  for (const auto& [first, second, error, options] :
       {Case{kFirst, "1,2\n", "no point in line 1"}, Case{kFirst, "1,2,3\n1,2,nan\n", "no point in line 2"},
        Case{kFirst, "", "no points in"}, Case{kFirst, "1,2,3\n", "point 1 of"},
        Case{kFirst, "1,2,3\n", "the files hold 4 and 1 points", "--by-order"},
        Case{"A,0,0,0\nB,1,0,0\nC,0,1,0\n", "A,0,0,0\nB,1,0,0\nc,0,1,0\n", "no landmark C in"},
        Case{"A,0,0,0\nB,1,0,0\nC,0,1,0\n", "A,0,0,0\nB,1,0,0\nC,0,1,0\nK,0,1,0\n", "no landmark K in"},
        Case{"A,0,0,0\nB,1,0,0\nB,0,1,0\n", "A,0,0,0\nB,1,0,0\nC,0,1,0\n", "label B stands twice"},
        Case{kLine, kLine, "lie on one line"},
        Case{"1,1,1\n1,1,1\n1,1,1\n", "0,0,0\n1,0,0\n0,1,0\n", "one line"}}) {
    SCOPED_TRACE(error);
    const ScratchFolder folder;
    WriteFile(folder / "first.csv", first);
    WriteFile(folder / "second.csv", second);
    const ProgramRun run = RunProgram(MTH_REGISTER_LANDMARKS, Quoted(folder / "first.csv") + " " +
                                                                  Quoted(folder / "second.csv") + " -o " +
                                                                  Quoted(folder / "out") + " " + options);
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.errors.find(error), std::string::npos) << run.errors;
    EXPECT_FALSE(std::filesystem::exists(folder / "out"));
  }
}

TEST(DescribeSlice, SpeaksTheScannersWords) {
  struct Case {
    std::string arguments;
    const char* orientation;
    const char* shift;
  };
  const std::string slice = Quoted(std::string(MTH_DATA_DIR) + "/t1_brain_axial.nii.gz");
  for (const auto& [arguments, orientation, shift] :
       {Case{"-c 1,0,0,0,1,0 -m 3,4,5", "AXI\n", "5.0 mm"},
        Case{"-c 1,0,0,0,0,-1 -m 3,4,5", "COR\n", "4.0 mm"},
        Case{"-c 0,1,0,0,0,-1 -m 3,4,5", "SAG\n", "3.0 mm"},
        Case{"-c 1,0,0,0,0.94,0.342", "AXI > COR -20\n", "0.0 mm"}, Case{slice, "AXI\n", "-71.0 mm"}}) {
    const ProgramRun run = RunProgram(MTH_DESCRIBE_SLICE, arguments);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find(std::string("Orientation  ") + orientation), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(shift), std::string::npos) << run.output;
  }
  const ScratchFolder folder;
  const ProgramRun both =
      RunProgram(MTH_DESCRIBE_SLICE, slice + " " + slice + " --csv " + Quoted(folder / "all.csv"));
  EXPECT_EQ(both.status, 0) << both.errors;
  const std::string table = ReadFile(folder / "all.csv");
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 3) << table;
  EXPECT_NE(table.find(",\"AXI\",-71,"), std::string::npos) << table;
  for (const std::string& arguments :
       {std::string(), std::string("-c 1,0,0,2,0,0"), std::string("nowhere.nii"), slice + " -i 99999"}) {
    EXPECT_EQ(RunProgram(MTH_DESCRIBE_SLICE, arguments).status, 2) << arguments;
  }
}

}  // namespace
