#include "options.h"

#include <CLI/CLI.hpp>
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
    "Exit status: 0 done, 2 failure (one line on standard error).\n"
    "\n"
    "Example:\n"
    "  fit_curve profile.csv --model profile --minimiser bfgs --output profile.svg\n";

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("FILE", options.dataPath, "Text file of one x,y pair per line; lines after # are skipped")
      ->required();
  app.add_option("-o,--output", options.plotPath, "Picture of the data and the model")
      ->type_name("SVG")
      ->capture_default_str();
  app.add_option("-m,--model", options.model, "profile, catenary, rayleigh or gaussians")
      ->check(CLI::IsMember({"profile", "catenary", "rayleigh", "gaussians"}).description(""))
      ->type_name("MODEL")
      ->capture_default_str();
  app.add_option("-k,--gaussians", options.gaussians, "Number of Gaussians of that model, 1 to 32")
      ->check(CLI::Range(1, 32).description(""))
      ->capture_default_str();
  app.add_option("-f,--minimiser", options.minimiser,
                 "powell, bfgs or annealing; for the catenary also\nnelder-mead or steepest")
      ->check(CLI::IsMember({"powell", "bfgs", "nelder-mead", "steepest", "annealing"}).description(""))
      ->type_name("NAME")
      ->capture_default_str();
  app.add_option("-n,--iterations", options.iterations,
                 "Most iterations (stages of the annealing), 1 to 32767;\nbfgs always has 1000")
      ->check(CLI::Range(1, 32767).description(""))
      ->capture_default_str();
  app.add_option("-t,--tolerance", options.tolerance, "Ends when the cost changes by less, relatively")
      ->capture_default_str();
  app.add_option("--start", options.start,
                 "Parameters to start from, in the order above, separated by commas;\n"
                 "without them they are estimated from the data")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name("P,Q");
  app.add_option("--seed", options.seed, "Makes the annealing repeatable, 0 to 8639999")
      ->check(CLI::Range(0, 8639999).description(""));
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  CLI::App app(kDescription, "fit_curve");
  app.footer(kFooter);
  AddOptions(app, options);
  if (!example::ParseCommandLine(app, argc, argv)) return std::nullopt;
  Require(!options.plotPath.empty(), "--output needs a file");
  Require(std::isfinite(options.tolerance) && options.tolerance >= 0.0, "--tolerance must not be negative");
  Require(app.count("--gaussians") == 0 || options.model == "gaussians",
          "--gaussians belongs to --model gaussians");
  return options;
}

}  // namespace fit_curve
