#pragma once
// Reading of miniSEED files (version 2): records of any number of channels.

#include <string>
#include <string_view>
#include <vector>

#include "tools/trace.h"

namespace traces {

/// Number of bytes that `begins_as_miniseed` needs.
inline constexpr std::size_t miniseed_header_size = 48;

/// Whether a file of these first bytes may be a miniSEED file.
bool begins_as_miniseed(std::string_view bytes);

/// Reads the bytes of a miniSEED file: samples in 16 and 32 bits, single and double precision,
/// Steim 1 and 2, in either byte order. Records that continue one another make one trace. Records
/// of text, and those without samples, are passed over. Throws std::runtime_error, which names the
/// file and the record's place, for anything else.
std::vector<Trace> read_miniseed(const std::string& path, std::string bytes);

}  // namespace traces
