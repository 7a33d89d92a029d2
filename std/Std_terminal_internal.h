#pragma once

#include <cstdio>

namespace mth_internal {

/// Whether the stream is a terminal that a person looks at.
bool IsTerminal(std::FILE* stream);

/// The width of the terminal in characters; 80, the usual one, for what is no terminal or does not tell.
int TerminalColumns(std::FILE* stream);

}  // namespace mth_internal
