// The station tables, in full.

#include "korla/stations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::FieldsAre;
using testing::Pair;
using testing::StrEq;
using testing::UnorderedElementsAre;

TEST(station_names, are_these_and_no_others) {
  EXPECT_THAT(KorLa::station_names,
              UnorderedElementsAre(Pair(0, StrEq("rasvik")), Pair(1, StrEq("tolmar")),
                                   Pair(2, StrEq("vendalen")), Pair(3, StrEq("ostermyra")),
                                   Pair(4, StrEq("fjallby")), Pair(5, StrEq("rasvik2")),
                                   Pair(6, StrEq("tolmar2")), Pair(7, StrEq("vendalen2")),
                                   Pair(8, StrEq("ostermyra2")), Pair(254, StrEq("test")),
                                   Pair(255, StrEq("unknown"))));
}

// "ostermyra2" and "o2" are 3, not 8: intended.
TEST(station_numbers, are_these_and_no_others) {
  EXPECT_THAT(
      KorLa::station_numbers,
      UnorderedElementsAre(
          Pair("rasvik", FieldsAre(0)), Pair("r", FieldsAre(0)), Pair("tolmar", FieldsAre(1)),
          Pair("t", FieldsAre(1)), Pair("vendalen", FieldsAre(2)), Pair("w", FieldsAre(2)),
          Pair("ostermyra", FieldsAre(3)), Pair("o", FieldsAre(3)), Pair("fjallby", FieldsAre(4)),
          Pair("f", FieldsAre(4)), Pair("rasvik2", FieldsAre(5)), Pair("r2", FieldsAre(5)),
          Pair("tolmar2", FieldsAre(6)), Pair("t2", FieldsAre(6)), Pair("vendalen2", FieldsAre(7)),
          Pair("w2", FieldsAre(7)), Pair("ostermyra2", FieldsAre(3)), Pair("o2", FieldsAre(3))));
}

}  // namespace
