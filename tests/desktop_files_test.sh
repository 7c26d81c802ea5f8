#!/usr/bin/env bash
# The desktop's own tools judge what it reads about the program: entry, file types, metadata, icons.
set -euo pipefail
source=$1 work=$2
rm -rf "$work"
mkdir -p "$work/mime/packages"

desktop-file-validate "$source"/packaging/*.desktop
xmllint --noout "$source"/packaging/*.xml "$source"/resources/icons/*.svg
appstreamcli validate --no-net "$source/packaging/org.tarnvale.Tarnvale.metainfo.xml"

# The types and the database that a desktop makes of them.
cp "$source/packaging/tarnvale-mime.xml" "$work/mime/packages/"
XDG_DATA_DIRS="$work" update-mime-database "$work/mime" 2>/dev/null
grep -q 'application/x-tarnvale-landscape:\*\.sim' "$work/mime/globs"
grep -q 'application/x-tarnvale-atlas:\*\.atl' "$work/mime/globs"
# The entries open the types that landscapes and atlases have.
grep -q '^MimeType=.*application/x-tarnvale-landscape' "$source/packaging/tarnvale.desktop"
grep -q '^MimeType=.*application/x-tarnvale-atlas' "$source/packaging/sedgelineatlas.desktop"
