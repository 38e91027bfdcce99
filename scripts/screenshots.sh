#!/usr/bin/env bash
# Renders the main windows of the desktop program into docs/screenshots/ (used by `make screenshots`).
# Runs under Xvfb when it is installed, otherwise on Qt's offscreen platform. The program uses a
# throw-away settings folder, so the user's own settings and history never show in the pictures.
set -euo pipefail

build="${1:-build}"
root="$(cd "$(dirname "$0")/.." && pwd)"
gui="$root/$build/bin/zyl-gui"
out="$root/docs/screenshots"
[ -x "$gui" ] || { echo "screenshots: $gui is not built (run make build)" >&2; exit 1; }

# A fixed scratch home, so that the paths the pictures show stay the same from run to run.
scratch="${TMPDIR:-/tmp}/zyl-screenshots"
rm -rf "$scratch"
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/home" "$scratch/run" && chmod 700 "$scratch/run"
export HOME="$scratch/home" XDG_RUNTIME_DIR="$scratch/run"
unset XDG_CONFIG_HOME XDG_DATA_HOME
mkdir -p "$out"

if command -v xvfb-run >/dev/null 2>&1 && [ -z "${QT_QPA_PLATFORM:-}" ]; then
  xvfb-run -a -s "-screen 0 1600x1000x24" env QT_QPA_PLATFORM=xcb "$gui" --screenshots "$out"
else
  QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}" "$gui" --screenshots "$out"
fi
# The Ellingham diagram of the common oxides with its pO2, CO/CO2 and H2/H2O scales.
QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}" "$root/$build/bin/zyl" diagram dG Fe2O3 FeO Cu2O NiO ZnO Al2O3 SiO2 CaO MgO \
  --from 300 --to 2000 --step 25 --tunit K --scales --main-db "$root/data/Databases/MainDB6.ZYL" \
  --own-db "$scratch/none.ZYL" --png "$out/ellingham-diagram.png" >/dev/null
ls -1 "$out"/*.png
