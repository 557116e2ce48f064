# SPDX-License-Identifier: Apache-2.0
"""Commands that end by themselves."""

import shlex
import subprocess


def run(*words, must_succeed=False, **more):
    """The completed process, with its standard output and standard error as text."""
    options: dict = {"text": True, **more}
    done = subprocess.run(words, capture_output=True, check=False, **options)
    if must_succeed and done.returncode != 0:
        command = shlex.join(map(str, words))
        raise AssertionError(f"{command}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done


def output(*words, **more):
    """The standard output of a command that must succeed."""
    return run(*words, must_succeed=True, **more).stdout
