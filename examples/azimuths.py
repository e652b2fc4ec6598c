#!/usr/bin/python3
"""Azimuth and velocity over time, and how often each azimuth occurs, of a result file.

  azimuths.py RESULT.csv|RESULT.az PICTURE

The picture's format is that of its name: png, pdf, svg. From Debian: python3-matplotlib,
python3-pandas.
"""

import os
import sys

import matplotlib

matplotlib.use("agg")  # no display

import matplotlib.dates as dates
import matplotlib.pyplot as plt
import numpy as np
import pandas as pd

PAIRS = ["correlation_12", "correlation_13", "correlation_23"]
AZ_COLUMNS = (
    ["zero_1", "zero_2", "time_unix_s", "azimuth_deg", "velocity_m_s"]
    + ["amplitude_1", "amplitude_2", "amplitude_3", *PAIRS]
    + ["lag_12", "lag_13", "lag_23", "slope"]
)


def read_csv(path):
    """The windows in which every pair has a correlation coefficient of at least 0.5."""
    table = pd.read_csv(path, comment="#")
    table["correlation"] = table[PAIRS].min(axis=1)
    return table[table.correlation >= 0.5]


def read_az(path):
    """The tenth of all windows with the highest correlation: here it is no coefficient."""
    table = pd.read_csv(path, sep=" ", comment="#", names=AZ_COLUMNS)
    table["correlation"] = table[PAIRS].min(axis=1)
    return table[table.correlation >= table.correlation.quantile(0.9)]


def draw(table, title):
    figure = plt.figure(figsize=(11, 5), layout="constrained")
    grid = figure.add_gridspec(2, 3)
    over_time = figure.add_subplot(grid[0, :2])
    velocity = figure.add_subplot(grid[1, :2], sharex=over_time)
    polar = figure.add_subplot(grid[:, 2], projection="polar")

    times = pd.to_datetime(table.time_unix_s, unit="s")
    marks = {"c": table.correlation, "s": 6, "cmap": "viridis"}
    points = over_time.scatter(times, table.azimuth_deg, **marks)
    velocity.scatter(times, table.velocity_m_s, **marks)
    figure.colorbar(points, ax=[over_time, velocity], label="lowest correlation of the pairs")

    over_time.set(title=title, ylabel="azimuth (degrees)", ylim=(0, 360), yticks=range(0, 361, 90))
    over_time.tick_params(labelbottom=False)
    velocity.set(xlabel="UTC", ylabel="velocity (m/s)", ylim=(200, 600))
    locator = dates.AutoDateLocator()
    velocity.xaxis.set_major_locator(locator)
    velocity.xaxis.set_major_formatter(dates.ConciseDateFormatter(locator))

    counts, edges = np.histogram(table.azimuth_deg, bins=72, range=(0, 360))
    polar.set_theta_zero_location("N")
    polar.set_theta_direction(-1)
    polar.bar(np.radians(edges[:-1]), counts, width=np.radians(5), align="edge")
    polar.set_title("windows by azimuth")
    return figure, edges[counts.argmax()]


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    result, picture = sys.argv[1:]
    reader = {".csv": read_csv, ".az": read_az}.get(os.path.splitext(result)[1])
    if reader is None:
        sys.exit(f"{result}: neither a csv nor an az file")
    try:
        table = reader(result)
    except (OSError, ValueError, LookupError) as error:  # ValueError: what pandas can't read
        sys.exit(f"{result}: {error}")
    if table.empty:
        sys.exit(f"{result}: no window in which the microphones agree")
    figure, azimuth = draw(table, result)
    figure.savefig(picture, dpi=150)
    print(f"{result}: {len(table)} windows, most often from {azimuth:.0f} to {azimuth + 5:.0f} degrees")


main()
