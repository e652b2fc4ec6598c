#pragma once
// Choosing of the three channels by their names.

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "tools/trace.h"

namespace traces {

using ThreeNames = std::array<Name, 3>;

/// The parts of a line between separators; there is one more of them than of these.
std::vector<std::string> parts_of(std::string_view text, char separator);

/// Whether a name stands for a channel: NET.STA.LOC.CHA whole, or without some of the parts, but
/// not without the station. "A.B" is a network and a station as well as a station and a channel.
bool stands_for(const std::string& abbreviation, const Name& name);

/// The channels, each once, in the order of the traces.
std::vector<Name> names_of(const std::vector<Trace>& traces);

/// The channels that three names stand for. Without names: the channels, if there are three, or
/// else those of the first three stations. Throws std::runtime_error where a name stands for no
/// channel or for several, and where without names nothing tells which channels are meant.
ThreeNames choose_channels(const std::vector<Trace>& traces,
                           const std::vector<std::string>& wanted);

}  // namespace traces
