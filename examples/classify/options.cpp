#include "options.h"

#include <CLI/CLI.hpp>

#include "support/command_line.h"

namespace classify {

namespace {

constexpr double kLargestHeldOut = 0.9;

constexpr const char* kDescription =
    "Trains a boosted classifier of two classes on labelled samples, and tests it on samples held out.";

constexpr const char* kFooter =
    "The file has one sample per line: its features, then its label, separated by commas. Labels are two\n"
    "different numbers, of which the greater one is the positive class. A first line of names and lines\n"
    "after # are skipped.\n"
    "\n"
    "Files written into the folder (all or none):\n"
    "  report.txt   error of each round, on the samples trained upon and on those held out\n"
    "  scores.csv   score of each sample; above 0 is the positive class\n"
    "  errors.svg   the errors over the rounds\n"
    "  roc.svg      true over false positives for every threshold, with the area below\n"
    "\n"
    "Exit status: 0 done, 2 failure (one line on standard error, nothing written).\n"
    "\n"
    "Example:\n"
    "  classify lesions.csv --variant real --rounds 100 -o result\n";

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("FILE", options.dataPath, "Samples with their labels (CSV)")->required();
  app.add_option("-o,--output", options.outputPath, "Folder for the results, created if it is missing")
      ->type_name("FOLDER")
      ->capture_default_str();
  app.add_option("-a,--variant", options.variant, "real, gentle or modest AdaBoost")
      ->check(CLI::IsMember({"real", "gentle", "modest"}).description(""))
      ->type_name("NAME")
      ->capture_default_str();
  app.add_option("-n,--rounds", options.rounds, "Rounds of boosting, 1 to 10000")
      ->check(CLI::Range(1, 10000).description(""))
      ->capture_default_str();
  app.add_option("-d,--depth", options.depth, "Levels of the tree of each round, 1 to 16")
      ->check(CLI::Range(1, 16).description(""))
      ->capture_default_str();
  app.add_option("--held-out", options.heldOut, "Share of each class that is not trained upon, 0 to 0.9")
      ->check(CLI::Range(0.0, kLargestHeldOut).description(""))
      ->capture_default_str();
  app.add_option("--seed", options.seed, "Chooses other samples to hold out")->capture_default_str();
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  CLI::App app(kDescription, "classify");
  app.footer(kFooter);
  AddOptions(app, options);
  if (!example::ParseCommandLine(app, argc, argv)) return std::nullopt;
  example::Require(!options.outputPath.empty(), "--output needs a folder");
  return options;
}

}  // namespace classify
