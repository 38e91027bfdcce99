"""Shared set-up: an empty home for settings and the own database, and the command line to compare with."""
import json
import os
import subprocess
import tempfile

import pytest

# Settings and the own database come from XDG folders: keep the user's out of the tests (set before
# the module opens its databases; the command line inherits them).
_HOME = tempfile.mkdtemp(prefix="zyl-pytest-")
os.environ["XDG_CONFIG_HOME"] = os.path.join(_HOME, "config")
os.environ["XDG_DATA_HOME"] = os.path.join(_HOME, "data")

CLI = os.environ.get("ZYL_CLI", os.path.join(os.path.dirname(__file__), "../../build/bin/zyl"))


def run_cli(*args, ok=True):
    """Runs `zyl args...`; returns parsed JSON on success, or the stderr message (without "zyl: ")."""
    p = subprocess.run([CLI, *args], capture_output=True, text=True, timeout=60)
    if ok:
        assert p.returncode == 0, p.stderr
        return json.loads(p.stdout)
    assert p.returncode != 0
    return p.stderr.rstrip("\n").removeprefix("zyl: ")


@pytest.fixture
def cli():
    return run_cli
