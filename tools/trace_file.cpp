// Which reader a file is for.

#include "tools/trace_file.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <string_view>

#include "korla/bytes.h"
#include "tools/miniseed_file.h"
#include "tools/sac_file.h"

namespace traces {

namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw std::runtime_error(fmt::format("{}: {}", path, why));
}

/// Before all of a file is read: it may be anything, and huge.
void require_known_kind(const std::string& path, std::string_view head) {
  if (head.empty()) {
    refuse(path, "the file is empty");
  }
  if (head.starts_with("MS\x03")) {
    refuse(path, "miniSEED of version 3 can't be read");
  }
  if (!begins_as_miniseed(head) && !begins_as_sac(head)) {
    refuse(path, "neither a miniSEED nor a SAC file");
  }
}

}  // namespace

std::vector<Trace> read_traces(const std::string& path, std::string bytes) {
  require_known_kind(path, bytes);
  std::vector<Trace> traces;
  if (begins_as_miniseed(bytes)) {
    traces = read_miniseed(path, std::move(bytes));
  } else {
    traces.push_back(read_sac(path, bytes));
  }
  if (traces.empty()) {
    refuse(path, "the file has no samples");
  }
  return traces;
}

std::vector<Trace> read_traces(const std::string& path) {
  errno = 0;
  const KorLa::File file = KorLa::open_for_reading(path.c_str());
  if (!file) {
    refuse(path, errno != 0 ? std::strerror(errno) : "not a regular file");
  }
  std::string bytes(sac_header_size, '\0');
  bytes.resize(KorLa::read_bytes(file.get(), path, bytes.data(), bytes.size()));
  require_known_kind(path, bytes);
  const std::size_t head = bytes.size();
  bytes.resize(head + KorLa::bytes_left(file.get()));
  bytes.resize(head +
               KorLa::read_bytes(file.get(), path, bytes.data() + head, bytes.size() - head));
  return read_traces(path, std::move(bytes));
}

}  // namespace traces
