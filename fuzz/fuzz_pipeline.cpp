// From station files to result lines, with the options of the analysis. The input's file comes up
// to ten times: each but the first begins before the last one's end.

#include "fuzz/options.h"
#include "tests/support/temporary_folder.h"

#include "src/analysis.h"
#include "src/results.h"

/// In place of the library's own (--wrap): what is known of planning stays for the next input.
extern "C" void __wrap_fftw_cleanup() {}  // NOLINT(bugprone-reserved-identifier)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const support::TemporaryFolder folder;
  static const std::string path = folder / "input.dat";
  fuzz::Source source{{data, size}};
  fuzz::survive([&source] {
    fuzz::take_options(source);
    const std::vector<std::string> files(source.among(1, 10), path);
    fuzz::memory_files.push_back({path, source.left});
    tavrik::ResultSeries series;
    tavrik::analyse(files, series);
    for (const tavrik::ResultRecord& record : series.records) {
      if (record.az < 0 || record.az > 360) {
        std::abort();
      }
    }
  });
  tavrik::abandon_result_files();
  return 0;
}
