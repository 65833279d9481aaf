#pragma once

#include <optional>

// Reads the command line before anything else happens, so that --help, --version and a
// mistyped option never start the program or touch a running copy. Options that Qt itself
// reads (such as the session manager's -session) are let through.
namespace CommandLine {

// The exit status when the program is to end now, after printing what was asked for.
std::optional<int> handle(int argc, char** argv);

} // namespace CommandLine
