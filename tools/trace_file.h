#pragma once
// The one entry to files of other systems.

#include <string>
#include <vector>

#include "tools/trace.h"

namespace traces {

/// Reads a miniSEED or a SAC file, told apart by their first bytes. Throws std::runtime_error,
/// which names the file, for one that can't be read, is damaged, is of neither kind or has no
/// samples.
std::vector<Trace> read_traces(const std::string& path);

/// As `read_traces`, of a file whose bytes are known.
std::vector<Trace> read_traces(const std::string& path, std::string bytes);

}  // namespace traces
