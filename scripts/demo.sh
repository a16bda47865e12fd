#!/usr/bin/env bash
# The demonstration behind `make demo`: the road of a typical Word document
# against the reference server and its demo organisation, the server going away
# and coming back on the way, then the simulated hosts and the wire tools,
# narrated step by step. Everything happens in a temporary folder.
set -euo pipefail
QUILLORN="${1:?usage: demo.sh PATH-TO-quillorn}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

say() { printf '\n== %s\n' "$*"; }

say "The program and its version"
"$QUILLORN" --version

say "A Word document from announcement to close, with the server going away and coming back"
"$QUILLORN" sim run "$(dirname "$0")/../tests/scenarios/demo.scn" --home "$work/desktop"

say "A simulated Word opens a new document and shows what it carries"
"$QUILLORN" sim open "$work/Policy.docx" --host word

say "A simulated Excel opens a new workbook"
"$QUILLORN" sim open "$work/Budget.xlsx"

say "A simulated PowerPoint opens a new presentation"
"$QUILLORN" sim open "$work/Review.pptx"

say "A simulated Publisher opens a new publication"
"$QUILLORN" sim open "$work/Leaflet.pub"

say "A remote call's value, encoded to the wire form and read back"
printf '{"t":"FC","name":"youthere","fields":[]}' | "$QUILLORN" wire encode > "$work/call.bin"
printf '%s bytes on the wire: ' "$(wc -c < "$work/call.bin")"
od -An -c "$work/call.bin" | tr -s ' ' | head -3
"$QUILLORN" wire decode < "$work/call.bin"

say "The same bytes enciphered with key 'demo' and deciphered again"
"$QUILLORN" wire crypt --key demo < "$work/call.bin" > "$work/call.enc"
"$QUILLORN" wire crypt --key demo --decrypt < "$work/call.enc" | "$QUILLORN" wire decode

say "Done"
