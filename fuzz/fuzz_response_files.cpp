// Response files; a line may name the file itself as "@input".

#include "fuzz/harness.h"

#include "src/response_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::memory_files = {{"input", {data, size}}};
  const char* const arguments[] = {"tavrik", "@input"};
  return fuzz::survive([&arguments] { tavrik::expand_response_files(2, arguments); });
}
