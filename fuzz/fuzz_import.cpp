// miniSEED and SAC files.

#include "fuzz/harness.h"
#include "tools/merge_traces.h"
#include "tools/trace_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::survive([data, size] {
    auto all = traces::read_traces("input", {reinterpret_cast<const char*>(data), size});
    const traces::Name name = all.front().name;
    if (traces::merge_channel(all, name).pieces.empty()) {
      std::abort();
    }
  });
}
