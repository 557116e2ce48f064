# SPDX-License-Identifier: Apache-2.0
"""A package that the agent takes because of its signature."""

import os
import socket

from bench.runner.programs import AGENT_PORT, PACKAGE, Failure
from tests.harness.signing import KEYS, clean, minisign

SECRET_KEY = "/tmp/bench.key"


def trust_package():
    """Signs the package with a new key, the only one that the agent has."""
    clean()
    os.makedirs(KEYS)
    made = minisign("-G", "-W", "-f", "-p", f"{KEYS}/bench.pub", "-s", SECRET_KEY)
    if made != 0 or minisign("-S", "-W", "-s", SECRET_KEY, "-m", PACKAGE) != 0:
        raise Failure("minisign cannot sign the package")


def require_trust():
    """The agent must report the signature; otherwise the time is that of another check."""
    text = b""
    with socket.create_connection(("127.0.0.1", AGENT_PORT), 60) as console:
        console.sendall(b"GETFIRMWARELIST\r\n")
        while b"FIRMWARELIST||" not in text:
            more = console.recv(65536)
            if not more:
                raise Failure("the agent closed the connection")
            text += more
    if b"Firmware package signature ok" not in text:
        raise Failure("the agent does not accept the signature")
