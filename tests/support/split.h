#pragma once
// Taking text apart.

#include <sstream>
#include <string>
#include <vector>

namespace support {

/// The parts of a text between separators. One at the end of the text ends its last part.
inline std::vector<std::string> split(const std::string& text, char separator) {
  std::istringstream stream(text);
  std::vector<std::string> parts;
  for (std::string part; std::getline(stream, part, separator);) {
    parts.push_back(part);
  }
  return parts;
}

}  // namespace support
