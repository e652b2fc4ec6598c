// Names of channels, and what stands for them.

#include "tools/channel_names.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <stdexcept>

namespace traces {

namespace {

std::string list_of(const std::vector<Name>& names) {
  std::string list;
  for (const Name& name : names) {
    list += " " + text_of(name);
  }
  return list;
}

Name find_channel(const std::vector<Name>& names, const std::string& wanted) {
  std::vector<Name> found;
  std::ranges::copy_if(names, std::back_inserter(found),
                       [&wanted](const Name& name) { return stands_for(wanted, name); });
  if (found.empty()) {
    throw std::runtime_error(
        fmt::format("--channels: no channel {} among{}", wanted, list_of(names)));
  }
  if (found.size() > 1) {
    throw std::runtime_error(fmt::format("--channels: {} may be{}", wanted, list_of(found)));
  }
  return found.front();
}

ThreeNames find_channels(const std::vector<Name>& names, const std::vector<std::string>& wanted) {
  ThreeNames found = {find_channel(names, wanted[0]), find_channel(names, wanted[1]),
                      find_channel(names, wanted[2])};
  if (found[0] == found[1] || found[0] == found[2] || found[1] == found[2]) {
    throw std::runtime_error("--channels: the same channel twice");
  }
  return found;
}

bool are_of_one_station(const Name& a, const Name& b) {
  return a.network == b.network && a.station == b.station;
}

/// The channels of the first three stations, or of all if they are fewer.
std::vector<Name> of_first_stations(const std::vector<Name>& names) {
  std::vector<Name> stations;  // one channel of each
  std::vector<Name> found;
  for (const Name& name : names) {
    const auto is_its = [&name](const Name& other) { return are_of_one_station(other, name); };
    if (std::ranges::none_of(stations, is_its) && stations.size() < 3) {
      stations.push_back(name);
    }
    if (std::ranges::any_of(stations, is_its)) {
      found.push_back(name);
    }
  }
  return found;
}

}  // namespace

std::vector<std::string> parts_of(std::string_view text, char separator) {
  std::vector<std::string> parts;
  while (true) {
    const std::size_t end = text.find(separator);
    parts.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) {
      return parts;
    }
    text.remove_prefix(end + 1);
  }
}

bool stands_for(const std::string& abbreviation, const Name& name) {
  const std::vector<std::string> parts = parts_of(abbreviation, '.');
  const std::array<const std::string*, 4> whole = {&name.network, &name.station, &name.location,
                                                   &name.channel};
  // Every choice of the name's parts that has as many, and the station among them.
  for (unsigned choice = 0; choice < 16; ++choice) {
    std::vector<std::string> chosen;
    for (std::size_t i = 0; i < whole.size(); ++i) {
      if ((choice >> i & 1U) != 0) {
        chosen.push_back(*whole.at(i));
      }
    }
    if ((choice & 2U) != 0 && chosen == parts) {
      return true;
    }
  }
  return false;
}

std::vector<Name> names_of(const std::vector<Trace>& traces) {
  std::vector<Name> names;
  for (const Trace& trace : traces) {
    if (std::ranges::find(names, trace.name) == names.end()) {
      names.push_back(trace.name);
    }
  }
  return names;
}

ThreeNames choose_channels(const std::vector<Trace>& traces,
                           const std::vector<std::string>& wanted) {
  const std::vector<Name> names = names_of(traces);
  if (names.size() < 3) {
    throw std::runtime_error(fmt::format("{}: three channels are needed, there are only{}",
                                         traces.front().file, list_of(names)));
  }
  if (!wanted.empty()) {
    return find_channels(names, wanted);
  }
  const std::vector<Name> first = names.size() == 3 ? names : of_first_stations(names);
  if (first.size() != 3) {
    throw std::runtime_error(
        fmt::format("choose three with --channels, there are{}", list_of(names)));
  }
  return {first[0], first[1], first[2]};
}

}  // namespace traces
