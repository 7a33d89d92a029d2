#pragma once

#include <cstdio>
#include <string>

namespace mth_internal {

/// Whether the stream is a terminal that a person looks at.
bool IsTerminal(std::FILE* stream);

/// The width of the terminal in characters; 80, the usual one, for what is no terminal or does not tell.
int TerminalColumns(std::FILE* stream);

/// Writes text in UTF-8 at once, on a console of Windows as the characters that it means.
void PutText(std::FILE* stream, const std::string& text);

}  // namespace mth_internal
