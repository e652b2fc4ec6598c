// Times of samples.

#include "tools/trace.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <stdexcept>

#include "korla/calendar.h"
#include "korla/messages.h"

namespace traces {

namespace {

constexpr std::int64_t second = 1000000;

}  // namespace

std::string text_of(const Name& name) {
  return KorLa::compose("{}.{}.{}.{}", name.network, name.station, name.location, name.channel);
}

void require_sound(const Trace& trace) {
  constexpr std::int64_t latest = (std::int64_t{1} << 32) * second;
  const auto refuse = [&trace](const std::string& why) {
    throw std::runtime_error(fmt::format("{}: {} {}", trace.file, text_of(trace.name), why));
  };
  if (trace.samples.empty()) {
    refuse("has no samples");
  }
  if (!(trace.frequency >= 0.01 && trace.frequency <= 1e5)) {
    refuse(fmt::format("has {} samples per second", trace.frequency));
  }
  if (trace.start < 0 || trace.start >= latest) {
    refuse("has no start between 1970 and 2106");
  }
  const auto wrong =
      std::ranges::find_if_not(trace.samples, [](double s) { return std::isfinite(s); });
  if (wrong != trace.samples.end()) {
    refuse(fmt::format("has a sample that is no number ({}), the one of index {}", *wrong,
                       wrong - trace.samples.begin()));
  }
}

double samples_until(const Trace& trace, std::int64_t time) {
  return static_cast<double>(time - trace.start) * trace.frequency / static_cast<double>(second);
}

std::int64_t time_of(const Trace& trace, std::size_t index) {
  const double after = static_cast<double>(index) / trace.frequency;
  return trace.start + std::llround(after * static_cast<double>(second));
}

std::string time_text(std::int64_t time) {
  const std::int64_t rest = (time % second + second) % second;
  return fmt::format("{}.{:03}", KorLa::calendar_text((time - rest) / second), rest / 1000);
}

}  // namespace traces
