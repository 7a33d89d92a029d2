#include "options.h"

#include <cmath>

#include "support/command_line.h"

namespace fit_curve {

using example::Require;

namespace {

constexpr const char* kDescription =
    "Fits a model to a curve, prints its parameters in the units of the data and draws both as an SVG "
    "picture.";

constexpr const char* kFooter =
    "Models and their parameters:\n"
    "  profile    B, A, mu, sigma   B + A exp(-(x - mu)^2 / (2 sigma^2))\n"
    "  catenary   a, b              a cosh(x / a) + b\n"
    "  rayleigh   A, mu, sigma      from mu on, (x - mu) A / sigma^2 exp(-(x - mu)^2 / (2 sigma^2))\n"
    "  gaussians  A, mu, sigma ...  sum of A / (sqrt(2 pi) sigma) exp(-(x - mu)^2 / (2 sigma^2))\n"
    "The last two need evenly spaced abscissae.\n"
    "\n"
    "Example:\n"
    "  fit_curve profile.csv --model profile --minimiser bfgs --output profile.svg\n";

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("FILE", options.dataPath,
                 "Text file of one x,y pair per line; lines after # and\nlines of names before the first "
                 "pair are skipped")
      ->required();
  example::AddOutputFileOptions(app, options.output, "SVG", "Picture of the data and the model");
  app.add_option("--csv", options.csvPath, "Write the samples with the model and the residuals, too")
      ->type_name("FILE");
  example::AddWord(app, "-m,--model", options.model, {"profile", "catenary", "rayleigh", "gaussians"},
                   "MODEL", "profile, catenary, rayleigh or gaussians");
  example::AddNumber(app, "-k,--gaussians", options.gaussians, 1, 32,
                     "Number of Gaussians of that model, 1 to 32");
  example::AddWord(app, "-f,--minimiser", options.minimiser,
                   {"powell", "bfgs", "nelder-mead", "steepest", "annealing"}, "NAME",
                   "powell, bfgs or annealing; for the catenary also\nnelder-mead or steepest");
  example::AddNumber(app, "-n,--iterations", options.iterations, 1, 32767,
                     "Most iterations (stages of the annealing), 1 to 32767;\nbfgs always has 1000");
  app.add_option("-t,--tolerance", options.tolerance, "Ends when the cost changes by less, relatively")
      ->capture_default_str();
  example::AddList(app, "--start", options.start, "P,Q",
                   "Parameters to start from, in the order above, separated by commas;\n"
                   "without them they are estimated from the data");
  app.add_option("--seed", options.seed, "Makes the annealing repeatable, 0 to 8639999")
      ->check(CLI::Range(0, 8639999).description(""));
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  CLI::App app(kDescription, "fit_curve");
  app.footer(std::string(kFooter) + "\n" + example::kReplacementText + example::kStatusText);
  AddOptions(app, options);
  if (!example::ParseCommandLine(app, argc, argv)) return std::nullopt;
  Require(std::isfinite(options.tolerance) && options.tolerance >= 0.0, "--tolerance must not be negative");
  Require(app.count("--gaussians") == 0 || options.model == "gaussians",
          "--gaussians belongs to --model gaussians");
  Require(app.count("--seed") == 0 || options.minimiser == "annealing",
          "--seed belongs to --minimiser annealing");
  Require(app.count("--iterations") == 0 || options.minimiser != "bfgs",
          "--iterations does not belong to --minimiser bfgs");
  return options;
}

}  // namespace fit_curve
