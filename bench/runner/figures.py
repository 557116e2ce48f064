# SPDX-License-Identifier: Apache-2.0
"""The figures with their limits and aims."""

import dataclasses
import statistics

MIB = 1 << 20


@dataclasses.dataclass(frozen=True)
class Figure:
    """One line of the table. `must` and `aim` bound it; a figure without them is only shown."""

    key: str
    what: str
    against: str
    must: float | None = None
    aim: float | None = None
    more_is_better: bool = False
    unit: str = ""

    def meets(self, value, bound):
        """True when the value is as good as the bound."""
        return value >= bound if self.more_is_better else value <= bound

    def verdict(self, value):
        """ "aim", "must" or "MISSED"; nothing for a figure that is only shown."""
        if self.must is None:
            return ""
        if self.meets(value, self.aim):
            return "aim"
        return "must" if self.meets(value, self.must) else "MISSED"


def more(key, what, against, must=None, aim=None):
    """A ratio that should be large."""
    return Figure(key, what, against, must, aim, more_is_better=True)


def less(key, what, against, must=None, aim=None, unit=""):
    """A ratio, or an amount with a unit, that should be small."""
    return Figure(key, what, against, must, aim, unit=unit)


FIGURES = [
    more("transfer", "transfer at 57600 baud", "wire time", 0.997, 0.9985),
    more("transfer-all", "  the same, slowest transfers included", "wire time"),
    more("transfer-median", "  the same, were all turnarounds the median one", "wire time"),
    more("transfer-poll", "  the same by the poll/read/write sender", "wire time"),
    more("line-efficiency", "  the same", "QSerialPort sender", 0.9997, 1.0),
    more(
        "line-efficiency-whole", "  the same, each reply at once", "QSerialPort sender", 0.9997, 1.0
    ),
    less("line-turnaround", "turnaround at 57600 baud, p50", "QSerialPort sender", 1.0, 1.0),
    less("line-turnaround-whole", "  the same, each reply at once", "QSerialPort sender", 1.0, 1.0),
    less("line-cpu", "CPU per block at 57600 baud", "QSerialPort sender", 1.15, 1.0),
    less("line-cpu-whole", "  the same, each reply at once", "QSerialPort sender", 1.15, 1.0),
    less("turnaround-p50-qt", "turnaround, p50", "QSerialPort sender", 1.5, 1.15),
    less("turnaround-p50-sx", "turnaround, p50", "sx, 1 KiB blocks", 1.5, 1.0),
    less("turnaround-p50-poll", "turnaround, p50", "poll/read/write sender"),
    less("turnaround-p99-qt", "turnaround, p99", "QSerialPort sender", 2.0, 1.3),
    less("cpu-block-qt", "CPU per block", "QSerialPort sender", 1.15, 1.0),
    less("heartbeat-writing", "heartbeat p99 while an image is written", "at rest", 1.05, 1.0),
    less("heartbeat-writing-other", "  the same of the QTcpServer server", "at rest"),
    less("heartbeat-unpaced", "  the same on a line without a speed limit", "at rest"),
    more("rate-1-1-qt", "heartbeats/s, 1 client, depth 1", "QTcpServer server", 0.9, 1.2),
    more("rate-1-1-redis", "heartbeats/s, 1 client, depth 1", "redis PING", 0.95, 1.0),
    more("rate-1-1-epoll", "heartbeats/s, 1 client, depth 1", "epoll server"),
    more("rate-1-16-qt", "heartbeats/s, 1 client, depth 16", "QTcpServer server", 0.9, 1.2),
    more("rate-1-16-redis", "heartbeats/s, 1 client, depth 16", "redis PING", 0.95, 1.0),
    more("rate-1-16-epoll", "heartbeats/s, 1 client, depth 16", "epoll server"),
    more("rate-50-qt", "heartbeats/s, 50 clients", "QTcpServer server"),
    more("rate-50-redis", "heartbeats/s, 50 clients", "redis PING", 0.85, 1.0),
    more("rate-500-redis", "heartbeats/s, 500 clients", "redis PING", 0.8, 1.0),
    more("rate-1000-qt", "heartbeats/s, 1000 clients", "QTcpServer server", 1.0, 1.1),
    more("rate-1000-redis", "heartbeats/s, 1000 clients", "redis PING"),
    more("rate-1000-epoll", "heartbeats/s, 1000 clients", "epoll server"),
    less("p99-1000-redis", "heartbeat p99, 1000 clients", "redis PING", 2.0, 1.0),
    more("check", "package check, 256 MB", "zlib's crc32", 1.8, 2.5),
    more("check-reading", "package check, 256 MB", "reading the file"),
    less("check-growth", "memory growth during the check", "", 4, 1, unit="MiB"),
    less("check-signed", "package check with keys, 256 MB", "b2sum", 1.1, 1.0),
    less("check-signed-growth", "memory growth during the check with keys", "", 1, 1, unit="MiB"),
    less("upgrade-growth", "memory growth during an upgrade, less its image", "", 4, 1, unit="MiB"),
    less("memory-rest", "memory at rest", "QTcpServer server", 1.05, 1.0),
    less("memory-1000", "memory with 1000 clients", "QTcpServer server", 1.2, 1.0),
    less("start", "start to listening", "QTcpServer server", 1.05, 1.0),
    less("cpu-rest", "CPU at rest", "", 50, 0, unit="us/s"),
    less("parse-edid-heartbeat", "one PARSEEDID round trip", "one HEARTBEAT round trip", 1.25, 1.0),
    less("parse-edid", "one PARSEEDID round trip", "one edid-decode", 0.1, 0.02),
]


@dataclasses.dataclass
class Sample:
    """The result of one round: the agent's value, and the reference's unless it is an amount."""

    value: float
    reference: float | None = None

    @property
    def figure(self):
        """The ratio, or the amount itself."""
        return self.value if self.reference is None else self.value / self.reference


def summarize(figure, samples):
    """A line of the result: the median of the rounds' figures, their range and the verdict."""
    figures = [sample.figure for sample in samples]
    median = statistics.median(figures)
    return {
        "key": figure.key,
        "what": figure.what.strip(),
        "against": figure.against,
        "unit": figure.unit,
        "median": median,
        "lowest": min(figures),
        "highest": max(figures),
        "must": figure.must,
        "aim": figure.aim,
        "more_is_better": figure.more_is_better,
        "verdict": figure.verdict(median),
        "rounds": [dataclasses.asdict(sample) for sample in samples],
    }


def format_table(lines):
    """The result as text."""
    rows: list[tuple[str, ...]] = [
        ("figure", "against", "median", "lowest", "highest", "must", "aim", "meets")
    ]
    for line in lines:
        sign = ">=" if line["more_is_better"] else "<="
        bounds = [
            f"{sign} {line[name]:g}" if line[name] is not None else "" for name in ("must", "aim")
        ]
        figures = [f"{line[name]:.4f}" for name in ("median", "lowest", "highest")]
        what = line["what"] + (f" ({line['unit']})" if line["unit"] else "")
        rows.append((what, line["against"], *figures, *bounds, line["verdict"]))
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    text = (
        "  ".join(
            cell.rjust(width) if 2 <= column <= 4 else cell.ljust(width)
            for column, (cell, width) in enumerate(zip(row, widths))
        ).rstrip()
        for row in rows
    )
    return "\n".join(text)
