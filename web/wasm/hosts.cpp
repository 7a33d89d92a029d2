// The command-line hosts as functions: they read and write files of the module's own file system.

#include <emscripten/bind.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bundle.h"
#include "display.h"
#include "support/image.h"
#include "support/nifti_io.h"

int mth_web_denoise_mr(int argc, char** argv);
int mth_web_segment_mr(int argc, char** argv);

namespace mth_web {

namespace {

using emscripten::val;

/// @return  the exit status; what it says goes to the module's print and printErr.
int RunHost(const std::string& name, const val& arguments, const val& progress) {
  Display().SetListener(progress);
  std::vector<std::string> words = emscripten::vecFromJSArray<std::string>(arguments);
  words.insert(words.begin(), name);
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const int argc = static_cast<int>(words.size());
  return name == "denoise_mr" ? mth_web_denoise_mr(argc, argv.data()) : mth_web_segment_mr(argc, argv.data());
}

/// The size of the image of a NIfTI file.
Bundle* ReadGrid(const std::string& path) {
  return Guarded([&](Bundle& found) {
    const example::GreyImage grid = example::ReadNiftiGrid(path);
    std::copy(grid.size.begin(), grid.size.end(), found.Add<std::int32_t>("size", grid.size.size()));
  });
}

}  // namespace

EMSCRIPTEN_BINDINGS(mth_hosts) {
  emscripten::function("runHost", &RunHost);
  emscripten::function("readGrid", &ReadGrid, emscripten::allow_raw_pointers());
}

}  // namespace mth_web
