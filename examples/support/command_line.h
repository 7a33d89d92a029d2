#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/image.h"
#include "support/results.h"

namespace example {

/// The paragraphs that every host's help ends with.
inline constexpr const char* kReplacementText =
    "Results replace those of an earlier run that are unchanged since; --force replaces other files, too.\n";
inline constexpr const char* kStatusText =
    "Exit status: 0 done, 2 failure (one line on standard error, nothing written), 130 cancelled by "
    "Ctrl-C.\n";

/// Reads the options of a host program; --version is added to them.
/// @return  false when the user asked for help or the version, which is printed.
/// @throws Failure  for an option that is unknown, missing or illegal.
bool ParseCommandLine(CLI::App& app, int argc, char** argv);

/// @throws Failure  with that text unless the option holds what it must.
void Require(bool isTrue, const std::string& text);

/// --output FOLDER, --json FILE and --force.
void AddOutputOptions(CLI::App& app, OutputOptions& output);

/// --output of a host that writes a single file, --json FILE and --force.
void AddOutputFileOptions(CLI::App& app, OutputOptions& output, const std::string& typeName,
                          const std::string& text);

/// --json FILE and --force alone.
void AddReportOptions(CLI::App& app, OutputOptions& output);

/// An option that names one of several values, in any case.
template <class T>
CLI::Option* AddChoice(CLI::App& app, const std::string& names, T& value,
                       const std::map<std::string, T>& values, const std::string& typeName,
                       const std::string& text) {
  return app
      .add_option_function<std::string>(
          names, [&value, values](const std::string& name) { value = values.at(name); }, text)
      ->transform(CLI::IsMember(values, CLI::ignore_case).description(""))
      ->type_name(typeName);
}

/// The same of words that stand for themselves.
CLI::Option* AddWord(CLI::App& app, const std::string& names, std::string& value,
                     const std::vector<std::string>& words, const std::string& typeName,
                     const std::string& text);

/// A number within bounds, whose value so far is the default. NaN is within none.
template <class T>
CLI::Option* AddNumber(CLI::App& app, const std::string& names, T& value, T least, T greatest,
                       const std::string& text) {
  const auto findNaN = [](const std::string& word) {
    T number{};
    const bool isNaN = CLI::detail::lexical_cast(word, number) && number != number;
    return isNaN ? word + " is not a number" : std::string();
  };
  return app.add_option(names, value, text)
      ->check(CLI::Range(least, greatest).description(""))
      ->check(findNaN, "")
      ->capture_default_str();
}

/// Values separated by commas.
template <class T>
CLI::Option* AddList(CLI::App& app, const std::string& names, std::vector<T>& values,
                     const std::string& typeName, const std::string& text) {
  return app.add_option(names, values, text)->delimiter(',')->allow_extra_args(false)->type_name(typeName);
}

/// --axis: x, y or z as 0, 1 or 2.
CLI::Option* AddAxis(CLI::App& app, std::optional<int>& axis, const std::string& text);

/// --series and --echo, which choose among the images of a DICOM folder.
void AddSeriesOptions(CLI::App& app, SeriesChoice& choice);

/// --neurological, for pictures with the patient's left on the left.
void AddSide(CLI::App& app, Side& side);

/// "x", "y" or "z".
std::string AxisName(int axis);

}  // namespace example
