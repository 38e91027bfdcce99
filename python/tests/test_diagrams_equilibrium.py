"""Predominance diagrams and equilibria through the module against `zyl tpp` and `zyl equilibrium` --json."""
import json
import os
import re

import numpy as np
import pytest

import zyl

TPP = "CuSO_1000K.tpp"


def gibbs_file(name="h2-air-3000K.json"):
    return os.path.join(zyl.data_dir(), "Gibbs", name)


def test_predominance_matches_cli(cli):
    ref = cli("tpp", TPP, "--json")
    got = zyl.predominance(TPP)
    for key in ["title", "elements", "species", "resolution", "boundary_points", "extrapolated"]:
        assert got[key] == ref[key], key
    assert got["axes"] == ref["axes"]
    assert [a["species"] for a in got["areas"]] == [a["species"] for a in ref["areas"]]
    for a, r in zip(got["areas"], ref["areas"]):
        assert (a["label_x"], a["label_y"], a["weight"]) == pytest.approx((r["label_x"], r["label_y"], r["weight"]))
    # Cu-S-O at 1000 K: metal at low O2 and SO2, sulphate at high pressures of both (Kellogg diagram).
    names = {a["species"] for a in got["areas"]}
    assert {"Cu", "Cu2O", "CuO", "Cu2S", "CuSO4"} <= names
    x, y = got["axes"]["x"], got["axes"]["y"]
    for a in got["areas"]:
        ox, oy = a["outline_x"], a["outline_y"]
        assert isinstance(ox, np.ndarray) and len(ox) == len(oy) > 0
        assert ((ox > x["min"]) & (ox < x["max"]) & (oy > y["min"]) & (oy < y["max"])).all()
        # The border cells of an area surround its label point.
        assert ox.min() <= a["label_x"] <= ox.max() or a["label_x"] in (x["min"], x["max"])
    assert got["borders"] and all(len(b["x"]) == len(b["y"]) >= 2 for b in got["borders"])
    medium = zyl.predominance(TPP, resolution="medium")
    assert medium["resolution"] == cli("tpp", TPP, "--resolution", "medium", "--json")["resolution"]


def test_predominance_errors(cli, tmp_path):
    missing = str(tmp_path / "missing.tpp")
    with pytest.raises(zyl.Error) as e:
        zyl.predominance(missing)
    assert str(e.value) == cli("tpp", missing, "--json", ok=False)
    with pytest.raises(zyl.Error) as e:
        zyl.predominance(TPP, resolution="fine")
    assert str(e.value) == cli("tpp", TPP, "--resolution", "fine", ok=False)
    bad = tmp_path / "bad.tpp"
    bad.write_text("not a set-up\n")
    with pytest.raises(zyl.Error) as e:
        zyl.predominance(str(bad))
    assert str(e.value) == cli("tpp", str(bad), ok=False)


def assert_same(got, ref, path="result"):
    if isinstance(ref, dict):
        assert isinstance(got, dict) and got.keys() == ref.keys(), path
        for k in ref:
            assert_same(got[k], ref[k], f"{path}.{k}")
    elif isinstance(ref, list):
        assert isinstance(got, list) and len(got) == len(ref), path
        for i, (g, r) in enumerate(zip(got, ref)):
            assert_same(g, r, f"{path}[{i}]")
    elif isinstance(ref, float):
        assert got == pytest.approx(ref, rel=1e-9, abs=1e-12), path
    else:
        assert got == ref, path


def test_equilibrium_matches_cli_from_file_and_dict(cli):
    path = gibbs_file()
    ref = cli("equilibrium", path, "--json")
    assert_same(zyl.equilibrium(path), ref)
    with open(path) as f:
        desc = json.load(f)
    got = zyl.equilibrium(desc)
    assert_same(got, ref)
    # Second method: the elements of the feed are all in the equilibrium gas.
    feed = {s["name"]: s["amount"] for p in desc["phases"] for s in p["species"]}
    out = {s["name"]: s["amount"] for p in got["results"][0]["phases"] for s in p["species"]}

    def atoms(amounts, element):  # simple gas formulas such as H2O2(g), counted here independently
        total = 0.0
        for name, n in amounts.items():
            for sym, count in re.findall(r"([A-Z][a-z]?)(\d*)", name.split("(")[0]):
                if sym == element:
                    total += n * int(count or 1)
        return total

    for element in ["H", "O", "N"]:
        assert atoms(out, element) == pytest.approx(atoms(feed, element), rel=1e-9), element
    assert got["results"][0]["element_residual"] < 1e-9


def test_equilibrium_errors(cli, tmp_path):
    missing = str(tmp_path / "missing.json")
    with pytest.raises(zyl.Error) as e:
        zyl.equilibrium(missing)
    assert str(e.value) == cli("equilibrium", missing, "--json", ok=False)
    desc = {"T": 1000, "phases": [{"name": "GAS", "type": "gas", "species": [{"name": "Xx9(g)", "amount": 1}]}]}
    f = tmp_path / "unknown.json"
    f.write_text(json.dumps(desc))
    with pytest.raises(zyl.Error) as e:
        zyl.equilibrium(desc)
    assert str(e.value) == cli("equilibrium", str(f), ok=False)
    f.write_text("{not json")
    with pytest.raises(zyl.Error) as e:
        zyl.equilibrium(str(f))
    assert str(e.value) == cli("equilibrium", str(f), ok=False)
    with pytest.raises(zyl.Error):
        zyl.equilibrium(42)
