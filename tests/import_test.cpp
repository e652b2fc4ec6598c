// Recordings of other systems, and what import_recording makes of them.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <libmseed.h>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "korla/korla_base.h"
#include "tests/support/program_runner.h"
#include "tests/support/split.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/trace_files.h"
#include "tools/channel_names.h"
#include "tools/conversion.h"
#include "tools/local_positions.h"
#include "tools/recording.h"

namespace {

using support::failure;
using support::TemporaryFolder;
using testing::HasSubstr;
using traces::Conversion;
using traces::Place;
using traces::Trace;

constexpr std::int64_t start = 1456812000250000;  // 06:00 on 1 March 2016 and a quarter of a second

/// An array of three stations, A to the south-west, C to its north, B to its east: clockwise from A
/// by C, counter-clockwise by B.
constexpr std::array<Place, 3> places = {{{65.0, 20.0}, {65.0, 20.002}, {65.001, 20.0}}};

/// Samples that are whole numbers, large and small, and differ from channel to channel.
std::vector<double> samples_of(std::size_t channel, std::size_t count) {
  std::vector<double> samples(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double size = i % 50 == 0 ? 8388607 : 1000;
    const double phase = 0.7 * static_cast<double>(i) + static_cast<double>(channel);
    samples[i] = i == 50 ? -8388608 : std::round(size * std::sin(phase));
  }
  return samples;
}

/// A trace of the three: its samples, and how many of them it begins late.
Trace trace_of(std::size_t channel, double frequency, int late = 0, std::size_t count = 1000) {
  const std::string station(1, static_cast<char>('A' + channel));
  Trace trace{.name = {"XX", station, "", "BDF"},
              .file = "",
              .start = start,
              .frequency = frequency,
              .samples = samples_of(channel, count + static_cast<std::size_t>(late)),
              .place = places.at(channel)};
  trace.start = traces::time_of(trace, static_cast<std::size_t>(late));
  trace.samples.erase(trace.samples.begin(), trace.samples.begin() + late);
  return trace;
}

/// How a test writes its files.
struct Form {
  int encoding;  ///< of miniSEED; 0 for SAC
  int byte_order;
  int version = 6;
};

std::string compose(const Trace& trace, const Form& form) {
  return form.encoding != 0 ? support::miniseed(trace, form.encoding, form.byte_order)
                            : support::sac(trace, form.version, form.byte_order == 1);
}

const std::string table =
    "\xEF\xBB\xBFstation, latitude (WGS84), longitude\n# ours\nA,+65,20\nB,67,3\n"
    "XX.B,65.0,20.002,300 m\n\"C\",65.001,20\nB,66,2\n";

/// The counts of a series' channel.
std::vector<double> counts(const KorLa::Korla_Base& series, std::size_t channel) {
  return {series.samples.at(channel).begin(), series.samples.at(channel).end()};
}

TEST(import, gives_back_what_was_written) {
  const std::vector<Form> forms = {
      {DE_STEIM1, 1}, {DE_STEIM1, 0},  {DE_STEIM2, 1},  {DE_STEIM2, 0},  {DE_INT32, 1},
      {DE_INT32, 0},  {DE_FLOAT32, 1}, {DE_FLOAT32, 0}, {DE_FLOAT64, 1}, {DE_FLOAT64, 0},
      {0, 0, 6},      {0, 1, 6},       {0, 0, 7},       {0, 1, 7}};
  for (const Form& form : forms) {
    for (const double frequency : {18.0, 12.5, 100.0, 0.1}) {
      SCOPED_TRACE(fmt::format("{} {} {} Hz", form.encoding, form.byte_order, frequency));
      const TemporaryFolder folder;
      Conversion conversion{.output = folder / "out.ko24", .station = 3};
      const std::array<int, 3> late = {7, 0, 20};
      for (const std::size_t c : {0U, 2U, 1U}) {  // clockwise
        const Trace trace = trace_of(c, frequency, late.at(c));
        conversion.inputs.push_back(folder.write(trace.name.station, compose(trace, form)));
      }
      conversion.stations = form.encoding != 0 ? folder.write("table.csv", table) : "";
      const std::string report = convert(conversion);
      EXPECT_THAT(report, HasSubstr("Channels 2 and 3 changed places"));
      EXPECT_THAT(report, HasSubstr("Samples are counts as they were"));

      const auto series = KorLa::open_series(conversion.output, 0.0, true);
      EXPECT_EQ(int{series->header.station}, 3);
      EXPECT_EQ(double{series->header.sampling_frequency}, frequency);
      EXPECT_NEAR(series->times.front(), static_cast<double>(start) / 1e6 + 20 / frequency, 2e-6);
      for (const std::size_t c : {0U, 1U, 2U}) {
        EXPECT_TRUE(counts(*series, c) == trace_of(c, frequency, 20, 980).samples) << c;
      }
      // Longitudes of single precision are good to 5 cm here.
      const auto lines = support::split(folder.read("out.coords"), '\n');
      double east = 0;
      double north = 0;
      ASSERT_EQ(std::sscanf(lines.at(3).c_str(), "%lf %lf", &east, &north), 2);
      EXPECT_NEAR(east, 94.351, form.version == 6 && form.encoding == 0 ? 0.1 : 0.001);
      EXPECT_NEAR(north, 0.0015, 0.001);
    }
  }
}

// Joined from records and files in any order; where they overlap they agree.
TEST(import, joins_pieces_and_splits_at_gaps) {
  const TemporaryFolder folder;
  Conversion conversion{.output = folder / "out.ko24", .stations = folder.write("t.csv", table)};
  const auto records = [](const Trace& trace) { return support::miniseed(trace, DE_STEIM2, 1); };
  const auto add = [&](const std::string& name, const std::string& bytes) {
    conversion.inputs.push_back(folder.write(name, bytes));
  };
  add("a2", records(trace_of(0, 20, 600, 400)));
  add("a1", records(trace_of(0, 20, 0, 700)));
  add("b", records(trace_of(1, 20, 10, 590)) + records(trace_of(1, 20, 640, 360)));
  add("c2", records(trace_of(2, 20, 700, 290)));
  add("c1", records(trace_of(2, 20, 0, 700)));
  EXPECT_EQ(failure([&] { convert(conversion); }),
            folder / "b" +
                ": XX.B..BDF has a gap of 2.000 s before its samples of 2016-03-01 "
                "06:00:32.250; --gaps=split writes a file for each part");
  EXPECT_FALSE(std::filesystem::exists(folder / "out.coords"));

  conversion.split_at_gaps = true;
  convert(conversion);
  const auto expect_part = [&](const std::string& name, int late, std::size_t count) {
    const auto series = KorLa::open_series(folder / (name + ".ko24"), 0.0, true);
    EXPECT_NEAR(series->times.front(), static_cast<double>(start) / 1e6 + late / 20.0, 1e-6);
    for (const std::size_t c : {0U, 1U, 2U}) {
      EXPECT_TRUE(counts(*series, c) == trace_of(c, 20, late, count).samples) << name << c;
    }
    EXPECT_TRUE(std::filesystem::exists(folder / (name + ".coords")));
  };
  expect_part("out-1", 10, 590);
  expect_part("out-2", 640, 350);
}

TEST(import, scales_what_are_no_counts) {
  const TemporaryFolder folder;
  // The largest sample, the scale asked for, and what the report says of it.
  const auto expect = [&](double largest, std::optional<double> asked, double scale) {
    Conversion conversion{.output = folder / "out.ko24", .scale = asked};
    std::vector<Trace> written;
    for (const std::size_t c : {0U, 1U, 2U}) {
      Trace trace = trace_of(c, 20);
      for (double& sample : trace.samples) {
        sample *= largest / 8388607;
      }
      trace.samples[3] = c == 1 ? -largest : 0;
      written.push_back(trace);
      conversion.inputs.push_back(folder.write(trace.name.station, support::sac(trace, 7, false)));
    }
    EXPECT_THAT(convert(conversion), HasSubstr(fmt::format("Scale: {} counts", scale)));
    const auto series = KorLa::open_series(conversion.output, 0.0, true);
    for (const std::size_t c : {0U, 1U, 2U}) {
      for (std::size_t i = 0; i < 1000; ++i) {
        ASSERT_NEAR(series->samples[c].at(i), static_cast<float>(written[c].samples[i]) * scale,
                    0.50001);
      }
    }
  };
  expect(0.5, {}, 1e7);
  expect(0.84, {}, 1e6);
  expect(3e-12, {}, 1e18);
  expect(9e9, {}, 1e-4);
  expect(0.5, 1e5, 1e5);
}

TEST(import, chooses_channels_by_their_names) {
  const auto trace = [](const char* network, const char* station, const char* location,
                        const char* channel) {
    return Trace{.name = {network, station, location, channel}};
  };
  const std::vector<Trace> all = {trace("XX", "S1", "", "BDF"),   trace("XX", "S2", "", "BDF"),
                                  trace("XX", "S2", "", "BHZ"),   trace("YY", "S3", "00", "BDF"),
                                  trace("YY", "S3", "01", "BDF"), trace("YY", "S1", "", "HDF"),
                                  trace("XX", "S4", "", "BDF")};
  const auto expect = [&](std::vector<Trace> traces, const std::vector<std::string>& wanted,
                          const std::string& expected) {
    std::string chosen;
    const std::string error = failure([&] {
      for (const traces::Name& name : traces::choose_channels(traces, wanted)) {
        chosen += text_of(name) + " ";
      }
    });
    EXPECT_THAT(chosen.empty() ? error : chosen, HasSubstr(expected));
  };
  expect(all, {"S4", "XX.S1", "S2.BDF"}, "XX.S4..BDF XX.S1..BDF XX.S2..BDF ");
  expect(all, {"S1.HDF", "YY.S3.01.BDF", "S3.00.BDF"}, "YY.S1..HDF YY.S3.01.BDF YY.S3.00.BDF ");
  expect(all, {"XX.S1..BDF", "S4", "S4.BDF"}, "the same channel twice");
  expect(all, {"S1", "S4", "S2.BDF"}, "S1 may be XX.S1..BDF YY.S1..HDF");
  expect(all, {"S5", "S4", "S2.BDF"}, "no channel S5 among XX.S1..BDF XX.S2..BDF");
  expect(all, {"BDF", "S4", "S2.BDF"}, "no channel BDF");
  expect(all, {}, "choose three with --channels, there are XX.S1..BDF");
  expect({all[1], all[2], all[0], all[6]}, {}, "choose three with --channels");
  expect({all[0], all[1], all[1], all[2]}, {}, "XX.S1..BDF XX.S2..BDF XX.S2..BHZ ");
  expect({all[5], all[6], all[0], all[1], all[2]}, {}, "YY.S1..HDF XX.S4..BDF XX.S1..BDF ");
}

// Lengths of a thousandth of a degree, from published tables of the ellipsoid of WGS84.
TEST(local_position, is_in_metres_east_and_north) {
  const auto expect = [](const Place& from, const Place& to, double east, double north) {
    const recording::Position position = traces::local_position(from, to);
    EXPECT_NEAR(position.x, east, 0.001);
    EXPECT_NEAR(position.y, north, 0.001);
  };
  expect({0, 0}, {0.001, 0.001}, 111.319, 110.574);
  expect({60, 25}, {60.001, 25}, 0, 111.412);
  expect({-60, 25}, {-60, 25.001}, 55.800, 0);
  expect({0, 179.9995}, {0, -179.9995}, 111.319, 0);
  expect({0, 359.9995}, {0, 0.0005}, 111.319, 0);
}

// What does not concern the three channels, and places that a table replaces.
TEST(import, passes_over_what_it_does_not_need) {
  const TemporaryFolder folder;
  std::vector<Trace> traces;
  for (const std::size_t c : {0U, 1U, 2U}) {
    traces.push_back(trace_of(c, 20));
  }
  Conversion conversion{.output = folder / "out.ko24", .channels = {"A", "B", "C"}};
  const auto convert_all = [&](int version) {
    conversion.inputs.clear();
    for (std::size_t i = 0; i < traces.size(); ++i) {
      conversion.inputs.push_back(
          folder.write(std::to_string(i), support::sac(traces[i], version, false)));
    }
    convert(conversion);
  };
  Trace unused = trace_of(0, 1e-4);
  unused.name.station = "D";
  unused.start = -1000000;
  unused.samples[3] = std::numeric_limits<double>::quiet_NaN();
  unused.place = Place{999, 0};
  traces.push_back(unused);
  traces.push_back(trace_of(0, 20, 600, 500));
  traces.back().place->longitude -= 359.99999;
  convert_all(7);
  traces.back().place = Place{999, 0};
  EXPECT_THAT(failure([&] { convert_all(7); }), HasSubstr("no place on earth"));
  conversion.stations = folder.write("t.csv", table);
  convert_all(6);
}

/// The converter, as people start it.
support::Ended run_import(const TemporaryFolder& folder, const std::string& arguments) {
  return support::run_program(folder.path().string(), support::split(arguments, ' '),
                              "shift; set -- '" TAVRIK_IMPORTER "' \"$@\"");
}

// A wave that the analysis finds where it came from, whatever the order of the microphones.
TEST(import, leads_to_the_direction_of_a_wave) {
  for (const bool is_sac : {false, true}) {
    const TemporaryFolder folder;
    recording::Scene scene{.sampling_frequency = 20, .length = 120, .noise = 20};
    scene.waves = {{.azimuth = 60, .start = 5, .length = 110, .amplitude = 3000}};
    for (std::size_t c = 0; c < places.size(); ++c) {
      scene.microphones.at(c) = traces::local_position(places[0], places.at(c));
    }
    const recording::Recording heard = compute_recording(scene);
    std::string arguments = is_sac ? "-o rec.ko24" : "-o rec.ko24 --stations=table.csv";
    folder.write("table.csv", table);
    for (const std::size_t c : {1U, 0U, 2U}) {
      Trace trace = trace_of(c, 20);
      trace.samples.assign(heard.samples[c].begin(), heard.samples[c].end());
      arguments += " " + trace.name.station;
      folder.write(trace.name.station, compose(trace, {is_sac ? 0 : DE_STEIM1, 1}));
    }
    EXPECT_EQ(run_import(folder, arguments).status, 0);
    EXPECT_EQ(support::run_program(folder.path().string(), {"-g0", "-c", "rec.ko24"}).status, 0);
    std::vector<double> azimuths;
    for (const std::string& line : support::split(folder.read("rec.az"), '\n')) {
      azimuths.push_back(std::stod(support::split(line, ' ').at(3)));
    }
    std::sort(azimuths.begin(), azimuths.end());
    EXPECT_NEAR(azimuths.at(azimuths.size() / 2), 60, 3);
  }
}

TEST(import, tells_what_it_is) {
  const TemporaryFolder folder;
  EXPECT_THAT(run_import(folder, "--help").output, HasSubstr("Usage: import_recording [options]"));
  EXPECT_THAT(run_import(folder, "--version").output, HasSubstr("import_recording v"));
}

class refused_import : public testing::Test {
 protected:
  refused_import() {
    for (const std::size_t c : {0U, 1U, 2U}) {
      const Trace trace = trace_of(c, 20);
      write("", trace);
      write("fast-", trace_of(c, 20.01));
      write("late-", trace_of(c, 20, 1500));
      Trace changed = trace;
      changed.samples[500] += 1;
      write("other-", changed);
      changed.samples[500] = c == 0 ? std::numeric_limits<double>::quiet_NaN() : -INFINITY;
      write("no-number-", changed);
      changed = trace;
      changed.start += 7500;  // 0.15 samples
      write("shifted-", changed);
      changed = trace;
      changed.place = std::nullopt;
      write("nowhere-", changed);
      changed.place = places[0];
      write("there-", changed);
      changed.place = Place{95, 20};
      write("beyond-", changed);
      changed = trace;
      changed.samples.clear();
      write("empty-", changed);
    }
    const std::string good = folder.read("A");
    folder.write("cut", good.substr(0, 900));
    folder.write("head", good.substr(0, 600));
    folder.write("long", good + "more");
    folder.write("huge", good.substr(0, 316) + "\x7f\xff\xff\xff" + good.substr(320));
    folder.write("version", good.substr(0, 307) + "\x05" + good.substr(308));
    folder.write("spectrum", good.substr(0, 343) + "\x02" + good.substr(344));
    folder.write("day", good.substr(0, 284) + std::string("\0\0\x09\0", 4) + good.substr(288));
    folder.write("nothing", "");
    folder.write("text", std::string(2000, 'x'));
    const std::string records = support::miniseed(trace_of(0, 20), DE_STEIM2, 1);
    folder.write("m-cut", records.substr(0, records.size() - 100));
    folder.write("m-tail", records + "tail");
    folder.write("m-damaged", records.substr(0, 203) + "?" + records.substr(204));
    const std::string much = "\xff\xff";
    folder.write("m-promise", records.substr(0, 2078) + much + records.substr(2080));
    const std::string plain = support::miniseed(trace_of(0, 20), DE_INT32, 1);
    folder.write("m-room", plain.substr(0, 30) + much + plain.substr(32));
    Trace old = trace_of(0, 20);
    old.start = -1000000;
    folder.write("m-old", support::miniseed(old, DE_INT32, 1));
    folder.write("m3", "MS\x03" + records);
    folder.write("table.csv", "A,65,20\nB,65\n");
    folder.write("good.csv", table);
    folder.write("two.csv",
                 "\xEF\xBB\xBF"
                 "A,65,20\nA,66,20\nB,65,21\nC,65,20.5\n");
    folder.write("line.csv", "A,65,20\nB,65.001,20\nC,65.002,20\n");
    folder.write("far.csv", "A,65,20\nB,65,24\nC,66,20\n");
    folder.write("one.csv", "A,65,20\n");
    folder.write("heads.csv", "station,latitude,longitude\n# none\n");
    folder.write("kept.ko24", "as it was");
  }

  void write(const std::string& prefix, const Trace& trace) {
    folder.write(prefix + trace.name.station, support::sac(trace, 6, true));
  }

  /// All files with their contents.
  std::vector<std::string> files() const {
    std::vector<std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      const std::string name = entry.path().filename().string();
      all.push_back(name + (entry.is_regular_file() ? folder.read(name) : ""));
    }
    std::sort(all.begin(), all.end());
    return all;
  }

  TemporaryFolder folder;
};

TEST_F(refused_import, leaves_nothing_and_names_the_file) {
  std::filesystem::create_directory(folder / "folder");
  std::filesystem::create_directory(folder / "linked.ko24");
  folder.write("linked.coords", "as it was");
  std::filesystem::create_hard_link(folder / "linked.coords", folder / "link");
  // The arguments after "-o kept.ko24", and what the message has after "Error: ".
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"cut B C", "cut: its header promises 1000 samples in 4632 bytes, the file has 900 bytes"},
      {"head B C", "head: neither a miniSEED nor a SAC file"},
      {"long B C", "long: its header promises 1000"},
      {"huge B C", "huge: its header promises 2147483647 samples"},
      {"version B C", "version: SAC header version 5, only 6 and 7"},
      {"spectrum B C", "spectrum: not a series of evenly"},
      {"day B C", "day: XX.A..BDF has no start between 1970 and 2106"},
      {"nothing B C", "nothing: the file is empty"},
      {"text B C", "text: neither"},
      {"missing B C", "missing: No such file"},
      {"folder B C", "folder: not a regular file"},
      {"m-cut B C", "m-cut: record at byte 2048: the file ends after 412 of its 512 bytes"},
      {"m-tail B C", "m-tail: record at byte 2560: the file ends in it"},
      {"m-damaged B C", "m-damaged: record at byte 0: its "},
      {"m-promise B C", "m-promise: record at byte 2048: its 65535 samples are damaged ("},
      {"m-room B C", "m-room: record at byte 0: 65535 samples of encoding 3 have no room in it"},
      {"m-old B C --stations=good.csv", "m-old: XX.A..BDF has no start between 1970 and 2106"},
      {"m3 B C", "m3: miniSEED of version 3"},
      {"A B", "A: three channels are needed, there are only XX.A..BDF XX.B..BDF"},
      {"A fast-B C", "fast-B: XX.B..BDF has 20.01 samples per second, but XX.A..BDF has 20"},
      {"A fast-A B C", "fast-A: XX.A..BDF has 20.01 samples per second, but 20 in A"},
      {"A late-A B late-B C late-C", "late-A: XX.A..BDF has a gap of 25.000 s before"},
      {"A late-B C", "A: XX.A..BDF has no time in common"},
      {"A other-A B C", "other-A: XX.A..BDF at 2016-03-01 06:00:25.250 is "},
      {"A B shifted-C", "shifted-C: XX.C..BDF is 0.150 samples beside those of XX.A..BDF"},
      {"A shifted-A B C", "shifted-A: XX.A..BDF begins at 2016-03-01 06:00:00.257 and 0.15"},
      {"no-number-A B C", "no-number-A: XX.A..BDF has a sample that is no number (nan)"},
      {"no-number-C B A", "no-number-C: XX.C..BDF has a sample that is no number (-inf)"},
      {"empty-A B C", "empty-A: its header promises 0 samples"},
      {"A nowhere-B C", "nowhere-B: no latitude and longitude of XX.B..BDF"},
      {"A B there-B C", "there-B: XX.B..BDF stands in another place"},
      {"there-A there-B there-C", "there-A: the microphones are on one line or in one place"},
      {"beyond-A B C", "beyond-A: no place on earth: latitude 95"},
      {"A B C --stations=table.csv", "table.csv: line 2 is not station, latitude, longitude"},
      {"A B C --stations=two.csv", "--stations: two places for XX.A..BDF"},
      {"A B C --stations=line.csv", "A: the microphones are on one line"},
      {"A B C --stations=far.csv", "A: the microphones are 2"},
      {"A B C --stations=one.csv", "B: no latitude and longitude of XX.B..BDF"},
      {"A B C --stations=heads.csv", "heads.csv: the station table has no places"},
      {"A B C --stations=none.csv", "none.csv: the station table can't be opened"},
      {"A B C --scale=2", "A: a sample of "},
      {"A B C --scale=0", "--scale=0: needs a number above 0"},
      {"A B C --channels=A,B", "--channels=A,B: needs three names"},
      {"A B C --gaps=no", "--gaps=no: needs refuse or split"},
      {"A B C --station=77", "--station=77: needs the number of a station"},
      {"A B C -o A", "A: it is an input"},
      {"A B C -o x.coords", "x.coords: this is the coordinate file's name"},
      {"A B C -o missing/x", "missing/x.coords: it can't be written"},
      {"A B C -o linked.ko24", "linked.coords: it can't be replaced in one step"},
      {"A B C -o folder", "folder: it can't be written"},
      {"", "an output (-o) and inputs are needed"},
  };
  const auto before = files();
  for (const auto& [arguments, message] : rows) {
    const support::Ended ended = run_import(folder, "-o kept.ko24 " + arguments);
    EXPECT_EQ(ended.status, 1) << arguments;
    EXPECT_THAT(ended.error, HasSubstr("Error: " + message)) << arguments;
    EXPECT_TRUE(files() == before) << arguments;
  }
}

}  // namespace
