# Azimuth and velocity over time, coloured by correlation, of a result file, for print:
#
#   gnuplot -c azimuths.gp RESULT.csv PICTURE.pdf
#
# With a name that ends in .png, a picture for the screen. From Debian: gnuplot-nox.

if (ARGC != 2) exit error "usage: gnuplot -c azimuths.gp RESULT.csv PICTURE.pdf"
if (ARG2[strlen(ARG2) - 3:] eq ".png") {
  set terminal pngcairo size 1200,900 fontscale 1.6
} else {
  set terminal pdfcairo size 16cm,12cm fontscale 0.6
}

# Only windows in which every pair has at least this correlation coefficient are shown.
level = 0.5
lowest(a, b) = a < b ? a : b
correlation(pair) = column("correlation_" . pair)
agreement(x) = lowest(correlation("12"), lowest(correlation("13"), correlation("23")))
good(value) = agreement(0) >= level ? value : NaN

set datafile separator ","
set datafile columnheaders
stats ARG1 using "time_unix_s" name "time" nooutput
if (!exists("time_max")) exit error ARG1 . ": no windows"
hours = (time_max - time_min) / 3600
set xtics 3600 * (hours < 0.5 ? 1 / 12.0 : hours < 3 ? 0.25 : hours < 6 ? 1 : hours < 30 ? 6 : 24 * ceil(hours / 120))
set output ARG2
set xdata time
set timefmt "%s"
set palette defined (0 "#440154", 1 "#3b528b", 2 "#21918c", 3 "#5ec962", 4 "#fde725")
set cbrange [level:1]
set cblabel "lowest correlation of the pairs"
set colorbox user origin 0.86,0.15 size 0.025,0.79
set grid
set pointsize 0.4
unset key
set multiplot layout 2,1 margins 0.12,0.83,0.15,0.94 spacing 0,0.05

set format x ""
set ylabel "azimuth (degrees)"
set yrange [0:360]
set ytics 90
plot ARG1 using "time_unix_s":(good(column("azimuth_deg"))):(agreement(0)) with points pointtype 7 palette

unset colorbox
set format x "%Y-%m-%d\n%H:%M"
set xlabel "time (UTC)"
set ylabel "velocity (m/s)"
set yrange [200:600]
set ytics 100
plot ARG1 using "time_unix_s":(good(column("velocity_m_s"))):(agreement(0)) with points pointtype 7 palette
