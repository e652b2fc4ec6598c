// Composing of miniSEED and SAC files.

#include "tests/support/trace_files.h"

#include <algorithm>
#include <cstring>
#include <libmseed.h>
#include <stdexcept>

namespace support {

namespace {

void append_record(char* record, int length, void* bytes) {
  static_cast<std::string*>(bytes)->append(record, static_cast<std::size_t>(length));
}

/// Gives a record samples in memory that it frees.
template <class Sample>
void set_samples(MSRecord& record, const traces::Trace& trace, char type) {
  auto* samples = static_cast<Sample*>(std::malloc(trace.samples.size() * sizeof(Sample)));
  std::transform(trace.samples.begin(), trace.samples.end(), samples,
                 [](double sample) { return static_cast<Sample>(sample); });
  record.datasamples = samples;
  record.numsamples = static_cast<std::int64_t>(trace.samples.size());
  record.sampletype = type;
}

/// Numbers and texts of a SAC file in either byte order.
class SacComposer {
 public:
  explicit SacComposer(bool big_endian) : big_endian_(big_endian) {}

  template <class Number>
  void add(Number number) {
    std::string number_bytes(reinterpret_cast<const char*>(&number), sizeof number);
    if (big_endian_) {
      std::reverse(number_bytes.begin(), number_bytes.end());
    }
    bytes += number_bytes;
  }

  template <class Number>
  void set(std::size_t place, Number number) {
    SacComposer part(big_endian_);
    part.add(number);
    bytes.replace(place, sizeof number, part.bytes);
  }

  void set_text(std::size_t place, std::string text) {
    text.resize(8, ' ');
    bytes.replace(place, 8, text);
  }

  std::string bytes;

 private:
  bool big_endian_;
};

}  // namespace

std::string miniseed(const traces::Trace& trace, int encoding, int byte_order) {
  MSRecord* record = msr_init(nullptr);
  std::strcpy(record->network, trace.name.network.c_str());
  std::strcpy(record->station, trace.name.station.c_str());
  std::strcpy(record->location, trace.name.location.c_str());
  std::strcpy(record->channel, trace.name.channel.c_str());
  record->dataquality = 'D';
  record->starttime = trace.start;
  record->samprate = trace.frequency;
  record->reclen = 512;
  record->encoding = static_cast<std::int8_t>(encoding);
  record->byteorder = static_cast<std::int8_t>(byte_order);
  blkt_1001_s microseconds{};
  msr_addblockette(record, reinterpret_cast<char*>(&microseconds), sizeof microseconds, 1001, 0);
  if (encoding == DE_FLOAT32) {
    set_samples<float>(*record, trace, 'f');
  } else if (encoding == DE_FLOAT64) {
    set_samples<double>(*record, trace, 'd');
  } else {
    set_samples<std::int32_t>(*record, trace, 'i');
  }
  std::string bytes;
  std::int64_t packed = 0;
  msr_pack(record, append_record, &bytes, &packed, 1, 0);
  msr_free(&record);
  if (packed != static_cast<std::int64_t>(trace.samples.size())) {
    throw std::runtime_error("libmseed has not packed all samples");
  }
  return bytes;
}

std::string sac(const traces::Trace& trace, int version, bool big_endian) {
  constexpr double undefined = -12345.0;
  BTime time{};
  ms_hptime2btime(trace.start, &time);
  // What the reference time has no room for: up to a millisecond.
  const double begin = static_cast<double>(trace.start % 1000) / 1e6;
  const double latitude = trace.place ? trace.place->latitude : undefined;
  const double longitude = trace.place ? trace.place->longitude : undefined;
  SacComposer file(big_endian);
  for (int i = 0; i < 70; ++i) {
    file.add(static_cast<float>(undefined));
  }
  for (int i = 70; i < 110; ++i) {
    file.add(-12345);
  }
  for (int i = 0; i < 24; ++i) {
    file.bytes += "-12345  ";
  }
  file.set(0, static_cast<float>(1.0 / trace.frequency));
  file.set(20, static_cast<float>(begin));
  file.set(124, static_cast<float>(latitude));
  file.set(128, static_cast<float>(longitude));
  const int millisecond = static_cast<int>(trace.start / 1000 % 1000);
  std::size_t place = 280;
  for (const int number : {int{time.year}, int{time.day}, int{time.hour}, int{time.min},
                           int{time.sec}, millisecond, version}) {
    file.set(place, number);
    place += 4;
  }
  file.set(316, static_cast<int>(trace.samples.size()));
  file.set(340, 1);
  file.set(420, 1);
  file.set_text(440, trace.name.station);
  file.set_text(464, trace.name.location.empty() ? "-12345" : trace.name.location);
  file.set_text(600, trace.name.channel);
  file.set_text(608, trace.name.network);
  for (const double sample : trace.samples) {
    file.add(static_cast<float>(sample));
  }
  if (version == 7) {
    for (int i = 0; i < 22; ++i) {
      file.add(i == 0    ? 1.0 / trace.frequency
               : i == 1  ? begin
               : i == 18 ? longitude
               : i == 19 ? latitude
                         : undefined);
    }
  }
  return file.bytes;
}

}  // namespace support
