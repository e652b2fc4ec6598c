// miniSEED files, record by record. libmseed decodes them; it believes what records say of
// themselves, so this is checked first.

#include "tools/miniseed_file.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <libmseed.h>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

// Samples are swapped where a record has them in the other byte order.
static_assert(std::endian::native == std::endian::little);

namespace traces {

namespace {

/// What libmseed may read beyond a record that lies about itself: a blockette, or 65535 samples.
constexpr std::size_t padding = std::size_t{1} << 20;

/// What libmseed has said since this was emptied.
std::string library_messages;

void keep_message(char* text) {
  const std::string_view message(text);
  library_messages += message.substr(0, message.find('\n'));
}

struct FreeRecord {
  void operator()(MSRecord* record) const { msr_free(&record); }
};

using Record = std::unique_ptr<MSRecord, FreeRecord>;

/// Makes libmseed independent of the environment, and silent.
void prepare_library() {
  MS_UNPACKHEADERBYTEORDER(-1);
  MS_UNPACKDATABYTEORDER(-1);
  MS_UNPACKENCODINGFORMAT(-1);
  MS_UNPACKENCODINGFALLBACK(-1);
  unsetenv("DECODE_DEBUG");  // its trace would pass for complaints
  ms_loginit(keep_message, nullptr, keep_message, nullptr);
}

/// Bytes of a sample as it is stored; 0 where they differ. Nothing for what can't be read.
std::optional<std::size_t> sample_size(int encoding) {
  switch (encoding) {
    case DE_ASCII:
      return 1;
    case DE_INT16:
      return 2;
    case DE_INT32:
    case DE_FLOAT32:
      return 4;
    case DE_FLOAT64:
      return 8;
    case DE_STEIM1:
    case DE_STEIM2:
      return 0;
    default:
      return std::nullopt;
  }
}

std::vector<double> samples_of(const MSRecord& record) {
  const auto count = static_cast<std::size_t>(record.numsamples);
  const auto copy = [count](const auto* first) {
    return std::vector<double>(first, first + count);
  };
  switch (record.sampletype) {
    case 'i':
      return copy(static_cast<const std::int32_t*>(record.datasamples));
    case 'f':
      return copy(static_cast<const float*>(record.datasamples));
    default:
      return copy(static_cast<const double*>(record.datasamples));
  }
}

/// Whether a trace goes on where another one ends.
bool continues(const Trace& trace, const Trace& next) {
  const double place = samples_until(trace, next.start) - static_cast<double>(trace.samples.size());
  return std::fabs(place) <= largest_shift &&
         std::fabs(next.frequency / trace.frequency - 1.0) <= same_frequency;
}

class Reader {
 public:
  Reader(const std::string& path, std::string bytes)
      : path_(path), bytes_(std::move(bytes)), size_(bytes_.size()) {
    bytes_.append(padding, '\0');
  }

  std::vector<Trace> read() {
    for (place_ = 0; place_ < size_; place_ += length_) {
      read_record();
    }
    return std::move(traces_);
  }

 private:
  [[noreturn]] void refuse(const std::string& why) const {
    throw std::runtime_error(fmt::format("{}: record at byte {}: {}", path_, place_, why));
  }

  void read_record() {
    length_ = record_length();
    const Record record = unpack_header();
    if (record->samplecnt == 0 || record->encoding == DE_ASCII) {
      return;
    }
    library_messages.clear();
    const bool swapped = record->byteorder != 0;
    record->numsamples = msr_unpack_data(record.get(), swapped ? 1 : 0, 0);
    // It says so where the last sample is not the one that the record has for comparison.
    if (record->numsamples != record->samplecnt || !library_messages.empty()) {
      refuse(fmt::format("its {} samples are damaged ({})", record->samplecnt, library_messages));
    }
    add({.name = {record->network, record->station, record->location, record->channel},
         .file = path_,
         .start = record->starttime,
         .frequency = record->samprate,
         .samples = samples_of(*record)});
  }

  std::size_t record_length() {
    const std::size_t left = size_ - place_;
    if (left < miniseed_header_size || !MS_ISVALIDHEADER(bytes_.data() + place_)) {
      refuse(left < miniseed_header_size ? "the file ends in it" : "not a data record");
    }
    const std::size_t visible = std::min(left, std::size_t{MAXRECLEN});
    const int length = ms_detect(bytes_.data() + place_, static_cast<int>(visible));
    if (length < MINRECLEN || length > MAXRECLEN) {
      refuse("it does not say how long it is");
    }
    if (static_cast<std::size_t>(length) > left) {
      refuse(fmt::format("the file ends after {} of its {} bytes", left, length));
    }
    return static_cast<std::size_t>(length);
  }

  Record unpack_header() {
    MSRecord* raw = nullptr;
    const int length = static_cast<int>(length_);
    const int error = msr_unpack(bytes_.data() + place_, length, &raw, 0, 0);
    Record record(raw);
    if (error != MS_NOERROR) {
      refuse(ms_errorstr(error));
    }
    if (record->Blkt1000 == nullptr || record->reclen != length) {
      refuse("it does not say how long it is");
    }
    check_samples(*record);
    return record;
  }

  /// Whether all samples that the header promises have room in the record.
  void check_samples(const MSRecord& record) const {
    const auto size = sample_size(record.encoding);
    const std::size_t offset = record.fsdh->data_offset;
    const auto count = static_cast<std::size_t>(record.samplecnt);
    if (!size) {
      refuse(fmt::format("samples of encoding {} can't be read", int{record.encoding}));
    }
    if (count > 0 && (offset < miniseed_header_size || offset + count * *size > length_)) {
      refuse(
          fmt::format("{} samples of encoding {} have no room in it", count, int{record.encoding}));
    }
  }

  /// Adds a record's samples to the trace that they continue, or as a new one.
  void add(Trace&& next) {
    const auto [last, is_first] = last_of_.try_emplace(next.name, traces_.size());
    if (!is_first && continues(traces_[last->second], next)) {
      std::vector<double>& samples = traces_[last->second].samples;
      samples.insert(samples.end(), next.samples.begin(), next.samples.end());
      return;
    }
    last->second = traces_.size();
    traces_.push_back(std::move(next));
  }

  const std::string& path_;
  std::string bytes_;  ///< of the file, then of the padding
  std::size_t size_;   ///< of the file
  std::size_t place_ = 0;
  std::size_t length_ = 0;  ///< of the record at place_
  std::vector<Trace> traces_;
  std::map<Name, std::size_t> last_of_;  ///< the trace that a channel's last record is in
};

}  // namespace

bool begins_as_miniseed(std::string_view bytes) {
  return bytes.size() >= miniseed_header_size && MS_ISVALIDHEADER(bytes.data());
}

std::vector<Trace> read_miniseed(const std::string& path, std::string bytes) {
  prepare_library();
  return Reader(path, std::move(bytes)).read();
}

}  // namespace traces
