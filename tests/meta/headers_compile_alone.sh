#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
#
# Compiles every public and platform header on its own, and twice in one
# source, the way a stranger's program would meet it.
#
#   headers_compile_alone.sh SOURCE_DIR COMPILER LANGUAGE STANDARD WIDTH
set -uo pipefail
source_dir=$1 compiler=$2 language=$3 standard=$4 width=$5
skipped=77

if ! echo '#include <stdio.h>' | "$compiler" "-m$width" -x "$language" -fsyntax-only - 2>/dev/null; then
    echo "skipped: $compiler cannot compile for $width bits here"
    exit $skipped
fi

count=0 failed=0
for header in "$source_dir"/include/*.h "$source_dir"/include/zafoldap/*.h "$source_dir"/platform/*.h; do
    name=${header#"$source_dir"/}
    name=${name#include/}
    if ! printf '#include "%s"\n#include "%s"\nint anything;\n' "$name" "$name" |
        "$compiler" "-m$width" -x "$language" "-std=$standard" -Wall -Wextra -pedantic -Werror -fsyntax-only \
            -I"$source_dir" -I"$source_dir/include" -; then
        echo "does not compile alone: $name"
        failed=$((failed + 1))
    fi
    count=$((count + 1))
done
echo "$count headers as $standard, $width bits: $failed failed"
[ "$count" -ge 20 ] && [ "$failed" -eq 0 ]
