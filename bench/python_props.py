"""Times zyl.species(...).props over 10,000 temperatures (goal: under 0.5 ms per call).

Run after a Release build:  PYTHONPATH=build/python /usr/bin/python3 bench/python_props.py
Prints the median of repeated calls; compare with bench_thermo's CalcSpeciesAtT figure.
"""
import statistics
import time

import numpy as np

import zyl

T = np.linspace(300.0, 2000.0, 10_000)
for name in ["H2O(g)", "Fe", "SO4(-2a)"]:
    sp = zyl.species(name)
    sp.props(T)  # warm up
    times = []
    for _ in range(200):
        t0 = time.perf_counter()
        sp.props(T)
        times.append(time.perf_counter() - t0)
    print(f"{name:10s} props(10,000 T): median {statistics.median(times) * 1e3:.3f} ms, "
          f"min {min(times) * 1e3:.3f} ms")
r = zyl.reaction("2H2(g)+O2(g)=2H2O(g)")
t0 = time.perf_counter()
r.table(T)
print(f"reaction table(10,000 T): {(time.perf_counter() - t0) * 1e3:.3f} ms")
