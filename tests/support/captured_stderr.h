#pragma once
// What the program writes to the error stream while one of these is alive, also past a throw.

#include <gtest/gtest.h>
#include <string>

namespace support {

class CapturedStderr {
 public:
  CapturedStderr() { testing::internal::CaptureStderr(); }

  CapturedStderr(const CapturedStderr&) = delete;
  CapturedStderr& operator=(const CapturedStderr&) = delete;

  ~CapturedStderr() {
    if (!taken_) {
      testing::internal::GetCapturedStderr();
    }
  }

  /// Ends the capture and returns what was written. To be called once.
  std::string take() {
    taken_ = true;
    return testing::internal::GetCapturedStderr();
  }

 private:
  bool taken_ = false;
};

}  // namespace support
