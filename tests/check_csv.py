"""Reads the csv file of a run with Python's own reader and compares it with the az file.

check_csv.py TAVRIK MAKE_RECORDING
"""

import csv
import datetime
import subprocess
import sys
import tempfile

tavrik, make_recording = sys.argv[1:]


def run(folder, *options):
    subprocess.run([tavrik, "--quiet", "-g0", "-c", "--csv", *options, "a.ko24"],
                   cwd=folder, check=True, stderr=subprocess.DEVNULL)
    with open(folder + "/a.az") as lines:
        az = [[float(word) for word in line.split()] for line in lines]
    with open(folder + "/a.csv", newline="") as lines:
        text = lines.readlines()
    head = [line for line in text if line.startswith("#")]
    assert text[:len(head)] == head and len(head) >= 10, head
    rows = list(csv.DictReader(text[len(head):], strict=True))
    assert len(rows) == len(az) > 100
    return az, rows


def same(text, value):
    if text == "":  # no number, which the az file has as 0
        return value == 0
    return abs(float(text) - value) <= 1e-5 * max(1, abs(value))


with tempfile.TemporaryDirectory() as folder:
    subprocess.run([make_recording, "--demo", "a.ko24"], cwd=folder, check=True)
    for method in ["old", "new", "weighted", "lsq"]:
        az, rows = run(folder, "--angle=" + method, "-l512", "--entropy", "--acr", "--center-time")
        for line, row in zip(az, rows):
            time = datetime.datetime.fromisoformat(row["time_utc"].replace("Z", "+00:00"))
            assert abs(time.timestamp() - line[2]) <= 0.0005001, row
            assert abs(float(row["time_unix_s"]) - line[2]) <= 0.0005001, row
            assert same(row["azimuth_deg"], line[3]) and same(row["velocity_m_s"], line[4]), row
            lags = [float(row[f"lag_{pair}_s"]) for pair in (12, 13, 23)]
            assert all(same(lag * 18, wanted) for lag, wanted in zip(lags, line[11:14])), row
            assert abs(lags[0] + lags[2] - lags[1] - float(row["closure_s"])) < 1e-5, row
            assert all(-1 <= float(row[f"correlation_{pair}"]) <= 1 for pair in (12, 13, 23)), row
            assert method != "lsq" or row["velocity2_m_s"] == row["velocity_m_s"], row
            numbers = [float(value or "nan") for name, value in row.items() if name != "time_utc"]
            assert len(numbers) == 38, row
    subprocess.run([make_recording, "--noise=0", "a.ko24"], cwd=folder, check=True)
    az, rows = run(folder, "--angle=lsq")  # silence has no direction, and no number for it
    assert all(row["azimuth_deg"] == row["correlation_12"] == "" for row in rows)
