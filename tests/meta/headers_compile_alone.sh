#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
#
# Compiles programs against nothing but the installed headers, with warnings that many projects
# treat as errors: every public and platform header included alone, and twice; some of it called
# (header_callers.c); all of them in one program.
#
#   headers_compile_alone.sh SOURCE_DIR COMPILER LANGUAGE STANDARD WIDTH
set -uo pipefail
source_dir=$1 compiler=$2 language=$3 standard=$4 width=$5
skipped=77
warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wstrict-prototypes -Wold-style-definition -Wundef -Werror)
[ "$language" = c ] || warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wundef -Werror)
callers=$source_dir/tests/meta/header_callers.c

if ! command -v "$compiler" >/dev/null; then
    echo "skipped: $compiler is not installed"
    exit $skipped
fi
if ! echo '#include <stdio.h>' | "$compiler" "-m$width" -x "$language" "-std=$standard" -fsyntax-only - 2>/dev/null; then
    echo "skipped: $compiler cannot compile for $width bits here"
    exit $skipped
fi

installed=$(mktemp -d)
trap 'rm -rf "$installed"' EXIT
cp -r "$source_dir/include/." "$source_dir/platform" "$installed" || exit 1

compile() { # FILE OPTIONS…
    "$compiler" "-m$width" -x "$language" "-std=$standard" "${warnings[@]}" -I"$installed" "${@:2}" "$1"
}

count=0 failed=0
fail() {
    echo "$*"
    failed=$((failed + 1))
}
for header in "$installed"/*.h "$installed"/*/*.h; do
    name=${header#"$installed"/}
    count=$((count + 1))
    caller=${name%.h}
    caller=CALLER_${caller//\//_}
    {
        printf '#include "%s"\n#include "%s"\nextern int anything;\n' "$name" "$name"
        # The umbrella header declares only the others' functions.
        [ "$name" = zafoldap.h ] || printf '#define %s 1\n#include "%s"\n' "$caller" "$callers"
    } | compile - -fsyntax-only || fail "does not compile alone: $name"
    [ "$name" = zafoldap.h ] || grep -q "defined $caller\$" "$callers" ||
        fail "nothing in it is called: $name (add a section $caller to tests/meta/header_callers.c)"
done
# Optimised: some warnings need an analysis of the program's paths.
compile "$callers" -DALL -O2 -c -o /dev/null || fail "a program that includes all headers does not compile"
echo "$count headers as $standard by $compiler, $width bits: $failed failed"
[ "$count" -ge 39 ] && [ "$failed" -eq 0 ]
