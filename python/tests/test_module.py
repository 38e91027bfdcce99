"""The module against the command line's JSON, against published values, and on bad input."""
import math
import os

import numpy as np
import pytest

import zyl

R = 8.314462618  # J/(mol K), CODATA 2018


# ------------------------------------------------------------------ species

def test_props_match_cli_json(cli):
    temps = [298.15, 500.0, 1000.0, 2500.0, 150.0]  # 150 K and 2500 K lie outside some ranges
    for name in ["H2O(g)", "Fe", "SO4(-2a)", "H2O(l)"]:
        ref = cli("species", name, *sum((["-T", str(t)] for t in temps), []), "--json")[0]
        sp = zyl.species(name)
        assert sp.database == ref["database"]
        assert sp.records == (ref["first_record"], ref["last_record"])
        p = sp.props(np.array(temps))
        for i, row in enumerate(ref["values"]):
            # The command line prints kJ/mol for H and G.
            assert p["Cp"][i] == pytest.approx(row["Cp"], rel=1e-12, abs=1e-9)
            assert p["S"][i] == pytest.approx(row["S"], rel=1e-12, abs=1e-9)
            assert p["H"][i] == pytest.approx(row["H"] * 1000, rel=1e-12, abs=1e-6)
            assert p["G"][i] == pytest.approx(row["G"] * 1000, rel=1e-12, abs=1e-6)


def test_props_published_values():
    # CODATA key values (Cox, Wagman, Medvedev 1989), H2O(g) at 298.15 K:
    # dfH = -241.826 kJ/mol, S = 188.835 J/(mol K); JANAF 1998: Cp(1000 K) = 41.268 J/(mol K).
    w = zyl.species("H2O(g)")
    p298 = w.props(298.15)
    assert p298["H"] == pytest.approx(-241826, abs=300)
    assert p298["S"] == pytest.approx(188.835, abs=0.2)
    assert w.props(1000.0)["Cp"] == pytest.approx(41.268, rel=0.01)
    assert w.molar_mass == pytest.approx(18.015, abs=0.01)


def test_props_internally_consistent():
    # G = H - T S at every temperature, and Cp = dH/dT by central differences inside a range.
    T = np.linspace(350.0, 1400.0, 8)
    for name in ["CO2(g)", "Cu", "O2(g)"]:
        p = zyl.species(name).props(T)
        np.testing.assert_allclose(p["G"], p["H"] - T * p["S"], rtol=1e-12, atol=1e-6)
        d = 1e-3
        hp, hm = zyl.species(name).props(T + d)["H"], zyl.species(name).props(T - d)["H"]
        np.testing.assert_allclose((hp - hm) / (2 * d), p["Cp"], rtol=1e-4)


def test_props_shapes():
    sp = zyl.species("O2(g)")
    scalar = sp.props(300)
    assert isinstance(scalar["Cp"], float) and set(scalar) == {"Cp", "H", "S", "G"}
    grid = sp.props(np.full((3, 4), 300.0))
    assert grid["G"].shape == (3, 4) and grid["G"].dtype == np.float64
    assert np.all(grid["G"] == scalar["G"])
    assert sp.props([300, 400])["H"].shape == (2,)
    assert sp.props(np.array([], dtype=np.float32))["S"].shape == (0,)
    # Non-contiguous and integer input is converted, not misread.
    strided = np.arange(300, 1300, 100)[::3]
    np.testing.assert_array_equal(sp.props(strided)["H"], sp.props(strided.astype(float))["H"])


# ------------------------------------------------------------------ formulas

def test_formula_weight_matches_cli_and_iupac(cli):
    for f in ["CuSO4*5H2O", "H(+a)", "Fe2O3", "C6H12O6", "SO4(-2a)"]:
        ref = cli("mw", f, "--json")[0]
        assert zyl.formula_weight(f) == pytest.approx(ref["formula_weight"], rel=1e-12)
        assert zyl.ion_weight(f) == pytest.approx(ref["ion_weight"], rel=1e-12)
    # IUPAC 2013 conventional weights: Cu 63.546, S 32.06, O 15.999, H 1.008.
    assert zyl.formula_weight("CuSO4*5H2O") == pytest.approx(63.546 + 32.06 + 9 * 15.999 + 10 * 1.008, abs=0.01)


# ------------------------------------------------------------------ reactions

def test_reaction_matches_cli_json(cli):
    for eq, extra in [("2H2(g)+O2(g)=2H2O(g)", []), ("Fe(+3a)+e-=Fe(+2a)", []),
                      ("CaCO3=CaO+CO2(g)", ["--transitions"])]:
        ref = cli("reaction", eq, "--tunit", "K", "--from", "300", "--to", "1500", "--step", "150",
                  *extra, "--json")
        r = zyl.reaction(eq)
        t = r.range_table(300, 1500, 150, transitions=bool(extra))
        rows = ref["rows"]
        assert len(t["T"]) == len(rows)
        for i, row in enumerate(rows):
            assert t["T"][i] == pytest.approx(row["T"], rel=1e-12)
            assert t["dH"][i] == pytest.approx(row["dH"] * 1000, rel=1e-9, abs=1e-6)
            assert t["dS"][i] == pytest.approx(row["dS"], rel=1e-9, abs=1e-9)
            assert t["dG"][i] == pytest.approx(row["dG"] * 1000, rel=1e-9, abs=1e-6)
            if row["logK"] is None:  # the command line writes null where K underflows to 0
                assert math.isnan(t["logK"][i])
            else:
                assert t["logK"][i] == pytest.approx(row["logK"], rel=1e-9)
            assert bool(t["transition"][i]) == row["transition"]
            if "E" in row:
                assert t["E"][i] == pytest.approx(row["E"], rel=1e-9)
        assert t["notes"] == ref["notes"]
        # The same temperatures through table() give the same numbers.
        at = r.table(t["T"])
        np.testing.assert_allclose(at["dG"], t["dG"], rtol=1e-12)


def test_reaction_published_value():
    # 2 H2(g) + O2(g) = 2 H2O(g) at 298.15 K: dfG(H2O, g) = -228.582 kJ/mol (NBS tables 1982),
    # so dG = -457.16 kJ and log K = -dG / (R T ln 10) = 80.09.
    t = zyl.reaction("2H2(g)+O2(g)=2H2O(g)").table(298.15)
    assert t["dG"] == pytest.approx(-457164, abs=500)
    assert t["logK"] == pytest.approx(457164 / (R * 298.15 * math.log(10)), abs=0.1)
    assert "E" not in t
    assert zyl.reaction("2H2(g)+O2(g)=2H2O(g)").terms == [("H2(g)", -2), ("O2(g)", -1), ("H2O(g)", 2)]


# ------------------------------------------------------------------ errors

@pytest.mark.parametrize("call, args", [
    (lambda: zyl.species("Xx9(g)"), ["species", "Xx9(g)"]),
    (lambda: zyl.formula_weight(""), ["mw", ""]),
    (lambda: zyl.formula_weight("xyz"), ["mw", "xyz"]),
    (lambda: zyl.reaction("H2(g)+O2(g)=H2O(g)"), ["reaction", "H2(g)+O2(g)=H2O(g)"]),
    (lambda: zyl.reaction("Xx9(g)=Xx9"), ["reaction", "Xx9(g)=Xx9"]),
    (lambda: zyl.reaction("=H2O"), ["reaction", "=H2O"]),
])
def test_errors_carry_cli_messages(cli, call, args):
    expected = cli(*args, ok=False)
    with pytest.raises(zyl.Error) as e:
        call()
    assert str(e.value) == expected
    assert isinstance(e.value, RuntimeError)


def test_bad_temperatures():
    sp, r = zyl.species("O2(g)"), zyl.reaction("2H2(g)+O2(g)=2H2O(g)")
    for bad in [0.0, -5.0, float("nan"), [300.0, 0.0]]:
        with pytest.raises(zyl.Error, match="above 0 K"):
            sp.props(bad)
        with pytest.raises(zyl.Error, match="above 0 K"):
            r.table(bad)
    with pytest.raises(zyl.Error):
        sp.props("hot")
    with pytest.raises(zyl.Error, match="step must be greater than zero"):
        r.range_table(300, 400, 0)


def test_open_databases(tmp_path, cli):
    main = os.path.join(zyl.data_dir(), "Databases", "MainDB6.ZYL")
    opened = zyl.open_databases(own="", main=main)
    assert opened == {"own": None, "main": opened["main"]} and os.path.samefile(opened["main"], main)
    bad = tmp_path / "bad.ZYL"
    bad.write_bytes(b"x" * 300)  # no whole number of 256-byte records
    with pytest.raises(zyl.Error) as e:
        zyl.open_databases(own=str(bad), main=main)
    assert "Unknown File Format !" in str(e.value)
    # A failed open keeps the pair that was open.
    assert zyl.databases()["main"] == opened["main"]
    assert zyl.species("H2O(g)").database == "main"
    with pytest.raises(zyl.Error, match="no species database could be opened"):
        zyl.open_databases(own="", main=str(tmp_path / "missing.ZYL"))
    zyl.open_databases()
    assert zyl.databases()["main"] == opened["main"]


def test_docstrings_name_units():
    assert "K" in zyl.Species.props.__doc__ and "J/(mol K)" in zyl.Species.props.__doc__
    assert "g/mol" in zyl.formula_weight.__doc__
    assert "J/K" in zyl.Reaction.table.__doc__
