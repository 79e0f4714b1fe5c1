#!/usr/bin/env bash
# Test lines against code lines: non-blank lines that are not only a comment, in .cpp and .h files.
set -eu
cd "$(dirname "$0")/.."
count() {
    find "$@" -type f \( -name '*.cpp' -o -name '*.h' \) -print0 2>/dev/null | xargs -0 -r cat | awk '
        { line = $0 }
        inblock { if (sub(/.*\*\//, "", line)) inblock = 0; else next }
        { gsub(/\/\*([^*]|\*+[^*\/])*\*+\//, "", line) }
        i = index(line, "/*") { inblock = 1; line = substr(line, 1, i - 1) }
        line ~ /^[ \t]*(\/\/.*)?$/ { next }
        { n++ }
        END { print n + 0 }'
}
tests=$(count tests)
code=$(count pdf streams structure forms tool)
awk -v t="$tests" -v c="$code" 'BEGIN { printf "tests %d  code %d  ratio %.2f\n", t, c, t / c }'
