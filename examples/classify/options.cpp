#include "options.h"

#include "support/command_line.h"

namespace classify {

namespace {

constexpr double kLargestHeldOut = 0.9;

constexpr const char* kDescription =
    "Trains a boosted classifier of two classes on labelled samples, and tests it on samples held out; or "
    "applies\n"
    "one that was trained before.";

constexpr const char* kFooter =
    "The file has one sample per line: its features, then its label, separated by commas. Labels are two\n"
    "different numbers or words, of which the greater one is the positive class. A first line of names and "
    "lines\n"
    "after # are skipped. With --apply-model the labels may be missing.\n"
    "\n"
    "Files written into the folder (all or none):\n"
    "  report.txt   error of each round, on the samples trained upon and on those held out\n"
    "  scores.csv   score of each sample; above 0 is the positive class\n"
    "  errors.svg   the errors over the rounds\n"
    "  roc.svg      true over false positives for every threshold, with the area below\n"
    "\n"
    "Examples:\n"
    "  classify lesions.csv --variant real --rounds 100 --folds 10 --save-model lesions.json -o result\n"
    "  classify new_patient.csv --apply-model lesions.json -o new_patient\n";

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("FILE", options.dataPath, "Samples with their labels (CSV)")->required();
  example::AddOutputOptions(app, options.output);
  example::AddWord(app, "-a,--variant", options.variant, {"real", "gentle", "modest"}, "NAME",
                   "real, gentle or modest AdaBoost");
  example::AddNumber(app, "-n,--rounds", options.rounds, 1, 10000, "Rounds of boosting, 1 to 10000");
  example::AddNumber(app, "-d,--depth", options.depth, 1, 16, "Levels of the tree of each round, 1 to 16");
  example::AddNumber(app, "--held-out", options.heldOut, 0.0, kLargestHeldOut,
                     "Share of each class that is not trained upon, 0 to 0.9");
  app.add_option("--seed", options.seed, "Chooses other samples to hold out")->capture_default_str();
  example::AddNumber(
      app, "--folds", options.folds, 2, 1000,
      "Instead of --held-out: holds out each of so many parts once, trains\non the others, and at "
      "last on all")
      ->default_str("");
  app.add_option("--save-model", options.saveModelPath, "Write the trained classifier into this file (JSON)")
      ->type_name("FILE");
  app.add_option("--apply-model", options.applyModelPath,
                 "Apply the classifier of this file instead of training one")
      ->type_name("FILE");
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  CLI::App app(kDescription, "classify");
  app.footer(std::string(kFooter) + "\n" + example::kReplacementText + example::kStatusText);
  AddOptions(app, options);
  if (!example::ParseCommandLine(app, argc, argv)) return std::nullopt;
  if (app.count("--apply-model") > 0) {
    for (const char* name :
         {"--variant", "--rounds", "--depth", "--held-out", "--seed", "--folds", "--save-model"})
      example::Require(app.count(name) == 0, std::string(name) + " does not belong to --apply-model");
  }
  example::Require(options.folds == 0 || app.count("--held-out") == 0,
                   "--held-out and --folds exclude each other");
  if (options.folds > 0) options.heldOut = 0.0;
  example::Require(app.count("--seed") == 0 || options.folds > 0 || options.heldOut > 0.0,
                   "--seed needs samples held out");
  return options;
}

}  // namespace classify
