// Text: extents, places, characters and fonts.

#include "graphics/text.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>

#include "graphics/draw.h"
#include "graphics/mode.h"
#include "tests/support/temporary_folder.h"

namespace {

using gr::HorizontalAlign;
using gr::TextDirection;

/// Rows of pixels, ' ' or '#'.
using Bitmap = std::vector<std::string>;

class text : public testing::Test {
 protected:
  text() {
    gr::set_driver("memory gw 120 gh 110 nc 256");
    gr::GrSetMode(gr::ModeKind::default_graphics);
    option_.font = gr::default_font("pc6x8");
    option_.color = 1;
  }

  ~text() override { gr::graphics = {}; }

  /// The whole surface with a text drawn at a place.
  Bitmap drawn(int x, int y, std::string_view string) const {
    gr::clear_screen(0);
    gr::draw_text(x, y, string, option_);
    Bitmap rows(110, std::string(120, ' '));
    for (std::size_t i = 0; i < gr::graphics.canvas.pixels.size(); ++i) {
      rows[i / 120][i % 120] = gr::graphics.canvas.pixels[i] != 0 ? '#' : ' ';
    }
    return rows;
  }

  /// The pixels of a text alone.
  Bitmap bitmap(std::string_view string) const {
    Bitmap rows = drawn(0, 0, string);
    rows.resize(static_cast<std::size_t>(gr::string_height(string, option_)));
    for (std::string& row : rows) {
      row.resize(static_cast<std::size_t>(gr::string_width(string, option_)));
    }
    return rows;
  }

  gr::TextOption option_;
};

/// Turned clockwise by a right angle.
Bitmap turned(const Bitmap& bitmap) {
  Bitmap result(bitmap.front().size(), std::string(bitmap.size(), ' '));
  for (std::size_t y = 0; y < bitmap.size(); ++y) {
    for (std::size_t x = 0; x < bitmap[y].size(); ++x) {
      result[x][bitmap.size() - 1 - y] = bitmap[y][x];
    }
  }
  return result;
}

/// A font of three characters, of which one hangs over its 2 pixels, 3 to 11 pixels wide and 4
/// high, one row of it below the base line.
constexpr std::string_view small_font =
    "STARTFONT 2.1\nFONT -t-t-medium-r-normal--4-40-75-75-p-50-ISO10646-1\nSIZE 4 75 75\n"
    "FONTBOUNDINGBOX 11 4 0 -1\nSTARTPROPERTIES 4\nFONT_ASCENT 3\nFONT_DESCENT 1\n"
    "CHARSET_REGISTRY \"ISO10646\"\nCHARSET_ENCODING \"1\"\nENDPROPERTIES\nCHARS 3\n"
    "STARTCHAR question\nENCODING 63\nSWIDTH 500 0\nDWIDTH 5 0\nBBX 3 3 1 0\nBITMAP\nE0\n20\n40\n"
    "ENDCHAR\n"
    "STARTCHAR i\nENCODING 105\nSWIDTH 500 0\nDWIDTH 2 0\nBBX 1 4 2 -1\nBITMAP\n80\n00\n80\n80\n"
    "ENDCHAR\n"
    "STARTCHAR W\nENCODING 87\nSWIDTH 500 0\nDWIDTH 11 0\nBBX 10 1 0 2\nBITMAP\nFFC0\nENDCHAR\n"
    "ENDFONT\n";

}  // namespace

TEST_F(text, built_in_fonts_show_every_printable_character_in_its_own_way) {
  std::string characters = "\xe5\xe4\xf6\xc5\xc4\xd6\xe9\xb0";
  for (char c = ' '; c <= '~'; ++c) {
    characters += c;
  }
  for (const char* name : {"pc6x8", "pc8x8", "pc8x14", "pc8x16"}) {
    option_.font = gr::load_font(name, 99);
    EXPECT_GT(option_.font->fixed_width, 0);
    std::set<Bitmap> seen;
    for (const char c : characters) {
      const Bitmap shown = bitmap(std::string(1, c));
      EXPECT_EQ("pc" + std::to_string(shown[0].size()) + "x" + std::to_string(shown.size()), name);
      EXPECT_TRUE(seen.insert(shown).second) << name << ' ' << c;
    }
  }
}

TEST_F(text, utf8_counts_in_characters_and_other_bytes_are_latin_1) {
  EXPECT_EQ(gr::string_width("\u20acå\xe5", option_), 6 * 3);
  EXPECT_EQ(gr::to_utf8("r\xe4v \u20acå"), "räv \u20acå");
  const std::string_view same[][2] = {
      {"\xe5\xe4\xc3\x28", "åäÃ("},
      {"a\tb\x7f\u0085\u0142\u20ac\U0001f600", "a?b?????"},
      {{"\0\xe2\x82\xac", 3}, "?â?"},
      {"\xc0\xaf\xe0\x9f\xbf\xed\xa0\x80", "À¯à?¿í\u00a0?"},
      {"\xf0\x8f\xbf\xbf\xf4\x90\x80\x80\xf5\x80\x80\x80", "ð?¿¿ô???õ???"},
  };

  for (const auto& [bytes, shown] : same) {
    EXPECT_EQ(drawn(0, 0, bytes), drawn(0, 0, shown)) << shown;
    EXPECT_EQ(drawn(0, 0, gr::to_utf8(bytes)), drawn(0, 0, shown)) << shown;
  }
}

TEST_F(text, every_alignment_and_direction_places_the_box) {
  Bitmap expected = bitmap("Fg?");
  for (int i = 0; i < 36; ++i) {
    SCOPED_TRACE(i);
    option_ = {.font = option_.font, .color = 1};
    option_.direction = static_cast<TextDirection>(i / 9);  // right, down, left, up
    if (i > 0 && i % 9 == 0) {
      expected = turned(expected);
    }
    EXPECT_EQ(bitmap("Fg?"), expected);
    const int width = gr::string_width("Fg?", option_);
    const int height = gr::string_height("Fg?", option_);
    const int left[] = {60, 60 - width / 2, 60 - width + 1};
    const int top[] = {50, 50 - height / 2, 50 - height + 1};
    const Bitmap placed = drawn(left[i % 3], top[i / 3 % 3], "Fg?");
    option_.horizontal = static_cast<HorizontalAlign>(i % 3);
    option_.vertical = static_cast<gr::VerticalAlign>(i / 3 % 3);
    EXPECT_EQ(drawn(60, 50, "Fg?"), placed);
  }
}

TEST_F(text, only_the_visible_part_of_a_text_is_drawn) {
  std::string digits(1000000, '0');
  std::generate(digits.begin(), digits.end(), [i = 0]() mutable { return '0' + i++ % 7; });
  EXPECT_EQ(drawn(-3000 * 6, 3, digits), drawn(0, 3, digits.substr(3000, 20)));
  EXPECT_EQ(drawn(2000000000, -2000000000, digits), drawn(0, 0, ""));
  const Bitmap plain = drawn(60, 20, "Az");
  gr::set_user_window(0, 0, 238, 218);  // which scales places but no text
  EXPECT_EQ(drawn(120, 40, "Az"), plain);
  gr::set_user_window(0, 0, 119, 109);
  option_.direction = TextDirection::left;
  option_.horizontal = HorizontalAlign::right;
  EXPECT_EQ(drawn(119 + 3000 * 6, 3, digits), drawn(119, 3, digits.substr(3000, 20)));
  option_.direction = TextDirection::up;
  EXPECT_EQ(drawn(119, -2, "Az")[0], drawn(119, 5, "Az")[7]);
}

TEST_F(text, a_font_file_gives_widths_and_shapes) {
  const support::TemporaryFolder folder;
  const auto load = [&folder](std::string_view contents) {
    return gr::load_font(folder.write("a.bdf", contents), 16);
  };
  option_.font = load(small_font);
  ASSERT_TRUE(option_.font);
  EXPECT_EQ(gr::string_width("WiW?\u20acx", option_), 11 + 3 + 11 + 3 * 5);
  const Bitmap expected = {" ###   ###########  ### ",  //
                           "   #                  # ",  //
                           "  #    #             #  ",  //
                           "       #                "};
  EXPECT_EQ(bitmap("?iWZ"), expected);
  std::string other(small_font);
  EXPECT_EQ(load(other.replace(other.find("ENCODING 63"), 11, "ENCODING 64")), nullptr);
  EXPECT_EQ(load(small_font.substr(0, 300)), nullptr);
  EXPECT_EQ(gr::load_font(folder / "missing", 16), nullptr);
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);  // opening it would wait for ever
  EXPECT_EQ(gr::load_font(folder / "pipe", 16), nullptr);
  EXPECT_EQ(gr::load_font(folder.write("a.bdf", small_font), 0), nullptr);
}

TEST_F(text, a_stream_draws_on_flush_and_moves_on) {
  drawn(5, 6, "abc");
  const std::vector<std::uint8_t> expected = gr::graphics.canvas.pixels;
  gr::clear_screen(0);
  gr::TextStream stream(option_);
  stream.move_to(5, 6);
  (stream << "ab").flush();
  (stream << "c").flush();
  EXPECT_EQ(gr::graphics.canvas.pixels, expected);
}
