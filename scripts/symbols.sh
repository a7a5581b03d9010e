#!/usr/bin/env bash
# symbols.sh DUMP_SYMS EXECUTABLE FOLDER: the executable's symbols, where readers of minidumps look for them below FOLDER.
# Those of an earlier build go: dumps of that build are read with the symbols that were packed with it.

set -euo pipefail

dump_syms=$1 executable=$2 folder=$3
name=${executable##*/}
partial=$(mktemp -- "$executable.XXXXXX.sym")
messages=$partial.messages
trap 'rm -f -- "$partial" "$messages"' EXIT

# It says of much in the libraries' debug information that it cannot use it.
if ! "$dump_syms" "$executable" >"$partial" 2>"$messages"; then
    tail -n 5 -- "$messages" >&2
    echo "$0: no symbols of $executable" >&2
    exit 1
fi
read -r _ _ _ id _ <"$partial"
rm -rf -- "${folder:?}/$name"
mkdir -p -- "$folder/$name/$id"
chmod 644 -- "$partial"
mv -- "$partial" "$folder/$name/$id/$name.sym"
