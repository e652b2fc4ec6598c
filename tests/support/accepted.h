#pragma once
// Comparing text with the accepted files in tests/accepted.

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace support {

/// Expects a text to be that of an accepted file. With TAVRIK_UPDATE_ACCEPTED in the environment
/// the text becomes the accepted one: look at what git shows of the change.
inline void expect_accepted(const std::string& name, const std::string& actual) {
  const std::string path = std::string(TAVRIK_ACCEPTED) + "/" + name;
  if (std::getenv("TAVRIK_UPDATE_ACCEPTED") != nullptr) {
    std::ofstream(path, std::ios::binary) << actual;
  }
  std::ifstream file(path, std::ios::binary);
  const std::string accepted{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(actual, accepted) << path;
}

}  // namespace support
