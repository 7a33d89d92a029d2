#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "examples/host_run.h"

namespace {

using mth_test::ProgramRun;
using mth_test::Quoted;
using mth_test::ReadFile;
using mth_test::RunProgram;
using mth_test::ScratchFolder;
using mth_test::WriteFile;

// Samples of two features in the unit square, labelled 5 in two opposite quarters of it and 2 elsewhere; a
// share of the labels is wrong.
std::string Quarters(int count, double wrongShare) {
  std::mt19937 engine(11);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::ostringstream text;
  text << "x, y, class\n# of two opposite quarters\n";
  for (int i = 0; i < count; ++i) {
    const double x = uniform(engine);
    const double y = uniform(engine);
    const bool isInside = ((x > 0.6) != (y > 0.5)) != (uniform(engine) < wrongShare);
    text << x << ", " << y << "," << (isInside ? 5 : 2) << "\r\n";
  }
  return text.str();
}

struct ScoredSample {
  bool isHeldOut;
  bool isPositive;
  bool isCalledPositive;
  double score;
};

std::vector<ScoredSample> ReadScores(const std::string& path) {
  std::istringstream table(ReadFile(path));
  std::string line;
  std::getline(table, line);
  EXPECT_EQ(line, "sample,group,label,predicted,score");
  std::vector<ScoredSample> samples;
  while (std::getline(table, line)) {
    std::vector<std::string> fields;
    std::istringstream row(line);
    for (std::string field; std::getline(row, field, ',');) fields.push_back(field);
    EXPECT_EQ(fields.at(0), std::to_string(samples.size() + 1));
    samples.push_back(
        {fields.at(1) == "held out", fields.at(2) == "5", fields.at(3) == "5", std::stod(fields.at(4))});
  }
  return samples;
}

// The number in front of a text of the report, or behind it.
double NumberBefore(const std::string& report, const std::string& text) {
  const std::size_t end = report.find(text);
  if (end == std::string::npos) return -1.0;
  const std::size_t start = report.rfind("error", end);
  return std::stod(report.substr(start + 5));
}

double NumberAfter(const std::string& report, const std::string& text) {
  const std::size_t start = report.find(text);
  return start == std::string::npos ? -1.0 : std::stod(report.substr(start + text.size()));
}

TEST(Classify, ReportsWhatItsScoresSay) {
  const ScratchFolder folder;
  WriteFile(folder / "samples.csv", Quarters(300, 0.1));
  for (const char* variant : {"real", "gentle", "modest"}) {
    const ProgramRun run =
        RunProgram(MTH_CLASSIFY, Quoted(folder / "samples.csv") + " -a " + variant +
                                     " --rounds 12 --held-out 0.4 -o " + Quoted(folder / variant));
    ASSERT_EQ(run.status, 0) << run.errors;
    const std::vector<ScoredSample> samples = ReadScores((folder / variant) + "/scores.csv");
    ASSERT_EQ(samples.size(), 300U);
    int heldOut = 0, wrongHeldOut = 0, wrongTrained = 0;
    double better = 0.0, pairs = 0.0;
    for (const ScoredSample& sample : samples) {
      EXPECT_EQ(sample.isCalledPositive, sample.score > 0.0);
      const bool isWrong = sample.isCalledPositive != sample.isPositive;
      heldOut += sample.isHeldOut ? 1 : 0;
      (sample.isHeldOut ? wrongHeldOut : wrongTrained) += isWrong ? 1 : 0;
      if (!sample.isHeldOut || !sample.isPositive) continue;
      for (const ScoredSample& other :
           samples) {  // the area below the curve counts the pairs in the right order
        if (!other.isHeldOut || other.isPositive) continue;
        pairs += 1.0;
        better += sample.score > other.score ? 1.0 : sample.score == other.score ? 0.5 : 0.0;
      }
    }
    EXPECT_NEAR(heldOut, 120, 1) << "two fifths of each class";
    EXPECT_NEAR(NumberBefore(run.output, " % of " + std::to_string(heldOut) + " samples held out"),
                100.0 * wrongHeldOut / heldOut, 0.0051);
    EXPECT_NEAR(NumberBefore(run.output, " % of " + std::to_string(300 - heldOut) + " samples trained upon"),
                100.0 * wrongTrained / (300 - heldOut), 0.0051);
    EXPECT_NEAR(NumberAfter(run.output, "area under ROC"), better / pairs, 0.000051) << variant;
    EXPECT_GT(better / pairs, variant[0] == 'm' ? 0.5 : 0.75) << variant;  // the modest one learns slowly

    const std::string report = ReadFile((folder / variant) + "/report.txt");
    EXPECT_NE(report.find("\n     12 "), std::string::npos) << "a line for the last round";
    EXPECT_EQ(report.find("\n     13 "), std::string::npos);
    for (const char* name : {"/errors.svg", "/roc.svg"}) {
      EXPECT_EQ(ReadFile((folder / variant) + name).substr(0, 4), "<svg") << name;
    }
  }
}

TEST(Classify, SeparatesWhatATreeSeparates) {
  const ScratchFolder folder;
  std::string text;
  for (int i = 0; i < 40; ++i) text += std::to_string(i) + "," + (i < 25 ? "-1" : "1") + "\n";
  WriteFile(folder / "samples.csv", text);
  const ProgramRun run = RunProgram(
      MTH_CLASSIFY, Quoted(folder / "samples.csv") + " -d 1 -n 3 --held-out 0 -o " + Quoted(folder / "out"));
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(NumberBefore(run.output, " % of 40 samples trained upon"), 0.0);
  EXPECT_EQ(NumberAfter(run.output, "area under ROC"), 1.0);
  EXPECT_EQ(run.output.find("held out"), std::string::npos);
}

// Words for labels, a byte order mark, and a table of what was taken for what: two of five sick are missed.
TEST(Classify, TellsWhatIsTakenForWhat) {
  const ScratchFolder folder;
  std::string text = "\xEF\xBB\xBFvolume,state\n";
  for (const int volume : {1, 2, 3, 4, 5, 6, 7, 8}) text += std::to_string(volume) + ",healthy\n";
  for (const int volume : {2, 3, 20, 21, 22}) text += std::to_string(volume) + ",sick\n";
  WriteFile(folder / "samples.csv", text);
  const ProgramRun run =
      RunProgram(MTH_CLASSIFY, Quoted(folder / "samples.csv") + " -d 1 -n 1 --held-out 0 -o " +
                                   Quoted(folder / "out") + " --json " + Quoted(folder / "out.json"));
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_NE(run.output.find("positive label sick, negative healthy"), std::string::npos) << run.output;
  EXPECT_NEAR(NumberAfter(run.output, "sensitivity"), 60.0, 1e-9) << run.output;
  EXPECT_NEAR(NumberAfter(run.output, "specificity"), 100.0, 1e-9);
  std::string report = ReadFile(folder / "out.json");
  std::erase_if(report, [](char character) { return character == ' ' || character == '\n'; });
  EXPECT_NE(report.find("\"confusion\":[[8,0],[2,3]]"), std::string::npos) << report;
  EXPECT_NE(ReadFile(folder / "out/scores.csv").find(",sick,healthy,"), std::string::npos);
}

// A model applied to the samples that it was trained upon gives their very scores, with labels and without;
// files that are none are refused.
TEST(Classify, AppliesTheModelThatItSaved) {
  const ScratchFolder folder;
  const std::string labelled = Quarters(60, 0.1);
  std::string plain;
  std::istringstream lines(labelled);
  for (std::string line; std::getline(lines, line);)
    if (line[0] == '0') plain += line.substr(0, line.rfind(',')) + "\n";
  WriteFile(folder / "samples.csv", labelled);
  WriteFile(folder / "plain.csv", plain);
  WriteFile(folder / "odd.csv", "0.5,0.5,6\n");
  WriteFile(folder / "few.csv", "0.5\n");
  const auto run = [&](const std::string& data, const std::string& options) {
    return RunProgram(MTH_CLASSIFY, Quoted(folder / data) + " -o " + Quoted(folder / "out") + " " + options);
  };
  const std::string apply = "--apply-model " + Quoted(folder / "model.json");
  ASSERT_EQ(run("samples.csv", "--held-out 0 -n 9 --save-model " + Quoted(folder / "model.json")).status, 0);
  const std::vector<ScoredSample> trained = ReadScores(folder / "out/scores.csv");
  for (const char* data : {"samples.csv", "plain.csv"}) {
    const ProgramRun applied = run(data, apply);
    ASSERT_EQ(applied.status, 0) << applied.errors;
    EXPECT_EQ(applied.output.find("area under ROC") != std::string::npos, data[0] == 's');
    const std::vector<ScoredSample> scores = ReadScores(folder / "out/scores.csv");
    ASSERT_EQ(scores.size(), trained.size());
    for (std::size_t i = 0; i < scores.size(); ++i) EXPECT_EQ(scores[i].score, trained[i].score) << i;
  }
  EXPECT_NE(run("odd.csv", apply).errors.find("does not know the label 6"), std::string::npos);
  EXPECT_NE(run("few.csv", apply).errors.find("1 features, but the model has 2"), std::string::npos);
  EXPECT_NE(run("plain.csv", apply + " --rounds 3").errors.find("--rounds does not belong"),
            std::string::npos);
  const std::string model = ReadFile(folder / "model.json");
  for (const std::string& damaged :
       {std::string("{"), model.substr(0, model.size() / 2), std::string("{\"kind\": 3}")}) {
    WriteFile(folder / "model.json", damaged);
    EXPECT_NE(run("plain.csv", apply).errors.find("holds no model"), std::string::npos);
  }
}

// Every sample is held out once, and scored by a training without it.
TEST(Classify, ValidatesInFolds) {
  const ScratchFolder folder;
  std::string text;
  for (int i = 0; i < 40; ++i) text += std::to_string(i) + "," + (i < 25 ? "-1" : "1") + "\n";
  WriteFile(folder / "samples.csv", text);
  const auto run = [&](const std::string& options) {
    return RunProgram(MTH_CLASSIFY, Quoted(folder / "samples.csv") + " -d 1 -n 1 -o " +
                                        Quoted(folder / "out") + " --folds " + options);
  };
  const ProgramRun folds = run("15");
  ASSERT_EQ(folds.status, 0) << folds.errors;
  EXPECT_EQ(NumberBefore(folds.output, " % of 40 samples trained upon"), 0.0);
  // Of each two next to the border the threshold that was trained without one may be on its wrong side.
  EXPECT_LE(NumberBefore(folds.output, " % of 40 samples held out in 15 folds"), 5.0) << folds.output;
  EXPECT_GE(NumberAfter(folds.output, "area under ROC"), 0.95);
  EXPECT_NE(run("16").errors.find("must not be above 15"), std::string::npos);
  EXPECT_NE(run("5 --held-out 0.2").errors.find("exclude each other"), std::string::npos);
}

TEST(Classify, RefusesWhatItCannotTrainUpon) {
  const ScratchFolder folder;
  const std::string good = "1,2,0\n2,3,1\n";
  struct Case {
    std::string content;
    std::string options;
    std::string reason;
  };
  const Case cases[] = {
      {"", "", "no samples"},
      {"x,y,label\n", "", "no samples"},
      {"1,2,0\n1,1\n", "", "line 2: 1 features, but 2 before"},
      {"1,2,0\n1,nan,1\n", "", "line 2: not finite numbers"},
      {"1,a\n2,b\n3,c\n", "", "exactly two different labels"},
      {"1,2,0\n1,,1\n", "", "line 2: not finite numbers"},
      {"a,b,c\nd,e,f\n", "", "line 2: not finite numbers"},
      {"0\n1\n", "", "line 1: needs a feature"},
      {"1,0\n2,0\n", "", "exactly two different labels"},
      {"1,Yes\n2,yes\n", "", "differ by capitals only"},
      {"1,0\n2,1\n3,2\n", "", "exactly two different labels"},
      {good, "--variant strong", "--variant"},
      {good, "--rounds 0", "--rounds"},
      {good, "--depth 17", "--depth"},
      {good, "--held-out 1", "--held-out"},
      {good, "--unknown", "--unknown"},
      {good, "--held-out 0 --seed 3", "--seed needs"},
  };
  for (const Case& each : cases) {
    WriteFile(folder / "samples.csv", each.content);
    const ProgramRun run = RunProgram(
        MTH_CLASSIFY, Quoted(folder / "samples.csv") + " -o " + Quoted(folder / "out") + " " + each.options);
    EXPECT_EQ(run.status, 2) << each.reason;
    EXPECT_NE(run.errors.find(each.reason), std::string::npos) << run.errors;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_EQ(folder.CountEntries(), 1U) << "nothing is written";
  }
  EXPECT_EQ(RunProgram(MTH_CLASSIFY, Quoted(folder / "missing.csv")).status, 2);
}

}  // namespace
