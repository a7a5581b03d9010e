#!/usr/bin/env bash
# symbols.sh DUMP_SYMS EXECUTABLE FOLDER: the executable's symbols, where readers of minidumps look for them below FOLDER.
# Those of an earlier build go: dumps of that build are read with the symbols that were packed with it.

set -euo pipefail

dump_syms=$1 executable=$2 folder=$3
name=${executable##*/}
partial=$(mktemp -- "$executable.XXXXXX.sym")
trap 'rm -f -- "$partial"' EXIT

# It says of much in the libraries' debug information that it cannot use it.
"$dump_syms" "$executable" >"$partial" 2>/dev/null
read -r _ _ _ id _ <"$partial"
rm -rf -- "${folder:?}/$name"
mkdir -p -- "$folder/$name/$id"
chmod 644 -- "$partial"
mv -- "$partial" "$folder/$name/$id/$name.sym"
