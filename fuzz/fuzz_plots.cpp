// Any numbers in the records, all plots and their keys, on a small canvas that is saved at the end.

#include <cstdio>

#include "fuzz/options.h"
#include "graphics/mode.h"
#include "graphics/png.h"

#include "src/display_state.h"
#include "src/plot_surface.h"
#include "src/viewer.h"

namespace {

using namespace tavrik;

/// Opens the canvas once. The program's own would take longer to clear than most plots to draw.
bool open_canvas() {
  settings.memory = true;
  graphics_init(1);
  gr::graphics.canvas = gr::Canvas(120, 90);
  return true;
}

/// Keys that neither save nor leave the plots, and a few that leave them.
void press_keys(fuzz::Source& source) {
  constexpr std::string_view typed = "123p+-bduhr";
  for (int i = source.among(0, 5); i > 0; --i) {
    const auto choice = source.take<std::uint8_t>() % (2 * typed.size());
    const int special = gr::key_home + static_cast<int>(choice - typed.size());
    gr::push_event({.key = choice < typed.size() ? typed[choice] : special});
  }
}

ResultSeries make_series(fuzz::Source& source) {
  ResultSeries series;
  series.sampling_frequency = source.among(1, 400) / 4.0;
  double time = source.flag() ? 1456812000 : 0;
  do {
    ResultRecord& record = series.records.emplace_back();
    time += source.number();
    record.time = time;
    record.az = source.number() * 3;
    record.vel2 = source.number() * 10;
    record.cmax = source.number() / 100;
    record.slope = source.number();
    record.quality = source.number();
  } while (!source.left.empty());
  return series;
}

void save_canvas() {
  char* bytes = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_memstream(&bytes, &size);
  if (!gr::save_png(gr::graphics.canvas, gr::graphics.palette, stream)) {
    std::abort();
  }
  std::fclose(stream);
  std::free(bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  [[maybe_unused]] static const bool is_open = open_canvas();
  fuzz::Source source{{data, size}};
  display_state = {};
  gr::graphics.events.clear();
  fuzz::survive([&source] {
    fuzz::take_options(source);
    press_keys(source);
    std::size_t file = 0;
    display(make_series(source), {"input"}, file);
  });
  save_canvas();
  return 0;
}
