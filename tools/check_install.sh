#!/usr/bin/env bash
# Installs a build tree into a temporary prefix and checks what lands there: the tool runs, and the
# manual page renders without a single warning from man.
# Usage: tools/check_install.sh BUILD_DIR
set -eu
src=$(cd "$(dirname "$0")/.." && pwd)
build=$1
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

cmake --install "$build" --prefix "$prefix" >/dev/null
"$prefix/bin/quillet" --version | grep -q '^quillet 3\.10p ' || { echo "installed tool does not run"; exit 1; }
page="$prefix/share/man/man1/quillet.1"
cmp -s "$page" "$src/doc/quillet.1" || { echo "manual page not installed"; exit 1; }

if ! command -v man >/dev/null 2>&1; then
    [ "${CI:-}" = true ] && { echo "man is missing"; exit 1; }
    echo "skipped: man is not installed"; exit 77
fi
warnings=$(MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)
[ -z "$warnings" ] || { echo "man warns:"; echo "$warnings"; exit 1; }
MANWIDTH=80 man -l "$page" 2>/dev/null | grep -q 'EXIT STATUS' || { echo "page renders empty"; exit 1; }
echo "installed and rendered"
