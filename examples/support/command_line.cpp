#include "support/command_line.h"

#include <iostream>

#include "support/failure.h"

#ifndef MTH_EXAMPLE_VERSION
#define MTH_EXAMPLE_VERSION "unknown"
#endif

namespace example {

void Require(bool isTrue, const std::string& text) {
  if (!isTrue) throw Failure(text);
}

void AddReportOptions(CLI::App& app, OutputOptions& output) {
  app.add_option("--json", output.jsonPath, "Write a report for programs into this file, too")
      ->type_name("FILE");
  app.add_flag("--force", output.isForced,
               "Replace files of these names that are not results of an\nearlier run");
}

namespace {

bool LooksLikeNumber(const std::string& text) {
  const std::size_t first = text.find_first_not_of("+-.");
  return first != std::string::npos && (text[first] >= '0' && text[first] <= '9');
}

// An empty value, as of a variable that a script has not set, would count as the option left out; one that
// looks like an option is one whose value is missing.
void CheckValues(const CLI::App& app) {
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& value : option->results()) {
      Require(!value.empty(), option->get_name() + " needs a value");
      const bool isOption = value.front() == '-' && !LooksLikeNumber(value);
      Require(option->get_positional() || !isOption,
              option->get_name() + " needs a value; a file of the name " + value + " is ./" + value);
    }
  }
}

}  // namespace

bool ParseCommandLine(CLI::App& app, int argc, char** argv) {
  app.set_version_flag("--version", app.get_name() + " " MTH_EXAMPLE_VERSION, "Print the version and exit");
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return false;
  } catch (const CLI::CallForVersion& version) {
    std::cout << version.what() << '\n';
    return false;
  } catch (const CLI::ParseError& error) {
    throw Failure(std::string(error.what()) + " (--help lists the options)");
  }
  CheckValues(app);
  return true;
}

void AddOutputOptions(CLI::App& app, OutputOptions& output) {
  AddOutputFileOptions(app, output, "FOLDER", "Folder for the results, created if it is missing");
}

void AddOutputFileOptions(CLI::App& app, OutputOptions& output, const std::string& typeName,
                          const std::string& text) {
  app.add_option("-o,--output", output.path, text)->type_name(typeName)->capture_default_str();
  AddReportOptions(app, output);
}

CLI::Option* AddWord(CLI::App& app, const std::string& names, std::string& value,
                     const std::vector<std::string>& words, const std::string& typeName,
                     const std::string& text) {
  return app.add_option(names, value, text)
      ->transform(CLI::IsMember(words, CLI::ignore_case).description(""))
      ->type_name(typeName)
      ->capture_default_str();
}

CLI::Option* AddAxis(CLI::App& app, std::optional<int>& axis, const std::string& text) {
  return app
      .add_option_function<std::string>(
          "--axis", [&axis](const std::string& name) { axis = name.front() - 'x'; }, text)
      ->transform(CLI::IsMember({"x", "y", "z"}, CLI::ignore_case).description(""))
      ->type_name("AXIS");
}

void AddSeriesOptions(CLI::App& app, SeriesChoice& choice) {
  app.add_option("--series", choice.series,
                 "Of a DICOM folder with several series: the one of that number\nor unique identifier")
      ->type_name("SERIES");
  app.add_option("--echo", choice.echo, "Of a DICOM series with several echoes: the one of that number");
}

void AddSide(CLI::App& app, Side& side) {
  app.add_flag_callback(
      "--neurological", [&side] { side = Side::Neurological; },
      "Draw the patient's left on the left; without it his right is\nthere, as radiologists look at him");
}

std::string AxisName(int axis) {
  return {"xyz"[axis]};
}

}  // namespace example
