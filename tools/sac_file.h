#pragma once
// Reading of SAC files: one channel of evenly spaced samples in single precision.

#include <string>
#include <string_view>

#include "tools/trace.h"

namespace traces {

/// Length of a SAC file's header, of which `begins_as_sac` needs all.
inline constexpr std::size_t sac_header_size = 632;

/// Whether a file of these first bytes may be a SAC file, of whatever version and byte order.
bool begins_as_sac(std::string_view bytes);

/// Reads the bytes of a SAC file of header version 6 or 7, in either byte order. Throws
/// std::runtime_error, which names the file, for one that is damaged or is not a series of evenly
/// spaced samples.
Trace read_sac(const std::string& path, std::string_view bytes);

}  // namespace traces
