// The station tables' contents.

#include "korla/stations.h"

namespace KorLa {

const std::map<std::uint8_t, const char*> station_names = {
    {0, "rasvik"},
    {1, "tolmar"},
    {2, "vendalen"},
    {3, "ostermyra"},
    {4, "fjallby"},
    {5, "rasvik2"},
    {6, "tolmar2"},
    {7, "vendalen2"},
    {8, "ostermyra2"},
    {unnamed_station, "test"},
    {unknown_station, "unknown"},
};

const std::map<std::string, Station, std::less<>> station_numbers = {
    {"rasvik2", {5}}, {"tolmar2", {6}},  {"vendalen2", {7}}, {"ostermyra2", {3}}, {"rasvik", {0}},
    {"tolmar", {1}},  {"vendalen", {2}}, {"ostermyra", {3}}, {"fjallby", {4}},    {"r2", {5}},
    {"t2", {6}},      {"w2", {7}},       {"o2", {3}},        {"r", {0}},          {"t", {1}},
    {"w", {2}},       {"o", {3}},        {"f", {4}},
};

}  // namespace KorLa
