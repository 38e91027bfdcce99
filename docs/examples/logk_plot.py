"""log K(T) of a few reactions with the zyl module, drawn with matplotlib where it is installed.

Run from the build tree:  PYTHONPATH=build/python /usr/bin/python3 docs/examples/logk_plot.py
or, with the package installed, simply:  python3 logk_plot.py
"""
import numpy as np

import zyl

# %% The species database: the user's settings (shipped main database by default).
print("databases:", zyl.databases())

# %% One species: Cp, H, S, G in J, mol, K over an array of temperatures.
T = np.linspace(300.0, 1800.0, 151)  # K
water = zyl.species("H2O(g)").props(T)
print(f"H2O(g) at 1000 K: Cp = {np.interp(1000, T, water['Cp']):.3f} J/(mol K)")

# %% Formula weights in g/mol.
print("CuSO4*5H2O:", round(zyl.formula_weight("CuSO4*5H2O"), 3), "g/mol")

# %% log K of a few reactions.
equations = ["2H2(g)+O2(g)=2H2O(g)", "CaCO3=CaO+CO2(g)", "2CO(g)+O2(g)=2CO2(g)", "Fe2O3+3CO(g)=2Fe+3CO2(g)"]
curves = {}
for eq in equations:
    table = zyl.reaction(eq).table(T)
    curves[eq] = table["logK"]
    i = np.searchsorted(T, 1000.0)
    print(f"{eq:28s} log K(1000 K) = {table['logK'][i]:9.3f}   dG = {table['dG'][i] / 1000:9.2f} kJ")
    for note in table["notes"]:
        print("   ", note)

# %% The plot (skipped without matplotlib).
try:
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
except ImportError:
    print("matplotlib is not installed: no plot")
else:
    fig, ax = plt.subplots(figsize=(7, 4.5))
    for eq, logk in curves.items():
        ax.plot(T, logk, label=eq)
    ax.set_xlabel("T / K")
    ax.set_ylabel("log K")
    ax.grid(True, alpha=0.3)
    ax.legend()
    fig.tight_layout()
    fig.savefig("logk.png", dpi=120)
    print("wrote logk.png")
