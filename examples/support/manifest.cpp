#include "support/manifest.h"

#include <zlib.h>

#include <fstream>
#include <sstream>
#include <vector>

namespace example {

namespace fs = std::filesystem;

namespace {

constexpr const char* kFirstLine =
    "# Results of an earlier run, which the next one may replace while they are unchanged";

}  // namespace

std::optional<Fingerprint> FingerprintOf(const fs::path& path) {
  std::error_code error;
  if (!fs::is_regular_file(fs::symlink_status(path, error))) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  Fingerprint fingerprint;
  std::vector<char> block(1U << 18U);
  while (file.read(block.data(), static_cast<std::streamsize>(block.size())) || file.gcount() > 0) {
    const auto count = static_cast<std::size_t>(file.gcount());
    const auto* bytes = reinterpret_cast<const Bytef*>(block.data());
    fingerprint.checksum =
        static_cast<std::uint32_t>(crc32(fingerprint.checksum, bytes, static_cast<uInt>(count)));
    fingerprint.bytes += count;
  }
  if (file.bad()) return std::nullopt;
  return fingerprint;
}

std::string ManifestName(const std::string& host) {
  return "." + host + ".results";
}

Manifest ReadManifest(const fs::path& path) {
  Manifest manifest;
  std::ifstream file(path, std::ios::binary);
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    ManifestEntry entry;
    std::string name;
    fields >> entry.fingerprint.checksum >> entry.fingerprint.bytes >> entry.isAlone;
    const bool isWhole = fields && fields.get() == ' ' && std::getline(fields, name);
    if (isWhole && fs::path(name).filename() == name) manifest[name] = entry;  // never outside the folder
  }
  return manifest;
}

std::string ManifestText(const Manifest& manifest) {
  std::ostringstream text;
  text << kFirstLine << '\n';
  for (const auto& [name, entry] : manifest) {
    if (name.find('\n') != std::string::npos) continue;  // such a file counts as the user's
    text << entry.fingerprint.checksum << ' ' << entry.fingerprint.bytes << ' ' << entry.isAlone << ' '
         << name << '\n';
  }
  return text.str();
}

}  // namespace example
