#!/bin/sh
# Runs the corpus tests of one test binary against the shared data beside this source tree. ctest
# reports the run as skipped (status 77) when that folder is absent, and as failed under CI, where
# it must be there.
binary=$1
shared=$(cd "$(dirname "$0")/../../.." && pwd)/shared
if [ ! -d "$shared/corpus" ]; then
    if [ "${CI:-}" = true ]; then
        echo "corpus tests need $shared/corpus, which is missing"
        exit 1
    fi
    echo "skipped: no corpus at $shared/corpus"
    exit 77
fi
QUILLET_SHARED_DIR=$shared exec "$binary" --gtest_filter='Corpus*'
