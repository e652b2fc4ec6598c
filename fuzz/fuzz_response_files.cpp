// Response files; a line may name the file itself as /proc/self/fd/3 and the like.

#include "fuzz/harness.h"

#include "src/response_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::MemoryFile file(data, size);
  const std::string argument = "@" + file.path();
  const char* const arguments[] = {"tavrik", argument.c_str()};
  return fuzz::survive([&arguments] { tavrik::expand_response_files(2, arguments); });
}
