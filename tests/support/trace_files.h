#pragma once
// miniSEED files, written by libmseed, and SAC files.

#include <string>

#include "tools/trace.h"

namespace support {

/// The bytes of miniSEED records. encoding: one of libmseed's DE_...; byte_order: 1 big-endian, 0
/// little-endian. Samples of integer encodings are whole numbers.
std::string miniseed(const traces::Trace& trace, int encoding, int byte_order);

/// The bytes of a SAC file of version 6 or 7.
std::string sac(const traces::Trace& trace, int version, bool big_endian);

}  // namespace support
