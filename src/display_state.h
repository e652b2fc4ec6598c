#pragma once

// How the viewer shows a series: what is kept from one drawing and one file to the next.

namespace tavrik {

struct DisplayState {
  int div = 1;                ///< divides the radii of the circular plots, 1..100
  int horizontal_offset = 0;  ///< pan, pixels; positive moves the picture to the right
  int vertical_offset = 0;    ///< pan, pixels; positive moves the picture up
  int time_shift = 0;         ///< how many records later the azimuths of the circular plots are
  bool center_time = false;   ///< the time axis stands for the middle of a step, not its start
  int least_x = 0;            ///< least column of the last result plot, without the pan
  int greatest_x = 0;         ///< greatest column of the last result plot, without the pan

  bool operator==(const DisplayState&) const = default;
};

inline DisplayState display_state;

}  // namespace tavrik
