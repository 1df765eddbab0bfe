#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
#
# Compares the interface of the built library with its description in the repository, or rewrites
# that:
#   src/zafoldap.abi        exported functions, their signatures and the records they use (abidw(1))
#   src/zafoldap.constants  the named constants of the public headers
# Neither depends on compilers, folders or line numbers.
#
#   interface.sh check|renew SOURCE_DIR LIBRARY COMPILER
#     LIBRARY   with debug information: the target zafoldap_interface
#
# Exit code: 0 they are the same, 1 they differ, 77 this machine cannot tell.
set -euo pipefail
export LC_ALL=C
command=$1 source_dir=$2 library=$3 compiler=$4
description=$source_dir/src/zafoldap.abi
constants=$source_dir/src/zafoldap.constants
skipped=77

for tool in abidw abidiff; do
    command -v $tool >/dev/null && continue
    echo "skipped: interface: $tool is not installed (Debian package abigail-tools)"
    exit $skipped
done
[ -e "$library" ] || { echo "interface: no library $library" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# What a program can see: the types of the installed headers, whatever the library contains. The
# contents of FILE are the C library's.
printf '[suppress_type]\n  name = _IO_FILE\n  drop = yes\n' >"$work/others"
abidw --suppressions "$work/others" --headers-dir "$source_dir/include" --headers-dir "$source_dir/platform" --drop-private-types \
    --drop-undefined-syms --exported-interfaces-only --no-corpus-path --no-comp-dir-path --no-show-locs \
    --no-parameter-names --no-elf-needed --type-id-style hash --out-file "$work/raw" "$library"
[ -s "$work/raw" ] || { echo "interface: abidw printed nothing for $library" >&2; exit 1; }
# The units need distinct names; which sources they were does not matter.
awk -v quote="'" '/<abi-instr / { sub("path=" quote "[^" quote "]*", "path=" quote "unit" ++units) } { print }' \
    "$work/raw" >"$work/found"

# The values that a compiler computes.
printf '#include "zafoldap.h"\n' |
    "$compiler" -x c -std=c99 -g -fno-eliminate-unused-debug-types -I"$source_dir" -I"$source_dir/include" \
        -c -o "$work/constants.o" -
readelf --debug-dump=info "$work/constants.o" | awk '
    /DW_TAG_/ { enumerator = /DW_TAG_enumerator/ }
    enumerator && /DW_AT_name/ { name = $NF }
    enumerator && /DW_AT_const_value/ { if (name ~ /^(ZAFO|QLIB|LDAP_)/) print name, $NF }' |
    sort >"$work/constants"
[ -s "$work/constants" ] || { echo "interface: no constants in $source_dir/include" >&2; exit 1; }

differences() {
    if ! [ -e "$description" ] || ! [ -e "$constants" ]; then
        echo "there is no description yet"
        return 1
    fi
    local same=0
    abidiff --harmless --no-show-locs "$description" "$work/found" || same=1
    diff -U0 "$constants" "$work/constants" | sed '/^@@\|^---\|^+++/d' >"$work/difference"
    [ ! -s "$work/difference" ] || { echo "Constants:"; cat "$work/difference"; same=1; }
    return $same
}

if differences >"$work/report"; then
    echo "interface: as described in src/zafoldap.abi"
    exit 0
fi
cat "$work/report"
if [ "$command" = renew ]; then
    cp "$work/found" "$description"
    cp "$work/constants" "$constants"
    echo "interface: src/zafoldap.abi and src/zafoldap.constants are renewed; commit them with the change"
    exit 0
fi
cat <<'TEXT'
interface: the library is no longer what src/zafoldap.abi describes. Programs that were compiled before break
on that. If it is meant, run "./dev abi renew" and commit the description with the change.
TEXT
exit 1
