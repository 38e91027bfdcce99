"""Balance workbooks through the module against `zyl balance ... --json`."""
import os
import shutil

import pytest

import zyl


@pytest.fixture
def workbook(tmp_path, cli):
    desc = os.path.join(zyl.data_dir(), "Balance", "methane_air.json")
    path = str(tmp_path / "methane.xlsx")
    cli("balance", "new", path, "--from", desc, "--json")
    return path


def test_recalc_and_temperature_match_cli(workbook, cli, tmp_path):
    b = zyl.balance(workbook)
    assert b.areas == 1
    ref = cli("balance", "recalc", workbook, "--json")
    got = b.recalc()
    assert got["energy_unit"] == ref["energy_unit"]
    for key in ["kmol", "kg", "Nm3", "latent_H", "total_H"]:
        assert got["total"][key] == pytest.approx(ref["total"][key], rel=1e-9, abs=1e-9)
        assert got["areas"][0]["out"][key] == pytest.approx(ref["areas"][0]["out"][key], rel=1e-9, abs=1e-9)
    copy = str(tmp_path / "copy.xlsx")
    shutil.copy(workbook, copy)
    t_ref = cli("balance", "temperature", copy, "--json")
    t = b.temperature(1)
    assert t["T"] == pytest.approx(t_ref["T"], rel=1e-9) and t["unit"] == t_ref["unit"] == "C"
    # Stoichiometric methane-air without dissociation: adiabatic flame temperature near 2050 C
    # (about 2330 K, e.g. Turns, An Introduction to Combustion, table 2.1 gives 2226 K with dissociation).
    assert 1950 < t["T"] < 2150
    b.save()
    assert zyl.balance(workbook).recalc()["areas"][0]["balance"]["total_H"] == pytest.approx(0, abs=0.5)


def test_balance_errors(workbook, tmp_path, cli):
    missing = str(tmp_path / "missing.xlsx")
    with pytest.raises(zyl.Error) as e:
        zyl.balance(missing)
    assert str(e.value) == cli("balance", "recalc", missing, ok=False)
    b = zyl.balance(workbook)
    with pytest.raises(zyl.Error) as e:
        b.temperature(5)
    assert str(e.value) == cli("balance", "temperature", workbook, "--area", "5", ok=False)
    with pytest.raises(zyl.Error, match="no Target sheet"):
        b.target()
