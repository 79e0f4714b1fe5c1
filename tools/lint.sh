#!/usr/bin/env bash
# Plain greps for the misuses that hurt. Exit status 1 when any is found.
set -u
cd "$(dirname "$0")/.."
status=0
report() { echo "lint: $1"; echo "$2"; status=1; }

lib="pdf streams fonts shaping structure forms"

# Layering: lower folders never include higher ones.
check_up() {
    local folder=$1; shift
    for higher in "$@"; do
        hits=$(grep -rn "#include \"$higher/" "$folder" 2>/dev/null)
        [ -n "$hits" ] && report "$folder/ includes $higher/" "$hits"
    done
}
check_up pdf fonts shaping structure forms tool
check_up streams pdf fonts shaping structure forms tool
check_up fonts shaping structure forms tool
# System fonts, shaping and subsetting sit beside the structure layer, under the forms.
check_up shaping structure forms tool
check_up structure shaping forms tool
check_up forms tool
# The tool speaks to the form document, and to the object layer for plain documents only; of the
# bottom layer it uses just the vocabulary every layer shares (byte strings, diagnostics, limits,
# number texts).
hits=$(grep -rnE '#include "(streams|structure|fonts|shaping)/' tool 2>/dev/null \
       | grep -vE '"streams/(pdstr|pddiag|pdlimits|pdalloc|pdnumtext)\.h"')
[ -n "$hits" ] && report "tool/ reaches past forms/" "$hits"

# Printing is the tool's business (the one deliberate exception is marked "stderr-ok").
hits=$(grep -rnE '\b(printf|puts|fputs|fprintf|perror|std::cout|std::cerr)\b' $lib 2>/dev/null \
       | grep -v 'stderr-ok' | grep -vE 'snprintf|format\(printf')
[ -n "$hits" ] && report "printing inside the library" "$hits"

# One catch, in the page import of the run flow.
hits=$(grep -rn '\bcatch\s*(' $lib 2>/dev/null)
[ -n "$hits" ] && report "catch inside the library" "$hits"

# Unsafe or locale-dependent conversions.
hits=$(grep -rnE '\b(sprintf|strcpy|strcat|atoi|atol|atof|gets)\s*\(' $lib tool 2>/dev/null)
[ -n "$hits" ] && report "banned function" "$hits"

# Formatting, where clang-format is installed.
if command -v clang-format >/dev/null 2>&1 && [ -e .git ]; then
    out=$(git ls-files -co --exclude-standard -- '*.cpp' '*.h' | xargs clang-format --dry-run 2>&1 \
          | grep 'warning:' | cut -d: -f1 | sort -u)
    [ -n "$out" ] && report "not formatted (clang-format -i)" "$out"
fi

exit $status
