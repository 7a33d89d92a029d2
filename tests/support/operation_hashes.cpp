#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string>

#include "mth/core/Mth_instruction_set_internal.h"
#include "std/Std.h"
#include "support/operations/operations.h"

// Tells one hash for each operation of the library and one over all, so that the bits of two builds, machines
// or releases can be compared. See Usage.

namespace {

using mth_internal::InstructionSet;

constexpr std::pair<const char*, InstructionSet> kSets[] = {{"baseline", InstructionSet::Baseline},
                                                            {"avx2", InstructionSet::Avx2},
                                                            {"avx512", InstructionSet::Avx512}};

using Hashes = std::map<std::string, std::string>;

struct Options {
  InstructionSet highest = InstructionSet::Avx512;
  std::string only;
  std::string record;
  std::string compare;
};

int Usage() {
  std::fputs(
      "operation_hashes --sets\n"
      "  tells the instruction sets that run here, one a line\n"
      "operation_hashes [--highest baseline|avx2|avx512] [--only PART_OF_NAME] [--compare FILE | --record "
      "FILE]\n"
      "  prints a line \"name hash\" per operation and one over all; --record writes them to the file;\n"
      "  --compare prints nothing but what differs from the file, and fails then\n",
      stderr);
  return 2;
}

std::optional<Options> Parse(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; i += 2) {
    if (i + 1 == count) return std::nullopt;
    const std::string name = arguments[i];
    const std::string value = arguments[i + 1];
    if (name == "--highest") {
      const auto* const set = std::find_if(std::begin(kSets), std::end(kSets),
                                           [&](const auto& known) { return value == known.first; });
      if (set == std::end(kSets)) return std::nullopt;
      options.highest = set->second;
    } else if (name == "--only") {
      options.only = value;
    } else if (name == "--record") {
      options.record = value;
    } else if (name == "--compare") {
      options.compare = value;
    } else {
      return std::nullopt;
    }
  }
  return options;
}

// Messages are part of what an operation answers; windows are not.
class CountingDisplay : public STD_DISPLAY {
 public:
  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override {
    if (trial != nullptr) trial->CountAll(text, static_cast<int>(kind), caption);
    return 1;
  }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override { return nullptr; }

  mth_test::Trial* trial = nullptr;
};

std::string Hexadecimal(std::uint64_t value) {
  char text[17];
  std::snprintf(text, sizeof text, "%016" PRIx64, value);
  return text;
}

Hashes RunAll(const std::string& only) {
  Hashes hashes;
  CountingDisplay display;
  const STD_DISPLAY_SCOPE scope(&display);
  for (const auto& operation : mth_test::AllOperations()) {
    if (operation.name.find(only) == std::string::npos) continue;
    mth_test::Trial trial;
    display.trial = &trial;
    operation.run(trial);
    display.trial = nullptr;
    if (!hashes.emplace(operation.name, Hexadecimal(trial.Hash())).second)
      std::fprintf(stderr, "two operations are named %s\n", operation.name.c_str());
  }
  return hashes;
}

std::string HashOverAll(const Hashes& hashes) {
  mth_test::Trial all;
  for (const auto& [name, hash] : hashes) all.CountAll(name, hash);
  return Hexadecimal(all.Hash());
}

// Files have line feeds on every machine.
bool Record(const Hashes& hashes, const std::string& path) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  std::fputs(
      "# One line per operation, sorted by name: the hash of all that it answers on fixed input, the same "
      "for every\n"
      "# compiler, flag, instruction set and machine. After a change of bits that the changelog names, "
      "record anew:\n"
      "#   build/release/tests/support/operation_hashes --record tests/support/operation_hashes.txt\n",
      file);
  for (const auto& [name, hash] : hashes) std::fprintf(file, "%s %s\n", name.c_str(), hash.c_str());
  return std::fclose(file) == 0;
}

bool Read(const std::string& path, Hashes& hashes) {
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  char line[512];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    const std::string text(line, std::strcspn(line, "\r\n"));
    const std::size_t space = text.find(' ');
    if (!text.empty() && text[0] != '#' && space != std::string::npos)
      hashes[text.substr(0, space)] = text.substr(space + 1);
  }
  std::fclose(file);
  return true;
}

// Tells every name that is on one side alone or differs. @return their number.
int Compare(const Hashes& hashes, const Hashes& recorded, bool isPart) {
  int differences = 0;
  const auto tell = [&](const std::string& name, const char* what) {
    std::printf("%s %s\n", name.c_str(), what);
    ++differences;
  };
  for (const auto& [name, hash] : hashes) {
    const auto known = recorded.find(name);
    if (known == recorded.end()) {
      tell(name, "is not recorded");
    } else if (known->second != hash) {
      tell(name, "differs");
    }
  }
  for (const auto& [name, hash] : recorded) {
    if (!isPart && hashes.count(name) == 0) tell(name, "is recorded, but no operation");
  }
  return differences;
}

// Those of this machine and build; a set that is not here would silently repeat the best that is.
int TellSets() {
  for (const auto& [name, set] : kSets) {
    if (set <= mth_internal::BestInstructionSet()) std::printf("%s\n", name);
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 2 && std::strcmp(arguments[1], "--sets") == 0) return TellSets();
  const auto options = Parse(count, arguments);
  if (!options) return Usage();
  const mth_internal::InstructionSetScope scope(options->highest);
  const auto set = static_cast<std::size_t>(mth_internal::ActiveInstructionSet());
  const Hashes hashes = RunAll(options->only);
  if (!options->record.empty() && !Record(hashes, options->record)) {
    std::fprintf(stderr, "cannot write %s\n", options->record.c_str());
    return 2;
  }
  if (options->compare.empty()) {
    for (const auto& [name, hash] : hashes) std::printf("%s %s\n", name.c_str(), hash.c_str());
    std::printf("all %s\n", HashOverAll(hashes).c_str());
    return 0;
  }
  Hashes recorded;
  if (!Read(options->compare, recorded)) {
    std::fprintf(stderr, "cannot read %s\n", options->compare.c_str());
    return 2;
  }
  const int differences = Compare(hashes, recorded, !options->only.empty());
  std::printf("%zu operations with %s: %d differences\n", hashes.size(), kSets[set].first, differences);
  return differences == 0 ? 0 : 1;
}
