#pragma once
// Comparing text with the accepted files in tests/accepted.

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace support {

/// The text of an accepted file; empty if there is none yet.
inline std::string read_accepted(const std::string& name) {
  std::ifstream file(TAVRIK_ACCEPTED "/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Expects a text to be that of an accepted file. With TAVRIK_UPDATE_ACCEPTED in the environment
/// the text becomes the accepted one: look at what git shows of the change.
inline void expect_accepted(const std::string& name, const std::string& actual) {
  if (std::getenv("TAVRIK_UPDATE_ACCEPTED") != nullptr) {
    std::ofstream(TAVRIK_ACCEPTED "/" + name, std::ios::binary) << actual;
  }
  EXPECT_EQ(actual, read_accepted(name)) << name;
}

}  // namespace support
