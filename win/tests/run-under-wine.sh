#!/usr/bin/env bash
# Runs the Windows check programs of a cross build under Wine, in a Wine prefix
# of their own inside the build folder, with Wine's display-less window driver
# (real windows and message boxes, nothing on screen).
# Usage: win/tests/run-under-wine.sh BUILD_DIR [CASE_FILTER]
set -euo pipefail
BUILD="$(cd "${1:?usage: run-under-wine.sh BUILD_DIR [FILTER]}" && pwd)"
FILTER="${2:-}"

wine=""
for candidate in wine64 /usr/lib/wine/wine64 wine; do
  if command -v "$candidate" >/dev/null 2>&1; then wine="$(command -v "$candidate")"; break; fi
done
[ -n "$wine" ] || { echo "run-under-wine: no wine64 (scripts/install-deps.sh wine)" >&2; exit 2; }
wineserver=""
for candidate in wineserver /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver; do
  if command -v "$candidate" >/dev/null 2>&1; then wineserver="$(command -v "$candidate")"; break; fi
done

export WINEPREFIX="$BUILD/wine-prefix"
export WINEDEBUG="${WINEDEBUG:--all}"
export WINEDLLOVERRIDES="mscoree,mshtml="  # no prompts for Mono or Gecko
unset DISPLAY WAYLAND_DISPLAY

stop_server() { [ -n "$wineserver" ] && "$wineserver" -k >/dev/null 2>&1 || true; }
trap stop_server EXIT

if [ ! -f "$WINEPREFIX/.quillorn-ready" ]; then
  rm -rf "$WINEPREFIX"
  # The prefix must be complete before the driver is chosen, or its set-up
  # still under way writes the registry over our setting.
  timeout 300 "$wine" wineboot -i >/dev/null 2>&1
  [ -n "$wineserver" ] && timeout 120 "$wineserver" -w
  timeout 120 "$wine" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null
  [ -n "$wineserver" ] && timeout 120 "$wineserver" -w
  touch "$WINEPREFIX/.quillorn-ready"
fi

status=0
for program in platform_win32_check addin_harness; do
  exe="$BUILD/win/$program.exe"
  [ -f "$exe" ] || { echo "run-under-wine: $exe is missing (make windows)" >&2; exit 2; }
  echo "== $program"
  if ! timeout 600 "$wine" "$exe" $FILTER; then
    echo "run-under-wine: $program FAILED" >&2
    status=1
  fi
done
exit $status
