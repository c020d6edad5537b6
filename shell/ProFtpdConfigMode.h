#pragma once

#include <optional>

#include <QString>

// The command-line mode "--proftpd-config FILE": writes the ProFTPD configuration
// for the stored accounts database and ends, without a display or a window.
namespace proftpdmode {

// The file named after --proftpd-config, when the option is given.
std::optional<QString> requestedFile(int argc, char* argv[]);

// Runs the mode in a QCoreApplication of its own; returns the process's exit code.
int run(int argc, char* argv[], const QString& file);

} // namespace proftpdmode
