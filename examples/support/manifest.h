#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace example {

/// What tells that a file is still as it was written.
struct Fingerprint {
  std::uint32_t checksum = 0;  ///< CRC-32
  std::uint64_t bytes = 0;
  bool operator==(const Fingerprint&) const = default;
};

/// @return  nothing for what is not a regular file (a link neither) or cannot be read.
std::optional<Fingerprint> FingerprintOf(const std::filesystem::path& path);

/// A result that a host has left in a folder.
struct ManifestEntry {
  Fingerprint fingerprint;
  bool isAlone = false;  ///< asked for by its own name: a later run that does not write it leaves it there
};

/// The results of a host in a folder, by their names: what its next run may replace.
using Manifest = std::map<std::string, ManifestEntry>;

/// The name of the manifest of a host.
std::string ManifestName(const std::string& host);

/// @return  empty when there is none; damaged lines are left out, so that the files that they named count as
///          the user's.
Manifest ReadManifest(const std::filesystem::path& path);

std::string ManifestText(const Manifest& manifest);

}  // namespace example
