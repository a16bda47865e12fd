#!/usr/bin/env bash
# Fetches the Debian source packages that the Windows build compiles itself
# (SQLite's amalgamation, cpp-httplib's single header and libpng's C sources
# with its prebuilt pnglibconf.h) into DEST.
# Adds a deb-src entry for the machine's own Debian suites when none exists.
set -euo pipefail
DEST="${1:?usage: fetch-windows-sources.sh DEST}"
mkdir -p "$DEST"
if [ -f "$DEST/sqlite3/sqlite3.c" ] && [ -f "$DEST/httplib/httplib.h" ] && [ -f "$DEST/libpng/pnglibconf.h" ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
SRC_LIST=/etc/apt/sources.list.d/quillorn-deb-src.sources
if ! grep -rqs '^Types:.*deb-src\|^deb-src ' /etc/apt/sources.list /etc/apt/sources.list.d/; then
  echo "fetch-windows-sources: adding $SRC_LIST"
  $SUDO tee "$SRC_LIST" >/dev/null <<'SRC'
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SRC
  $SUDO apt-get update -qq
fi

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
(cd "$work" && apt-get source -qq --download-only sqlite3 cpp-httplib libpng1.6 >/dev/null)
(cd "$work" && for dsc in *.dsc; do dpkg-source -x --no-check "$dsc" >/dev/null; done)

sqlite_dir="$(find "$work" -maxdepth 1 -type d -name 'sqlite3-*' | head -1)"
httplib_dir="$(find "$work" -maxdepth 1 -type d -name 'cpp-httplib-*' | head -1)"
png_dir="$(find "$work" -maxdepth 1 -type d -name 'libpng1.6-*' | head -1)"

mkdir -p "$DEST/sqlite3" "$DEST/httplib" "$DEST/libpng"
# Debian's sqlite3 source is the canonical tree; build the amalgamation from it.
if [ -f "$sqlite_dir/sqlite3.c" ]; then
  cp "$sqlite_dir/sqlite3.c" "$sqlite_dir/sqlite3.h" "$DEST/sqlite3/"
else
  (cd "$sqlite_dir" && ./configure --quiet >/dev/null && make -s sqlite3.c >/dev/null)
  cp "$sqlite_dir/sqlite3.c" "$sqlite_dir/sqlite3.h" "$DEST/sqlite3/"
fi
cp "$httplib_dir/httplib.h" "$DEST/httplib/"
# The library's own sources only (no tests, no tools); the configuration that
# ./configure would write is the one the sources ship as prebuilt.
for f in png.c pngerror.c pngget.c pngmem.c pngpread.c pngread.c pngrio.c pngrtran.c pngrutil.c \
         pngset.c pngtrans.c pngwio.c pngwrite.c pngwtran.c pngwutil.c \
         png.h pngconf.h pngdebug.h pnginfo.h pngpriv.h pngstruct.h; do
  cp "$png_dir/$f" "$DEST/libpng/"
done
cp "$png_dir/scripts/pnglibconf.h.prebuilt" "$DEST/libpng/pnglibconf.h"
echo "fetch-windows-sources: ready in $DEST"
