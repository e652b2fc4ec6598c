#pragma once
// The csv file: one line for each window with names and units, for spreadsheets and data frames.
// tavrik-formats(5) has its columns.

#include "src/results.h"

namespace tavrik {

/// Writes what the run is, in lines that begin with "#", and the line of column names. The stream
/// must be open.
void write_csv_header(ResultStream& stream, const DataHeader& header);

/// Writes a window. Values that are no numbers are empty. time: of the window, seconds since 1970
/// UTC; frequency: samples per second.
void write_csv_line(ResultStream& stream, double time, const ResultRecord& record,
                    const WindowValues& values, double frequency);

}  // namespace tavrik
