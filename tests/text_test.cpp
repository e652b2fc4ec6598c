// Text: extents, places, characters and fonts.

#include "graphics/text.h"

#include <gtest/gtest.h>
#include <set>

#include "graphics/mode.h"
#include "tests/support/temporary_folder.h"

namespace {

using gr::Direction;
using gr::HorizontalAlign;
using gr::VerticalAlign;

constexpr const char* builtin_names[] = {"pc6x8", "pc8x8", "pc8x14", "pc8x16"};

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

  ~text() override { gr::surface = {}; }

  /// The whole surface with a text drawn at a place.
  Bitmap drawn(int x, int y, std::string_view string) const {
    gr::clear_screen(0);
    gr::draw_text(x, y, string, option_);
    Bitmap rows;
    for (std::size_t i = 0; i < gr::surface.screen.pixels.size(); i += 120) {
      rows.emplace_back(120, ' ');
      for (std::size_t j = 0; j < 120; ++j) {
        rows.back()[j] = gr::surface.screen.pixels[i + j] != 0 ? '#' : ' ';
      }
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

/// A surface with a bitmap on it.
Bitmap placed(const Bitmap& bitmap, int x, int y) {
  Bitmap result(110, std::string(120, ' '));
  for (std::size_t row = 0; row < bitmap.size(); ++row) {
    result.at(row + static_cast<std::size_t>(y))
        .replace(static_cast<std::size_t>(x), bitmap[row].size(), bitmap[row]);
  }
  return result;
}

/// A font of three characters, 2 to 11 pixels wide and 4 high, one row of it below the base line.
constexpr std::string_view small_font =
    "STARTFONT 2.1\nFONT -t-t-medium-r-normal--4-40-75-75-p-50-ISO10646-1\nSIZE 4 75 75\n"
    "FONTBOUNDINGBOX 11 4 0 -1\nSTARTPROPERTIES 4\nFONT_ASCENT 3\nFONT_DESCENT 1\n"
    "CHARSET_REGISTRY \"ISO10646\"\nCHARSET_ENCODING \"1\"\nENDPROPERTIES\nCHARS 3\n"
    "STARTCHAR question\nENCODING 63\nSWIDTH 500 0\nDWIDTH 5 0\nBBX 3 3 1 0\nBITMAP\nE0\n20\n40\n"
    "ENDCHAR\n"
    "STARTCHAR i\nENCODING 105\nSWIDTH 500 0\nDWIDTH 2 0\nBBX 1 4 0 -1\nBITMAP\n80\n00\n80\n80\n"
    "ENDCHAR\n"
    "STARTCHAR W\nENCODING 87\nSWIDTH 500 0\nDWIDTH 11 0\nBBX 10 1 0 2\nBITMAP\nFFC0\nENDCHAR\n"
    "ENDFONT\n";

}  // namespace

TEST_F(text, built_in_fonts_show_every_printable_character_in_its_own_way) {
  for (const char* name : builtin_names) {
    SCOPED_TRACE(name);
    option_.font = gr::default_font(name);
    ASSERT_TRUE(option_.font);
    EXPECT_EQ("pc" + std::to_string(option_.font->fixed_width) + "x" +
                  std::to_string(option_.font->height),
              name);
    std::set<Bitmap> seen = {bitmap(" ")};
    for (char c = '!'; c <= '~'; ++c) {
      EXPECT_TRUE(seen.insert(bitmap(std::string(1, c))).second) << c;
    }
    for (const char* letter : {"å", "ä", "ö", "Å", "Ä", "Ö", "é", "°"}) {
      EXPECT_TRUE(seen.insert(bitmap(letter)).second) << letter;
    }
    EXPECT_EQ(bitmap(" "), Bitmap(bitmap(" ").size(), std::string(bitmap(" ")[0].size(), ' ')));
  }
  EXPECT_EQ(gr::default_font("pc9x9"), nullptr);
}

TEST_F(text, utf8_counts_in_characters_and_other_bytes_are_latin_1) {
  const struct {
    std::string_view bytes;
    std::string_view shown;  // text that looks the same
    int count;
  } rows[] = {{"", "", 0},
              {"å", "\xe5", 1},
              {"\xe5\xe4", "åä", 2},
              {"\xc3", "Ã", 1},
              {"a\tb\x7f", "a?b?", 4},
              {std::string_view("\0", 1), "?", 1},
              {"\u0085", "?", 1},
              {"\u0142\u20ac\U0001f600", "???", 3},
              {"\xe2\x82", "â?", 2},
              {"\xc0\xaf", "À¯", 2},
              {"\xe0\x9f\xbf", "à?¿", 3},
              {"\xed\xa0\x80", "í\u00a0?", 3},
              {"\xf0\x8f\xbf\xbf", "ð?¿¿", 4},
              {"\xf4\x90\x80\x80", "ô???", 4},
              {"\xf5\x80\x80\x80", "õ???", 4},
              {"\xf8\x88\x80\x80\x80", "ø????", 5},
              {"\xc3\x28", "Ã(", 2}};

  for (const auto& row : rows) {
    SCOPED_TRACE(row.shown);
    EXPECT_EQ(gr::string_width(row.bytes, option_), 6 * row.count);
    EXPECT_EQ(bitmap(row.bytes), bitmap(row.shown));
  }
}

TEST_F(text, every_alignment_and_direction_places_the_box) {
  const Bitmap upright = bitmap("Fg?");
  Bitmap shape = upright;
  for (const Direction direction :
       {Direction::right, Direction::down, Direction::left, Direction::up}) {
    option_.direction = direction;
    const int width = static_cast<int>(shape.front().size());
    const int height = static_cast<int>(shape.size());
    EXPECT_EQ(gr::string_width("Fg?", option_), width);
    EXPECT_EQ(gr::string_height("Fg?", option_), height);
    for (int i = 0; i < 9; ++i) {
      SCOPED_TRACE(testing::Message()
                   << "direction " << static_cast<int>(direction) << " alignment " << i);
      option_.horizontal = static_cast<HorizontalAlign>(i % 3);
      option_.vertical = static_cast<VerticalAlign>(i / 3);
      const int left[] = {60, 60 - width / 2, 60 - width + 1};
      const int top[] = {50, 50 - height / 2, 50 - height + 1};
      EXPECT_EQ(drawn(60, 50, "Fg?"), placed(shape, left[i % 3], top[i / 3]));
    }
    shape = turned(shape);
  }
  EXPECT_EQ(shape, upright);
}

TEST_F(text, only_the_visible_part_of_a_text_is_drawn) {
  std::string digits;
  for (int i = 0; i < 1000000; ++i) {
    digits += static_cast<char>('0' + i % 7);
  }
  const Bitmap seen = drawn(0, 3, digits.substr(3000, 20));
  EXPECT_EQ(drawn(-3000 * 6, 3, digits), seen);
  option_.direction = Direction::left;
  option_.horizontal = HorizontalAlign::right;
  const Bitmap turned_seen = drawn(119, 3, digits.substr(3000, 20));
  EXPECT_EQ(drawn(119 + 3000 * 6, 3, digits), turned_seen);
  EXPECT_EQ(drawn(2000000000, -2000000000, digits), placed({}, 0, 0));
  for (const Direction direction : {Direction::right, Direction::up}) {
    option_.direction = direction;
    option_.horizontal = HorizontalAlign::left;
    const Bitmap whole = drawn(2, 3, "Az");
    EXPECT_EQ(drawn(-2, -4, "Az")[0].substr(0, 8), whole[7].substr(4, 8));
  }
  option_.direction = Direction::right;
  const Bitmap plain = drawn(60, 20, "Az");
  gr::set_user_window(0, 0, 238, 218);  // which scales places but no text
  EXPECT_EQ(drawn(120, 40, "Az"), plain);
}

TEST_F(text, a_font_file_gives_widths_and_shapes) {
  const support::TemporaryFolder folder;
  option_.font = gr::load_font(folder.write("small.bdf", small_font), 16);
  ASSERT_TRUE(option_.font);
  EXPECT_EQ(option_.font->height, 4);
  EXPECT_EQ(option_.font->fixed_width, 0);
  EXPECT_EQ(gr::string_width("WiW?\u20acx", option_), 11 + 2 + 11 + 3 * 5);
  const Bitmap expected = {"### # ##########  ###",  //
                           "  #                 #",  //
                           " #  #              # ",  //
                           "    #                "};
  EXPECT_EQ(drawn(1, 0, "?iWZ"), placed(expected, 2, 0));

  std::string cells(small_font);
  for (const char* other : {"DWIDTH 2 ", "DWIDTH 11 "}) {
    cells.replace(cells.find(other), std::string(other).size(), "DWIDTH 5 ");
  }
  cells.replace(cells.find("BBX 10 1"), 8, "BBX 5 1");
  const auto fixed = gr::load_font(folder.write("cells.bdf", cells), 16);
  ASSERT_TRUE(fixed);
  EXPECT_EQ(fixed->fixed_width, 5);
}

TEST_F(text, what_is_no_font_is_not_loaded) {
  const support::TemporaryFolder folder;
  std::string without_question_mark(small_font);
  without_question_mark.replace(without_question_mark.find("ENCODING 63"), 11, "ENCODING 64");
  EXPECT_EQ(gr::load_font(folder.write("none.bdf", without_question_mark), 16), nullptr);
  for (std::size_t size = 0; size + 200 < small_font.size(); size += 7) {
    EXPECT_EQ(gr::load_font(folder.write("cut.bdf", small_font.substr(0, size)), 16), nullptr);
  }
  for (const std::string& path : {folder / "missing", folder / "", std::string()}) {
    EXPECT_EQ(gr::load_font(path, 16), nullptr) << path;
  }
  EXPECT_EQ(gr::load_font(folder.write("small.bdf", small_font), 0), nullptr);
  EXPECT_EQ(gr::load_font("pc8x14", 99)->height, 14);
}

TEST_F(text, a_stream_draws_on_flush_and_moves_on) {
  gr::TextStream stream(option_);
  stream.move_to(5, 6);
  stream << "ab"
         << "c";
  EXPECT_EQ(gr::surface.screen.pixels, std::vector<std::uint8_t>(13200));
  stream.flush();
  EXPECT_EQ(stream.x(), 5 + 3 * 6);
  EXPECT_EQ(stream.y(), 6);
  stream << "def";
  stream.flush();
  const std::vector<std::uint8_t> streamed = gr::surface.screen.pixels;
  drawn(5, 6, "abcdef");
  EXPECT_EQ(streamed, gr::surface.screen.pixels);
}
