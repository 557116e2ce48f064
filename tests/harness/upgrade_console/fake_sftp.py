#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Stands in for sftp: works on a folder in the place of the module's /data.

FAKE_SFTP_ROOT is the folder, and FAKE_SFTP_FAULT what goes wrong: "refuse", "half", "damage",
"damage-signature" (nothing else), "rename", "hang", "slow-put" and "slow-get" (half of the file,
and the rest when there is a file with the folder's name and .go). Arguments and commands are kept
in a file beside the folder.
"""

import glob
import json
import os
import sys
import time

ROOT = os.environ["FAKE_SFTP_ROOT"]
FAULT = os.environ.get("FAKE_SFTP_FAULT", "")


def there(path):
    assert path.startswith("/data/"), path
    return os.path.join(ROOT, path[len("/data/") :])


def fail(words):
    print(words, file=sys.stderr)
    sys.exit(255)


def write(path, data, is_slow):
    with open(path, "wb") as file:
        if is_slow:
            file.write(data[: len(data) // 2])
            file.flush()
            while os.path.isdir(ROOT) and not os.path.exists(ROOT + ".go"):
                time.sleep(0.01)
            data = data[len(data) // 2 :]
        file.write(data)


def read(path):
    with open(path, "rb") as file:
        return bytearray(file.read())


def put(local, remote):
    data = read(local)
    if FAULT in ("half", "hang"):
        data = data[: len(data) // 2]
    if FAULT == "damage" or FAULT == "damage-" + local:
        data[-1] ^= 1
    write(there(remote), data, FAULT == "slow-put")
    os.chmod(there(remote), 0o600)
    if FAULT == "half":
        fail("Connection to module closed by remote host.\nConnection closed")
    if FAULT == "hang":
        time.sleep(60)


def obey(words):
    match words:
        case ["-rm", pattern]:
            for path in glob.glob(there(pattern)):
                os.remove(path)
        case ["put", "-f", local, remote]:
            put(local, remote)
        case ["chmod", mode, remote]:
            os.chmod(there(remote), int(mode, 8))
        case ["get", remote, local]:
            write(local, read(there(remote)), FAULT == "slow-get")
        case ["rename", old, new]:
            if FAULT == "rename":
                fail(f'remote rename "{old}" to "{new}": Permission denied')
            os.rename(there(old), there(new))
        case ["-ls", "-ln", remote]:
            if os.path.exists(there(remote)):
                print(
                    f"-rw-r--r--    ? 0  0  {os.path.getsize(there(remote))} Nov 22 10:27 {remote}"
                )
        case _:
            fail(f"Invalid command: {words}")


def main():
    commands = []
    for line in iter(sys.stdin.readline, ""):
        if not line.startswith("-ls"):
            commands.append(line.split())
            continue
        print("sftp> " + line, end="")
        obey(line.split())
        sys.stdout.flush()
    if not commands:
        return
    with open(ROOT + ".log", "a", encoding="utf-8") as file:
        file.write(json.dumps({"arguments": sys.argv[1:], "commands": commands}) + "\n")
    if FAULT == "refuse":
        fail("root@module: Permission denied (publickey).\nConnection closed")
    for words in commands:
        obey(words)


main()
