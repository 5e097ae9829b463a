#!/usr/bin/env python3
"""Changes the set point of the cascade's vessel and plots what followed.

    step.py http://127.0.0.1:8080/ [SET_POINT [SECONDS]]
"""

import sys
import time
from datetime import datetime, timedelta, timezone

import requests


def main(server, set_point=50.0, seconds=20.0):
    session = requests.Session()
    session.headers["X-Rivlink-Source"] = "script"
    api = server.rstrip("/") + "/api"
    begin = datetime.now(timezone.utc) - timedelta(seconds=10)

    reply = session.put(f"{api}/channels/Vessel/set-point", json={"value": set_point})
    if not reply.ok:
        sys.exit(f"refused: {reply.json()['error']['message']}")
    record = reply.json()
    print(f"{record['what']} {record['old']} -> {record['new']}")

    time.sleep(seconds)
    history = session.get(
        f"{api}/history",
        params={"channel": "Vessel", "from": begin.strftime("%Y-%m-%dT%H:%M:%SZ")},
    ).json()
    columns = history["columns"]
    rows = [dict(zip(columns, row)) for row in history["rows"]]
    times = [row["time_ms"] / 1000 - begin.timestamp() for row in rows]
    print(f"{len(rows)} rows, actual value at the end {rows[-1]['actualMean']:.2f}")
    plot(times, rows)


def plot(times, rows):
    try:
        import matplotlib
    except ImportError:
        for moment, row in zip(times, rows):
            print(f"{moment:6.1f} s  {row['setPoint']:6.2f}  {row['actualMean']:6.2f}  {row['controlMean']:6.2f}")
        return
    matplotlib.use("Agg")
    from matplotlib import pyplot

    figure, (upper, lower) = pyplot.subplots(2, sharex=True)
    upper.plot(times, [row["actualMean"] for row in rows], label="actual value")
    upper.step(times, [row["setPoint"] for row in rows], where="post", label="set point")
    upper.legend()
    lower.plot(times, [row["controlMean"] for row in rows], label="control value")
    lower.legend()
    lower.set_xlabel("time [s]")
    figure.savefig("step.png")
    print("step.png")


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    main(sys.argv[1], *(float(argument) for argument in sys.argv[2:4]))
