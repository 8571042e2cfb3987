#!/usr/bin/env bash
# Rewrites tests/editor/golden/*.styles from the styler's current output. Review the diff before committing it.
# Usage: tests/editor/regenerate-golden.sh [build-folder]   (default: build)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:-$root/build}
cmake --build "$build" --target tst_markdownstyler
TACKPAD_REGENERATE_GOLDEN=1 QT_QPA_PLATFORM=offscreen "$build/tests/editor/tst_markdownstyler" goldenFiles >/dev/null
git -C "$root" status --short -- tests/editor/golden
