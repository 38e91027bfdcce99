"""The module finds the shipped data relative to its own file, wherever it is installed."""
import os
import shutil
import subprocess
import sys

import zyl

PROBE = ("import zyl, json; print(json.dumps({'data': zyl.data_dir(), 'main': zyl.databases()['main'], "
         "'weight': zyl.formula_weight('H2O')}))")


def probe(site, cwd, **env):
    e = {k: v for k, v in os.environ.items() if k != "ZYL_DATA_DIR"}
    e.update(PYTHONPATH=str(site), **env)
    p = subprocess.run([sys.executable, "-c", PROBE], cwd=cwd, env=e, capture_output=True, text=True, timeout=60)
    assert p.returncode == 0, p.stderr
    import json
    return json.loads(p.stdout)


def install(tmp_path, site_dir, prefix):
    """The module copied (not linked: the lookup follows links) into a prefix with the data in share/zyl."""
    site = tmp_path / site_dir
    site.mkdir(parents=True)
    shutil.copy(zyl.__file__, site / os.path.basename(zyl.__file__))
    share = tmp_path / prefix / "share"
    share.mkdir(parents=True)
    os.symlink(os.path.realpath(zyl.data_dir()), share / "zyl")
    return site, share / "zyl"


def test_build_tree_uses_the_source_data():
    source = os.environ.get("ZYL_SOURCE_DATA_DIR")
    if source:
        assert os.path.realpath(zyl.data_dir()) == os.path.realpath(source)
    assert os.path.isdir(os.path.join(zyl.data_dir(), "Databases"))


def test_installed_and_venv_layouts_find_their_share_folder(tmp_path):
    water = 18.015  # g/mol, IUPAC standard atomic weights
    for site_dir, prefix in [("usr/lib/python3/dist-packages", "usr"),
                             ("venv/lib/python3.11/site-packages", "venv")]:
        site, data = install(tmp_path, site_dir, prefix)
        got = probe(site, cwd=tmp_path)
        assert got["data"] == str(data), site_dir
        assert got["main"].startswith(str(data)), site_dir
        assert abs(got["weight"] - water) < 0.01


def test_environment_variable_wins(tmp_path):
    site, data = install(tmp_path, "usr/lib/python3/dist-packages", "usr")
    other = tmp_path / "elsewhere"
    os.symlink(os.path.realpath(zyl.data_dir()), other)
    assert probe(site, cwd=tmp_path, ZYL_DATA_DIR=str(other))["data"] == str(other)
    # A variable naming a folder without databases is passed over.
    assert probe(site, cwd=tmp_path, ZYL_DATA_DIR=str(tmp_path))["data"] == str(data)
