// What every host promises about the files of its user: whatever happens, nothing that it did not write is
// lost.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <map>
#include <random>

#include "examples/host_run.h"

namespace {

using namespace mth_test;

namespace fs = std::filesystem;

// Every entry below a folder: files with their bytes, others with what they are.
std::map<std::string, std::string> ContentsOf(const std::string& folder) {
  std::map<std::string, std::string> contents;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = fs::relative(entry.path(), folder).string();
    contents[name] = entry.is_symlink() ? "link" : entry.is_directory() ? "folder" : ReadFile(entry.path());
  }
  return contents;
}

// Two images that are segmented at once, and the arguments of a run into the folder "out".
class ResultsOfAHost : public testing::Test {
 protected:
  ResultsOfAHost() {
    NiftiFile file;
    file.dimensions = {2, 3, 2, 1, 1, 1, 1, 1};
    file.SetVoxels<std::uint8_t>({10, 60, 60, 0, 60, 10});
    WriteFile(folder_ / "first.nii", file.Bytes(8));
    file.SetVoxels<std::uint8_t>({10, 60, 90, 0, 20, 90});
    WriteFile(folder_ / "second.nii", file.Bytes(8));
  }

  std::string Arguments(const std::string& image, const std::string& options = "-c 2") const {
    return Quoted(folder_ / image) + " -m kmeans -o " + Quoted(folder_ / "out") + " " + options;
  }
  ProgramRun Segment(const std::string& image, const std::string& options = "-c 2") const {
    return RunProgram(MTH_SEGMENT_MR, Arguments(image, options));
  }
  // A run fails with that reason and changes nothing.
  void ExpectRefusal(const ProgramRun& run, const std::map<std::string, std::string>& before,
                     const std::string& reason) const {
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.errors.find(reason), std::string::npos) << run.errors;
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_TRUE(ContentsOf(folder_ / "") == before);
  }

  ScratchFolder folder_;
};

TEST_F(ResultsOfAHost, LeaveTheUsersFilesAlone) {
  ASSERT_EQ(Segment("second.nii", "-c 3").status, 0);
  ASSERT_TRUE(fs::exists(folder_ / "out/membership_3.nii.gz"));
  const std::map<std::string, std::string> mine{{"labels.csv", "a"},
                                                {"membership_list.xlsx", "b"},
                                                {"outliers.txt", "c"},
                                                {"membership_3.png", "drawn over"}};
  for (const auto& [name, text] : mine) WriteFile(folder_ / ("out/" + name), text);
  const std::string mask = "--mask " + Quoted(folder_ / "out/membership_3.nii.gz");
  ASSERT_EQ(Segment("first.nii", "-c 2 " + mask).status, 0);
  EXPECT_TRUE(fs::exists(folder_ / "out/membership_3.nii.gz"));  // what a run reads
  fs::permissions(folder_ / "out/report.txt", fs::perms::owner_read);
  ExpectRefusal(Segment("first.nii"), ContentsOf(folder_ / ""), "write-protected");
  fs::permissions(folder_ / "out/report.txt", fs::perms::owner_write, fs::perm_options::add);
  ASSERT_EQ(Segment("first.nii").status, 0);
  EXPECT_FALSE(fs::exists(folder_ / "out/membership_3.nii.gz"));  // would pass for one of this run
  for (const auto& [name, text] : mine) EXPECT_EQ(ReadFile(folder_ / ("out/" + name)), text) << name;
}

// What tells by its name that it is of another subject or contrast passes for nothing else.
TEST_F(ResultsOfAHost, LeaveThoseOfOtherScans) {
  for (const char* name : {"sub-01_T1w.nii", "sub-02_T1w.nii", "sub-01_T2w.nii"})
    fs::copy_file(folder_ / "second.nii", folder_ / name);
  const std::string denoise = "-o " + Quoted(folder_ / "denoised") + " '" + (folder_ / "sub-01_");
  const struct {
    const char* program;
    std::string arguments;
    std::string kept;
    std::string gone;
  } runs[] = {
      {MTH_SEGMENT_MR, Arguments("sub-01_T1w.nii", "-c 3"), "sub-01_label-WM_probseg.nii.gz", "none"},
      {MTH_SEGMENT_MR, Arguments("sub-02_T1w.nii"), "sub-01_label-WM_probseg.nii.gz", "none"},
      {MTH_SEGMENT_MR, Arguments("sub-01_T1w.nii"), "sub-02_dseg.json", "sub-01_label-WM_probseg.nii.gz"},
      {MTH_DENOISE_MR, denoise + "T1w.nii'", "../denoised/sub-01_desc-denoised_T1w.nii.gz", "none"},
      {MTH_DENOISE_MR, denoise + "T2w.nii'", "../denoised/sub-01_desc-denoised_T1w.nii.gz", "none"},
  };
  for (const auto& [program, arguments, kept, gone] : runs) {
    ASSERT_EQ(RunProgram(program, arguments).status, 0) << arguments;
    EXPECT_TRUE(fs::exists(folder_ / ("out/" + kept))) << arguments;
    EXPECT_FALSE(fs::exists(folder_ / ("out/" + gone))) << arguments;
  }
}

// Names that are empty, as of a variable that is not set, or that were forgotten; places that do not fit.
TEST_F(ResultsOfAHost, RefuseNamesThatAreNone) {
  fs::create_symlink("nowhere", folder_ / "link");
  const auto before = ContentsOf(folder_ / "");
  const std::pair<std::string, std::string> cases[] = {
      {"--json ''", "--json needs a value"},
      {"--mask ''", "--mask needs a value"},
      {"--json --force", "--json needs a value"},
      {"--json -", "a file of the name - is ./-"},
      {"--json -a.json", "./-a.json"},
      {"--json a --json b", "--json"},
      {"--json " + Quoted(folder_ / "out/report.json"), "written twice"},
      {"--json " + Quoted(folder_ / "none/report.json"), "no folder"},
  };
  for (const auto& [options, reason] : cases) {
    SCOPED_TRACE(options);
    ExpectRefusal(Segment("first.nii", options), before, reason);
  }
  for (const std::string folder : {"''", "-", "link", "first.nii", "first.nii/out", "/dev/null"}) {
    const std::string place = folder.size() < 3 || folder.front() == '/' ? folder : folder_ / folder;
    ExpectRefusal(RunProgram(MTH_SEGMENT_MR, Quoted(folder_ / "first.nii") + " -o " + place), before, "");
  }
  EXPECT_EQ(Segment("first.nii", "-c 2 --json " + Quoted(folder_ / "out/mine.json")).status, 0);
}

TEST_F(ResultsOfAHost, DoNotReplaceWhatTheHostDidNotWrite) {
  using Prepare = std::function<void(const std::string& place)>;
  const struct {
    Prepare prepare;
    std::string reason;
    bool mayBeForced;
  } cases[] = {
      {[](const std::string& place) { WriteFile(place, "by hand"); }, "not a result", true},
      {[](const std::string& place) { fs::create_directory(place); }, "is a folder", false},
      {[](const std::string& place) { fs::create_symlink("first.nii", place); }, "is a link", false},
      {[](const std::string& place) { ASSERT_EQ(mkfifo(place.c_str(), 0666), 0); }, "no regular file", false},
  };
  fs::create_directory(folder_ / "out");
  for (const auto& [prepare, reason, mayBeForced] : cases) {
    for (const std::string name : {"labels.nii.gz", "panel.png"}) {
      SCOPED_TRACE(reason + " " + name);
      prepare(folder_ / ("out/" + name));
      if (reason == "no regular file") {  // not to be read as a file
        EXPECT_NE(Segment("first.nii").errors.find(reason), std::string::npos);
      } else {
        const auto before = ContentsOf(folder_ / "");
        ExpectRefusal(Segment("first.nii"), before, reason);
        if (!mayBeForced) ExpectRefusal(Segment("first.nii", "-c 2 --force"), before, reason);
      }
      fs::remove(folder_ / ("out/" + name));
    }
  }
  WriteFile(folder_ / "out/labels.nii.gz", "by hand");
  EXPECT_EQ(Segment("first.nii", "-c 2 --force").status, 0);
}

TEST_F(ResultsOfAHost, AreTheUsersOnceTheyAreChanged) {
  ASSERT_EQ(Segment("first.nii").status, 0);
  EXPECT_EQ(Segment("second.nii").status, 0);  // as it was written: replaced
  WriteFile(folder_ / "out/report.txt", ReadFile(folder_ / "out/report.txt") + "read, and found good");
  ExpectRefusal(Segment("first.nii"), ContentsOf(folder_ / ""), "was changed since");
  // Another host's results are not this one's.
  const ProgramRun denoised =
      RunProgram(MTH_DENOISE_MR, Quoted(folder_ / "first.nii") + " -o " + Quoted(folder_ / "out"));
  EXPECT_EQ(denoised.status, 2);
  EXPECT_NE(denoised.errors.find("panel.png is not a result of denoise_mr"), std::string::npos);
}

TEST_F(ResultsOfAHost, NeverTakeThePlaceOfAnInput) {
  ASSERT_EQ(Segment("first.nii").status, 0);
  ASSERT_EQ(RunProgram(MTH_DENOISE_MR, Quoted(folder_ / "first.nii") + " -o " + Quoted(folder_ / "denoised"))
                .status,
            0);
  WriteFile(folder_ / "fit.csv", "0,1\n1,2\n2,1\n3,0\n");
  fs::create_hard_link(folder_ / "first.nii", folder_ / "same.nii");
  const std::string each = " -m kmeans -c 2 -o " + Quoted(folder_ / "each");
  ASSERT_EQ(RunProgram(MTH_SEGMENT_MR, Quoted(folder_ / "first.nii") + each + "/first").status, 0);
  const struct {
    const char* program;
    std::string arguments;
  } cases[] = {
      {MTH_SEGMENT_MR, Arguments("out/labels.nii.gz", "-c 2 --force")},
      {MTH_DENOISE_MR, Quoted(folder_ / "denoised/denoised.nii.gz") + " -o " + Quoted(folder_ / "denoised")},
      {MTH_STACK_PICTURES, Quoted(folder_ / "out/panel.png") + " -o " + Quoted(folder_ / "out/panel.png")},
      {MTH_FIT_CURVE, Quoted(folder_ / "fit.csv") + " -o " + Quoted(folder_ / "./fit.csv") + " --force"},
      {MTH_SEGMENT_MR, Arguments("first.nii", "-c 2 --json " + Quoted(folder_ / "first.nii"))},
      {MTH_SEGMENT_MR, Arguments("first.nii", "-c 2 --force --json " + Quoted(folder_ / "same.nii"))},
      {MTH_SEGMENT_MR,
       Quoted(folder_ / "first.nii") + " --each " + Quoted(folder_ / "each/first/labels.nii.gz") + each},
  };
  const auto before = ContentsOf(folder_ / "");
  for (const auto& [program, arguments] : cases) {
    SCOPED_TRACE(arguments);
    ExpectRefusal(RunProgram(program, arguments), before, "is an input");
  }
}

TEST_F(ResultsOfAHost, SingleFilesFollowTheSameRules) {
  WriteFile(folder_ / "fit.csv", "0,1\n1,2\n2,1\n3,0\n");
  const std::string fit = Quoted(folder_ / "fit.csv") + " -o " + Quoted(folder_ / "fit.svg") + " --json " +
                          Quoted(folder_ / "fit.json");
  const auto run = [&](const std::string& options) { return RunProgram(MTH_FIT_CURVE, fit + options); };
  WriteFile(folder_ / "fit.json", "mine");
  ExpectRefusal(run(""), ContentsOf(folder_ / ""), "not a result");
  ASSERT_EQ(run(" --force").status, 0);
  EXPECT_EQ(ReadFile(folder_ / "fit.json").front(), '{');
  ASSERT_EQ(run("").status, 0);
  // One of another name leaves the first in place, and replaceable.
  const std::string picture = ReadFile(folder_ / "fit.svg");
  ASSERT_EQ(
      RunProgram(MTH_FIT_CURVE, Quoted(folder_ / "fit.csv") + " -o " + Quoted(folder_ / "other.svg")).status,
      0);
  EXPECT_EQ(ReadFile(folder_ / "fit.svg"), picture);
  ASSERT_EQ(run("").status, 0);
  for (const char* device : {"/dev/full", "/dev/null"}) {
    const ProgramRun refused =
        RunProgram(MTH_FIT_CURVE, Quoted(folder_ / "fit.csv") + " -o " + device + " --force");
    EXPECT_EQ(refused.status, 2);
    const char* const reason =
        access("/dev", W_OK) == 0 ? "no regular file" : "cannot write into the folder /dev";
    EXPECT_NE(refused.errors.find(reason), std::string::npos) << refused.errors;
    EXPECT_TRUE(fs::is_character_file(device));
  }
}

// A limit on the size of files stands for a full disc: writing fails in the middle.
TEST_F(ResultsOfAHost, AFullDiscIsNamedAndChangesNothing) {
  ASSERT_EQ(Segment("first.nii").status, 0);
  const auto before = ContentsOf(folder_ / "");
  const std::string shell = "-c 'ulimit -f 4; exec \"$0\" \"$@\"' ";
  const ProgramRun run =
      RunProgram("/bin/bash", shell + Quoted(MTH_SEGMENT_MR) + " " + Arguments("second.nii", "-c 2 --force"));
  ExpectRefusal(run, before, "panel.png: File too large");
}

TEST_F(ResultsOfAHost, OutputThatCannotBeWrittenIsAFailure) {
  for (const std::string& arguments :
       {std::string("--help"), std::string("--version"), Arguments("first.nii")}) {
    const ProgramRun run =
        RunProgram("/bin/sh", "-c '\"$0\" \"$@\" >/dev/full' " + Quoted(MTH_SEGMENT_MR) + " " + arguments);
    EXPECT_EQ(run.status, 2) << arguments;
    EXPECT_NE(run.errors.find("cannot write to standard output"), std::string::npos) << run.errors;
  }
}

// A system call that fails between two renames; strace is not everywhere.
TEST_F(ResultsOfAHost, AreReplacedAllOrNotAtAll) {
  if (RunProgram("/usr/bin/strace", "-o /dev/null true").status != 0)
    GTEST_SKIP() << "without a working strace";
  ASSERT_EQ(Segment("first.nii").status, 0);
  const auto before = ContentsOf(folder_ / "");
  for (const int when : {2, 5, 11, 14}) {
    SCOPED_TRACE(when);
    // The leak detector cannot work under a tracer.
    const std::string inject =
        "-E ASAN_OPTIONS=detect_leaks=0 -f -o /dev/null -e inject=rename:error=EIO:when=" +
        std::to_string(when) + " ";
    const ProgramRun run =
        RunProgram("/usr/bin/strace", inject + Quoted(MTH_SEGMENT_MR) + " " + Arguments("second.nii"));
    ExpectRefusal(run, before, "");
  }
}

// What a run leaves that was killed while it put its results in place: taken back by the next one.
TEST_F(ResultsOfAHost, AreTakenBackFromADeadRun) {
  ASSERT_EQ(Segment("first.nii").status, 0);
  const auto before = ContentsOf(folder_ / "");
  const std::string report = ReadFile(folder_ / "out/report.txt");
  fs::create_directories(folder_ / "out/.mth_part-1/new");
  fs::create_directories(folder_ / "out/.mth_part-1/former");
  WriteFile(folder_ / "out/.mth_part-1/mark", "");
  fs::rename(folder_ / "out/report.txt", folder_ / "out/.mth_part-1/former/report.txt");
  WriteFile(folder_ / "out/.mth_part-1/former/panel.png", "by hand");  // another one is there meanwhile
  WriteFile(folder_ / "out/report.txt", "123456789");
  // The check value of CRC-32 over these nine bytes.
  for (const std::string name : {"plan", "manifest"})
    WriteFile(folder_ / ("out/.mth_part-1/" + name), std::to_string(0xCBF43926U) + " 9 0 report.txt\n");
  fs::create_directory(folder_ / "out/.mth_part-unmarked");  // somebody else's
  // A run that fails after it has begun to write has cleared up first, and has not taken what it met for the
  // user's.
  const ProgramRun run = RunProgram("/bin/bash", "-c 'ulimit -f 4; exec \"$0\" \"$@\"' " +
                                                     Quoted(MTH_SEGMENT_MR) + " " + Arguments("second.nii"));
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.errors.find("File too large"), std::string::npos) << run.errors;
  EXPECT_EQ(ReadFile(folder_ / "out/report.txt"), report);
  EXPECT_EQ(ReadFile(folder_ / "out/.mth_part-1/former/panel.png"), "by hand");
  fs::remove_all(folder_ / "out/.mth_part-1");
  fs::remove(folder_ / "out/.mth_part-unmarked");
  EXPECT_TRUE(ContentsOf(folder_ / "") == before);
}

// Eight runs into one folder, twice.
TEST_F(ResultsOfAHost, OfRunsAtOnceAreAllKept) {
  const std::string script =
      "cd \"$1\"; runs=; for i in 1 2 3 4 5 6 7 8; do cp first.nii sub-$i\\_T1w.nii; done; for round in 1 2; "
      "do "
      "for i in 1 2 3 4 5 6 7 8; do \"$0\" sub-$i\\_T1w.nii -m kmeans -c 2 -o out >/dev/null & runs=\"$runs "
      "$!\"; "
      "done; for run in $runs; do wait $run || exit 1; done; runs=; done";
  EXPECT_EQ(std::system(("bash -c '" + script + "' " + MTH_SEGMENT_MR + " " + Quoted(folder_ / "")).c_str()),
            0);
}

// Ctrl-C in the middle of a run that goes on for minutes, however late it comes: says so at once, writes
// nothing.
TEST_F(ResultsOfAHost, CtrlCWritesNothing) {
  NiftiFile file;
  file.dimensions = {3, 64, 64, 64, 1, 1, 1, 1};
  std::mt19937 engine(1);
  for (int i = 0; i < 64 * 64 * 64; ++i) file.voxels += static_cast<char>(engine() % 250);
  WriteFile(folder_ / "large.nii", file.Bytes(8));
  const auto before = ContentsOf(folder_ / "");
  // Sent once, as soon as the program catches it: SIGINT is the second bit of the signals caught. With job
  // control, since what a script runs in its background ignores the signal, as this test may do.
  std::signal(SIGINT, SIG_DFL);
  const std::string interrupt =
      "-c 'set -m; \"$0\" \"$@\" & "
      "until grep -qx segment_mr /proc/$!/comm && grep -q SigCgt:.*[2367abef]$ /proc/$!/status; "
      "do kill -0 $! || exit 1; done; "
      "kill -INT $!; s=147; "
      "while [ $s = 147 ]; do wait $!; s=$?; done; exit $s' ";  // 147: stopped, not ended
  const ProgramRun run =
      RunProgram("/bin/bash", interrupt + Quoted(MTH_SEGMENT_MR) + " " + Quoted(folder_ / "large.nii") +
                                  " -m fcm -c 24 -n 1000000 -t 0 -o " + Quoted(folder_ / "out"));
  EXPECT_EQ(run.status, 130) << run.errors;
  EXPECT_NE(run.errors.find("segment_mr: stopping"), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find("segment_mr: cancelled, nothing written"), std::string::npos) << run.errors;
  EXPECT_TRUE(ContentsOf(folder_ / "") == before);
}

}  // namespace
