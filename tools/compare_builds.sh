#!/usr/bin/env bash
# Proof that a change leaves the tool's behaviour alone: builds the tool of a revision (default
# HEAD~1) in a temporary worktree and the tool of this tree (release preset), copies
# (`quillet in.pdf out.pdf`) and lists (`quillet in.pdf`) every PDF of ../shared/corpus with both,
# and compares the results byte for byte. Two runs of one build differ only in the /ID value and
# the /ModDate date, so those are masked. Prints one line per file; exit status 1 when any differ.
set -u
cd "$(dirname "$0")/.."
rev=${1:-HEAD~1}
corpus=../shared/corpus
if [ ! -d "$corpus" ]; then
    echo "no corpus at $corpus: nothing to compare"
    exit 0
fi
work=$(mktemp -d)
trap 'git worktree remove --force "$work/old" >/dev/null 2>&1; rm -rf "$work"' EXIT
git worktree add --detach -q "$work/old" "$rev" || exit 2
for tree in "$work/old" .; do
    (cd "$tree" && cmake --preset release >/dev/null && cmake --build build/release -j2 >/dev/null) ||
        { echo "build failed in $tree"; exit 2; }
done

# The user password the manifest gives for a file (empty when none).
password() {
    awk -F'\t' -v f="$1" 'NR > 1 && $1 == f && match($10, /user=\047[^\047]*\047/) {
        print substr($10, RSTART + 6, RLENGTH - 7) }' "$corpus/MANIFEST.tsv"
}
# Everything one build gives for a file: the copy (masked), then the copy's and the listing's
# messages and exit statuses.
results() { # bin file pw out
    local pw=()
    [ -n "$3" ] && pw=(-pw "$3")
    "$1" "${pw[@]}" "$2" "$4.pdf" >"$4.copy" 2>&1
    echo "copy exit $?" >>"$4.copy"
    "$1" "${pw[@]}" "$2" >"$4.list" 2>&1
    echo "list exit $?" >>"$4.list"
    touch "$4.pdf"
    python3 -c 'import re, sys
d = open(sys.argv[1], "rb").read()
x = lambda m: m.group(1) + re.sub(rb"[^<>]", b"x", m.group(2))
d = re.sub(rb"(/ID \[)(<[0-9a-f]*><[0-9a-f]*>)", x, d)
d = re.sub(rb"(/ModDate \(D:)([^)]*)", x, d)
sys.stdout.buffer.write(d)' "$4.pdf" >"$4.all"
    cat "$4.copy" "$4.list" >>"$4.all"
}

status=0
for f in "$corpus"/*.pdf; do
    name=$(basename "$f")
    pw=$(password "$name")
    results "$work/old/build/release/quillet" "$f" "$pw" "$work/a"
    results build/release/quillet "$f" "$pw" "$work/b"
    if diff=$(cmp "$work/a.all" "$work/b.all" 2>&1); then
        echo "same     $name"
    else
        echo "differs  $name: ${diff#*differ: }"
        status=1
    fi
done
exit $status
